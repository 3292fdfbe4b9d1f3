// SPDX-License-Identifier: MIT
// The cheap questions come first: most mail is decided by its header section. Only multiparts,
// calendars and mail with an empty return path are read further, up to kKindBytes.
#include "message/message_kind.h"

#include <algorithm>

#include "message/calendar_kind.h"
#include "message/parts/line_reader.h"
#include "message/parts/part_content.h"
#include "message/parts/part_tree.h"
#include "message/text/header_text.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// How much of a returned message is read: enough for any ordinary header section.
constexpr std::size_t kReturnedBytes = std::size_t{64} << 10;

std::string typeOf(const HeaderBlock& headers) {
  const auto raw = headers.raw("Content-Type");
  return raw ? bareContentType(*raw) : std::string();
}

// The message/global types are those of internationalised mail (RFC 6533).
bool isReportPart(const Part& part) {
  const std::string& type = part.type.value;
  return type == "message/delivery-status" || type == "message/global-delivery-status" ||
         type == "message/disposition-notification" ||
         type == "message/global-disposition-notification";
}

bool isReturnedMessage(const Part& part) {
  const std::string& type = part.type.value;
  return type == "message/rfc822" || type == "text/rfc822-headers" || type == "message/global" ||
         type == "message/global-headers";
}

// Depth first, in the order of the message. The recursion is at most kPartDepth deep.
template <class Predicate>
const Part* findPart(const Part& part, const Predicate& wanted) {
  if (wanted(part)) {
    return &part;
  }
  for (const auto& child : part.children) {
    if (const Part* found = findPart(*child, wanted)) {
      return found;
    }
  }
  return nullptr;
}

// RFC 6522 asks for a report-type; some servers leave it out, so the parts decide then. Feedback
// and other reports are ordinary mail.
bool isReport(const Part& root) {
  if (root.type.value != "multipart/report") {
    return false;
  }
  const std::string type = asciiLower(root.type.parameter("report-type"));
  return type == "delivery-status" || type == "disposition-notification" ||
         (type.empty() && findPart(root, isReportPart) != nullptr);
}

// Whether a report returns a forward of ours.
Result<bool> returnsOwn(InputFile& file, const Part& root, const OwnMarks& own) {
  const Part* returned = findPart(root, isReturnedMessage);
  if (returned == nullptr) {
    return false;
  }
  const auto content = decodedContent(file, *returned, kReturnedBytes);
  if (!content) {
    return content.error();
  }
  return isOwnForward(HeaderBlock(*content), own);
}

// Finds the marks of a forward of ours in lines of text: a trace field or Message-ID, perhaps
// quoted, or the Original-Message-ID of a disposition notification (RFC 8098 section 3.2.5).
class OwnFinder {
 public:
  explicit OwnFinder(const OwnMarks& own) : own_(own) {}

  // `line` may be a piece of a long line; it is judged like a line.
  bool foundIn(std::string_view line) {
    line.remove_prefix(std::min(line.find_first_not_of("> \t"), line.size()));
    const std::size_t colon = line.find(':');
    const std::string_view name = line.substr(0, std::min(colon, line.size()));
    if (equalsAsciiCase(name, kTraceHeader)) {
      field_ = Field::kTrace;
    } else if (equalsAsciiCase(name, "Message-ID") ||
               equalsAsciiCase(name, "Original-Message-ID")) {
      field_ = Field::kMessageId;
    } else if (colon != std::string_view::npos || isBlankLine(line)) {
      // Another field ends the one before it: identifiers in its value are those of another
      // message.
      field_ = Field::kOther;
    } else {
      return isOwn(line);  // may continue a quoted field, whose indentation the quoting has lost
    }
    return isOwn(line.substr(name.size()));
  }

 private:
  enum class Field { kOther, kTrace, kMessageId };

  bool isOwn(std::string_view value) const {
    if (field_ == Field::kTrace) {
      const auto marks = marksIn(value.substr(value.starts_with(':') ? 1 : 0));
      return std::any_of(marks.begin(), marks.end(), own_.isTrace);
    }
    const auto ids = field_ == Field::kMessageId ? messageIds(value) : std::vector<std::string>();
    return std::any_of(ids.begin(), ids.end(), own_.isMessageId);
  }

  const OwnMarks& own_;
  Field field_ = Field::kOther;
};

// Whether the text quotes a forward of ours: older servers return a message as plain text below
// their explanation.
Result<bool> quotesOwn(InputFile& file, const HeaderBlock& headers, const OwnMarks& own) {
  LineReader lines(file, headers.bodyOffset(), kKindBytes);
  OwnFinder finder(own);
  while (true) {
    const auto line = lines.next();
    if (!line) {
      return line.error();
    }
    if (!line->has_value()) {
      return false;
    }
    if (finder.foundIn((*line)->text)) {
      return true;
    }
  }
}

