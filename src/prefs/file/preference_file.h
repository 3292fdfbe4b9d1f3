// SPDX-License-Identifier: MIT
// The settings in the preference file: each one a key of one section, a list one key for the number
// of its entries (mcolSenderList_num) and one for each entry (mcolSenderList_1, ...).
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "platform/profile/profile_strings.h"
#include "prefs/preference_fields.h"

namespace relaybird {

/// The key that holds the number of a list's entries.
std::string countKey(std::string_view name);

/// Takes a line for the verbose log.
using LineSink = std::function<void(const std::string& line)>;

/// Every setting as the section has it, or its default. A number that does not fit its field is 0,
/// and a line to `logVerbose` names its key.
PreferenceFields readPreferences(const ProfileReader& file, std::string_view section,
                                 const LineSink& logVerbose);

/// Sets every key in the order of writing, up to the first that `file` refuses; true when it took
/// them all. Does not commit. Entries that a longer list of an earlier save left behind stay in the
/// file: the count ends the reading before them.
bool writePreferences(ProfileWriter& file, std::string_view section,
                      const PreferenceFields& fields);

}  // namespace relaybird
