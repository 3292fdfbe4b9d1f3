// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/file_system.h"

namespace relaybird {

/// Whether a regular file has that name once every link is followed. False for a folder, for a
/// link that leads nowhere, and where nobody can tell.
bool FileExists(FileSystem& files, const std::string& path);

}  // namespace relaybird
