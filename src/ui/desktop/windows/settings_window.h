// SPDX-License-Identifier: MIT
#pragma once

#include <wx/dialog.h>
#include <wx/notebook.h>

#include "ui/desktop/views/form_view.h"
#include "ui/desktop/windows/main_window.h"
#include "ui/forms/settings/frm_prefs.h"

namespace relaybird::desktop {

/// The window of frmPrefs. Modal over its owner.
class SettingsWindow : public wxDialog, public FormView {
 public:
  /// The form and the owner must outlive the window.
  SettingsWindow(MainWindow& owner, frmPrefs& form);

  void formChanged(const Form& form, FormChange what) override;

 private:
  wxWindow* generalTab(wxWindow* book);
  wxWindow* sizeTab(wxWindow* book);
  wxWindow* senderTab(wxWindow* book);
  wxWindow* textTab(wxWindow* book);
  wxWindow* cellPhoneTab(wxWindow* book);
  wxSizer* format(wxWindow* page, Control& picture, Control& title, Control& description);
  wxSizer* buttons();
  void turnPage(bool forward);

  MainWindow& owner_;
  frmPrefs& frm_;
  wxNotebook* book_;
};

}  // namespace relaybird::desktop
