// SPDX-License-Identifier: MIT
// modFolderCheck: makes sure that the folder which is to hold a file exists.
#pragma once

#include <string_view>

#include "platform/file_system.h"

namespace relaybird {

/// Creates the missing folders above the last component of `filePath`, from the outermost down;
/// nothing of the file's own name is made. True when the folder exists at the end. A path without a
/// separator after its first character is false, and nothing is created. Links to folders on the
/// way count as folders.
bool MakeFolderPath(FileSystem& files, std::string_view filePath, char separator = '/');

}  // namespace relaybird
