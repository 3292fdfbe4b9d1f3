// SPDX-License-Identifier: MIT
#pragma once

#include <wx/frame.h>
#include <wx/menu.h>

#include "ui/desktop/views/control_view.h"

namespace relaybird::desktop {

/// The view of a control as a menu entry. A check box is shown as a checkable entry.
class MenuView : public ControlView {
 public:
  /// Appends the entry to the menu. The events of the menu must arrive at the window.
  MenuView(wxFrame& window, wxMenu& menu, Control& control);

  wxWindow* window() const override { return nullptr; }
  void update(Change what) override;

 private:
  Control& control_;
  wxMenuItem* entry_;
};

/// Shows a menu over a window, by default at the pointer, and clicks the entry that the user picks
/// after the menu has closed.
void openMenu(wxWindow& over, Control& menu, const wxPoint& at = wxDefaultPosition);

}  // namespace relaybird::desktop
