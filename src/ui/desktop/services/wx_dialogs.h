// SPDX-License-Identifier: MIT
// Boxes, questions, the file dialog and the tray's menu as windows.
#pragma once

#include <wx/dialog.h>

#include <functional>
#include <optional>
#include <string>

#include "ui/forms/model/dialogs.h"

namespace relaybird::desktop {

class WxDialogs : public Dialogs {
 public:
  /// `owner` says which window a box stands over now; may answer null.
  explicit WxDialogs(std::function<wxWindow*()> owner);

  BoxAnswer messageBox(const MessageBox& box) override;
  std::string inputBox(const InputBox& box) override;
  std::optional<std::string> openFile(const OpenFileBox& box) override;
  std::optional<std::string> saveFile(const SaveFileBox& box) override;
  void popupMenu(Control& menu) override;

  /// Ends every box that is open with the answer that changes nothing, and answers those to come
  /// so: the program is over.
  void closeAll();

 private:
  int showModal(wxDialog& dialog);

  std::function<wxWindow*()> owner_;
  bool closed_ = false;
};

}  // namespace relaybird::desktop
