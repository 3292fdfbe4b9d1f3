// SPDX-License-Identifier: MIT
#include "message/writing/forward_header.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>

#include "message/address/address_check.h"
#include "message/text/clean_text.h"
#include "message/text/header_text.h"
#include "message/writing/address_field.h"
#include "message/writing/field_writer.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// The first and the latest identifiers of a long thread; RFC 5322 section 3.6.4 lets the middle
// go.
constexpr std::size_t kReferences = 20;

constexpr std::array<const char*, 7> kDays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

std::string bracketed(std::string_view id) {
  const std::string whole = id.starts_with('<') ? std::string(id) : "<" + std::string(id) + ">";
  const auto ids = messageIds(whole);
  return ids.size() == 1 && ids.front() == whole ? whole : std::string();
}

// The source's own identifier, also from a field that lacks the brackets or that a fold has torn:
// so far it can be guessed what the replies to it name. Empty where it cannot be written.
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
    // A local part beyond ASCII would need a server with SMTPUTF8, and the forward matters more.
    if (isRfc5322Address(mailbox.address) && isAscii(wireAddress(mailbox.address))) {
      replyTo.push_back(mailbox);
    }
  }
  return addressField("From", {draft.from}) + addressField("To", draft.to) +
         addressField("Bcc", draft.bcc) + addressField("Reply-To", replyTo);
}

}  // namespace

std::string mailDate(DateTime moment) {
  using namespace std::chrono;
  const auto day = floor<days>(moment);
  const year_month_day date(day);
  const hh_mm_ss time(floor<seconds>(moment - day));
  std::array<char, 64> text{};
  const int length = std::snprintf(
      text.data(), text.size(), "%s, %02u %s %04d %02d:%02d:%02d +0000",
      kDays[weekday(day).c_encoding()], static_cast<unsigned>(date.day()),
      kMonths[static_cast<unsigned>(date.month()) - 1], static_cast<int>(date.year()),
      static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
      static_cast<int>(time.seconds().count()));
  return std::string(text.data(), static_cast<std::size_t>(std::max(length, 0)));
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
  header += "Auto-Submitted: auto-generated\nMIME-Version: 1.0\n";
  return header + traceField(draft.traces);
}

}  // namespace relaybird
