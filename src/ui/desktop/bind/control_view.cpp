// SPDX-License-Identifier: MIT
#include "ui/desktop/bind/control_view.h"

#include "ui/desktop/bind/button_views.h"
#include "ui/desktop/bind/list_views.h"
#include "ui/desktop/bind/text_views.h"

namespace relaybird::desktop {

std::unique_ptr<ControlView> makeControlView(wxWindow* parent, Control& control,
                                             const ViewStyle& style) {
  switch (control.kind()) {
    case ControlKind::kLabel:
      return makeLabelView(parent, control, style);
    case ControlKind::kTextBox:
      return makeTextView(parent, control, style);
    case ControlKind::kLink:
      return makeLinkView(parent, control, style);
    case ControlKind::kButton:
      return makeButtonView(parent, control, style);
    case ControlKind::kPictureButton:
    case ControlKind::kPictureOption:
      return makePictureButtonView(parent, control, style);
    case ControlKind::kPicture:
      return makePictureView(parent, control, style);
    case ControlKind::kCheckBox:
      return makeCheckBoxView(parent, control, style);
    case ControlKind::kOptionButton:
      return makeOptionView(parent, control, style);
    case ControlKind::kListBox:
      return makeListView(parent, control, style);
    case ControlKind::kComboBox:
      return makeComboView(parent, control, style);
    default:
      return nullptr;
  }
}

}  // namespace relaybird::desktop
