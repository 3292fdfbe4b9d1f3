// SPDX-License-Identifier: MIT
// What kind of item a stored message is: ordinary mail, a meeting, a task request, a report, or
// something that is not to be forwarded, because mail would go in circles. Plain mail is judged
// from its header section alone; of the rest only the beginning is read, whatever its size.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "message/circles.h"
#include "message/header_block.h"
#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

enum class MessageKind {
  kMail,
  kMeeting,
  kReport,  ///< a delivery status or a disposition notification (RFC 6522)
  kTaskRequest,
  kTaskAccept,
  kTaskDecline,
  kTaskUpdate,
  kOwnForward,    ///< a forward of ours that has come back
  kOwnAnswer,     ///< a report about a forward of ours, or a machine's answer to one
  kManyForwards,  ///< has been forwarded kHopLimit times
};

/// The class name of an item of that kind. Those of the last three are names that no list of kinds
/// to forward holds.
std::string_view className(MessageKind kind);

/// Why an item of one of the last three kinds is not forwarded, to be read behind "not forwarded
/// because"; empty for the others.
std::string whyNotForwarded(MessageKind kind);

/// How far into a message its kind is looked for: parts that begin behind the first megabyte do not
/// count, so that a huge message costs no more than a small one.
inline constexpr std::size_t kKindBytes = std::size_t{1} << 20;

/// The kind where the header section alone tells it; nothing where the body must be looked at.
std::optional<MessageKind> kindFromHeaders(const HeaderBlock& headers, const OwnMarks& own);

/// The kind of a message whose header section was read from the same file. Fails only where reading
/// fails. What isOwnForward() and isAutomaticAnswer() tell comes first; a report or a notice that
/// returns a forward of ours, or names one in its text, is an answer too. Scheduling messages are
/// RFC 5546 parts, text/calendar with a method, at the top or inside multiparts but neither
/// attachments nor within an embedded message; an event of any method is a meeting, a task's
/// method, SEQUENCE and the answering PARTSTAT tell the four task kinds apart. Signed and encrypted
/// mail is ordinary mail.
Result<MessageKind> readMessageKind(const HeaderBlock& headers, InputFile& file,
                                    const OwnMarks& own);

}  // namespace relaybird
