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

/// The same as parseAddress(), but cheap for the forms that nearly every message has: a bare
/// address, or a plain or simply quoted name and an address in angle brackets.
Mailbox firstMailbox(std::string_view raw, std::string_view rawCharset = {});

inline constexpr std::size_t kMaxMailboxes = 10'000;
inline constexpr std::size_t kMaxAddressHeader = 1'000'000;

/// "Name <address>" as RFC 5322 writes it, in UTF-8, the name quoted where it must be; the address
/// alone where there is no name. Control characters in the name become blanks, so that the result
/// stays on one line. Not encoded for a header: GMime does that.
std::string formatMailbox(const Mailbox& mailbox);

}  // namespace relaybird
