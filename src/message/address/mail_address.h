// SPDX-License-Identifier: MIT
// Mail addresses: out of header values and user input, and back into text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

/// A person's mailbox. Both members are UTF-8; either may be empty.
struct Mailbox {
  std::string name;     ///< display name, decoded, without quotes and control characters
  std::string address;  ///< local-part@domain

  bool operator==(const Mailbox&) const = default;
};

/// The mailboxes of an address header's raw value (From, To, Reply-To ...), in order, groups
/// flattened. It is as forgiving as strangers are careless, so it may well take one address for
/// another: where mail is to go is read by strict_mailbox.h. What cannot be read is left out; an
/// entry without an "@" is kept as an address for the caller to judge. Domains come out in their
/// wire form (wireAddress()), in which none can be mistaken for another. At most kMaxMailboxes, of
/// at most the first kMaxAddressHeader bytes. The addresses are NOT checked: see isRfc5322Address.
/// Raw 8-bit bytes are read as rawHeaderToUtf8() has it. Any thread.
std::vector<Mailbox> parseAddressList(std::string_view raw, std::string_view rawCharset = {});

/// The first mailbox of the value; both members empty where there is none.
Mailbox parseAddress(std::string_view raw, std::string_view rawCharset = {});

inline constexpr std::size_t kMaxMailboxes = 10'000;
inline constexpr std::size_t kMaxAddressHeader = 1'000'000;

/// True where `text` as a whole is one bare address (RFC 5322 section 3.4.1) that is safe to put on
/// a mail command's line and into an SMTP envelope: a dot-atom or quoted local part of at most 64
/// bytes, and a domain or an address literal, 254 together (RFC 5321 section 4.5.3.1), also in the
/// wire form. Characters beyond ASCII are accepted as RFC 6531 and IDNA 2008 have them, but no
/// control, format or white space among them, and none that the wire form would turn into others.
/// Comments, folds, blanks outside quotes, the obsolete syntax and a leading "-" (an option, for a
/// command) are refused. Any thread.
bool isRfc5322Address(std::string_view text);

/// The address with its domain in the form that name servers are asked for and that looks like
/// nothing else: "a@m\u00FCnchen.example" becomes "a@xn--mnchen-3ya.example". The text itself where
/// there is no such form, or nothing to change. Any thread.
std::string wireAddress(std::string_view address);

/// True for valid UTF-8 without control, format and private-use characters, U+FFFD and white space
/// other than the ASCII blank: what looks like nothing, or reorders what stands beside it, has no
/// place in an address that a person is to recognise.
bool isVisibleText(std::string_view text);

/// "Name <address>" as RFC 5322 writes it, in UTF-8, the name quoted where it must be; the address
/// alone where there is no name. Control characters in the name become blanks, so that the result
/// stays on one line. Not encoded for a header: GMime does that.
std::string formatMailbox(const Mailbox& mailbox);

}  // namespace relaybird
