// SPDX-License-Identifier: MIT
// The system-information tool of a desktop that keeps no record of it: the first of a list of known
// ones that is installed.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/file_system.h"
#include "ui/forms/form_world.h"

namespace relaybird {

struct ListedProgram {
  std::string path;  ///< whole
  std::vector<std::string> arguments;
};

/// The tools of the free desktops, the desktop's own before those that go with any.
std::vector<ListedProgram> freeDesktopInformationTools();

class ListedSystemInformation : public SystemInformation {
 public:
  /// Starts a program in a window of its own and returns at once.
  using Starter = std::function<Result<void>(const std::string& program,
                                             const std::vector<std::string>& arguments)>;

  /// `files` must outlive it.
  ListedSystemInformation(std::vector<ListedProgram> programs, FileSystem& files, Starter starter);

  /// Looks afresh at every call: a tool may be installed while the program runs.
  std::optional<std::string> program() override;
  /// With the arguments of the list; with none for a program that is not on it.
  Result<void> start(const std::string& program) override;

 private:
  std::vector<ListedProgram> programs_;
  FileSystem& files_;
  Starter starter_;
};

}  // namespace relaybird
