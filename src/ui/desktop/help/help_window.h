// SPDX-License-Identifier: MIT
#pragma once

#include <wx/toplevel.h>
#include <wx/window.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/result.h"
#include "ui/forms/form_world.h"

class wxHtmlHelpController;

namespace relaybird::desktop {

/// Takes a file of a compiled help file.
using TakeFile = std::function<void(const std::string& path, std::string_view bytes)>;

/// Reads a compiled help file and calls `take` with each file in it; the paths have no leading
/// slash. An error is a sentence for the user. Use it for the program's own help file only: the
/// library (chmlib) is not safe against malicious files.
Result<void> readChm(const std::string& file, const TakeFile& take);

/// The manual in a window of its own, with contents, index and search. The whole file is read when
/// it is first shown.
class HelpWindow : public HelpViewer {
 public:
  /// `owner` returns the window to which the help belongs.
  explicit HelpWindow(std::function<wxWindow*()> owner);
  ~HelpWindow() override;

  Result<void> show(const std::string& file, const std::string& topic) override;
  /// Calls `listener` with each window that is created, before it is shown.
  void onMade(std::function<void(wxTopLevelWindow&)> listener) { onMade_ = std::move(listener); }
  /// Closes the window; for the end of the program.
  void close();

 private:
  Result<void> load(const std::string& file);
  void unload();

  std::function<wxWindow*()> owner_;
  std::function<void(wxTopLevelWindow&)> onMade_ = [](wxTopLevelWindow&) {};
  std::unique_ptr<wxHtmlHelpController> controller_;
  std::string loaded_;
  std::vector<std::string> pages_;
};

}  // namespace relaybird::desktop
