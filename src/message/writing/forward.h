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

/// All texts are UTF-8. Texts from strangers may contain anything: none can begin a header field.
struct ForwardDraft {
  /// The message forwarded, not owned; null for a message that is new.
  const Message* source = nullptr;
  Mailbox from;
  std::vector<Mailbox> to;
  /// Written as a Bcc field, so that the waiting message contains all its recipients. The delivery
  /// removes the field before it hands the message over.
  std::vector<Mailbox> bcc;
  /// An address that cannot be written into every mail is left out.
  std::vector<Mailbox> replyTo;
  /// The complete subject; forwardSubject() of mail/shared_components.h makes the usual one.
  std::string subject;
  /// A text in place of the quoted original; no HTML is written then.
  std::optional<std::string> body;
  /// The source's date in readable form for the header block; empty leaves the line out.
  std::string sentText;
  /// The attachments of the source to include: indexes into its attachments(), in any order. One
  /// that is out of range is an error.
  std::vector<std::size_t> keptAttachments;
  std::string messageId;  ///< with or without angle brackets
  DateTime date = kNoDate;
  /// The marks of the trace field: our own, then those of the source (traceMarks()); an empty list
  /// leaves the field out.
  std::vector<std::string> traces;
};

/// Writes the complete message with LF line ends, a block at a time, within the rules of RFC 5322,
/// 2045 and 2047: lines of at most 998 bytes, 7-bit except for embedded messages, which may not be
/// encoded, and a line end at the end. Attached parts are copied unchanged from the source's file.
/// A part that breaks those rules is put into another transfer encoding; an embedded message that
/// breaks them becomes a file of its bytes. A source that is carried whole loses its Bcc field and
/// nothing else. EINVAL for a draft without a usable From or Message-ID, or with an invalid
/// recipient (isRfc5322Address()); nothing has been written then. On any other failure part of the
/// message may have been written. Does not sync or close.
Result<void> writeForward(const ForwardDraft& draft, OutputFile& out);

}  // namespace relaybird
