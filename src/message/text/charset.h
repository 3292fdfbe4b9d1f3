// SPDX-License-Identifier: MIT
// Text of any character set into UTF-8. Mail names its character set by habit rather than by fact,
// so a label is a hint: what senders are known to mean by it decides, and nothing that cannot be
// converted makes the rest of a text disappear.
//
// Calls never throw on bad input and take time linear in its length. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace relaybird {

/// What stands where a byte could not be converted: U+FFFD, in UTF-8.
inline constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";

/// True for well-formed UTF-8 as RFC 3629 has it: no overlong form, no surrogate, nothing past
/// U+10FFFF. A NUL is a character like any other.
bool isValidUtf8(std::string_view bytes);

/// `bytes` with every byte that is no part of a well-formed sequence replaced by U+FFFD. At most
/// three times as long; the same text where it was valid already.
std::string scrubUtf8(std::string_view bytes);

/// `bytes` as UTF-8, read by the character set that `charsetLabel` (a MIME or HTML name; case,
/// blanks and quotes do not matter; may be empty) stands for in practice: the labels that mail
/// misuses mean the larger set of the same family ("iso-8859-1" is windows-1252, "gb2312" is
/// gb18030).
/// - A text labelled ASCII, Latin-1, UTF-8 or not at all that is valid UTF-8 is taken as that, and
/// so
///   is one that its own set cannot convert. ISO-2022-JP with eight bits is EUC-JP or Shift_JIS.
/// - A byte that the set does not have becomes U+FFFD, and conversion goes on behind it; NULs stay.
/// - A label that nobody knows: UTF-8 if the text is that, else windows-1252.
/// The result is always valid UTF-8 and at most kUtf8Growth times as long as `bytes`.
std::string toUtf8(std::string_view bytes, std::string_view charsetLabel);

/// The longest that one input byte can become (some sets have one byte for two characters).
inline constexpr std::size_t kUtf8Growth = 6;

}  // namespace relaybird
