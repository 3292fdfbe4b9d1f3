// SPDX-License-Identifier: MIT
// Implements the forms' Dialogs with windows: boxes, questions, file dialogs and the tray's menu.
// Every call blocks until the user has answered, and runs events meanwhile.
#pragma once

#include <wx/dialog.h>

#include <functional>
#include <optional>
#include <string>

#include "ui/forms/model/dialogs.h"

namespace relaybird::desktop {

class WxDialogs : public Dialogs {
 public:
  /// `owner` returns the parent for the next box; may return null.
  explicit WxDialogs(std::function<wxWindow*()> owner);

  BoxAnswer messageBox(const AnswerBox& box) override;
  std::string inputBox(const InputBox& box) override;
  std::optional<std::string> openFile(const OpenFileBox& box) override;
  std::optional<std::string> saveFile(const SaveFileBox& box) override;
  void popupMenu(Control& menu) override;

  /// For the end of the program: ends every open box with the answer that changes nothing, and
  /// gives that answer to all later boxes without showing them.
  void closeAll();

 private:
  int showModal(wxDialog& dialog);

  std::function<wxWindow*()> owner_;
  bool closed_ = false;
};

}  // namespace relaybird::desktop
