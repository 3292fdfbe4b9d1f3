// SPDX-License-Identifier: MIT
// Mailboxes: read from header values that strangers wrote, and written as text.
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
/// flattened. This reader guesses, so it may take one address for another: addresses that mail is
/// sent to are read by strict_mailbox.h. Unreadable entries are left out; an entry without "@" is
/// kept as an address for the caller to judge. Domains are returned in wire form (wireAddress()),
/// in which none can be mistaken for another. At most kMaxMailboxes from at most the first
/// kMaxAddressHeader bytes. The addresses are NOT checked: see isRfc5322Address(). Raw 8-bit bytes
/// are read by rawHeaderToUtf8(). Any thread.
std::vector<Mailbox> parseAddressList(std::string_view raw, std::string_view rawCharset = {});

/// The first mailbox of the value; both members empty where there is none.
Mailbox parseAddress(std::string_view raw, std::string_view rawCharset = {});

/// The same as parseAddress(), but cheap for the forms that nearly every message has: a bare
/// address, or a plain or simply quoted name and an address in angle brackets.
Mailbox firstMailbox(std::string_view raw, std::string_view rawCharset = {});

inline constexpr std::size_t kMaxMailboxes = 10'000;
inline constexpr std::size_t kMaxAddressHeader = 1'000'000;

/// The text as a quoted string (RFC 5322 section 3.2.4).
std::string quotedString(std::string_view text);

/// "Name <address>" (RFC 5322) in UTF-8, the name quoted where necessary; the address alone where
/// there is no name. Control characters in the name become blanks, so that the result stays on one
/// line. For people, not for a header: see addressField().
std::string formatMailbox(const Mailbox& mailbox);

}  // namespace relaybird
