// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/file_system.h"

namespace relaybird {

/// The folder of the running program, links followed; empty where the system does not tell.
std::string programFolder();

/// Where rbx.chm is looked for when nobody has named a place: in share/relaybird beside the
/// program's folder, as it is installed, else beside the program itself.
std::string defaultHelpFile(FileSystem& files, const std::string& folder);

}  // namespace relaybird
