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

/// Reads every setting from the section; a missing one gets its default. A number that does not fit
/// its field is 0, and a line to `logVerbose` names its key.
PreferenceFields readPreferences(const ProfileReader& file, std::string_view section,
                                 const LineSink& logVerbose);

/// Sets every key in the order of writing, up to the first that `file` refuses; true when it
/// accepted all. Does not commit. Surplus entries of a longer list that was saved earlier stay in
/// the file: the count keeps them from being read.
bool writePreferences(ProfileWriter& file, std::string_view section,
                      const PreferenceFields& fields);

// The text forms in which the file holds values. Reading never fails: a text that is not a value of
// its kind reads as false or 0. Decimal numbers are written by shortestText (number_text.h).

/// True for "1" and for "true" in any letter case, ignoring blanks around it; false for everything
/// else, including "-1" and "yes".
bool booleanFromText(std::string_view text);
/// "1" or "0".
std::string textFromBoolean(bool value);

/// The longest numeric beginning of the text, rounded to the nearest whole number, halves to even;
/// 0 without one. No value when the number does not fit.
std::optional<std::int16_t> wholeFromText16(std::string_view text);
std::optional<std::int32_t> wholeFromText32(std::string_view text);

/// Shifts every character of a UTF-8 text up by 17 codes, and back. This hides a password from a
/// glance and is no protection beyond that. Characters are shifted, not bytes, so that no line end
/// can result.
std::string shifted(std::string_view text);
std::string unshifted(std::string_view text);

}  // namespace relaybird
