// SPDX-License-Identifier: MIT
// Turns a file of the outbox into what a transport takes. The message is edited in place, because
// messages may be hundreds of megabytes large. The envelope is taken from the file itself and not
// from what the program remembers, as other programs may put messages into the outbox too.
#include "outbox/delivery/outgoing_message.h"

#include <algorithm>
#include <cstddef>
#include <unordered_set>

#include "message/address/strict_mailbox.h"
#include "message/text/encoded_word.h"
#include "message/text/header_text.h"
#include "platform/text/ascii_text.h"
#include "platform/text/character_kind.h"
#include "platform/text/utf8_text.h"

namespace relaybird {

namespace {

constexpr std::size_t kLongest = 300;
constexpr std::string_view kEllipsis = "...";

bool divides(const Utf8Character& character) {
  if (character.length == 0) {
    return false;
  }
  const CharacterKind kind = kindOf(character.code);
  return kind == CharacterKind::kBlank || kind == CharacterKind::kLineBreak ||
         (character.code >= '\t' && character.code <= '\r');
}

// Removes the CR of each CR LF.
void endLinesWithLf(std::string& text) {
  // Our own messages have none, and the search for one is much faster than the loop.
  const std::size_t first = text.find('\r');
  if (first == text.npos) {
    return;
  }
  std::size_t kept = first;
  for (std::size_t at = first; at < text.size(); ++at) {
    const bool lineBreak = text[at] == '\r' && at + 1 < text.size() && text[at + 1] == '\n';
    if (!lineBreak) {
      text[kept++] = text[at];
    }
  }
  text.resize(kept);
}

// Strict parsing: a file that another program put here, or that a fault has changed, must not send
// mail to an address that a lenient parser would guess.
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
  // In place: a copy would double the memory that the largest message takes.
  file.replace(0, file.size() - section.size(), head);
  endLinesWithLf(file);
  message.bytes = std::move(file);
  // Servers check the sender against the account, and failures are reported to it.
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

Result<std::string> addressedOnlyTo(std::string file, const std::vector<std::string>& recipients) {
  std::string head;
  std::string_view section = file;
  while (const auto field = takeField(section)) {
    if (!equalsAsciiCase(field->name, "Bcc") && !equalsAsciiCase(field->name, "To")) {
      head += field->whole;
      continue;
    }
    const auto addresses = readWrittenField(field->value);
    if (!addresses) {
      return Error{0,
                   "The recipient \"" + oneLine(addresses.error().text) + "\" is no mail address"};
    }
    std::string kept;
    for (const std::string& address : *addresses) {
      if (std::find(recipients.begin(), recipients.end(), address) != recipients.end()) {
        // A line for each address, so that none gets too long.
        kept += (kept.empty() ? "" : ",\n ") + address;
      }
    }
    if (!kept.empty()) {
      head += std::string(field->name) + ": " + kept + '\n';
    }
  }
  file.replace(0, file.size() - section.size(), head);
  return file;
}

// What strangers write reaches the log through this: without line ends and control characters,
// which could forge further lines, and not longer than a line may be.
std::string oneLine(std::string_view text) {
  std::string line;
  std::size_t fits = 0;  // the longest beginning that leaves room for the ellipsis
  bool divided = false;
  while (!text.empty() && line.size() <= kLongest) {
    const Utf8Character first = firstCharacter(text);
    if (divides(first)) {
      text.remove_prefix(first.length);
      divided = !line.empty();
      continue;
    }
    if (divided) {
      line += ' ';
    }
    divided = false;
    takeWithCode(text, line);
    if (line.size() + kEllipsis.size() <= kLongest) {
      fits = line.size();
    }
  }
  if (line.size() > kLongest) {
    line.replace(fits, line.npos, kEllipsis);
  }
  return line;
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
