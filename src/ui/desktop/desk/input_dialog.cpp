// SPDX-License-Identifier: MIT
#include "ui/desktop/desk/input_dialog.h"

#include <wx/sizer.h>
#include <wx/textctrl.h>

#include "ui/desktop/desk/box_parts.h"
#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/widgets/layout.h"
#include "ui/desktop/widgets/text.h"

namespace relaybird::desktop {
namespace {

// In average letters: most addresses are seen whole.
constexpr int kFieldWidth = 48;

}  // namespace

InputDialog::InputDialog(wxWindow* owner, const InputBox& box)
    : wxDialog(owner, wxID_ANY, toWx(box.title)) {
  setAccessibleRole(*this, AccessibleRole::kDialog);
  wxWindow* prompt = makeBoxText(*this, box.prompt);
  field_ = new wxTextCtrl(this, wxID_ANY, toWx(box.entry), wxDefaultPosition, wxDefaultSize,
                          wxTE_PROCESS_ENTER);
  field_->SetMinSize({kFieldWidth * GetCharWidth(), -1});
  leaveRoomForText(*field_);
  field_->Bind(wxEVT_TEXT_ENTER, [this](wxCommandEvent&) { EndModal(0); });
  setAccessibleName(*field_, box.prompt);
  setLabelFor(*prompt, field_);
  finishBox(*this, column(*this, {prompt, field_}),
            makeBoxButtons(*this, answersOf(BoxButtons::kOkCancel)));
  field_->SetFocus();
  field_->SelectAll();
}

std::string InputDialog::entry() const {
  return fromWx(field_->GetValue());
}

}  // namespace relaybird::desktop
