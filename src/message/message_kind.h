// SPDX-License-Identifier: MIT
// The kind of item that a stored message is: ordinary mail, a meeting, a task request, a report, or
// something that must not be forwarded, because mail would go in circles. Ordinary mail is
// recognised by its header section alone; of other messages only the beginning is read, whatever
// their size.
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

/// The class name of an item of that kind. Those of the last three are in no list of kinds to
/// forward.
std::string_view className(MessageKind kind);

/// The reason why an item of one of the last three kinds is not forwarded, to continue "not
/// forwarded because"; empty for the other kinds.
std::string whyNotForwarded(MessageKind kind);

/// How much of a message is read to find its kind. Parts that begin later are ignored, so that a
/// huge message costs no more than a small one.
inline constexpr std::size_t kKindBytes = std::size_t{1} << 20;

/// The kind, if the header section alone decides it; empty where the body must be read.
std::optional<MessageKind> kindFromHeaders(const HeaderBlock& headers, const OwnMarks& own);

/// The kind of a message whose header section was read from the same file. Fails only where reading
/// fails. isOwnForward() and isAutomaticAnswer() decide first; a report or notice that returns a
/// forward of ours, or names one in its text, is an answer too. A scheduling message has a
/// text/calendar part with a method (RFC 5546), at the top or inside multiparts, but not as an
/// attachment or within an embedded message. An event of any method is a meeting; the four task
/// kinds differ in method, SEQUENCE and the answering PARTSTAT. Signed and encrypted mail is
/// ordinary mail.
Result<MessageKind> readMessageKind(const HeaderBlock& headers, InputFile& file,
                                    const OwnMarks& own);

}  // namespace relaybird
