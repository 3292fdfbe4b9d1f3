// SPDX-License-Identifier: MIT
#pragma once

#include <wx/dialog.h>
#include <wx/notebook.h>

#include "ui/desktop/bind/form_view.h"
#include "ui/forms/settings/frm_prefs.h"

namespace relaybird::desktop {

/// frmPrefs on the screen.
class SettingsWindow : public wxDialog, public FormView {
 public:
  /// The form and the owner must outlive it.
  SettingsWindow(wxTopLevelWindow& owner, frmPrefs& form);

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

  wxTopLevelWindow& owner_;
  frmPrefs& frm_;
  wxNotebook* book_;
};

}  // namespace relaybird::desktop
