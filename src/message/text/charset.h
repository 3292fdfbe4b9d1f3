// SPDX-License-Identifier: MIT
// Converts text of any character set to UTF-8. Labels in mail are often wrong, so a label is a
// hint: it is taken for what senders are known to mean by it, and bytes that cannot be converted do
// not make the rest of a text disappear.
//
// Calls never throw on bad input and take time linear in its length. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace relaybird {

/// Replaces a byte that could not be converted: U+FFFD, in UTF-8.
inline constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";

/// True for well-formed UTF-8 (RFC 3629): no overlong form, no surrogate, nothing past U+10FFFF.
/// NUL is a character like any other.
bool isValidUtf8(std::string_view bytes);

/// `bytes` with each byte that is not part of a well-formed sequence replaced by U+FFFD. At most
/// three times as long; valid text is returned unchanged.
std::string scrubUtf8(std::string_view bytes);

/// `bytes` as UTF-8. `charsetLabel` is a MIME or HTML name, and may be empty; case, blanks and
/// quotes do not matter. Labels that mail misuses mean the larger set of the same family
/// ("iso-8859-1" is windows-1252, "gb2312" is gb18030).
/// - Valid UTF-8 is taken as that where the label is ASCII, Latin-1, UTF-8 or empty, or where the
///   labelled set cannot convert the text. ISO-2022-JP with eight bits is EUC-JP or Shift_JIS.
/// - A byte that the set does not have becomes U+FFFD; conversion continues behind it. NULs stay.
/// - An unknown label means UTF-8 where the text is valid as that, else windows-1252.
/// The result is always valid UTF-8 and at most kUtf8Growth times as long as `bytes`.
std::string toUtf8(std::string_view bytes, std::string_view charsetLabel);

/// The longest that one input byte can become (some sets have one byte for two characters).
inline constexpr std::size_t kUtf8Growth = 6;

}  // namespace relaybird
