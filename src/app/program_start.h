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

/// Answers the arguments of the command line. Returns the exit status to end with; nothing when
/// there are no arguments and the program goes on. `help` is what --help prints.
std::optional<int> answerArguments(const ProgramIdentity& identity, std::string_view help,
                                   const std::vector<std::string>& arguments);

/// Where rbx.chm is expected when the settings name no place: in share/relaybird beside the
/// program's folder, as it is installed, else beside the program itself.
std::string defaultHelpFile(FileSystem& files, const std::string& folder);

}  // namespace relaybird
