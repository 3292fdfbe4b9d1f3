// SPDX-License-Identifier: MIT
// Reads the addresses that mail is sent to. Nothing is repaired, dropped or guessed: a text that is
// not exactly one address is invalid, because mail to another address than the confirmed one is
// worse than no mail. Headers that strangers wrote are read by parseAddressList() of
// mail_address.h, which guesses. Any thread; linear time.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "message/address/mail_address.h"
#include "platform/result.h"

namespace relaybird {

/// Reads `text` as a whole as one mailbox: "local@domain", "<local@domain>" or "Name
/// <local@domain>", the name of words and quoted strings (RFC 5322 section 3.4). Empty for
/// everything else. The address is returned as written and passes isRfc5322Address(); the name is
/// not checked further.
std::optional<Mailbox> readMailbox(std::string_view text);

/// The text of a display name of words and quoted strings, without the quotes; empty where it
/// contains anything else.
std::optional<std::string> readPhrase(std::string_view text);

/// Reads what a person typed as one recipient, in one of the forms of readMailbox(). The address is
/// returned in wire form (wireAddress()), which equals the typed one where the domain is ASCII.
/// Empty for everything else: comments, groups, routes, lists, blanks at the ends or inside the
/// angle brackets, encoded words, control characters, text before or behind, or a domain that mixes
/// scripts and so looks like another.
std::optional<Mailbox> readRecipient(std::string_view typed);

/// Reads an address field that this system has written, folds included. Returns the addresses in
/// order and in wire form. An entry that is not exactly one mailbox is an error, whose text is that
/// entry. A blank field is an empty list.
Result<std::vector<std::string>> readWrittenField(std::string_view value);

}  // namespace relaybird
