// SPDX-License-Identifier: MIT
// Each entry of a list is read strictly first; most are correct. What is not goes to GMime, and
// what GMime gives up on is salvaged by hand. Encoded words are hidden from GMime
// (address_entries.h), and entries on which its parser would recurse or leak are kept from it.
#include "message/address/mail_address.h"

#include <gmime/gmime.h>

#include <algorithm>
#include <memory>
#include <optional>

#include "message/address/address_check.h"
#include "message/address/address_entries.h"
#include "message/address/strict_mailbox.h"
#include "message/text/clean_text.h"
#include "message/text/encoded_word.h"
#include "message/text/libraries.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

std::string textOf(const char* text) {
  return text != nullptr ? text : "";
}

std::string withoutQuotes(std::string_view name) {
  std::string plain(name);
  std::erase(plain, '"');
  return plain;
}

// The text with a blank for each ASCII control character. The address is invalid either way.
std::string withoutControls(std::string text) {
  std::replace_if(
      text.begin(), text.end(),
      [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; }, ' ');
  return text;
}

// The mailbox of a well-formed entry: one address, or a name and an address in angle brackets.
std::optional<Mailbox> plainEntry(std::string_view entry) {
  constexpr std::size_t kLongestAddress = 256;  // RFC 5321, 4.5.3.1.3, angle brackets included
  if (isRfc5322Address(entry)) {
    return Mailbox{"", std::string(entry)};
  }
  if (!entry.ends_with('>')) {
    return std::nullopt;
  }
  // Only the end of the entry can be the address, so an entry of many "<" is not checked from each.
  const std::size_t first = entry.size() - std::min(entry.size(), kLongestAddress);
  for (std::size_t open = entry.find('<', first); open != std::string_view::npos;
       open = entry.find('<', open + 1)) {
    const auto address = entry.substr(open + 1, entry.size() - open - 2);
    if (isRfc5322Address(address)) {
      return Mailbox{withoutQuotes(entry.substr(0, open)), std::string(address)};
    }
  }
  return std::nullopt;
}

// The mailbox of an entry that people write although GMime rejects it: "[List] Name <address>", a
// scheme before the address, dots where the grammar has none. The address may be invalid.
std::optional<Mailbox> salvaged(std::string_view entry) {
  if (auto mailbox = plainEntry(entry)) {
    return mailbox;
  }
  constexpr std::string_view kScheme = "mailto:";
  const auto open = entry.rfind('<');
  const auto name = open == std::string_view::npos ? std::string_view() : entry.substr(0, open);
  auto address = open == std::string_view::npos ? entry : entry.substr(open + 1);
  address = address.substr(0, address.find('>'));
  if (address.starts_with(kScheme)) {
    address.remove_prefix(kScheme.size());
  }
  // Characters that would make it something else than one bare address.
  const bool usable = address.find('@') != std::string_view::npos &&
                      address.find_first_of(" \t\"(),;") == std::string_view::npos;
  if (!usable) {
    return std::nullopt;
  }
  return Mailbox{withoutQuotes(name), std::string(address)};
}

// Whether a comment may be open at the end of the entry. GMime leaks such a comment. Quotes are
// ignored, because readers disagree about stray ones.
bool mayLeaveCommentOpen(std::string_view entry) {
  std::size_t depth = 0;
  bool escaped = false;
  for (const char c : entry) {
    if (c == '(') {
      ++depth;
    }
    if (c == ')' && !escaped && depth > 0) {
      --depth;
    }
    escaped = c == '\\' && !escaped;
  }
  return depth > 0;
}

// GMime's address list of an entry; null where it finds none. Its parser recurses at colons, which
// begin groups, so an entry with more colons than an IPv6 address or a route has is not given to
// it.
InternetAddressList* listOf(const std::string& entry) {
  constexpr std::ptrdiff_t kMostColons = 20;
  if (std::count(entry.begin(), entry.end(), ':') > kMostColons) {
    return nullptr;
  }
  if (mayLeaveCommentOpen(entry)) {
    return nullptr;
  }
  prepareLibraries();
  return internet_address_list_parse(nullptr, entry.c_str());
}

// GMime reads names, comments, quotes and routes, and decodes international domains.
std::vector<Mailbox> mailboxesOf(const std::string& entry) {
  std::vector<Mailbox> out;
  const GObjectPtr<InternetAddressList> list(listOf(entry));
  const int count = list ? internet_address_list_length(list.get()) : 0;
  for (int i = 0; i < count; ++i) {
    InternetAddress* item = internet_address_list_get_address(list.get(), i);
    if (!INTERNET_ADDRESS_IS_MAILBOX(item)) {
      continue;
    }
    std::string address = textOf(internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(item)));
    if (address.find('@') == std::string::npos) {
      continue;  // words left behind an address
    }
    out.push_back({textOf(internet_address_get_name(item)), std::move(address)});
  }
  return out;
}

// The mailbox of words followed by an address without brackets: "Big Bug bb@bug.com".
std::optional<Mailbox> addressBehindName(std::string_view entry) {
  const auto blank = entry.find_last_of(" \t");
  if (blank == std::string_view::npos || !isRfc5322Address(entry.substr(blank + 1))) {
    return std::nullopt;
  }
  const auto name = readPhrase(entry.substr(0, blank));
  if (!name || name->find('@') != std::string::npos) {
    return std::nullopt;
  }
  return Mailbox{*name, std::string(entry.substr(blank + 1))};
}

