// SPDX-License-Identifier: MIT
// from_chars and to_chars do the conversions, because they ignore the locale. What they do not know
// is done here: leading blanks and a plus sign, text after the number, whether a number outside the
// range of double is too large or too small, and the point where people expect it.
#include "platform/text/number_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// Numbers from the first up to below the second are written without an exponent.
constexpr double kSmallestPlain = 1e-5;
constexpr double kLargestPlain = 1e15;
// More characters than any finite double needs, with sign and point.
constexpr std::size_t kNumberSpace = 64;

// The blanks of isspace() in the "C" locale.
bool isSpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

std::size_t digitsFrom(std::string_view text, std::size_t at) {
  while (at < text.size() && isDigit(text[at])) {
    ++at;
  }
  return at;
}

// The end of the exponent that starts at `at`, or `at` when there is none.
std::size_t exponentFrom(std::string_view text, std::size_t at) {
  if (at == text.size() || (text[at] != 'e' && text[at] != 'E')) {
    return at;
  }
  std::size_t digits = at + 1;
  if (digits < text.size() && (text[digits] == '+' || text[digits] == '-')) {
    ++digits;
  }
  const std::size_t end = digitsFrom(text, digits);
  return end == digits ? at : end;
}

// The length of the longest number at the start of the text, without blanks or a sign.
std::size_t unsignedLength(std::string_view text) {
  const std::size_t whole = digitsFrom(text, 0);
  std::size_t end = whole;
  if (whole < text.size() && text[whole] == '.') {
    end = digitsFrom(text, whole + 1);
    if (end == 1) {
      return 0;  // a point alone
    }
  }
  return end == 0 ? 0 : exponentFrom(text, end);
}

// Whether the number is at least 1, judged by its digits. A number outside the range of double is
// too large if so, and too small if not.
bool atLeastOne(std::string_view number) {
  const std::size_t e = number.find_first_of("eE");
  long exponent = 0;
  if (e != std::string_view::npos) {
    std::string_view digits = number.substr(e + 1);
    if (digits.front() == '+') {
      digits.remove_prefix(1);
    }
    if (std::from_chars(digits.data(), digits.data() + digits.size(), exponent).ec != std::errc()) {
      return digits.front() != '-';
    }
  }
  const std::string_view mantissa = number.substr(0, e);
  const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
  const std::size_t first = mantissa.find_first_of("123456789");
  if (first == std::string_view::npos) {
    return false;
  }
  // The power of ten of the first significant digit.
  const auto power =
      first < point ? static_cast<long>(point - first) - 1 : -static_cast<long>(first - point);
  return exponent >= -power;
}

struct Number {
  double value = 0;
  std::size_t length = 0;  // 0: none
  bool tooLarge = false;
};

Number leadingNumber(std::string_view text) {
  Number result;
  const bool negative = !text.empty() && text.front() == '-';
  const std::size_t sign = negative || (!text.empty() && text.front() == '+') ? 1 : 0;
  const std::string_view number = text.substr(sign, unsignedLength(text.substr(sign)));
  if (number.empty()) {
    return result;
  }
  result.length = sign + number.size();
  const auto read = std::from_chars(number.data(), number.data() + number.size(), result.value);
  if (read.ec == std::errc::result_out_of_range) {
    // The library does not say in which direction.
    result.value = 0;
    result.tooLarge = atLeastOne(number);
  }
  if (negative) {
    result.value = -result.value;
  }
  return result;
}

std::string_view withoutBlanks(std::string_view text) {
  while (!text.empty() && isSpace(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && isSpace(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

template <class Whole>
std::optional<Whole> toWhole(double value) {
  const double rounded = roundHalfEven(value);
  // Written so that NaN, for which every comparison is false, is refused.
  if (!(rounded >= std::numeric_limits<Whole>::min() &&
        rounded <= std::numeric_limits<Whole>::max())) {
    return std::nullopt;
  }
  return static_cast<Whole>(rounded);
}

}  // namespace

double numericPrefix(std::string_view text) {
  return leadingNumber(withoutBlanks(text)).value;
}

std::optional<double> readPrefix(std::string_view text) {
  const Number number = leadingNumber(withoutBlanks(text));
  if (number.tooLarge) {
    return std::nullopt;
  }
  return number.value;
}

std::string withPoint(std::string_view text, std::string_view separator) {
  std::string read(text);
  const std::size_t at = separator.empty() ? text.npos : text.find(separator);
  // npos is larger than every place, so a missing point or separator compares as it should.
  if (at < text.find('.')) {
    read.replace(at, separator.size(), ".");
  }
  return read;
}

std::optional<double> readNumber(std::string_view text) {
  text = withoutBlanks(text);
  const Number number = leadingNumber(text);
  if (number.length == 0 || number.length != text.size() || number.tooLarge) {
    return std::nullopt;
  }
  return number.value;
}

std::string shortestText(double value) {
  if (!std::isfinite(value) || value == 0) {
    return "0";
  }
  const double size = std::abs(value);
  const bool plain = size >= kSmallestPlain && size < kLargestPlain;
  char text[kNumberSpace];
  const auto written =
      std::to_chars(text, text + sizeof text, value,
                    plain ? std::chars_format::fixed : std::chars_format::scientific);
  return {text, written.ptr};
}

double roundHalfEven(double value) {
  // Not by std::round: the C library of MinGW-w64 adds a half and cuts, which makes 1 of the number
  // just below a half.
  const double whole = std::trunc(value);
  const double rest = std::abs(value - whole);  // exact for every double that has a fraction
  if (rest < 0.5) {
    return whole;
  }
  const bool toEven = rest == 0.5 && std::fmod(whole, 2) == 0;
  return toEven ? whole : whole + std::copysign(1.0, value);
}

std::optional<std::int16_t> toInt16(double value) {
  return toWhole<std::int16_t>(value);
}
std::optional<std::int32_t> toInt32(double value) {
  return toWhole<std::int32_t>(value);
}

}  // namespace relaybird
