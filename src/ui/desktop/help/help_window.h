// SPDX-License-Identifier: MIT
#pragma once

#include <wx/toplevel.h>
#include <wx/window.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ui/forms/form_world.h"

class wxHtmlHelpController;

namespace relaybird::desktop {

/// The manual in a window of ours, with contents, index and search. The file is read whole when it
/// is first shown.
class HelpWindow : public HelpViewer {
 public:
  /// `owner` says which window the help stands beside.
  explicit HelpWindow(std::function<wxWindow*()> owner);
  ~HelpWindow() override;

  Result<void> show(const std::string& file, const std::string& topic) override;
  /// Calls `listener` with each window that is made, before it is seen.
  void onMade(std::function<void(wxTopLevelWindow&)> listener) { onMade_ = std::move(listener); }
  /// Closes the window; the program is over.
  void close();

 private:
  Result<void> load(const std::string& file);
  void forget();

  std::function<wxWindow*()> owner_;
  std::function<void(wxTopLevelWindow&)> onMade_ = [](wxTopLevelWindow&) {};
  std::unique_ptr<wxHtmlHelpController> controller_;
  std::string loaded_;
  std::vector<std::string> pages_;
};

}  // namespace relaybird::desktop
