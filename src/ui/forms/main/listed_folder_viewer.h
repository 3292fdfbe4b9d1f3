// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/file_system.h"
#include "ui/forms/form_world.h"

namespace relaybird {

/// Shows folders and pages by the first program of a list that is installed, each of which takes
/// either of them behind its own arguments.
class ListedFolderViewer : public FolderViewer {
 public:
  struct Program {
    std::string path;
    std::vector<std::string> arguments;
  };
  using Starter = std::function<Result<void>(const std::string& program,
                                             const std::vector<std::string>& arguments)>;

  /// `files` must outlive it.
  ListedFolderViewer(std::vector<Program> programs, FileSystem& files, Starter starter)
      : programs_(std::move(programs)), files_(files), starter_(std::move(starter)) {}

  Result<void> show(const std::string& folder) override;
  Result<void> browse(const std::string& address) override;

 private:
  Result<void> startWith(const std::string& last, const char* whyNot);

  std::vector<Program> programs_;
  FileSystem& files_;
  Starter starter_;
};

/// What opens a folder in the user's own file manager on a free desktop, and a page in his browser.
std::vector<ListedFolderViewer::Program> freeDesktopFolderOpeners();

}  // namespace relaybird
