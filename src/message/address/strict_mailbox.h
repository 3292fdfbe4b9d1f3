// SPDX-License-Identifier: MIT
// Addresses that mail is sent to, read strictly: what is not wholly one address is none. Nothing is
// repaired, dropped or guessed, because mail that goes to another address than the one that
// somebody confirmed is worse than mail that does not go. What strangers write into headers is read
// by parseAddressList() of mail_address.h, which guesses. Any thread; linear time.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "message/address/mail_address.h"
#include "platform/result.h"

namespace relaybird {

/// The mailbox that `text` is as a whole, the address as it is written: "local@domain",
/// "<local@domain>" or "Name <local@domain>", the name of words and quoted strings (RFC 5322
/// section 3.4). None for everything else. The address passes isRfc5322Address(); nothing is said
/// of the name.
std::optional<Mailbox> readMailbox(std::string_view text);

/// The text of a display name of words and quoted strings, the quotes taken off; none where it
/// holds anything else.
std::optional<std::string> readPhrase(std::string_view text);

/// What a person typed as one recipient, in a form of readMailbox(). The address comes out in its
/// wire form (wireAddress()), equal to the typed one byte by byte where the domain is ASCII. None
/// for everything else: comments, groups, routes, lists, blanks at the ends or within the angle
/// brackets, encoded words, control characters, text before or behind, a domain that looks like
/// another because it mixes scripts.
std::optional<Mailbox> readRecipient(std::string_view typed);

/// The addresses of an address field that this system has written, folds included, in order; the
/// wire forms. Where an entry is not wholly one mailbox, an error whose text is that entry. A blank
/// field is an empty list.
Result<std::vector<std::string>> readWrittenField(std::string_view value);

}  // namespace relaybird
