// SPDX-License-Identifier: MIT
// Characters and texts by the letters, digits and blanks of ASCII, whatever the locale. Every other
// byte is a character of its own that is none of these. Nothing fails; any thread.
#pragma once

#include <string>
#include <string_view>

namespace relaybird {

constexpr bool isAscii(char c) {
  return (static_cast<unsigned char>(c) & 0x80U) == 0;
}
bool isAscii(std::string_view text);

constexpr bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

constexpr bool isLetterOrDigit(char c) {
  return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// A space or a tab, as between the words of a header field (WSP of RFC 5234 appendix B.1).
constexpr bool isBlank(char c) {
  return c == ' ' || c == '\t';
}

/// Not a blank, and with ink (VCHAR of RFC 5234 appendix B.1).
constexpr bool isPrintable(char c) {
  return c > ' ' && c < '\x7f';
}

constexpr char asciiLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
std::string asciiLower(std::string_view text);
std::string asciiUpper(std::string_view text);

/// Whether two texts differ in the case of ASCII letters at most.
bool equalsAsciiCase(std::string_view a, std::string_view b);

/// The value of a hexadecimal digit of either case; -1 for anything else.
int hexValue(char c);

/// Two lower-case hexadecimal digits for each byte.
std::string toHex(std::string_view bytes);

/// The blanks, and what ends a line.
inline constexpr std::string_view kWhiteSpace = " \t\r\n";

/// A part of the text: without those of `dropped` at its end, or at both ends.
std::string_view trimmedEnd(std::string_view text, std::string_view dropped = kWhiteSpace);
std::string_view trimmed(std::string_view text, std::string_view dropped = kWhiteSpace);

/// Without the spaces (not tabs) at both ends.
std::string trimBlanks(std::string_view text);

}  // namespace relaybird
