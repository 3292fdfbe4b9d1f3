// SPDX-License-Identifier: MIT
#pragma once

#include <wx/dialog.h>

#include "ui/desktop/views/form_view.h"
#include "ui/forms/frm_about.h"

namespace relaybird::desktop {

/// The window of frmAbout. Modal over its owner.
class AboutWindow : public wxDialog, public FormView {
 public:
  AboutWindow(wxTopLevelWindow& owner, frmAbout& form);
  void formChanged(const Form& form, FormChange what) override;

 private:
  wxSizer* versionAndHomepage(frmAbout& form);

  wxTopLevelWindow& owner_;
};

}  // namespace relaybird::desktop
