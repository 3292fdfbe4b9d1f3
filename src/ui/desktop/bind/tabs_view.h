// SPDX-License-Identifier: MIT
#pragma once

#include <wx/notebook.h>

#include "ui/desktop/bind/control_view.h"

namespace relaybird::desktop {

/// The tabs of a book that a window has filled with pages.
class TabsView : public ControlView {
 public:
  TabsView(wxNotebook& book, Control& control);

  wxWindow* window() const override { return &book_; }
  void update(Change what) override;

 private:
  wxNotebook& book_;
  Control& control_;
};

}  // namespace relaybird::desktop
