// SPDX-License-Identifier: MIT
// What both programs do when they start.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/program_core.h"
#include "platform/file_system.h"

namespace relaybird {

/// The identity of a program of this release.
ProgramIdentity programIdentity(std::string name);

/// What a program says to its command line, before it ends with `status`: 0, or that of an error.
struct CommandLineAnswer {
  int status;
  std::string text;
};
/// Answers the arguments of the command line; nothing when there are none and the program goes on.
/// `help` is what --help prints.
std::optional<CommandLineAnswer> answerArguments(const ProgramIdentity& identity,
                                                 std::string_view help,
                                                 const std::vector<std::string>& arguments);

/// Where rbx.chm is expected when the settings name no place: in share/relaybird beside the
/// program's folder, as it is installed, else beside the program itself.
std::string defaultHelpFile(FileSystem& files, const std::string& folder);

}  // namespace relaybird