// The containers in which a calendar part is an invitation. Anywhere else it is an attachment,
// which only a person opens: in an embedded message, for example, it was addressed to someone else.
bool holdsInvitations(const Part& part) {
  return part.type.value == "multipart/mixed" || part.type.value == "multipart/alternative" ||
         part.type.value == "multipart/related";
}

const Part* findInvitation(const Part& part) {
  if (part.type.value == "text/calendar" && !part.isAttached()) {
    return &part;
  }
  if (holdsInvitations(part)) {
    for (const auto& child : part.children) {
      if (const Part* found = findInvitation(*child)) {
        return found;
      }
    }
  }
  return nullptr;
}

Result<MessageKind> invitationKind(InputFile& file, const Part& root) {
  const Part* invitation = findInvitation(root);
  if (invitation == nullptr) {
    return MessageKind::kMail;
  }
  // Bounded, because a hostile part may be as large as the message. The method and the first
  // component stand at the beginning of what real programs write.
  const auto content = decodedContent(file, *invitation, kCalendarBytes);
  if (!content) {
    return content.error();
  }
  return calendarKind(readCalendar(*content), invitation->type.parameter("method"));
}

}  // namespace

std::string_view className(MessageKind kind) {
  switch (kind) {
    case MessageKind::kMail:
      return "MailItem";
    case MessageKind::kMeeting:
      return "meetingitem";
    case MessageKind::kReport:
      return "ReportItem";
    case MessageKind::kTaskRequest:
      return "TaskRequestItem";
    case MessageKind::kTaskAccept:
      return "TaskRequestAcceptItem";
    case MessageKind::kTaskDecline:
      return "TaskRequestDeclineItem";
    case MessageKind::kTaskUpdate:
      return "TaskRequestUpdateItem";
    case MessageKind::kOwnForward:
      return "RelaybirdForward";
    case MessageKind::kOwnAnswer:
      return "RelaybirdAnswer";
    case MessageKind::kManyForwards:
      break;
  }
  return "RelaybirdChain";
}

std::string whyNotForwarded(MessageKind kind) {
  switch (kind) {
    case MessageKind::kOwnForward:
      return "it is one of your own forwards, which has come back";
    case MessageKind::kOwnAnswer:
      return "it is an automatic answer to one of your own forwards, or a report about one";
    case MessageKind::kManyForwards:
      return "it has been forwarded " + std::to_string(kHopLimit) +
             " times already and may be going in circles";
    default:
      return {};
  }
}

// The order matters. Marks come first: a forward that came back is not forwarded whatever else it
// looks like. No value means that the body has to be read.
std::optional<MessageKind> kindFromHeaders(const HeaderBlock& headers, const OwnMarks& own) {
  if (isOwnForward(headers, own)) {
    return MessageKind::kOwnForward;
  }
  if (traceMarks(headers).size() >= kHopLimit) {
    return MessageKind::kManyForwards;
  }
  if (isAutomaticAnswer(headers, own)) {
    return MessageKind::kOwnAnswer;
  }
  // Reports have an empty return path (RFC 5321 section 4.5.5), but so has some ordinary mail.
  if (hasNullReturnPath(headers)) {
    return std::nullopt;
  }
  const std::string type = typeOf(headers);
  // Sealed containers are not opened: an invitation in them is not recognised (holdsInvitations()),
  // so their kind is known.
  const bool sealed = type == "multipart/signed" || type == "multipart/encrypted";
  if ((type.starts_with("multipart/") && !sealed) || type == "text/calendar") {
    return std::nullopt;
  }
  return MessageKind::kMail;
}

Result<MessageKind> readMessageKind(const HeaderBlock& headers, InputFile& file,
                                    const OwnMarks& own) {
  if (const auto known = kindFromHeaders(headers, own)) {
    return *known;
  }
  // Up to kKindBytes: an invitation or a report that begins later is not recognised, and the
  // message counts as ordinary mail. The limit keeps a pass over a full inbox fast.
  const auto tree = readPartTree(file, headers, kKindBytes);
  if (!tree) {
    return tree.error();
  }
  const Part& root = *tree->root;
  const bool report = isReport(root);
  if (hasNullReturnPath(headers) || root.type.value == "multipart/report") {
    // Both are asked: a report may return the message as a part, or only quote it as text.
    const auto returned = returnsOwn(file, root, own);
    const auto quoted = quotesOwn(file, headers, own);
    if (!returned || !quoted) {
      return returned ? quoted.error() : returned.error();
    }
    if (*returned || *quoted) {
      return MessageKind::kOwnAnswer;
    }
  }
  return report ? MessageKind::kReport : invitationKind(file, root);
}

}  // namespace relaybird
