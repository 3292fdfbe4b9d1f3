// SPDX-License-Identifier: MIT
#pragma once

#include "ui/desktop/windows/tabbed_dialog.h"
#include "ui/forms/settings/frm_prefs.h"

namespace relaybird::desktop {

/// The window of frmPrefs.
class SettingsWindow : public TabbedDialog {
 public:
  /// The form and the owner must outlive the window.
  SettingsWindow(MainWindow& owner, frmPrefs& form);

 private:
  wxWindow* generalTab(wxWindow* book);
  wxWindow* sizeTab(wxWindow* book);
  wxWindow* senderTab(wxWindow* book);
  wxWindow* textTab(wxWindow* book);
  wxWindow* cellPhoneTab(wxWindow* book);
  wxSizer* format(wxWindow* page, Control& picture, Control& title, Control& description);
  wxSizer* buttons();

  frmPrefs& frm_;
};

}  // namespace relaybird::desktop
