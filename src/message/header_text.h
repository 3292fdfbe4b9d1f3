// SPDX-License-Identifier: MIT
// Small readings of header values. Any thread; linear time; nothing throws on bad input.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "message/address/mail_address.h"

#include "platform/text/ascii_text.h"

namespace relaybird {

/// A raw value on one line and trimmed: CR, LF and NUL go, the blanks of folds stay.
std::string unfolded(std::string_view raw);

/// A raw value as text for people: encoded words decoded, UTF-8, on one line. `rawCharset` as
/// decodeHeaderText() has it.
std::string headerText(std::string_view raw, std::string_view rawCharset = {});

/// parseAddress(), without its cost for the forms that nearly every message has: a bare address, or
/// a plain or simply quoted name and an address in angle brackets.
Mailbox firstMailbox(std::string_view raw, std::string_view rawCharset = {});

/// The message identifiers in a value such as that of References, angle brackets included, as far
/// as they are of visible ASCII and safe to be written into a header again.
std::vector<std::string> messageIds(std::string_view value);

}  // namespace relaybird
