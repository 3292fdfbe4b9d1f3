// SPDX-License-Identifier: MIT
// The kind of a message by its head alone, so that a walk over the inbox need not fetch bodies.
#pragma once

#include <optional>

#include "message/circles.h"
#include "message/header_block.h"
#include "message/message_kind.h"
#include "stores/account/imap_response.h"

namespace relaybird {

/// The kind that readMessageKind() would find, from the header section (or the fields of
/// imapHeadFields() of it) and the server's BODYSTRUCTURE. Nothing where the message must be read:
/// it may be an invitation, a report, or a failed delivery, or `structure` contradicts the header.
std::optional<MessageKind> kindFromStructure(const HeaderBlock& headers, const ImapPart* structure,
                                             const OwnMarks& own);

/// The character set of the first text, which raw bytes in the header section are probably in.
/// Empty where the message has no text, or it does not say.
std::string_view firstTextCharset(const ImapPart& structure);

}  // namespace relaybird
