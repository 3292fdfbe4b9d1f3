// SPDX-License-Identifier: MIT
#pragma once

#include <wx/frame.h>
#include <wx/menu.h>

#include "ui/desktop/views/control_view.h"

namespace relaybird::desktop {

/// A menu entry that follows its control: a check box has its mark.
class MenuView : public ControlView {
 public:
  /// Appends the entry to the menu, whose picks arrive at the window.
  MenuView(wxFrame& window, wxMenu& menu, Control& control);

  wxWindow* window() const override { return nullptr; }
  void update(Change what) override;

 private:
  Control& control_;
  wxMenuItem* entry_;
};

/// Shows the entries of a menu over a window, by default where the pointer is, and clicks the one
/// that the user picks once the menu has gone.
void openMenu(wxWindow& over, Control& menu, const wxPoint& at = wxDefaultPosition);

}  // namespace relaybird::desktop
