// SPDX-License-Identifier: MIT
#include "ui/desktop/views/menu_view.h"

#include "ui/desktop/services/guarded.h"
#include "ui/desktop/views/widget_view.h"
#include "ui/forms/model/form.h"

namespace relaybird::desktop {

namespace {

// The text of a menu entry. The toolkit parses the part after a tab as its shortcut.
wxString captionOf(const Control& control) {
  const std::string keys = control.shortcut().empty() ? "" : "\t" + control.shortcut();
  return toWx(control.text() + keys);
}

}  // namespace

MenuView::MenuView(wxFrame& window, wxMenu& menu, Control& control)
    : control_(control),
      entry_(menu.Append(wxID_ANY, captionOf(control), wxEmptyString,
                         control.kind() == ControlKind::kCheckBox ? wxITEM_CHECK : wxITEM_NORMAL)) {
  // Why inputLater: an assistive tool picks an entry by a synchronous call. If the entry opened a
  // box within that call, the call would not return before the box is answered, and the tool cannot
  // read the box before the call returns.
  window.Bind(
      wxEVT_MENU,
      [this, &window](wxCommandEvent&) {
        // The toolkit has changed the mark of a check box already; update() corrects it.
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
      // Chosen entries are only noted here, because a box must not open inside PopupMenu().
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
