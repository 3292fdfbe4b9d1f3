// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "outbox/delivery/transport.h"
#include "platform/result.h"

namespace relaybird {

/// In bytes. A larger file in the outbox is no message of ours.
inline constexpr std::size_t kLargestOutgoing = std::size_t{256} << 20;

/// Makes a message ready to leave: the envelope is read from its From, To and Bcc fields, Bcc is
/// taken out of it, and CR LF becomes LF. Fails for a message that can never leave: without a
/// sender, without a recipient, or with an address that a mail command or server could mistake for
/// something else (readWrittenField). Linear time; any thread. The message is changed in the place
/// where it is, so that a large one is in memory once.
Result<OutgoingMessage> prepareMessage(std::string file);

/// The message addressed to none but these, each of whom its To or Bcc fields name: the others are
/// taken out of these fields, and nothing else changes. Fails as prepareMessage() does.
Result<std::string> addressedOnlyTo(std::string file, const std::vector<std::string>& recipients);

/// Any bytes as part of a log line: as withCodes() writes them, but each run of blanks and line
/// breaks becomes one blank, without blanks at the ends. Cut to 300 bytes, never within a character
/// or a code.
std::string oneLine(std::string_view text);

/// The subject of a message as it is shown to people: UTF-8 on one line, cut to a length that fits
/// a log. Accepts any bytes.
std::string messageSubject(std::string_view file);

}  // namespace relaybird
