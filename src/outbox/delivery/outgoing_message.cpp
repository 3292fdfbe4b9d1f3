// SPDX-License-Identifier: MIT
#include "outbox/delivery/outgoing_message.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <unordered_set>

#include "message/address/strict_mailbox.h"
#include "message/text/encoded_word.h"
#include "outbox/delivery/one_line.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

struct Field {
  std::string_view name;
  std::string_view value;  // raw, folds and closing line end included
  std::string_view whole;
};

bool isNamed(const Field& field, std::string_view name) {
  return std::equal(field.name.begin(), field.name.end(), name.begin(), name.end(),
                    [](char one, char other) { return asciiLower(one) == asciiLower(other); });
}

std::size_t lineEnd(std::string_view text, std::size_t begin) {
  const std::size_t end = text.find('\n', begin);
  return end == text.npos ? text.size() : end + 1;
}

bool isEmptyLine(std::string_view line) {
  return line == "\n" || line == "\r\n";
}

// Calls `use` for each field of the header section and returns where the section's empty line
// begins, or the end of the message. A line that is no field has an empty name.
std::size_t eachField(std::string_view message, const std::function<void(const Field&)>& use) {
  std::size_t begin = 0;
  while (begin < message.size()) {
    std::size_t end = lineEnd(message, begin);
    if (isEmptyLine(message.substr(begin, end - begin))) {
      break;
    }
    while (end < message.size() && (message[end] == ' ' || message[end] == '\t')) {
      end = lineEnd(message, end);
    }
    Field field;
    field.whole = message.substr(begin, end - begin);
    const std::size_t colon = field.whole.find(':');
    if (colon != field.whole.npos) {
      field.name = field.whole.substr(0, colon);
      field.name = field.name.substr(0, field.name.find_last_not_of(" \t") + 1);
      field.value = field.whole.substr(colon + 1);
    }
    use(field);
    begin = end;
  }
  return begin;
}

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
  const std::size_t body = eachField(file, [&](const Field& field) {
    const bool bcc = isNamed(field, "Bcc");
    if (isNamed(field, "From")) {
      from = field.value;
    }
    if (bcc || isNamed(field, "To")) {
      to.emplace_back(field.value);
    }
    if (!bcc) {
      head += field.whole;
    }
  });
  file.replace(0, body, head);
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
  eachField(file, [&](const Field& field) {
    if (raw.empty() && isNamed(field, "Subject")) {
      raw = field.value;
    }
  });
  return oneLine(decodeHeaderText(raw));
}

}  // namespace relaybird
