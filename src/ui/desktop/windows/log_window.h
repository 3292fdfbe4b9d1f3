// SPDX-License-Identifier: MIT
#pragma once

#include <wx/frame.h>

#include "ui/desktop/bind/form_view.h"
#include "ui/forms/log/frm_log.h"

namespace relaybird::desktop {

/// frmLog on the screen.
class LogWindow : public wxFrame, public FormView {
 public:
  LogWindow(wxWindow& owner, frmLog& form);
  void formChanged(const Form& form, FormChange what) override;
};

}  // namespace relaybird::desktop
