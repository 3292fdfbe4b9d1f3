// SPDX-License-Identifier: MIT
// Numbers as people and files write them: with "." and without grouping in every locale; blanks are
// those of ASCII.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace relaybird {

/// The value of the longest beginning of the text that is a decimal number, after leading blanks. 0
/// without one (words, "nan", "inf"), and for a number outside the range of double: the result is
/// always finite.
double numericPrefix(std::string_view text);
/// The same, but no value for a number outside the range of double.
std::optional<double> readPrefix(std::string_view text);

/// The text with the first decimal `separator` (UTF-8) replaced by a point, for the readers above:
/// "7,5" becomes "7.5". A point is also a separator, and the first of the two counts: digits are
/// not grouped, so "1.000" and "1,000" are both 1.
std::string withPoint(std::string_view text, std::string_view separator);

/// The value when the whole text, apart from blanks around it, is one finite decimal number.
std::optional<double> readNumber(std::string_view text);

/// The shortest text that reads back as the same value: "15", "2.5", "-0.1". No exponent below 1e15
/// and down to 1e-5. Infinities and NaN are written as "0".
std::string shortestText(double value);

/// The nearest whole number, halves to even; infinities and NaN unchanged.
double roundHalfEven(double value);

/// The nearest whole number of that width, halves to even. No value when it does not fit or is NaN.
std::optional<std::int16_t> toInt16(double value);
std::optional<std::int32_t> toInt32(double value);

}  // namespace relaybird
