// SPDX-License-Identifier: MIT
#pragma once

#include <wx/dialog.h>

#include "ui/forms/model/dialogs.h"

namespace relaybird::desktop {

/// A message box of our own: its text breaks its lines, its buttons are those of the forms, and the
/// program can close it. Ends with the position of the chosen answer in answersOf(), or kNoAnswer.
class BoxDialog : public wxDialog {
 public:
  BoxDialog(wxWindow* owner, const MessageBox& box);

 private:
  wxSizer* content(const MessageBox& box);
};

}  // namespace relaybird::desktop
