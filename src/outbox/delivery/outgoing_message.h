// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "outbox/delivery/transport.h"
#include "platform/result.h"

namespace relaybird {

/// In bytes. A larger file in the outbox is no message of ours.
inline constexpr std::uint64_t kLargestOutgoing = std::uint64_t{256} << 20;

/// Makes a message ready to leave: the envelope is read from its From, To and Bcc fields, and Bcc
/// is taken out of it. Fails for a message that can never leave: too large, without a sender,
/// without a recipient, or with an address that a mail command or server could mistake for
/// something else (readWrittenField). Linear time; any thread.
Result<OutgoingMessage> prepareMessage(OutgoingText file);

/// The message addressed to none but these, each of whom its To or Bcc fields name: the others are
/// taken out of these fields, and nothing else changes but the line ends (OutgoingText). Fails
/// where prepareMessage() does for the head's length or for a recipient.
Result<OutgoingText> addressedOnlyTo(OutgoingText file, const std::vector<std::string>& recipients);

/// What becomes of a message whose text cannot be read to its end. It stays until the disk gives
/// it; one that somebody has changed while it was sent (error number 0) is refused, as nobody knows
/// whether it is still the message that was to leave.
Outcome textFailure(const Error& error);

/// Any bytes as part of a log line: as withCodes() writes them, but each run of blanks and line
/// breaks becomes one blank, without blanks at the ends. Cut to 300 bytes, never within a character
/// or a code.
std::string oneLine(std::string_view text);

/// The subject of a message as it is shown to people: UTF-8 on one line, cut to a length that fits
/// a log. Accepts any bytes.
std::string messageSubject(std::string_view head);

}  // namespace relaybird
