// SPDX-License-Identifier: MIT
#include "ui/desktop/bind/menu_view.h"

#include "ui/desktop/bind/widget_view.h"
#include "ui/desktop/desk/guarded.h"

namespace relaybird::desktop {

MenuView::MenuView(wxFrame& window, wxMenu& menu, Control& control)
    : control_(control),
      entry_(menu.Append(wxID_ANY, toWx(control.text()), wxEmptyString,
                         control.kind() == ControlKind::kCheckBox ? wxITEM_CHECK : wxITEM_NORMAL)) {
  // Afterwards: a pick by an assistive tool runs inside that tool's call, which would wait for the
  // answer to a box that it cannot see before the call has ended.
  window.Bind(
      wxEVT_MENU,
      [this, &window](wxCommandEvent&) {
        // The toolkit has moved the mark of a check box already.
        inputLater(
            window,
            [this, &window] {
              clickByUser(window, control_);
              update(Change::kValue);
            },
            [this] { update(Change::kValue); });
      },
      entry_->GetId());
}

void MenuView::update(Change what) {
  if (what == Change::kText) {
    entry_->SetItemLabel(toWx(control_.text()));
  } else if (what == Change::kEnabled) {
    entry_->Enable(control_.enabled());
  } else if (what == Change::kValue && entry_->IsCheckable()) {
    entry_->Check(control_.checked());
  }
}

}  // namespace relaybird::desktop
