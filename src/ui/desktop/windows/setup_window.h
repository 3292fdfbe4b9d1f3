// SPDX-License-Identifier: MIT
#pragma once

#include "ui/desktop/windows/tabbed_dialog.h"
#include "ui/forms/setup/frm_setup.h"

namespace relaybird::desktop {

/// The window of frmSetup.
class SetupWindow : public TabbedDialog {
 public:
  /// The form and the owner must outlive the window.
  SetupWindow(MainWindow& owner, frmSetup& form);

 private:
  wxWindow* yourMailTab();
  wxWindow* serversTab();
  wxWindow* sendingTab();
  wxWindow* testTab();
  wxSizer* buttons();

  frmSetup& frm_;
};

}  // namespace relaybird::desktop
