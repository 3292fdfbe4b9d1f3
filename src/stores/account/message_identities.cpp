// SPDX-License-Identifier: MIT
#include "stores/account/message_identities.h"

#include <glib.h>

#include <algorithm>
#include <charconv>
#include <utility>

#include "message/header_block.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

constexpr std::string_view kFirstLine = "relaybird-messages 2";
// With fingerprints of 64 bits only.
constexpr std::string_view kEarlierFirstLine = "relaybird-messages 1";

// Hexadecimal digits of 64 bits.
constexpr std::size_t kDigits = 16;

// More than twice what kMostRemembered messages take.
constexpr std::size_t kLongestFile = std::size_t{16} << 20;

// A number of up to seven digits and a fingerprint.
constexpr std::size_t kUsualLine = 42;

// FNV-1a: any hash would do for the name of a folder, but it has to be the same in every build. The
// fingerprints of earlier versions were made with it too.
class Hash {
 public:
  void add(std::string_view text) {
    for (const char c : text) {
      value_ = (value_ ^ static_cast<unsigned char>(c)) * 1099511628211U;
    }
    value_ = (value_ ^ 0xFFU) * 1099511628211U;
  }
  std::uint64_t value() const { return value_; }

 private:
  std::uint64_t value_ = 14695981039346656037U;
};

template <class Number>
bool readNumber(std::string_view text, Number& number, int base = 10) {
  const char* end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number, base);
  return read.ec == std::errc() && read.ptr == end;
}

std::string_view takeWord(std::string_view& text, char end) {
  const std::string_view word = text.substr(0, std::min(text.find(end), text.size()));
  text.remove_prefix(std::min(text.size(), word.size() + 1));
  return word;
}

constexpr std::string_view kIdBeginning = "imap-";

std::string idOf(const NumberedMessage& message) {
  return std::string(kIdBeginning) + std::to_string(message.uidValidity) + '-' +
         std::to_string(message.uid);
}

std::optional<NumberedMessage> messageOf(std::string_view id) {
  NumberedMessage result;
  if (!id.starts_with(kIdBeginning)) {
    return std::nullopt;
  }
  id.remove_prefix(kIdBeginning.size());
  const bool read = readNumber(takeWord(id, '-'), result.uidValidity) && readNumber(id, result.uid);
  return read ? std::optional(result) : std::nullopt;
}

std::string hexOf(std::uint64_t number) {
  char text[kDigits];
  const auto written = std::to_chars(text, text + sizeof text, number, 16);
  return {text, written.ptr};
}

// In up to 32 digits; one of an earlier version in up to 16.
std::string printText(const MessageFingerprint& print) {
  const std::string low = hexOf(print.low);
  return print.high == 0 ? low : hexOf(print.high) + std::string(kDigits - low.size(), '0') + low;
}

bool readPrint(std::string_view text, MessageFingerprint& print) {
  const std::string_view low = text.substr(text.size() - std::min(text.size(), kDigits));
  text.remove_suffix(low.size());
  return readNumber(low, print.low, 16) && (text.empty() || readNumber(text, print.high, 16));
}

}  // namespace

std::string lastingHash(std::string_view text) {
  Hash hash;
  hash.add(text);
  return hexOf(hash.value());
}

MessageFingerprint MessageIdentities::fingerprintOf(const ImapHead& head) {
  const HeaderBlock headers(head.header);
  const std::string id = headers.messageId();
  const std::unique_ptr<GChecksum, decltype(&g_checksum_free)> hash(
      g_checksum_new(G_CHECKSUM_SHA256), &g_checksum_free);
  for (const std::string& each : {id, headers.value("Date"), headers.value("Subject"),
                                  id.empty() ? headers.value("From") : std::string()}) {
    // With its NUL, which occurs in none of them.
    g_checksum_update(hash.get(), reinterpret_cast<const guchar*>(each.c_str()),
                      static_cast<gssize>(each.size() + 1));
  }
  const std::string_view digits = g_checksum_get_string(hash.get());
  MessageFingerprint result;
  (void)readNumber(digits.substr(0, 16), result.high, 16);
  (void)readNumber(digits.substr(16, 16), result.low, 16);
  result.high = std::max<std::uint64_t>(result.high, 1);
  return result;
}

