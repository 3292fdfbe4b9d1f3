// SPDX-License-Identifier: MIT
#include "ui/desktop/desk/box_dialog.h"

#include <wx/artprov.h>
#include <wx/button.h>
#include <wx/sizer.h>
#include <wx/statbmp.h>

#include "ui/desktop/bind/wrapping_label.h"
#include "ui/desktop/desk/art.h"
#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/windows/layout.h"

namespace relaybird::desktop {
BoxDialog::BoxDialog(wxWindow* owner, const MessageBox& box)
    : wxDialog(owner, wxID_ANY, wxString::FromUTF8(box.title)) {
  SetIcons(programIcons());
  setAccessibleRole(*this, AccessibleRole::kAlert);
  auto* all = new wxBoxSizer(wxVERTICAL);
  all->Add(content(box), wxSizerFlags(1).Expand().Border(wxALL, scaled(*this, kMargin)));
  all->Add(buttons(box), wxSizerFlags().Right().Border(wxALL, scaled(*this, kGap)));
  SetSizerAndFit(all);
  CentreOnParent();
  Bind(wxEVT_CLOSE_WINDOW, [this](wxCloseEvent&) { EndModal(-1); });
  Bind(wxEVT_CHAR_HOOK, [this](wxKeyEvent& event) {
    if (event.GetKeyCode() == WXK_ESCAPE) {
      EndModal(-1);
    } else {
      event.Skip();
    }
  });
}

wxSizer* BoxDialog::content(const MessageBox& box) {
  auto* sizer = new wxBoxSizer(wxHORIZONTAL);
  if (box.icon != BoxIcon::kNone) {
    const wxArtID icon = box.icon == BoxIcon::kCritical ? wxART_ERROR : wxART_WARNING;
    auto* picture =
        new wxStaticBitmap(this, wxID_ANY, wxArtProvider::GetBitmapBundle(icon, wxART_MESSAGE_BOX));
    setAccessibleName(*picture, box.icon == BoxIcon::kCritical ? "Error" : "Warning");
    sizer->Add(picture, wxSizerFlags().Top().Border(wxRIGHT, scaled(*this, kMargin)));
  }
  auto* text = new WrappingLabel(this);
  text->show(wxString::FromUTF8(box.text));
  sizer->Add(text, wxSizerFlags(1).CentreVertical());
  return sizer;
}

wxSizer* BoxDialog::buttons(const MessageBox& box) {
  auto* sizer = new wxBoxSizer(wxHORIZONTAL);
  int position = 0;
  for (const BoxAnswer answer : answersOf(box.buttons)) {
    auto* button =
        new wxButton(this, wxID_ANY, "&" + wxString::FromUTF8(std::string(answerText(answer))));
    button->Bind(wxEVT_BUTTON, [this, position](wxCommandEvent&) { EndModal(position); });
    sizer->Add(button, wxSizerFlags().Border(position == 0 ? 0 : wxLEFT, scaled(*this, kGap)));
    if (position++ == 0) {
      button->SetDefault();
      button->SetFocus();
    }
  }
  return sizer;
}

}  // namespace relaybird::desktop
