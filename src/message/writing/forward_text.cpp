// SPDX-License-Identifier: MIT
// What a forward says besides its attachments. The texts come from strangers: each header line is
// put on one line and cut to a length before it is written, and texts are escaped for HTML, so that
// nothing can leave its place.
#include "message/writing/forward_text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <utility>
#include <vector>

#include "message/address/address_check.h"
#include "message/parts/message_text.h"
#include "message/text/charset.h"
#include "message/text/clean_text.h"
#include "message/text/header_text.h"
#include "message/writing/field_writer.h"
#include "message/writing/forward.h"
#include "platform/text/ascii_text.h"
#include "platform/text/utf8_text.h"

namespace relaybird {
namespace {

// A forward need not name all of a thousand recipients.
constexpr std::size_t kHeaderLineCharacters = 1000;

constexpr std::string_view kRule = "-----Original Message-----";

// The first `count` characters; `dots` marks a cut text with three dots.
std::string cut(std::string_view text, std::size_t count, bool dots) {
  const std::string_view kept = firstCharacters(text, count);
  return std::string(kept) + (dots && kept.size() < text.size() ? " ..." : "");
}

using HeaderLines = std::vector<std::pair<std::string_view, std::string>>;

HeaderLines headerLines(const Message& source, std::string_view sentText) {
  HeaderLines lines;
  const auto add = [&lines](std::string_view name, const std::string& text) {
    if (!text.empty()) {
      lines.emplace_back(name, cut(text, kHeaderLineCharacters, true));
    }
  };
  add("From", source.addressText("From"));
  add("Sent", onOneLine(scrubUtf8(sentText)));
  add("To", source.addressText("To"));
  add("Cc", source.addressText("Cc"));
  add("Subject", source.subject());
  return lines;
}

// Finds the tags of a document, precisely enough to insert a block; that needs no parse tree.
class TagFinder {
 public:
  explicit TagFinder(std::string_view html) : html_(html) {}

  // The next start tag, from its '<' up to behind its '>'; empty at the end. Comments are skipped.
  std::string_view next() {
    while (pos_ < html_.size()) {
      const std::size_t open = html_.find('<', pos_);
      if (open == std::string_view::npos) {
        break;
      }
      if (html_.substr(open).starts_with("<!--")) {
        const std::size_t close = html_.find("-->", open + 4);
        pos_ = close == std::string_view::npos ? html_.size() : close + 3;
        continue;
      }
      pos_ = isTagName(open + 1) ? tagEnd(open) : open + 1;
      if (pos_ > open + 1) {
        return html_.substr(open, pos_ - open);
      }
    }
    pos_ = html_.size();
    return {};
  }

 private:
  bool isTagName(std::size_t at) const {
    // Sets the bit that makes an ASCII letter lower-case; no other character becomes a letter by
    // it.
    const char lower = at < html_.size() ? static_cast<char>(html_[at] | 0x20) : ' ';
    return lower >= 'a' && lower <= 'z';
  }

  // A quote without an end must not swallow the document: the next '>' ends the tag then. The
  // length of a tag is bounded, so that no byte is searched for many tags.
  std::size_t tagEnd(std::size_t open) const {
    const std::size_t limit = std::min(html_.size(), open + kLongestTag);
    for (std::size_t i = open; i < limit; ++i) {
      if (html_[i] == '>') {
        return i + 1;
      }
      if (html_[i] == '"' || html_[i] == '\'') {
        const std::size_t close = html_.substr(0, limit).find(html_[i], i + 1);
        if (close != std::string_view::npos) {
          i = close;
        }
      }
    }
    return limit;
  }

  static constexpr std::size_t kLongestTag = 4096;

