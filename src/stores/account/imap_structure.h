// SPDX-License-Identifier: MIT
// Reads a BODYSTRUCTURE, the structure of a message as its server sees it.
#pragma once

#include <cstddef>
#include <optional>

#include "stores/account/imap_response.h"
#include "stores/account/imap_scanner.h"

namespace relaybird {

/// Multiparts nested deeper, or with more parts, have no structure here: the message must be read.
inline constexpr int kImapPartDepth = 50;
inline constexpr std::size_t kImapPartCount = 2000;
/// The same for the parameters of all parts together.
inline constexpr std::size_t kImapParameterCount = 8000;

/// Takes a structure off the response. Nothing, and a scanner that has failed, where it is
/// malformed or too large.
std::optional<ImapPart> readImapStructure(ImapScanner& in);

}  // namespace relaybird
