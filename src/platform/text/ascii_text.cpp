// SPDX-License-Identifier: MIT
#include "platform/text/ascii_text.h"

#include <algorithm>

namespace relaybird {

// In blocks without a way out, which compilers turn into wide instructions: attachments are long.
bool isAscii(std::string_view text) {
  constexpr std::size_t kBlock = 64;
  for (; text.size() >= kBlock; text.remove_prefix(kBlock)) {
    unsigned char bits = 0;
    for (std::size_t i = 0; i < kBlock; ++i) {
      bits |= static_cast<unsigned char>(text[i]);
    }
    if ((bits & 0x80U) != 0) {
      return false;
    }
  }
  return std::all_of(text.begin(), text.end(), [](char c) { return isAscii(c); });
}

std::string asciiLower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    c = asciiLower(c);
  }
  return lower;
}

std::string asciiUpper(std::string_view text) {
  std::string upper(text);
  for (char& c : upper) {
    if (c >= 'a' && c <= 'z') {
      c = static_cast<char>(c - 'a' + 'A');
    }
  }
  return upper;
}

bool equalsAsciiCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return asciiLower(x) == asciiLower(y); });
}

int hexValue(char c) {
  if (isDigit(c)) {
    return c - '0';
  }
  const char lower = asciiLower(c);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::string toHex(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    text += kDigits[value >> 4U];
    text += kDigits[value & 15U];
  }
  return text;
}

std::string_view trimmedEnd(std::string_view text, std::string_view dropped) {
  // npos + 1 is 0: nothing is left.
  return text.substr(0, text.find_last_not_of(dropped) + 1);
}

std::string_view trimmed(std::string_view text, std::string_view dropped) {
  text = trimmedEnd(text, dropped);
  text.remove_prefix(std::min(text.find_first_not_of(dropped), text.size()));
  return text;
}

std::string trimBlanks(std::string_view text) {
  return std::string(trimmed(text, " "));
}

}  // namespace relaybird
