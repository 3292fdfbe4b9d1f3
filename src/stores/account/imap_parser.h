// SPDX-License-Identifier: MIT
// Reads one response of an IMAP server. Strict where a wrong reading would touch the wrong message,
// tolerant everywhere else: servers differ, and strangers write part of what they send.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "stores/account/imap_reader.h"
#include "stores/account/imap_response.h"

namespace relaybird {

/// Multiparts nested deeper, or with more parts, have no structure here: the message must be read.
inline constexpr int kImapPartDepth = 50;
inline constexpr std::size_t kImapPartCount = 2000;

/// Never fails: what cannot be understood is ImapUnknown, or a fetch that is not whole. Linear
/// time; literals are moved, not copied.
ImapResponse parseImapResponse(ImapLines lines);

/// An INTERNALDATE, "17-Jul-1996 02:44:25 -0700". Nothing for an invalid one.
std::optional<DateTime> parseInternalDate(std::string_view text);

}  // namespace relaybird
