// SPDX-License-Identifier: MIT
#include "ui/desktop/desk/box_dialog.h"

#include <wx/artprov.h>
#include <wx/sizer.h>
#include <wx/statbmp.h>

#include "ui/desktop/desk/box_parts.h"
#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/widgets/layout.h"
#include "ui/desktop/widgets/text.h"

namespace relaybird::desktop {
namespace {

constexpr int kIconSize = 48;

}  // namespace

BoxDialog::BoxDialog(wxWindow* owner, const MessageBox& box)
    : wxDialog(owner, wxID_ANY, toWx(box.title)) {
  setAccessibleRole(*this, AccessibleRole::kAlert);
  wxSizer* words = content(box);
  finishBox(*this, words, makeBoxButtons(*this, answersOf(box.buttons)));
}

wxSizer* BoxDialog::content(const MessageBox& box) {
  auto* sizer = new wxBoxSizer(wxHORIZONTAL);
  if (box.icon != BoxIcon::kNone) {
    const wxArtID icon = box.icon == BoxIcon::kCritical ? wxART_ERROR : wxART_WARNING;
    const int side = withLetters(*this, kIconSize);
    auto* picture = new wxStaticBitmap(
        this, wxID_ANY,
        wxArtProvider::GetBitmapBundle(icon, wxART_MESSAGE_BOX, wxSize(side, side)));
    setAccessibleName(*picture, box.icon == BoxIcon::kCritical ? "Error" : "Warning");
    sizer->Add(picture, wxSizerFlags().Top().Border(wxRIGHT, scaled(*this, kMargin)));
  }
  sizer->Add(makeBoxText(*this, box.text), wxSizerFlags(1).CentreVertical());
  return sizer;
}

}  // namespace relaybird::desktop
