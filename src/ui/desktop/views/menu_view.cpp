// SPDX-License-Identifier: MIT
#include "ui/desktop/views/menu_view.h"

#include "ui/desktop/services/guarded.h"
#include "ui/desktop/views/widget_view.h"
#include "ui/forms/model/form.h"

namespace relaybird::desktop {

namespace {

// The toolkit reads the keys behind a tab.
wxString captionOf(const Control& control) {
  const std::string keys = control.shortcut().empty() ? "" : "\t" + control.shortcut();
  return toWx(control.text() + keys);
}

}  // namespace

MenuView::MenuView(wxFrame& window, wxMenu& menu, Control& control)
    : control_(control),
      entry_(menu.Append(wxID_ANY, captionOf(control), wxEmptyString,
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
    entry_->SetItemLabel(captionOf(control_));
  } else if (what == Change::kEnabled) {
    entry_->Enable(control_.enabled());
  } else if (what == Change::kValue && entry_->IsCheckable()) {
    entry_->Check(control_.checked());
  }
}

void openMenu(wxWindow& over, Control& menu, const wxPoint& at) {
  wxMenu entries;
  Control* picked = nullptr;
  for (Control* entry : menu.form().controls()) {
    if (entry->parent() == &menu && entry->visible()) {
      wxMenuItem* item = entries.Append(wxID_ANY, captionOf(*entry));
      item->Enable(entry->enabled());
      entries.Bind(
          wxEVT_MENU, [&picked, entry](wxCommandEvent&) { picked = entry; }, item->GetId());
    }
  }
  over.PopupMenu(&entries, at);
  if (picked != nullptr) {
    clickLater(over, *picked);
  }
}

}  // namespace relaybird::desktop