  std::string_view html_;
  std::size_t pos_ = 0;
};

bool isTag(std::string_view tag, std::string_view name) {
  const std::size_t size = name.size() + 1;
  return tag.size() > size && equalsAsciiCase(tag.substr(1, name.size()), name) &&
         std::string_view(" \t\r\n/>").find(tag[size]) != std::string_view::npos;
}

// A <meta> tag with its character set replaced by UTF-8, in which the document is written. Some
// readers would believe the old one.
std::string withUtf8(std::string_view tag) {
  std::string lower = asciiLower(tag);
  const std::size_t name = lower.find("charset");
  const std::size_t equals = name == std::string::npos ? name : lower.find('=', name);
  if (equals == std::string::npos) {
    return std::string(tag);
  }
  const std::size_t begin = lower.find_first_not_of(" \t\r\n\"'", equals + 1);
  const std::size_t end = lower.find_first_of(" \t\r\n\"';/>", begin);
  if (begin == std::string::npos || end == std::string::npos) {
    return std::string(tag);
  }
  return std::string(tag.substr(0, begin)) + "utf-8" + std::string(tag.substr(end));
}

std::string htmlBlock(const HeaderLines& lines) {
  std::string block = "<div><p>" + std::string(kRule) + "<br>\n";
  for (const auto& [name, text] : lines) {
    block += "<b>" + std::string(name) + ":</b> " + escapeHtml(text) + "<br>\n";
  }
  return block + "</p></div>\n";
}

// Of a long thread the first and the latest identifiers are kept; RFC 5322 section 3.6.4 allows
// dropping the middle.
constexpr std::size_t kReferences = 20;

constexpr std::array<const char*, 7> kDays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

std::string bracketed(std::string_view id) {
  const std::string whole = id.starts_with('<') ? std::string(id) : "<" + std::string(id) + ">";
  const auto ids = messageIds(whole);
  return ids.size() == 1 && ids.front() == whole ? whole : std::string();
}
// Exactly one identifier and nothing else.

// The source's own identifier, also from a field without brackets or with a fold inside: replies to
// it will most likely name that. Empty where it cannot be written.
std::string ownId(const HeaderBlock& source) {
  std::string id = source.messageId();
  if (id.empty()) {
    std::string whole = source.value("Message-ID");
    std::erase_if(whole, isBlank);
    id = bracketed(whole);
  }
  return id;
}

std::vector<std::string> references(const HeaderBlock& source) {
  auto ids = messageIds(source.value("References"));
  if (const std::string own = ownId(source); !own.empty()) {
    // Last, because readers take the last one for the message that this one follows.
    std::erase(ids, own);
    ids.push_back(own);
  }
  if (ids.size() > kReferences) {
    ids.erase(ids.begin() + 1, ids.end() - static_cast<std::ptrdiff_t>(kReferences - 1));
  }
  return ids;
}

// One mark to a line.
std::string traceField(const std::vector<std::string>& marks) {
  std::string field;
  for (const std::string& mark : marks) {
    field += (field.empty() ? std::string(kTraceHeader) + ": " : " ") + onOneLine(mark) + "\n";
  }
  return field;
}

// Recipients are checked again here, whatever the callers have done: this is the last place before
// the bytes are written.
Result<void> check(const ForwardDraft& draft) {
  const auto refuse = [](const std::string& text) { return Error{EINVAL, text}; };
  if (!isRfc5322Address(draft.from.address)) {
    return refuse("The sender's address is no mail address: " + onOneLine(draft.from.address));
  }
  for (const auto* list : {&draft.to, &draft.bcc}) {
    for (const Mailbox& mailbox : *list) {
      if (!isRfc5322Address(mailbox.address)) {
        return refuse("The recipient is no mail address: " + onOneLine(mailbox.address));
      }
    }
  }
  if (bracketed(draft.messageId).empty()) {
    return refuse("The forward has no usable message identifier");
  }
  return {};
}

std::string addressFields(const ForwardDraft& draft) {
  std::vector<Mailbox> replyTo;
  for (const Mailbox& mailbox : draft.replyTo) {
    // A local part beyond ASCII would need a server with SMTPUTF8; the forward must not depend on
    // that.
    if (isRfc5322Address(mailbox.address) && isAscii(wireAddress(mailbox.address))) {
      replyTo.push_back(mailbox);
    }
  }
  return addressField("From", {draft.from}) + addressField("To", draft.to) +
         addressField("Bcc", draft.bcc) + addressField("Reply-To", replyTo);
}

// "Sat, 21 Nov 2026 08:15:00 +0000" (RFC 5322 section 3.3).
std::string mailDate(DateTime moment) {
  using namespace std::chrono;
  const auto day = floor<days>(moment);
  const year_month_day date(day);
  const hh_mm_ss time(floor<seconds>(moment - day));
  std::array<char, 64> text{};
  // snprintf, not strftime: names of days and months must not depend on the locale.
  const int length = std::snprintf(
      text.data(), text.size(), "%s, %02u %s %04d %02d:%02d:%02d +0000",
      kDays[weekday(day).c_encoding()], static_cast<unsigned>(date.day()),
      kMonths[static_cast<unsigned>(date.month()) - 1], static_cast<int>(date.year()),
      static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
      static_cast<int>(time.seconds().count()));
  return std::string(text.data(), static_cast<std::size_t>(std::max(length, 0)));
}

}  // namespace

std::string writableSubject(std::string_view subject) {
  return cut(onOneLine(scrubUtf8(subject)), kSubjectCharacters, false);
}

std::string forwardText(const Message& source, std::string_view sentText) {
  std::string text(kRule);
  text += '\n';
  for (const auto& [name, line] : headerLines(source, sentText)) {
    text += std::string(name) + ": " + line + '\n';
  }
  return text + '\n' + source.bodyText();
}

std::string forwardHtml(const Message& source, std::string_view sentText) {
  const std::string& html = *source.htmlBody();
  std::string head;
  std::size_t copied = 0;
  TagFinder tags(html);
  for (std::string_view tag = tags.next(); !tag.empty(); tag = tags.next()) {
    const auto end = static_cast<std::size_t>(tag.data() - html.data()) + tag.size();
    // Meta elements stand in front of the body; the search ends there. Behind it, the document is
    // copied unread.
    if (isTag(tag, "meta")) {
      head += html.substr(copied, end - tag.size() - copied) + withUtf8(tag);
      copied = end;
    } else if (isTag(tag, "body")) {
      head += html.substr(copied, end - copied);
      return head + '\n' + htmlBlock(headerLines(source, sentText)) + html.substr(end);
    }
  }
  return htmlBlock(headerLines(source, sentText)) + head + html.substr(copied);
}

Result<std::string> forwardHeader(const ForwardDraft& draft) {
  if (const auto checked = check(draft); !checked) {
    return checked.error();
  }
  std::string header = addressFields(draft);
  header += textField("Subject", writableSubject(draft.subject));
  header += "Date: " + mailDate(draft.date) + '\n';
  header += wordField("Message-ID", {bracketed(draft.messageId)});
  if (draft.source != nullptr) {
    header += wordField("References", references(draft.source->headers()));
  }
  // Asks vacation programs and the like not to answer (RFC 3834 section 5).
  header += "Auto-Submitted: auto-generated\nMIME-Version: 1.0\n";
  return header + traceField(draft.traces);
}

}  // namespace relaybird
