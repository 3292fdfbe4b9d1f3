// SPDX-License-Identifier: MIT
// Names are matched after folding case, composition and blanks. A name that leads to two addresses
// is kept as ambiguous instead of dropped: a third card with it must not make it usable again. An
// address is read as strictly as a typed one, because mail is sent to it.
#include "message/address/address_book.h"

#include <glib.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <memory>
#include <utility>
#include <vector>

#include "message/address/address_check.h"
#include "message/address/strict_mailbox.h"
#include "message/address/vcard_reader.h"
#include "message/text/charset.h"
#include "message/text/clean_text.h"
#include "message/text/libraries.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// The name without what may differ between two spellings of it: case, composition and blanks.
std::string folded(std::string_view name) {
  const std::string text = tidyLine(scrubUtf8(name));
  const GText normal(g_utf8_normalize(text.c_str(), -1, G_NORMALIZE_ALL_COMPOSE));
  if (!normal) {
    return text;
  }
  // Tidied once more, because compatibility composition turns other blanks into spaces.
  const GText lower(g_utf8_casefold(normal.get(), -1));
  return tidyLine(lower.get());
}

// The rank of an address within its card, lowest first: PREF=1 to 100 (RFC 6350 section 5.3), 1 for
// "pref" among the types of older versions, otherwise 101.
int preference(const VcardProperty& email) {
  constexpr int kNoPreference = 101;
  if (const auto rank = email.parameter("PREF")) {
    int value = kNoPreference;
    std::from_chars(rank->data(), rank->data() + rank->size(), value);
    // A rank that is not a number leaves the value as it is.
    return std::clamp(value, 1, kNoPreference);
  }
  for (const std::string& parameter : email.parameters) {
    // Version 3.0 writes TYPE=pref, version 2.1 PREF alone; both may stand in a list.
    const bool types = parameter.starts_with("TYPE=");
    const auto list = vcardParts(types ? parameter.substr(5) : parameter, ',');
    if (std::find(list.begin(), list.end(), "PREF") != list.end()) {
      return 1;
    }
  }
  return kNoPreference;
}

// The value of EMAIL without escapes (RFC 6350 section 3.4), without the scheme of a URI, and
// trimmed. Empty for a URI that contains more than an address or has escapes of its own.
std::string addressText(std::string_view value) {
  constexpr std::string_view kScheme = "mailto:";
  value = trimmed(value, " \t");
  std::string text;
  for (std::size_t at = 0; at < value.size(); ++at) {
    const bool escape = value[at] == '\\' && at + 1 < value.size() &&
                        std::string_view("\\,;:").find(value[at + 1]) != std::string_view::npos;
    if (escape) {
      ++at;
    }
    text += value[at];
  }
  if (!equalsAsciiCase(std::string_view(text).substr(0, kScheme.size()), kScheme)) {
    return text;
  }
  text.erase(0, kScheme.size());
  return text.find_first_of("?%") == std::string::npos ? text : std::string();
}

struct Card {
  std::string formattedName;
  std::vector<std::string> names;
  std::string address;
  int rank = 0;

  void take(const VcardProperty& property) {
    if (property.name == "FN") {
      takeFormattedName(property);
    }
    if (property.name == "N") {
      takeNameParts(property);
    }
    if (property.name == "NICKNAME") {
      for (std::string& name : vcardParts(property.value, ',')) {
        names.push_back(std::move(name));
      }
    }
    if (property.name == "EMAIL") {
      takeAddress(property);
    }
  }

  void takeFormattedName(const VcardProperty& property) {
    names.push_back(tidyLine(vcardText(property.value)));
    if (formattedName.empty()) {
      formattedName = names.back();
    }
  }

  // RFC 6350 section 6.2.2: family name; given name; further names; prefixes; suffixes.
  void takeNameParts(const VcardProperty& property) {
    auto parts = vcardParts(property.value, ';');
    parts.resize(2);
    const std::string last = tidyLine(parts[0]);
    const std::string first = tidyLine(parts[1]);
    names.push_back(tidyLine(first + " " + last));
    if (!last.empty() && !first.empty()) {
      names.push_back(last + ", " + first);
    }
  }

  // Mail is sent there, so a value that is not exactly one address is ignored.
  void takeAddress(const VcardProperty& property) {
    const std::string text = addressText(property.value);
    // readRecipient() alone would also accept a name in front of the address.
    const auto mailbox = isRfc5322Address(text) ? readRecipient(text) : std::nullopt;
    const int its = preference(property);
    if (!mailbox || (!address.empty() && its >= rank)) {
      return;
    }
    address = mailbox->address;
    rank = its;
  }
};

