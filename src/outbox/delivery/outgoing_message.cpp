// SPDX-License-Identifier: MIT
#include "outbox/delivery/outgoing_message.h"

#include <algorithm>
#include <cstddef>
#include <unordered_set>

#include "message/address/strict_mailbox.h"
#include "message/text/encoded_word.h"
#include "message/text/header_text.h"
#include "outbox/delivery/one_line.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

// Drops the CR of each CR LF.
void endLinesWithLf(std::string& text) {
  std::size_t kept = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool lineBreak = text[at] == '\r' && at + 1 < text.size() && text[at + 1] == '\n';
    if (!lineBreak) {
      text[kept++] = text[at];
    }
  }
  text.resize(kept);
}

// Read strictly: a file that somebody else put here, or that a fault has changed, must not send
// mail to whom a forgiving reader would make of it.
Result<std::vector<std::string>> recipientsOf(const std::vector<std::string>& values) {
  std::vector<std::string> recipients;
  std::unordered_set<std::string> known;
  for (const std::string& value : values) {
    auto addresses = readWrittenField(value);
    if (!addresses) {
      return Error{0,
                   "The recipient \"" + oneLine(addresses.error().text) + "\" is no mail address"};
    }
    for (std::string& address : *addresses) {
      if (known.insert(address).second) {
        recipients.push_back(std::move(address));
      }
    }
  }
  if (recipients.empty()) {
    return Error{0, "The message names no recipient"};
  }
  return recipients;
}

}  // namespace

Result<OutgoingMessage> prepareMessage(std::string file) {
  OutgoingMessage message;
  message.subject = messageSubject(file);
  std::string head;
  std::string from;
  std::vector<std::string> to;
  std::string_view section = file;
  while (const auto field = takeField(section)) {
    const bool bcc = equalsAsciiCase(field->name, "Bcc");
    if (equalsAsciiCase(field->name, "From")) {
      from = field->value;
    }
    if (bcc || equalsAsciiCase(field->name, "To")) {
      to.emplace_back(field->value);
    }
    if (!bcc) {
      head += field->whole;
    }
  }
  file.replace(0, file.size() - section.size(), head);
  endLinesWithLf(file);
  message.bytes = std::move(file);
  const auto senders = readWrittenField(from);
  if (!senders || senders->size() != 1) {
    return Error{0, "The message has no sender's address that can be used"};
  }
  message.envelope.sender = senders->front();
  auto recipients = recipientsOf(to);
  if (!recipients) {
    return recipients.error();
  }
  message.envelope.recipients = std::move(*recipients);
  return message;
}

std::string messageSubject(std::string_view file) {
  std::string_view raw;
  while (const auto field = takeField(file)) {
    if (raw.empty() && equalsAsciiCase(field->name, "Subject")) {
      raw = field->value;
    }
  }
  return oneLine(decodeHeaderText(raw));
}

}  // namespace relaybird
