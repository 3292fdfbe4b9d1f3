// SPDX-License-Identifier: MIT
#include "ui/desktop/bind/tabs_view.h"

namespace relaybird::desktop {

TabsView::TabsView(wxNotebook& book, Control& control) : book_(book), control_(control) {
  book_.Bind(wxEVT_NOTEBOOK_PAGE_CHANGED, [this](wxBookCtrlEvent& event) {
    event.Skip();
    control_.setValue(event.GetSelection());
  });
}

void TabsView::update(Change what) {
  const int tab = control_.value();
  if (what == Change::kValue && tab >= 0 && tab < static_cast<int>(book_.GetPageCount())) {
    book_.ChangeSelection(static_cast<std::size_t>(tab));
  }
}

}  // namespace relaybird::desktop
