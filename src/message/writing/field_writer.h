// SPDX-License-Identifier: MIT
// Writes header fields as lines (RFC 5322 section 2.2.3, RFC 2047): 7-bit, folded so that no line
// is longer than it has to be, each encoded word at most 75 characters long and on a line of at
// most 76. Texts are UTF-8. Any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "message/address/mail_address.h"

namespace relaybird {

/// A field whose value is text for people, on one line; "Subject:" alone where it is empty.
std::string textField(std::string_view name, std::string_view text);

/// A field of words of visible ASCII, which are written unchanged; empty where there are none.
std::string wordField(std::string_view name, const std::vector<std::string>& words);

/// A field of addresses (From, To, Bcc, Reply-To); empty where there is no mailbox. Each address is
/// written in its wire form, and readWrittenField() reads it back byte by byte. A name is quoted or
/// becomes encoded words where it has to. The addresses must pass isRfc5322Address().
std::string addressField(std::string_view name, const std::vector<Mailbox>& mailboxes);

}  // namespace relaybird
