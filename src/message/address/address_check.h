// SPDX-License-Identifier: MIT
// What a mail address may be, and the form of its domain that mail carries (IDNA 2008, RFC 5890 to
// 5894). Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace relaybird {

/// True where `text` as a whole is one bare address (RFC 5322 section 3.4.1) that is safe to put on
/// a mail command's line and into an SMTP envelope: a dot-atom or quoted local part of at most 64
/// bytes, and a domain or an address literal, 254 bytes together (RFC 5321 section 4.5.3.1), also
/// in the wire form. Characters beyond ASCII are accepted as in RFC 6531 and IDNA 2008, except
/// control, format and white-space characters, and characters that the wire form would turn into
/// others. Comments, folds, blanks outside quotes, the obsolete syntax and a leading "-" (an
/// option, for a command) are refused.
bool isRfc5322Address(std::string_view text);

/// The address with its domain in wire form: "a@m\u00FCnchen.example" becomes
/// "a@xn--mnchen-3ya.example". Returns the text itself where the domain has no wire form, or is in
/// it already.
std::string wireAddress(std::string_view address);

/// True for valid UTF-8 without control, format and private-use characters, U+FFFD and white space
/// other than the ASCII blank. Such characters are invisible or reorder their neighbours, so they
/// have no place in an address that a person has to recognise.
bool isVisibleText(std::string_view text);

/// Whether an atom may have the character (RFC 5322 section 3.2.3, without RFC 6532).
bool isAtomCharacter(char c);

/// True for a dot-atom of host name characters (RFC 5322 section 3.2.3, RFC 1123 section 2.1) of at
/// most 255 bytes: labels of ASCII letters, digits and "-" with single dots between them.
bool isHostName(std::string_view domain);

/// The form of a domain that name servers are asked for and that mail carries: labels beyond ASCII
/// become "xn--" labels, ASCII labels stay. What IDNA maps first (capital letters, wide letters,
/// composition) is mapped. Empty where a label has no such form. "_" is allowed: host names do not
/// have it, but mail domains in use do.
std::optional<std::string> wireDomain(std::string_view domain);

/// True where a label mixes scripts in a way that no language does (Latin with Cyrillic, for
/// example), so that the domain can be taken for another one. Digits and marks do not count;
/// Japanese, Chinese and Korean may be mixed with Latin (Unicode Technical Standard 39, highly
/// restrictive).
bool mixesScripts(std::string_view domain);

}  // namespace relaybird
