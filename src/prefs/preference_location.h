// SPDX-License-Identifier: MIT
// Where the preference file lies, and the move of a file that an older release left elsewhere.
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

/// rbx.ini in the user's templates, on the oldest systems and where there are none in the Windows
/// folder; empty where there is neither.
std::string formerPreferenceFile(const SpecialFolders& folders, const OsVersion& osVersion);

/// rbx.ini in the Windows folder, in which the help program remembers the file that the user chose;
/// empty where there is no such folder.
std::string helpMemoryFile(const SpecialFolders& folders);

/// The file to use. Makes its folder; a former file that exists replaces the current one, always,
/// and disappears; of a link, what it leads to is copied. Where the folder cannot be made, the
/// current file is read-only or the former one cannot be moved, both are left with what they held
/// and the former one is the file to use.
///
/// In the Windows folder the help program keeps a file of the same name. One that holds its key and
/// no setting is no former file and stays where it is.
std::string locatePreferenceFile(FileSystem& files, ProfileStrings& profiles,
                                 const SpecialFolders& folders, const OsVersion& osVersion);

}  // namespace relaybird
