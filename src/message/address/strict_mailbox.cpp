// SPDX-License-Identifier: MIT
// One grammar for everything that mail is sent to, and no second try: a quoted string or word that
// does not fit makes the whole text invalid. The unfolding here keeps every blank, unlike that of
// encoded_word.h, because the addresses must be read back byte by byte as they were written.
#include "message/address/strict_mailbox.h"

#include <cerrno>
#include <cstddef>

#include "message/address/address_check.h"
#include "message/text/clean_text.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

constexpr auto kNone = std::string_view::npos;
constexpr std::string_view kBlanks = " \t";

// The length of the quoted string that begins the text; kNone where it has no end.
std::size_t quotedLength(std::string_view text) {
  for (std::size_t at = 1; at < text.size(); ++at) {
    if (text[at] == '"') {
      return at + 1;
    }
    if (text[at] == '\\') {
      ++at;
    }
  }
  return kNone;
}

std::string unquoted(std::string_view quoted) {
  std::string plain;
  for (std::size_t at = 1; at + 1 < quoted.size(); ++at) {
    if (quoted[at] == '\\') {
      ++at;
    }
    plain += quoted[at];
  }
  return plain;
}

// RFC 5322 section 2.2.3: only the line break of a fold is removed; the blank behind it belongs to
// the value.
std::string unfold(std::string_view value) {
  std::string line;
  for (std::size_t at = 0; at < value.size(); ++at) {
    const std::size_t end = value.substr(at).starts_with("\r\n") ? 2 : value[at] == '\n' ? 1 : 0;
    const bool fold = end > 0 && (at + end == value.size() || isBlank(value[at + end]));
    if (fold) {
      at += end - 1;
    } else {
      line += value[at];
    }
  }
  return line;
}

// Takes the text before the next comma outside of quotes, or all of it; empty where `rest` is used
// up. A quote without an end takes all the rest, which is invalid then.
std::optional<std::string_view> takeEntry(std::optional<std::string_view>& rest) {
  if (!rest) {
    return std::nullopt;
  }
  std::size_t at = 0;
  while (at < rest->size() && (*rest)[at] != ',') {
    const auto length = (*rest)[at] == '"' ? quotedLength(rest->substr(at)) : 1;
    at = length == kNone ? rest->size() : at + length;
  }
  const auto entry = trimmed(rest->substr(0, at), kBlanks);
  rest = at < rest->size() ? std::optional(rest->substr(at + 1)) : std::nullopt;
  return entry;
}

// Whether a reader could take the address for another one.
// The local part too: a person recognises an address by both.
bool looksLikeAnother(std::string_view address) {
  const auto at = address.rfind('@');
  return mixesScripts(address.substr(0, at)) || mixesScripts(address.substr(at + 1));
}

}  // namespace

// A display name: words and quoted strings with blanks between them. Dots may stand among the
// letters (RFC 5322 section 4.1, "phrase"): "J. R. Doe" is what everybody writes.
std::optional<std::string> readPhrase(std::string_view text) {
  constexpr std::string_view kSpecials = "()<>[]:;@\\,";
  std::string name;
  while (!text.empty()) {
    if (text.front() == '"') {
      const auto length = quotedLength(text);
      if (length == kNone) {
        return std::nullopt;
      }
      name += unquoted(text.substr(0, length));
      text.remove_prefix(length);
      continue;
    }
    if (kSpecials.find(text.front()) != kNone) {
      return std::nullopt;
    }
    name += text.front();
    text.remove_prefix(1);
  }
  return name;
}

// The first "<" outside of quotes begins the address.
std::optional<Mailbox> readMailbox(std::string_view text) {
  if (isRfc5322Address(text)) {
    return Mailbox{"", std::string(text)};
  }
  if (!text.ends_with('>')) {
    return std::nullopt;
  }
  std::size_t open = 0;
  while (open < text.size() && text[open] != '<') {
    const auto length = text[open] == '"' ? quotedLength(text.substr(open)) : 1;
    if (length == kNone) {
      return std::nullopt;
    }
    open += length;
  }
  if (open >= text.size()) {
    return std::nullopt;
  }
  const auto address = text.substr(open + 1, text.size() - open - 2);
  const auto name = readPhrase(trimmed(text.substr(0, open), kBlanks));
  if (!name || !isRfc5322Address(address)) {
    return std::nullopt;
  }
  return Mailbox{tidyLine(*name), std::string(address)};
}

std::optional<Mailbox> readRecipient(std::string_view typed) {
  if (!isVisibleText(typed)) {
    return std::nullopt;
  }
  auto mailbox = readMailbox(typed);
  if (!mailbox || looksLikeAnother(mailbox->address)) {
    return std::nullopt;
  }
  // A mail program would show the word decoded, which is not what was typed.
  if (mailbox->name.find("=?") != std::string::npos) {
    return std::nullopt;
  }
  mailbox->address = wireAddress(mailbox->address);
  return mailbox;
}

Result<std::vector<std::string>> readWrittenField(std::string_view value) {
  std::vector<std::string> addresses;
  const std::string line = unfold(value);
  if (trimmed(line, kBlanks).empty()) {
    return addresses;
  }
  std::optional<std::string_view> rest = line;
  // A missing entry between two commas is invalid as well: what this system writes has none.
  while (const auto entry = takeEntry(rest)) {
    const auto mailbox = readMailbox(*entry);
    if (!mailbox) {
      return Error{EINVAL, std::string(*entry)};
    }
    addresses.push_back(wireAddress(mailbox->address));
  }
  return addresses;
}

}  // namespace relaybird
