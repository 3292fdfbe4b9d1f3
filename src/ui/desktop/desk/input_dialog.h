// SPDX-License-Identifier: MIT
#pragma once

#include <wx/dialog.h>

#include <string>

#include "ui/forms/model/dialogs.h"

class wxTextCtrl;

namespace relaybird::desktop {

/// Asks for a line. Ends with 0 for OK; Cancel and closing end with something else.
class InputDialog : public wxDialog {
 public:
  InputDialog(wxWindow* owner, const InputBox& box);
  /// What stands in the field.
  std::string entry() const;

 private:
  wxTextCtrl* field_;
};

}  // namespace relaybird::desktop
