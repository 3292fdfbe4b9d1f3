// SPDX-License-Identifier: MIT
// The manual in a window of its own. Where the platform has a viewer of compiled help files, that
// viewer is used (msw/); elsewhere the toolkit's help window shows the pages.
#pragma once

#include <wx/toplevel.h>
#include <wx/window.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "platform/result.h"
#include "ui/forms/form_world.h"

namespace relaybird::desktop {

/// The manual, with contents, index and search.
class HelpWindow : public HelpViewer {
 public:
  /// `owner` returns the window to which the help belongs.
  explicit HelpWindow(std::function<wxWindow*()> owner);
  ~HelpWindow() override;

  Result<void> show(const std::string& file, const std::string& topic) override;
  /// Calls `listener` with each window of the toolkit that is created, before it is shown. The
  /// platform's own viewer is none.
  void onMade(std::function<void(wxTopLevelWindow&)> listener) { onMade_ = std::move(listener); }
  /// Closes the window; for the end of the program.
  void close();

 private:
  struct Book;

  std::function<wxWindow*()> owner_;
  std::function<void(wxTopLevelWindow&)> onMade_ = [](wxTopLevelWindow&) {};
  std::unique_ptr<Book> book_;
};

}  // namespace relaybird::desktop