MessageFingerprint MessageIdentities::earlierFingerprintOf(const ImapHead& head) {
  const HeaderBlock headers(head.header);
  Hash hash;
  hash.add(headers.messageId());
  hash.add(headers.value("Date"));
  hash.add(headers.value("Subject"));
  hash.add(headers.messageId().empty() ? headers.value("From") : std::string());
  return {0, std::max<std::uint64_t>(hash.value(), 1)};
}

std::string MessageIdentities::entryId(std::uint32_t uidValidity, std::uint32_t uid,
                                       const Aliases& aliases) {
  const NumberedMessage* alias = aliases.find(uid);
  return idOf(alias != nullptr ? *alias : NumberedMessage{uidValidity, uid});
}

std::uint32_t MessageIdentities::uidOf(std::string_view entryId) const {
  const auto message = messageOf(entryId);
  if (!message) {
    return 0;
  }
  const auto alias = std::lower_bound(
      uidOfAlias_.begin(), uidOfAlias_.end(), *message,
      [](const auto& each, const NumberedMessage& wanted) { return each.first < wanted; });
  if (alias != uidOfAlias_.end() && alias->first == *message) {
    return alias->second;
  }
  return message->uidValidity == uidValidity_ ? message->uid : 0;
}

void MessageIdentities::begin(std::uint32_t uidValidity) {
  uidValidity_ = uidValidity;
  changed_ = true;
}

void MessageIdentities::note(const ImapHead& head) {
  latest_ = std::max(latest_, head.received);
  const MessageFingerprint fingerprint = fingerprintOf(head);
  const MessageFingerprint* known = known_.find(head.uid);
  if (known == nullptr || *known != fingerprint) {
    known_.set(head.uid, fingerprint);
    changed_ = true;
  }
}

void MessageIdentities::keepOnly(const UidSet& unseen) {
  changed_ = known_.keepOnly(unseen) || changed_;
}

MessageIdentities::Fingerprints MessageIdentities::fingerprints() {
  Fingerprints all;
  for (const auto& [uid, fingerprint] : known_.entries()) {
    all.insert(fingerprint);
  }
  return all;
}

bool MessageIdentities::isStranger(const Found& found, const Fingerprints& known) const {
  return !known.contains(found.fingerprint) && !known.contains(found.earlier) &&
         found.time <= latest_;
}

std::size_t MessageIdentities::renumber(std::uint32_t uidValidity,
                                        const std::vector<Found>& found) {
  // Equal fingerprints, of a message that came twice, are given out one by one.
  std::unordered_multimap<MessageFingerprint, std::uint32_t, HashOf> old;
  for (const auto& [uid, fingerprint] : known_.entries()) {
    old.emplace(fingerprint, uid);
  }
  Aliases aliases;
  UidTable<MessageFingerprint> known;
  UidSet leftOut;
  for (const Found& each : found) {
    auto same = each.fingerprint ? old.find(each.fingerprint) : old.end();
    if (same == old.end() && each.earlier) {
      same = old.find(each.earlier);
    }
    if (same != old.end()) {
      const NumberedMessage* alias = aliases_->find(same->second);
      aliases.set(each.uid,
                  alias != nullptr ? *alias : NumberedMessage{uidValidity_, same->second});
      known.set(each.uid, each.fingerprint);
      old.erase(same);
    } else if (!each.fingerprint || each.time <= latest_) {
      leftOut.add(each.uid);
    }
  }
  uidValidity_ = uidValidity;
  known_ = std::move(known);
  leftOut_ = std::move(leftOut);
  setAliases(std::move(aliases));
  changed_ = urgent_ = true;
  return static_cast<std::size_t>(leftOut_.count());
}