std::string shownName(const Card& card) {
  if (!card.formattedName.empty()) {
    return card.formattedName;
  }
  const auto named = std::find_if(card.names.begin(), card.names.end(),
                                  [](const std::string& name) { return !name.empty(); });
  return named == card.names.end() ? std::string() : tidyLine(*named);
}

// Calls `take` for each card of a file in order. A card inside a card (AGENT of version 2.1) is
// skipped; a card that begins before the last one has ended replaces it.
template <class Take>
void forEachCard(std::string_view contents, Take take) {
  VcardReader reader(contents);
  std::optional<Card> card;
  std::size_t inner = 0;
  bool agent = false;
  while (const auto property = reader.next()) {
    const bool isCard = property->name == "BEGIN" || property->name == "END";
    if (isCard && !equalsAsciiCase(tidyLine(property->value), "VCARD")) {
      continue;
    }
    if (property->name == "BEGIN") {
      if (agent || inner > 0) {
        ++inner;
      } else {
        card.emplace();
      }
    } else if (property->name == "END") {
      if (inner > 0) {
        --inner;
      } else if (card) {
        take(*card);
        card.reset();
      }
    } else if (card && inner == 0) {
      card->take(*property);
    }
    // AGENT without a value is followed by the agent's own card.
    agent = card && property->name == "AGENT" && tidyLine(property->value).empty();
  }
}

}  // namespace

AddressBook AddressBook::parse(std::string_view contents) {
  AddressBook book;
  std::string converted;
  // Programs on Windows export UTF-16, or UTF-8 with a byte order mark.
  if (contents.starts_with("\xFF\xFE") || contents.starts_with("\xFE\xFF")) {
    converted = toUtf8(contents, "utf-16");
    contents = converted;
  }
  if (contents.starts_with("\xEF\xBB\xBF")) {
    contents.remove_prefix(3);
  }
  forEachCard(contents, [&book](const Card& card) {
    if (card.address.empty()) {
      return;
    }
    const Mailbox mailbox{shownName(card), card.address};
    for (const std::string& name : card.names) {
      book.add(name, mailbox);
    }
  });
  return book;
}

void AddressBook::add(std::string_view name, const Mailbox& mailbox) {
  std::string key = folded(name);
  if (key.empty()) {
    return;
  }
  const auto [entry, isNew] = names_.try_emplace(std::move(key), Entry{mailbox});
  // The same address in two cards is no ambiguity; families share one.
  if (!isNew && !equalsAsciiCase(entry->second.mailbox.address, mailbox.address)) {
    entry->second.ambiguous = true;
  }
}

std::optional<Mailbox> AddressBook::find(std::string_view name) const {
  const auto entry = names_.find(folded(name));
  if (entry == names_.end() || entry->second.ambiguous) {
    return std::nullopt;
  }
  return entry->second.mailbox;
}

Result<AddressBook> AddressBook::read(FileSystem& files, const std::string& path) {
  // One byte more than allowed, so that a longer file is noticed without being read.
  auto contents = readFile(files, path, kMaxAddressBookSize + 1);
  if (!contents) {
    return contents.error();
  }
  if (contents->size() > kMaxAddressBookSize) {
    return Error{EFBIG, "The address book " + path + " is larger than 64 MB"};
  }
  return parse(*contents);
}

AddressBookFile::AddressBookFile(FileSystem& files, std::string path)
    : files_(files), path_(std::move(path)) {}

Result<const AddressBook*> AddressBookFile::current() {
  if (path_.empty()) {
    return &book_;
  }
  const auto file = files_.resolve(path_);  // the path is often a symbolic link
  if (!file) {
    return file.error();
  }
  const auto info = files_.inspect(*file);
  if (!info) {
    return info.error();
  }
  // Any of these differs if the file was written or replaced since. Its contents are not compared:
  // every look-up comes here.
  const bool same = seen_ && seen_->size == info->size && seen_->modified == info->modified &&
                    seen_->device == info->device && seen_->inode == info->inode;
  if (same) {
    return &book_;
  }
  auto book = AddressBook::read(files_, *file);
  if (!book) {
    return book.error();
  }
  book_ = std::move(*book);
  seen_ = *info;
  return &book_;
}

}  // namespace relaybird
