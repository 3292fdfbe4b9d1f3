// SPDX-License-Identifier: MIT
// What both programs do when they start, and what they ask the system about themselves.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/program_core.h"
#include "mail/store_world.h"
#include "platform/file_system.h"

namespace relaybird {

/// The first call in main, before any thread. Repairs what the parent process may have handed down:
/// standard streams that are closed become the null device, so that no file of the program ever
/// gets their numbers; a broken pipe becomes an error instead of ending the process; and the exit
/// status of a delivery command, which tells whether a message was taken, is not lost. Then chooses
/// the memory of secrets, and makes the libraries ready that threads share.
void prepareProcess();

/// The identity of a program of this release.
ProgramIdentity programIdentity(std::string name);

/// Answers the arguments of the command line. Returns the exit status to end with; nothing when
/// there are no arguments and the program goes on. `help` is what --help prints.
std::optional<int> answerArguments(const ProgramIdentity& identity, std::string_view help,
                                   const std::vector<std::string>& arguments);

/// The user who runs the program.
LocalIdentity localIdentity();

/// Where the service manager puts the credentials of the service that the program is
/// ($CREDENTIALS_DIRECTORY, systemd.exec (5)); empty where it has given none.
std::string credentialFolder();

/// The folder of the running program, links resolved; empty where the system does not tell.
std::string programFolder();

/// Where rbx.chm is expected when the settings name no place: in share/relaybird beside the
/// program's folder, as it is installed, else beside the program itself.
std::string defaultHelpFile(FileSystem& files, const std::string& folder);

}  // namespace relaybird
