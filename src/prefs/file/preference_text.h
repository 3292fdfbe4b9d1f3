// SPDX-License-Identifier: MIT
// The text forms in which the preference file holds values. Reading never fails: what cannot be
// read as a value of its kind is false or 0. Decimal numbers are written by shortestText
// (number_text.h).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace relaybird {

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
