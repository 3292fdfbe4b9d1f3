// SPDX-License-Identifier: MIT
#include "stores/mime/writing/forward_header.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>

#include "stores/mime/header_text.h"
#include "stores/mime/parts/gmime_library.h"
#include "stores/mime/writing/address_field.h"
#include "stores/text/libraries.h"

namespace relaybird {
namespace {

/// The first and the latest identifiers of a long thread; RFC 5322 section 3.6.4 lets the middle
/// go.
constexpr std::size_t kReferences = 20;

constexpr std::array<const char*, 7> kDays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

std::string bracketed(std::string_view id) {
  const std::string whole = id.starts_with('<') ? std::string(id) : "<" + std::string(id) + ">";
  const auto ids = messageIds(whole);
  return ids.size() == 1 && ids.front() == whole ? whole : std::string();
}

std::string references(const HeaderBlock& source) {
  auto ids = messageIds(source.value("References"));
  if (const std::string own = source.messageId(); !own.empty()) {
    std::erase(ids, own);
    ids.push_back(own);
  }
  if (ids.size() > kReferences) {
    ids.erase(ids.begin() + 1, ids.end() - static_cast<std::ptrdiff_t>(kReferences - 1));
  }
  std::string all;
  for (const std::string& id : ids) {
    all += (all.empty() ? "" : " ") + id;
  }
  return all;
}

class HeaderWriter {
 public:
  HeaderWriter() {
    prepareLibraries();
    message_.reset(g_mime_message_new(TRUE));
  }

  void setSubject(const std::string& subject) {
    g_mime_message_set_subject(message_.get(), subject.c_str(), "utf-8");
  }

  void set(std::string_view name, const std::string& value) {
    if (!value.empty()) {
      g_mime_object_set_header(GMIME_OBJECT(message_.get()), std::string(name).c_str(),
                               value.c_str(), "utf-8");
    }
  }

  std::string take() {
    const GString8 text(g_mime_object_get_headers(GMIME_OBJECT(message_.get()), nullptr));
    return text ? std::string(text.get()) : std::string();
  }

 private:
  GObjectPtr<GMimeMessage> message_;
};

/// One mark to a line. GMime would encode words as long as these as if they were text.
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
  HeaderWriter header;
  header.setSubject(writableSubject(draft.subject));
  header.set("Date", mailDate(draft.date));
  header.set("Message-ID", bracketed(draft.messageId));
  header.set("References",
             draft.source == nullptr ? std::string() : references(draft.source->headers()));
  header.set("Auto-Submitted", "auto-generated");
  header.set("MIME-Version", "1.0");
  return addressFields(draft) + header.take() + traceField(draft.traces);
}

}  // namespace relaybird