void MessageIdentities::leaveOut(const UidSet& uids) {
  leftOut_.add(uids);
  changed_ = urgent_ = true;
}

void MessageIdentities::setAliases(Aliases aliases) {
  uidOfAlias_ = {};
  uidOfAlias_.reserve(aliases.entries().size());
  for (const auto& [uid, alias] : aliases.entries()) {
    uidOfAlias_.emplace_back(alias, uid);
  }
  std::sort(uidOfAlias_.begin(), uidOfAlias_.end());
  aliases_ = std::make_shared<const Aliases>(std::move(aliases));
}

std::string MessageIdentities::readFromDisk() const {
  auto text = readFile(files_, path_, kLongestFile);
  return text ? std::move(*text) : std::string();
}

void MessageIdentities::restore(std::string_view text) {
  if (!text.empty() && !read(text)) {
    uidValidity_ = 0;
    latest_ = kNoDate;
    known_.clear();
    leftOut_ = {};
    setAliases({});
  }
}

// The first line, the numbering, the time of the youngest message, what is left out; then a line
// for each message: number, fingerprint, and the identifier if it is of an earlier numbering.
bool MessageIdentities::read(std::string_view text) {
  std::int64_t seconds = 0;
  const std::string_view first = takeWord(text, '\n');
  const bool known = first == kFirstLine || first == kEarlierFirstLine;
  const bool numbers =
      readNumber(takeWord(text, '\n'), uidValidity_) && readNumber(takeWord(text, '\n'), seconds);
  const std::string_view leftOut = takeWord(text, '\n');
  const auto set = leftOut == "-" ? std::optional(UidSet()) : UidSet::parse(leftOut);
  if (!known || !numbers || !set) {
    return false;
  }
  latest_ = DateTime(std::chrono::seconds(seconds));
  leftOut_ = *set;
  Aliases aliases;
  while (!text.empty()) {
    if (!readMessage(takeWord(text, '\n'), aliases)) {
      return false;
    }
  }
  setAliases(std::move(aliases));
  return true;
}

bool MessageIdentities::readMessage(std::string_view line, Aliases& aliases) {
  std::uint32_t uid = 0;
  MessageFingerprint fingerprint;
  if (!readNumber(takeWord(line, ' '), uid) || !readPrint(takeWord(line, ' '), fingerprint)) {
    return false;
  }
  known_.set(uid, fingerprint);
  if (line.empty()) {
    return true;
  }
  const auto alias = messageOf(line);
  if (alias) {
    aliases.set(uid, *alias);
  }
  return alias.has_value();
}

std::string MessageIdentities::takeUnsaved() {
  if (!changed_) {
    return {};
  }
  const auto seconds = std::chrono::floor<std::chrono::seconds>(latest_).time_since_epoch().count();
  std::string text = std::string(kFirstLine) + '\n' + std::to_string(uidValidity_) + '\n' +
                     std::to_string(seconds) + '\n' +
                     (leftOut_.empty() ? std::string("-") : leftOut_.text()) + '\n';
  const auto& all = known_.entries();
  text.reserve(text.size() + all.size() * kUsualLine);
  for (const auto& [uid, fingerprint] : all) {
    text += std::to_string(uid) + ' ' + printText(fingerprint);
    if (const NumberedMessage* alias = aliases_->find(uid)) {
      text += ' ' + idOf(*alias);
    }
    text += '\n';
  }
  changed_ = urgent_ = false;
  return text;
}

Result<void> MessageIdentities::writeToDisk(const std::string& text) const {
  if (!MakeFolderPath(files_, path_)) {
    return Error{0, "The folder of " + path_ + " cannot be made"};
  }
  return replaceFile(files_, path_, text);
}

}  // namespace relaybird
