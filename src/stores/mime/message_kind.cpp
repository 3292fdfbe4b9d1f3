// SPDX-License-Identifier: MIT
#include "stores/mime/message_kind.h"

#include "platform/text/number_text.h"
#include "stores/mime/calendar_kind.h"
#include "stores/mime/header_text.h"
#include "stores/mime/parts/line_reader.h"
#include "stores/mime/parts/media_type.h"
#include "stores/mime/parts/part_content.h"
#include "stores/mime/parts/part_tree.h"

namespace relaybird {
namespace {

/// As much of a returned message as its header section can be expected to fill.
constexpr std::size_t kReturnedBytes = std::size_t{64} << 10;

std::string typeOf(const HeaderBlock& headers) {
  const auto raw = headers.raw("Content-Type");
  return raw ? bareContentType(*raw) : std::string();
}

/// Mail servers send their notices with an empty return path (RFC 5321 section 4.5.5).
bool isNotice(const HeaderBlock& headers) {
  return headers.value("Return-Path") == "<>";
}

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

bool isReport(const Part& root) {
  if (root.type.value != "multipart/report") {
    return false;
  }
  const std::string type = asciiLower(root.type.parameter("report-type"));
  return type == "delivery-status" || type == "disposition-notification" ||
         (type.empty() && findPart(root, isReportPart) != nullptr);
}

/// Whether a report returns a message that bears our trace.
Result<bool> returnsOwn(InputFile& file, const Part& root, const OwnTrace& own) {
  const Part* returned = findPart(root, isReturnedMessage);
  if (returned == nullptr) {
    return false;
  }
  const auto content = decodedContent(file, *returned, kReturnedBytes);
  if (!content) {
    return content.error();
  }
  const HeaderBlock headers(*content);
  return headers.raw(kTraceHeader).has_value() && own(headers.value(kTraceHeader));
}

/// Older servers return the message as plain text, perhaps quoted, below their own words.
Result<bool> quotesOwn(InputFile& file, const HeaderBlock& headers, const OwnTrace& own) {
  LineReader lines(file, headers.bodyOffset(), kKindBytes);
  while (true) {
    const auto line = lines.next();
    if (!line) {
      return line.error();
    }
    if (!line->has_value()) {
      return false;
    }
    std::string_view text = (*line)->text;
    text.remove_prefix(std::min(text.find_first_not_of("> \t"), text.size()));
    if (text.size() > kTraceHeader.size() && text[kTraceHeader.size()] == ':' &&
        equalsAsciiCase(text.substr(0, kTraceHeader.size()), kTraceHeader) &&
        own(unfolded(text.substr(kTraceHeader.size() + 1)))) {
      return true;
    }
  }
}

/// The containers that an invitation may lie in. Within any other, and within what is opened by a
/// person only, it is an attachment.
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
      break;
  }
  return "RelaybirdForward";
}

std::optional<MessageKind> kindFromHeaders(const HeaderBlock& headers, const OwnTrace& own) {
  if (headers.raw(kTraceHeader) && own(headers.value(kTraceHeader))) {
    return MessageKind::kOwnForward;
  }
  if (isNotice(headers)) {
    return std::nullopt;
  }
  const std::string type = typeOf(headers);
  const bool sealed = type == "multipart/signed" || type == "multipart/encrypted";
  if ((type.starts_with("multipart/") && !sealed) || type == "text/calendar") {
    return std::nullopt;
  }
  return MessageKind::kMail;
}

Result<MessageKind> readMessageKind(const HeaderBlock& headers, InputFile& file,
                                    const OwnTrace& own) {
  if (const auto known = kindFromHeaders(headers, own)) {
    return *known;
  }
  const auto tree = readPartTree(file, headers, kKindBytes);
  if (!tree) {
    return tree.error();
  }
  const Part& root = *tree->root;
  const bool report = isReport(root);
  if (isNotice(headers) || root.type.value == "multipart/report") {
    const auto returned = returnsOwn(file, root, own);
    const auto quoted = quotesOwn(file, headers, own);
    if (!returned || !quoted) {
      return returned ? quoted.error() : returned.error();
    }
    if (*returned || *quoted) {
      return MessageKind::kOwnForward;
    }
  }
  return report ? MessageKind::kReport : invitationKind(file, root);
}

}  // namespace relaybird
