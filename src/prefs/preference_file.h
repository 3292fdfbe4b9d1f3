// SPDX-License-Identifier: MIT
// The settings in the preference file: each one a key of one section, a list one key for the number
// of its entries (mcolSenderList_num) and one for each entry (mcolSenderList_1, ...).
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
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

// The text forms in which the file holds values. Reading never fails: a text that is not a value of
// its kind reads as false or 0. Decimal numbers are written by shortestText (number_text.h).

/// True for "1" and for "true" in any mix of case, blanks around it ignored; false for all else,
/// "-1" and "yes" included.
bool booleanFromText(std::string_view text);
/// "1" or "0".
std::string textFromBoolean(bool value);

/// The longest numeric beginning of the text, rounded to the nearest whole number, halves to the
/// even neighbour; 0 where there is none. Nothing when the number does not fit.
std::optional<std::int16_t> wholeFromText16(std::string_view text);
std::optional<std::int32_t> wholeFromText32(std::string_view text);

/// Moves every character of a UTF-8 text up by 17 codes, and back. This hides a password from a
/// passing glance and from nothing else. Characters are moved, not bytes, so that no line end can
/// arise.
std::string shifted(std::string_view text);
std::string unshifted(std::string_view text);

}  // namespace relaybird
