// SPDX-License-Identifier: MIT
#pragma once

#include <wx/frame.h>
#include <wx/sizer.h>
#include <wx/textctrl.h>

#include "ui/desktop/views/form_view.h"
#include "ui/desktop/windows/main_window.h"
#include "ui/forms/log/frm_log.h"

namespace relaybird::desktop {

/// The window of frmLog.
class LogWindow : public wxFrame, public FormView {
 public:
  LogWindow(MainWindow& owner, frmLog& form);
  void controlChanged(const Control& control, Change what) override;
  void formChanged(const Form& form, FormChange what) override;

 private:
  wxSizer* findRow(wxWindow* parent);
  bool handleKey(const wxKeyEvent& event);

  WindowPlaces& places_;
  frmLog& frm_;
  wxTextCtrl* field_ = nullptr;
  wxWindow* lines_ = nullptr;
};

}  // namespace relaybird::desktop
