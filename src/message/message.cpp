// SPDX-License-Identifier: MIT
// Texts, attachments and HTML are made when they are first asked for, and kept: most messages are
// judged by their header fields alone, and an attachment has to be read through to be measured.
#include "message/message.h"

#include <gmime/gmime.h>

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "message/calendar_kind.h"
#include "message/parts/message_layout.h"
#include "message/parts/message_text.h"
#include "message/parts/part_content.h"
#include "message/text/clean_text.h"
#include "message/text/header_text.h"
#include "message/text/libraries.h"

namespace relaybird {
namespace {

// The seconds of the years 1 to 9999, the range of DateTime.
constexpr std::int64_t kFirstSecond = -62'135'596'800;
constexpr std::int64_t kLastSecond = 253'402'300'799;

// A name for an attachment without one, with the file ending of its type where that is known.
std::string madeUpName(const Part& part) {
  const std::string& type = part.type.value;
  static constexpr std::array<std::pair<std::string_view, std::string_view>, 5> kNames = {{
      {"text/calendar", "invite.ics"},
      {"text/html", "page.html"},
      {"image/jpeg", "image.jpg"},
      {"message/rfc822", "message.eml"},
      {"application/pdf", "document.pdf"},
  }};
  for (const auto& [each, name] : kNames) {
    if (type == each) {
      return std::string(name);
    }
  }
  if (type.starts_with("text/")) {
    return "text.txt";
  }
  return type.starts_with("image/") ? "image." + type.substr(6) : "attachment";
}

// What the HTML form refers to.
struct Shown {
  std::set<std::string, std::less<>> contentIds;
  std::set<std::string, std::less<>> locations;
};

bool isShown(const Part& part, const Shown& shown) {
  if (!part.contentId.empty() && shown.contentIds.contains(part.contentId)) {
    return true;
  }
  // A document refers to its neighbours by the end of their common address.
  const std::string_view location = part.location;
  const std::string_view name = location.substr(location.rfind('/') + 1);
  return !name.empty() && (shown.locations.contains(location) || shown.locations.contains(name));
}

AttachmentInfo describe(const Part& part, const Shown& shown) {
  AttachmentInfo info;
  info.name = part.fileName.empty() ? madeUpName(part) : part.fileName;
  info.contentType = part.type.value;
  info.contentId = part.contentId;
  info.isInline = isShown(part, shown);
  return info;
}

CalendarObject calendarOf(InputFile& file, const MessageLayout& layout) {
  return layout.calendar == nullptr ? CalendarObject()
                                    : readCalendar(textOf(file, *layout.calendar, kCalendarBytes));
}

}  // namespace

Result<std::unique_ptr<Message>> Message::read(std::shared_ptr<InputFile> file) {
  auto headers = readHeaderBlock(*file);
  if (!headers) {
    return headers.error();
  }
  // No limit here: readPartTree() itself bounds depth, parts and headers. The rest of the file is
  // read once, a block at a time.
  auto tree = readPartTree(*file, std::move(*headers), std::numeric_limits<std::int64_t>::max());
  if (!tree) {
    return tree.error();
  }
  const auto isBlank = [&file](const Part& part) {
    return isBlankPart(*file, part, kMessageTextBytes);
  };
  auto layout = std::make_unique<MessageLayout>(layOut(std::move(*tree), isBlank));
  return std::unique_ptr<Message>(new Message(std::move(file), std::move(layout)));
}

Message::Message(std::shared_ptr<InputFile> file, std::unique_ptr<MessageLayout> layout)
    : file_(std::move(file)), layout_(std::move(layout)) {}

Message::~Message() = default;

const HeaderBlock& Message::headers() const {
  return layout_->root().headers;
}

std::string Message::addressText(std::string_view field) const {
  std::string all;
  for (const Mailbox& mailbox : headers().mailboxes(field)) {
    all += (all.empty() ? "" : ", ") + formatMailbox(mailbox);
  }
  return all.empty() ? headers().text(field) : onOneLine(std::move(all));
}

std::optional<DateTime> Message::date() const {
  const std::string value = headers().value("Date");
  if (value.empty()) {
    return std::nullopt;
  }
  prepareLibraries();
  GDateTime* parsed = g_mime_utils_header_decode_date(value.c_str());
  if (parsed == nullptr) {
    return std::nullopt;
  }
  const std::int64_t seconds = g_date_time_to_unix(parsed);
  g_date_time_unref(parsed);
  if (seconds < kFirstSecond || seconds > kLastSecond) {
    return std::nullopt;
  }
  return DateTime(std::chrono::seconds(seconds));
}

const std::string& Message::bodyText() const {
  if (!text_) {
    text_ = plainTextOf(*file_, layout_->plainText, kMessageTextBytes);
    // Invitations often have no text but the calendar's own.
    if (layout_->calendar != nullptr && isBlankText(*text_)) {
      const CalendarObject calendar = calendarOf(*file_, *layout_);
      text_ = calendar.description.empty() ? calendar.summary : calendar.description;
    }
  }
  return *text_;
}

const std::optional<std::string>& Message::htmlBody() const {
  if (!htmlKnown_) {
    htmlKnown_ = true;
    if (layout_->hasHtml) {
      html_ = htmlTextOf(*file_, layout_->htmlText, kMessageTextBytes);
    }
  }
  return html_;
}

const std::vector<AttachmentInfo>& Message::attachments() const {
  if (attachments_) {
    return *attachments_;
  }
  std::vector<AttachmentInfo> all;
  if (isOpaque()) {
    AttachmentInfo whole;
    whole.name = "message.eml";
    whole.contentType = "message/rfc822";
    all.push_back(std::move(whole));
  } else {
    const auto any = [this](std::string Part::*member) {
      return std::any_of(layout_->attached.begin(), layout_->attached.end(),
                         [member](const Part* part) { return !(part->*member).empty(); });
    };
    Shown shown;
    // The HTML is decoded and searched only if some part could be referred to. Most attachments
    // have neither identifier nor location.
    if (any(&Part::contentId) && htmlBody()) {
      shown.contentIds = contentIdsUsed(*htmlBody());
    }
    if (any(&Part::location) && htmlBody()) {
      shown.locations = referencesUsed(*htmlBody());
    }
    for (const Part* part : layout_->attached) {
      all.push_back(describe(*part, shown));
    }
  }
  attachments_ = std::move(all);
  return *attachments_;
}

// A part that cannot be decoded counts with its stored size: a listing does not fail because of it.
std::int64_t Message::attachmentSize(std::size_t index) const {
  if (isOpaque()) {
    return static_cast<std::int64_t>(file_->info().size);
  }
  const auto [found, isNew] = attachmentSizes_.try_emplace(index, 0);
  if (isNew) {
    const Part& part = *layout_->attached.at(index);
    const auto size = decodedSize(*file_, part);
    found->second = size ? *size : static_cast<std::int64_t>(part.end - part.body);
  }
  return found->second;
}

// A signed or encrypted message must stay byte for byte, or its signature breaks. A message that
// was not read to its end cannot be taken apart without loss. In both cases the forward carries the
// message as one attachment.
bool Message::isOpaque() const {
  return layout_->sealed || layout_->tree.truncated ||
         storedSize(layout_->plainText) > kMessageTextBytes ||
         storedSize(layout_->htmlText) > kMessageTextBytes;
}

std::optional<TaskText> Message::task() const {
  const CalendarObject calendar = calendarOf(*file_, *layout_);
  if (calendar.component != "VTODO") {
    return std::nullopt;
  }
  return TaskText{onOneLine(calendar.summary), calendar.description};
}

}  // namespace relaybird
