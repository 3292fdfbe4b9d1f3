// SPDX-License-Identifier: MIT
#include "ui/desktop/bind/menu_view.h"

#include "ui/desktop/bind/widget_view.h"

namespace relaybird::desktop {

MenuView::MenuView(wxFrame& window, wxMenu& menu, Control& control)
    : control_(control), entry_(menu.Append(wxID_ANY, toWx(control.text()))) {
  window.Bind(
      wxEVT_MENU, [this](wxCommandEvent&) { byUser(control_, &Control::click); }, entry_->GetId());
}

void MenuView::update(Change what) {
  if (what == Change::kText) {
    entry_->SetItemLabel(toWx(control_.text()));
  } else if (what == Change::kEnabled) {
    entry_->Enable(control_.enabled());
  }
}

}  // namespace relaybird::desktop