// The mailbox of an unambiguous entry, or of one with the usual mistake of missing brackets.
std::optional<Mailbox> plainMailbox(const std::string& entry) {
  auto mailbox = readMailbox(entry);
  return mailbox ? mailbox : addressBehindName(entry);
}

// What GMime reads in an entry, or else what can be salvaged of it.
std::vector<Mailbox> guessedMailboxes(const std::string& entry) {
  std::vector<Mailbox> out = mailboxesOf(entry);
  if (out.empty()) {
    if (auto mailbox = salvaged(entry)) {
      out.push_back(std::move(*mailbox));
    }
  }
  return out;
}

// Characters of addresses and names that have no special meaning anywhere.
bool isAddressChar(char c) {
  return isLetterOrDigit(c) || std::string_view(".-_+").find(c) != std::string_view::npos;
}

bool isNameChar(char c) {
  return isLetterOrDigit(c) || std::string_view(".-_+'& ").find(c) != std::string_view::npos;
}

// Runs for every message of a listing: one pass over the text, no allocation, no library.
bool isSimpleAddress(std::string_view text) {
  const std::size_t at = text.find('@');
  return at != std::string_view::npos && at > 0 && at + 1 < text.size() &&
         std::all_of(text.begin(), text.end(),
                     [](char c) { return isAddressChar(c) || c == '@'; }) &&
         text.find('@', at + 1) == std::string_view::npos &&
         text.find("..") == std::string_view::npos && text.front() != '.' && text[at - 1] != '.' &&
         text[at + 1] != '.' && text.back() != '.';
}

// The mailbox of a simple value; empty where the value needs a real parser.
std::optional<Mailbox> simpleMailbox(std::string_view text) {
  if (isSimpleAddress(text)) {
    return Mailbox{{}, std::string(text)};
  }
  const std::size_t open = text.find('<');
  if (open == std::string_view::npos || !text.ends_with('>') ||
      !isSimpleAddress(text.substr(open + 1, text.size() - open - 2))) {
    return std::nullopt;
  }
  std::string_view name = trimmed(text.substr(0, open));
  const bool quoted = name.size() >= 2 && name.front() == '"' && name.back() == '"';
  if (quoted) {
    name = name.substr(1, name.size() - 2);
  }
  const auto isPlainName = [quoted](char c) { return isNameChar(c) || (quoted && c == ','); };
  if (!std::all_of(name.begin(), name.end(), isPlainName) || name != trimmed(name) ||
      name.find("  ") != std::string_view::npos) {
    return std::nullopt;
  }
  return Mailbox{std::string(name), std::string(text.substr(open + 1, text.size() - open - 2))};
}

// RFC 5322 section 3.2.3, "specials". Dots are only allowed there by the obsolete syntax.
bool needsQuotes(std::string_view name) {
  constexpr std::string_view kSpecials = "()<>[]:;@\\,.\"";
  return name.find_first_of(kSpecials) != std::string_view::npos;
}

}  // namespace

std::vector<Mailbox> parseAddressList(std::string_view raw, std::string_view rawCharset) {
  std::vector<Mailbox> out;
  const std::string value =
      unfoldHeader(rawHeaderToUtf8(raw.substr(0, kMaxAddressHeader), rawCharset));
  const HiddenWords words(value);
  AddressEntries entries(words.text());
  while (out.size() < kMaxMailboxes) {
    const auto entry = entries.next();
    if (!entry) {
      break;
    }
    if (entry->find('@') == std::string::npos) {
      // An encoded word may contain an address; it gets its wire form like every other one.
      const std::string name = wireAddress(tidyLine(decodeHeaderText(words.restored(*entry))));
      if (!name.empty()) {
        out.push_back({"", name});
      }
      continue;
    }
    // The strict readers get the entry with its encoded words, as it will be shown; only GMime
    // needs them hidden.
    const auto plain = plainMailbox(words.restored(*entry));
    const auto guessed = plain ? std::vector<Mailbox>{*plain} : guessedMailboxes(*entry);
    // GMime makes several mailboxes of addresses with only blanks between them.
    for (const Mailbox& mailbox : guessed) {
      if (out.size() == kMaxMailboxes) {
        break;
      }
      out.push_back({tidyLine(decodeHeaderText(words.restored(mailbox.name))),
                     wireAddress(withoutControls(words.restored(mailbox.address)))});
    }
  }
  return out;
}

Mailbox parseAddress(std::string_view raw, std::string_view rawCharset) {
  const auto all = parseAddressList(raw, rawCharset);
  return all.empty() ? Mailbox{} : all.front();
}

Mailbox firstMailbox(std::string_view raw, std::string_view rawCharset) {
  auto simple = simpleMailbox(trimmed(raw));
  return simple ? std::move(*simple) : parseAddress(raw, rawCharset);
}

std::string quotedString(std::string_view text) {
  std::string all = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      all += '\\';
    }
    all += c;
  }
  return all + '"';
}

std::string formatMailbox(const Mailbox& mailbox) {
  const std::string name = tidyLine(mailbox.name);
  if (name.empty()) {
    return mailbox.address;
  }
  std::string out = needsQuotes(name) ? quotedString(name) : name;
  return out.append(" <").append(mailbox.address).append(">");
}

}  // namespace relaybird
