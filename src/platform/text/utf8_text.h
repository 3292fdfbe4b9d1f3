// SPDX-License-Identifier: MIT
// UTF-8 text by characters (RFC 3629 section 3). A byte outside every valid
// sequence counts as a character of its own value, as in the 8-bit texts of older releases; nothing
// fails.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace relaybird {

/// Whether the byte continues a character that an earlier byte has begun.
constexpr bool isContinuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

/// The number of characters (code points, not columns on a screen).
std::size_t characterCount(std::string_view text);

/// The beginning of a text, at most that many characters.
std::string_view firstCharacters(std::string_view text, std::size_t most);

/// A character and its length in bytes; length 0: not a character.
struct Utf8Character {
  char32_t code = 0;
  std::size_t length = 0;
};
/// The first character of a non-empty text; length 0 where it does not begin with a well-formed
/// sequence (overlong, half a surrogate pair, past U+10FFFF, cut off).
Utf8Character firstCharacter(std::string_view text);

/// Removes the first character of a non-empty text and returns its code.
std::int32_t takeCharacter(std::string_view& text);

/// Appends a character. Any code from 0 to 0x1FFFFF can be read back with takeCharacter.
void appendCharacter(std::string& text, std::int32_t code);

/// A text that was cut after a number of bytes, without an incomplete character at its end.
std::string_view withoutBrokenEnd(std::string_view text);

}  // namespace relaybird
