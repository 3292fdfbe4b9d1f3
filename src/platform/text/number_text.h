// SPDX-License-Identifier: MIT
// Numbers as people and files write them, and small text helpers. With "." and without grouping,
// whatever the locale; letters and blanks are those of ASCII.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace relaybird {

/// The value of the longest leading part of the text that is a decimal number; leading blanks are
/// skipped. 0 where there is none (words, "nan", "inf"), and for a number beyond the range of
/// double: the result is always finite.
double numericPrefix(std::string_view text);
/// The same, but none for a number beyond the range of double.
std::optional<double> readPrefix(std::string_view text);

/// The text with the first `separator` (of decimals, in UTF-8) as a point, for the readers above:
/// "7,5" becomes "7.5". A point is one too, and the first of the two counts: nothing groups digits,
/// so that "1.000" and "1,000" are both 1.
std::string withPoint(std::string_view text, std::string_view separator);

/// The value when the whole text is one finite decimal number, blanks around it allowed; else none.
std::optional<double> readNumber(std::string_view text);

/// The shortest text that reads back as the same value: "15", "2.5", "-0.1". No exponent below 1e15
/// and down to 1e-5. Infinities and what is not a number are written as "0".
std::string shortestText(double value);

/// The nearest whole number, halves to the even neighbour; infinities and NaN as they are.
double roundHalfEven(double value);

/// A whole number of that width; a fraction is rounded half to even. None when it does not fit or
/// is not a number.
std::optional<std::int16_t> toInt16(double value);
std::optional<std::int32_t> toInt32(double value);

}  // namespace relaybird
