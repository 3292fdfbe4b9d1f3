// SPDX-License-Identifier: MIT
// UTF-8 text by characters (RFC 3629 section 3). A byte that belongs to no valid sequence is taken
// as a character of its own value, as in the 8-bit texts of older releases; nothing fails.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace relaybird {

/// Whether the byte goes on with a character that another one has begun.
constexpr bool isContinuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

/// The number of characters (code points, whatever their width on a screen).
std::size_t characterCount(std::string_view text);

/// The beginning of a text, with at most so many characters.
std::string_view firstCharacters(std::string_view text, std::size_t most);

/// A character as its bytes are; a length of 0 stands for none.
struct Utf8Character {
  char32_t code = 0;
  std::size_t length = 0;
};
/// The character that a text which is not empty begins with; none where its first byte begins no
/// well-formed sequence (too long a form, half a surrogate pair, past U+10FFFF, cut off).
Utf8Character firstCharacter(std::string_view text);

/// Takes the first character off a text that is not empty, and returns its code.
std::int32_t takeCharacter(std::string_view& text);

/// Appends a character. Any code from 0 to 0x1FFFFF can be taken back.
void appendCharacter(std::string& text, std::int32_t code);

/// A text that was cut after some number of bytes, without the beginning of a character that the
/// cut may have left at its end.
std::string_view withoutBrokenEnd(std::string_view text);

}  // namespace relaybird
