// SPDX-License-Identifier: MIT
// Writes the forward of a message: a new message from the user that quotes the original text under
// a short header block and carries the original attachments as they were.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "message/address/mail_address.h"
#include "message/message.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

/// All texts are UTF-8. What comes from strangers may hold anything: no part of it can begin a
/// header field of its own.
struct ForwardDraft {
  /// The message forwarded, not owned; null for a message that is new.
  const Message* source = nullptr;
  Mailbox from;
  std::vector<Mailbox> to;
  /// Written as a Bcc field, so that the waiting message knows all its recipients; whoever hands it
  /// to a mail server takes the field off.
  std::vector<Mailbox> bcc;
  /// An address that cannot be written into every mail is left out.
  std::vector<Mailbox> replyTo;
  /// The whole subject; forwardSubject() of mail/shared_components.h makes the usual one.
  std::string subject;
  /// A text that takes the place of the original's quoted text; no HTML is written then.
  std::optional<std::string> body;
  /// The source's date as people read it, for the header block; empty leaves the line out.
  std::string sentText;
  /// Which of the source's attachments go along: indexes into its attachments(), in any order. One
  /// that is out of range is an error.
  std::vector<std::size_t> keptAttachments;
  std::string messageId;  ///< with or without angle brackets
  DateTime date = kNoDate;
  /// The marks of the trace field: our own, then those of the source (traceMarks()); none leaves
  /// the field out.
  std::vector<std::string> traces;
};

/// Writes the complete message with LF line ends, a block at a time, within the rules of RFC 5322,
/// 2045 and 2047: lines of at most 998 bytes, 7-bit but for embedded messages, which may not be
/// encoded, and a line end at its end. Attached parts are copied out of the source's file as they
/// are; one that breaks those rules goes through another transfer encoding, block by block, and one
/// that breaks them although it may not be encoded, as a message, becomes a file of its bytes. A
/// source that goes along whole loses its Bcc field and nothing else. EINVAL for a draft without a
/// usable From or Message-ID or with a recipient that is no address (isRfc5322Address); nothing has
/// been written then. On another failure an unknown part has been. Does not sync or close.
Result<void> writeForward(const ForwardDraft& draft, OutputFile& out);

}  // namespace relaybird
