// SPDX-License-Identifier: MIT
// Turns a file of the outbox into what a transport takes. The envelope is taken from the file
// itself and not from what the program remembers, as other programs may put messages into the
// outbox too.
#include "outbox/delivery/outgoing_message.h"

#include <algorithm>
#include <cstddef>
#include <unordered_set>
#include <utility>

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

Error headTooLong() {
  return {0, "The header of the message is too large"};
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

Result<OutgoingMessage> prepareMessage(OutgoingText file) {
  if (file.size() > kLargestOutgoing) {
    return Error{0, "The message is too large"};
  }
  if (file.headIsTooLong()) {
    return headTooLong();
  }
  OutgoingMessage message;
  message.subject = messageSubject(file.beginning());
  std::string head;
  std::string from;
  std::vector<std::string> to;
  std::string_view section = file.beginning();
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
  file.replaceHead(file.beginning().size() - section.size(), head);
  message.text = std::move(file);
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

Result<OutgoingText> addressedOnlyTo(OutgoingText file,
                                     const std::vector<std::string>& recipients) {
  if (file.headIsTooLong()) {
    return headTooLong();
  }
  std::string head;
  std::string_view section = file.beginning();
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
  file.replaceHead(file.beginning().size() - section.size(), head);
  return file;
}

Outcome textFailure(const Error& error) {
  const auto kind = error.code == 0 ? Outcome::Kind::kPermanent : Outcome::Kind::kTemporary;
  return {kind, error.text, false, {}, Outcome::Cause::kDisk};
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

std::string messageSubject(std::string_view head) {
  std::string_view raw;
  while (const auto field = takeField(head)) {
    if (raw.empty() && equalsAsciiCase(field->name, "Subject")) {
      raw = field->value;
    }
  }
  return oneLine(decodeHeaderText(raw));
}

}  // namespace relaybird
