// SPDX-License-Identifier: MIT
// The location of the preference file, and the move of a file that an older release left elsewhere.
#pragma once

#include <string>
#include <string_view>

#include "platform/file_system.h"
#include "platform/profile/profile_strings.h"
#include "platform/system/os_version.h"
#include "platform/system/special_folders.h"

namespace relaybird {

/// The section and the key under which the location of the help file is remembered.
inline constexpr std::string_view kHelpSection = "default";
inline constexpr std::string_view kHelpKey = "strHelpFileLocation";

/// rbx/rbx_prefs.ini in the application-data folder; empty where there is no such folder.
std::string currentPreferenceFile(const SpecialFolders& folders);

/// rbx.ini in the user's templates folder; on the oldest systems, and where there is no such
/// folder, in the Windows folder; empty where there is neither.
std::string formerPreferenceFile(const SpecialFolders& folders, const OsVersion& osVersion);

/// rbx.ini in the Windows folder, in which the help program remembers the file that the user chose;
/// empty where there is no such folder.
std::string helpMemoryFile(const SpecialFolders& folders);

/// The file to use. Creates its folder. An existing former file always replaces the current one and
/// disappears; of a link, the target is copied. When the folder cannot be created, the current file
/// is read-only or the former one cannot be moved, both keep their content and the former one is
/// used.
///
/// The help program keeps a file of the same name in the Windows folder. A file with its key and
/// without any setting is not a former preference file and stays.
std::string locatePreferenceFile(FileSystem& files, ProfileStrings& profiles,
                                 const SpecialFolders& folders, const OsVersion& osVersion);

}  // namespace relaybird
