// SPDX-License-Identifier: MIT
// Reads one response of an IMAP server. Strict where a wrong reading would touch the wrong message,
// tolerant everywhere else: servers differ, and strangers write part of what they send.
#pragma once

#include "stores/account/imap_reader.h"
#include "stores/account/imap_response.h"

namespace relaybird {

/// Never fails: what cannot be understood is ImapUnknown, or a fetch that is not whole. Linear
/// time; literals are moved, not copied.
ImapResponse parseImapResponse(ImapLines lines);

}  // namespace relaybird
