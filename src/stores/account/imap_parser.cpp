// SPDX-License-Identifier: MIT
// Tokens are read straight into the result, without a tree of values between them: a line of
// parentheses would need many times its size as a tree. What nests is skipped by counting, but for
// message structures (imap_structure.h).
//
// A structure that cannot be read is skipped, and the rest of its response still counts. Real
// servers send malformed ones for malformed mail.
#include "stores/account/imap_parser.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <utility>

#include "platform/text/ascii_text.h"
#include "stores/account/imap_date.h"
#include "stores/account/imap_scanner.h"
#include "stores/account/imap_structure.h"

namespace relaybird {
namespace {

// How much of a response that is not understood is kept for the log.
constexpr std::size_t kUnknownBytes = 200;

constexpr std::array<std::pair<std::string_view, ImapStatus>, 5> kStatusWords = {
    {{"OK", ImapStatus::kOk},
     {"NO", ImapStatus::kNo},
     {"BAD", ImapStatus::kBad},
     {"BYE", ImapStatus::kBye},
     {"PREAUTH", ImapStatus::kPreauth}}};

std::optional<ImapStatus> statusOf(std::string_view word) {
  for (const auto& [name, status] : kStatusWords) {
    if (equalsAsciiCase(name, word)) {
      return status;
    }
  }
  return std::nullopt;
}

// Takes the first word off a text, and the blanks behind it.
std::string_view takeWord(std::string_view& text) {
  const std::string_view word = text.substr(0, std::min(text.find(' '), text.size()));
  text.remove_prefix(word.size());
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return word;
}

ImapUnknown unknown(std::string_view line) {
  return {std::string(line.substr(0, kUnknownBytes))};
}

// The end of a code that begins with "[", or npos. A bracket within quotes does not count.
std::size_t codeEnd(std::string_view text) {
  bool quoted = false;
  for (std::size_t i = 1; i < text.size(); ++i) {
    if (text[i] == '"') {
      quoted = !quoted;
    } else if (text[i] == ']' && !quoted) {
      return i;
    }
  }
  // A quote without its other half: the first bracket has to do.
  return text.find(']');
}

ImapCondition readCondition(std::string_view tag, ImapStatus status, std::string_view rest) {
  ImapCondition result{std::string(tag), status, {}, {}};
  if (rest.starts_with('[')) {
    const std::size_t end = codeEnd(rest);
    if (end != std::string_view::npos) {
      std::string_view code = rest.substr(1, end - 1);
      result.code.name = asciiUpper(takeWord(code));
      result.code.arguments = code;
      rest.remove_prefix(end + 1);
      rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    }
  }
  result.words = rest;
  return result;
}

ImapWords readWords(ImapWords::Kind kind, std::string_view rest) {
  ImapWords result{kind, {}};
  if (kind == ImapWords::Kind::kFlags) {
    rest = trimmed(rest, " ()");
  }
  while (!rest.empty()) {
    const std::string_view word = takeWord(rest);
    if (!word.empty()) {
      result.words.push_back(kind == ImapWords::Kind::kFlags ? std::string(word)
                                                             : asciiUpper(word));
    }
  }
  return result;
}

std::optional<std::uint32_t> messageNumber(std::uint64_t number) {
  if (number == 0 || number > std::numeric_limits<std::uint32_t>::max()) {
    return std::nullopt;
  }
  return static_cast<std::uint32_t>(number);
}

// The numbers that were taken off the text, and those that are left in it.
UidSet allNumbers(UidSet taken, const UidSet& left) {
  taken.add(left);
  taken.keepNewest(kMostRanges);
  return taken;
}

ImapSearch readSearch(ImapScanner& in, ImapLines& lines) {
  ImapSearch result;
  std::vector<std::uint32_t> numbers;
  in.skipBlanks();
  while (!in.atEnd() && !in.at('(')) {  // "(MODSEQ 917)" may follow (RFC 7162)
    const auto number = messageNumber(in.number());
    if (!number) {
      in.fail();
      break;
    }
    numbers.push_back(*number);
    in.skipBlanks();
  }
  result.whole = !in.failed() && !lines.cut;
  result.numbers = allNumbers(std::move(lines.numbers), UidSet(std::move(numbers)));
  return result;
}

// RFC 4731: (TAG "r7") UID ALL 4:18,21
ImapSearch readExtendedSearch(ImapScanner& in, ImapLines& lines) {
  ImapSearch result;
  in.skipBlanks();
  if (in.take('(')) {
    const std::string_view name = in.word();
    in.expect(' ');
    const auto tag = in.text();
    in.expect(')');
    if (equalsAsciiCase(name, "TAG")) {
      result.tag = tag.value_or("");
    }
  }
  in.skipBlanks();
  while (!in.atEnd()) {
    const std::string_view name = in.word();
    in.skipBlanks();
    if (equalsAsciiCase(name, "UID")) {
      continue;
    }
    if (name.empty()) {
      in.fail();
    } else if (equalsAsciiCase(name, "ALL")) {
      const auto numbers = UidSet::parse(in.word());
      if (!numbers) {
        in.fail();
        break;
      }
      result.numbers = allNumbers(std::move(lines.numbers), *numbers);
    } else {
      in.skipValue();
    }
    in.skipBlanks();
  }
  result.whole = !in.failed() && !lines.cut;
  return result;
}

std::optional<ImapVanished> readVanished(ImapScanner& in) {
  ImapVanished result;
  in.skipBlanks();
  if (in.at('(')) {
    const auto words = in.wordList();
    result.earlier = words.size() == 1 && equalsAsciiCase(words[0], "EARLIER");
    in.skipBlanks();
  }
  const auto uids = UidSet::parse(in.word());
  if (!uids || in.failed()) {
    return std::nullopt;
  }
  result.uids = *uids;
  return result;
}

std::optional<ImapMailbox> readMailbox(ImapScanner& in) {
  ImapMailbox result;
  in.skipBlanks();
  result.attributes = in.wordList();
  in.expect(' ');
  in.text();  // the delimiter of the hierarchy
  in.expect(' ');
  const auto name = in.text();
  if (in.failed() || !name) {
    return std::nullopt;
  }
  result.name = *name;
  return result;
}

void readSection(ImapScanner& in, ImapFetch& fetch) {
  ImapSection result;
  result.name = asciiUpper(in.section());
  if (in.take('<')) {
    std::string_view origin = in.word();
    if (!origin.ends_with('>')) {
      in.fail();
      return;
    }
    origin.remove_suffix(1);
    std::uint64_t offset = 0;
    std::from_chars(origin.data(), origin.data() + origin.size(), offset);
    result.origin = offset;
  }
  in.skipBlanks();
  auto bytes = in.text(&result.cut);
  if (!in.failed() && !in.atEnd()) {
    result.nil = !bytes;
    result.bytes = std::move(bytes).value_or("");
    fetch.sections.push_back(std::move(result));
  }
}

void readStructure(ImapScanner& in, ImapFetch& fetch) {
  const auto begin = in.position();
  fetch.structure = readImapStructure(in);
  if (!fetch.structure) {
    in.rewind(begin);
    in.skipValue();
  }
}

// Keeps what was read of an item, unless it was malformed. Something follows each item, so one at
// the end of the text was cut: "UID 12" may have been "UID 123".
template <class To, class Value>
void set(const ImapScanner& in, To& to, Value value) {
  if (!in.failed() && !in.atEnd()) {
    to = std::move(value);
  }
}

// "BODY", for example, is followed by "[" and a section, or stands alone.
std::string itemName(ImapScanner& in) {
  const auto begin = in.position();
  const std::string_view word = in.word();
  const std::size_t bracket = word.find('[');
  if (bracket == std::string_view::npos) {
    return asciiUpper(word);
  }
  in.rewind({begin.text + bracket, begin.literal});
  return asciiUpper(word.substr(0, bracket));
}

void readItem(ImapScanner& in, ImapFetch& fetch) {
  const std::string name = itemName(in);
  if (name.empty()) {
    in.fail();
    return;
  }
  if (in.at('[')) {
    if (name == "BODY") {
      readSection(in, fetch);
      return;
    }
    in.section();
  }
  in.skipBlanks();
  if (name == "UID") {
    set(in, fetch.uid, messageNumber(in.number()));
  } else if (name == "FLAGS") {
    set(in, fetch.flags, in.wordList());
  } else if (name == "INTERNALDATE") {
    set(in, fetch.internalDate, parseInternalDate(in.text().value_or("")));
  } else if (name == "RFC822.SIZE") {
    set(in, fetch.size, in.number());
  } else if (name == "MODSEQ") {
    in.expect('(');
    const std::uint64_t value = in.number();
    in.expect(')');
    set(in, fetch.modSeq, value);
  } else if (name == "BODYSTRUCTURE") {
    readStructure(in, fetch);
  } else {
    in.skipValue();
  }
}

// Whatever was understood before a fault stands, except for the item in which it is.
ImapFetch readFetch(ImapScanner& in, std::uint32_t number, bool cut) {
  ImapFetch result;
  result.number = number;
  in.skipBlanks();
  in.expect('(');
  in.skipBlanks();
  while (!in.failed() && !in.take(')')) {
    readItem(in, result);
    in.skipBlanks();
  }
  result.whole = !in.failed() && !cut;
  return result;
}

ImapResponse readNumbered(ImapScanner& in, std::uint32_t number, bool cut) {
  in.skipBlanks();
  const std::string name = asciiUpper(in.word());
  if (name == "FETCH") {
    return readFetch(in, number, cut);
  }
  if (name == "EXPUNGE") {
    return ImapExpunge{number};
  }
  return ImapUnknown{};
}

ImapResponse readUntagged(ImapLines& lines) {
  ImapScanner in(lines);
  in.expect('*');
  in.skipBlanks();
  const auto begin = in.position();
  const std::string name = asciiUpper(in.word());
  const std::string_view rest = std::string_view(lines.text).substr(in.position().text);
  const auto orUnknown = [](auto&& value) {
    return value ? ImapResponse(std::move(*value)) : ImapResponse();
  };
  if (name.empty()) {
    return {};
  }
  if (isDigit(name.front())) {
    in.rewind(begin);
    const std::uint64_t number = in.number();
    const std::string_view after = trimmed(std::string_view(lines.text).substr(in.position().text));
    if (!in.failed() && equalsAsciiCase(after, "EXISTS") && number <= 0xFFFFFFFFU) {
      return ImapExists{static_cast<std::uint32_t>(number)};
    }
    const auto message = messageNumber(number);
    return message && !in.failed() ? readNumbered(in, *message, lines.cut) : ImapResponse();
  }
  if (name == "CAPABILITY") {
    return readWords(ImapWords::Kind::kCapability, trimmed(rest));
  }
  if (name == "ENABLED") {
    return readWords(ImapWords::Kind::kEnabled, trimmed(rest));
  }
  if (name == "FLAGS") {
    return readWords(ImapWords::Kind::kFlags, trimmed(rest));
  }
  if (name == "SEARCH") {
    return readSearch(in, lines);
  }
  if (name == "ESEARCH") {
    return readExtendedSearch(in, lines);
  }
  if (name == "VANISHED") {
    return orUnknown(lines.cut ? std::nullopt : readVanished(in));
  }
  return name == "LIST" ? orUnknown(readMailbox(in)) : ImapResponse();
}

}  // namespace

ImapResponse parseImapResponse(ImapLines lines) {
  std::string_view rest = lines.text;
  if (rest.starts_with('+')) {
    return ImapContinuation{};
  }
  const std::string_view tag = takeWord(rest);
  std::string_view afterStatus = rest;
  const auto status = statusOf(takeWord(afterStatus));
  if (status && !tag.empty()) {
    return readCondition(tag, *status, afterStatus);
  }
  ImapResponse result;
  if (tag == "*") {
    result = readUntagged(lines);
  }
  if (std::holds_alternative<ImapUnknown>(result)) {
    result = unknown(lines.text);
  }
  return result;
}

std::optional<std::uint64_t> ImapCode::number() const {
  std::uint64_t result = 0;
  const char* end = arguments.data() + arguments.size();
  const auto read = std::from_chars(arguments.data(), end, result);
  return read.ec == std::errc() && read.ptr == end ? std::optional(result) : std::nullopt;
}

std::string_view ImapPart::parameter(std::string_view name) const {
  for (const auto& [key, value] : parameters) {
    if (key == name) {
      return value;
    }
  }
  return {};
}

bool ImapFetch::hasFlag(std::string_view flag) const {
  return flags && std::any_of(flags->begin(), flags->end(), [flag](const std::string& each) {
           return equalsAsciiCase(each, flag);
         });
}

const ImapSection* ImapFetch::section(std::string_view name) const {
  for (const ImapSection& each : sections) {
    if (each.name == name) {
      return &each;
    }
  }
  return nullptr;
}

}  // namespace relaybird
