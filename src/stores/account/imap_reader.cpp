// SPDX-License-Identifier: MIT
// A response is a line, and more lines as long as each ends with the announcement of a literal:
// "{12}", or "{12+}" as some servers write it (RFC 7888), with "~" before it for binary data
// (RFC 3516). The last bytes of a line are held separately, because an announcement counts even
// where the line itself is too long to be kept.
//
// Lines for people ("* OK ...", "+ ...") have no literals, so that words in braces at their end
// cannot swallow what follows.
#include "stores/account/imap_reader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// Enough for "~{18446744073709551615+}" and the CR before the line's end.
constexpr std::size_t kEndingBytes = 32;

// What one literal costs besides its bytes, so that a response of many empty ones is limited too.
constexpr std::size_t kLiteralCost = 64;

// The numbers of a list are taken off whenever its text has this size.
constexpr std::size_t kListPiece = std::size_t{64} << 10;

// Where the numbers of a list begin, at the latest.
constexpr std::size_t kListHeadBytes = 300;

// The longest literal that is believed. RFC 9051 allows 63 bits, but sizes of mail have 32.
constexpr std::uint64_t kLongestLiteral = 0xFFFFFFFFU;

// Where the numbers begin in the answer to a SEARCH, and what separates them.
struct ListForm {
  std::size_t begin = std::string_view::npos;  // npos: it is none
  char separator = ' ';
};

ListForm listFormOf(std::string_view line) {
  constexpr std::string_view kPlain = "* SEARCH ";
  constexpr std::string_view kExtended = "* ESEARCH ";  // (TAG "r7") UID ALL 4:18,21 (RFC 4731)
  constexpr std::string_view kAll = " ALL ";
  if (equalsAsciiCase(line.substr(0, kPlain.size()), kPlain)) {
    return {kPlain.size(), ' '};
  }
  const std::size_t all = asciiUpper(line.substr(0, kListHeadBytes)).find(kAll);
  if (all == std::string_view::npos ||
      !equalsAsciiCase(line.substr(0, kExtended.size()), kExtended)) {
    return {};
  }
  return {all + kAll.size(), ','};
}

struct Announcement {
  bool found = false;
  std::uint64_t size = 0;
  bool absurd = false;  // a number that no literal can have
};

// The announcement of a literal at the end of a line.
Announcement announcementAt(std::string_view line) {
  if (!line.ends_with('}')) {
    return {};
  }
  line.remove_suffix(1);
  if (line.ends_with('+')) {
    line.remove_suffix(1);
  }
  const std::size_t brace = line.rfind('{');
  if (brace == std::string_view::npos || brace + 1 == line.size()) {
    return {};
  }
  const std::string_view digits = line.substr(brace + 1);
  if (!std::all_of(digits.begin(), digits.end(), isDigit)) {
    return {};
  }
  Announcement result{true, 0, false};
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), result.size);
  result.absurd = read.ec != std::errc() || result.size > kLongestLiteral;
  return result;
}

// Whether the line is a status response or a continuation request, which end with words for people
// (RFC 9051 section 7.1).
bool isForPeople(std::string_view line) {
  if (line.starts_with('+')) {
    return true;
  }
  const std::size_t blank = line.find(' ');
  if (blank == std::string_view::npos) {
    return false;
  }
  const std::string_view rest = line.substr(blank + 1);
  const std::string_view word = rest.substr(0, std::min(rest.find(' '), rest.size()));
  constexpr std::array<std::string_view, 5> kStatus = {"OK", "NO", "BAD", "BYE", "PREAUTH"};
  return std::any_of(kStatus.begin(), kStatus.end(),
                     [word](std::string_view status) { return equalsAsciiCase(status, word); });
}

}  // namespace

void ImapReader::feed(std::string_view bytes) {
  while (!bytes.empty() && fault_.empty()) {
    bytes = literalLeft_ > 0 ? feedLiteral(bytes) : feedLine(bytes);
  }
}

std::optional<ImapLines> ImapReader::next() {
  if (complete_.empty()) {
    return std::nullopt;
  }
  ImapLines result = std::move(complete_.front());
  complete_.pop_front();
  return result;
}

std::string_view ImapReader::feedLine(std::string_view bytes) {
  const std::size_t feed = bytes.find('\n');
  const std::string_view piece = bytes.substr(0, feed);
  keepText(piece);
  ending_ += piece.substr(piece.size() - std::min(piece.size(), kEndingBytes));
  ending_.erase(0, ending_.size() - std::min(ending_.size(), kEndingBytes));
  if (feed == std::string_view::npos) {
    return {};
  }
  endLine();
  return bytes.substr(feed + 1);
}

std::string_view ImapReader::feedLiteral(std::string_view bytes) {
  const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), literalLeft_));
  if (literalKept_) {
    current_.literals.back().bytes += bytes.substr(0, count);
  } else {
    skip(count);
  }
  literalLeft_ -= count;
  return bytes.substr(count);
}

void ImapReader::endLine() {
  if (ending_.ends_with('\r')) {
    ending_.pop_back();
    // A line that was cut has lost its end, which may have been this byte or not.
    if (!current_.cut && current_.text.ends_with('\r')) {
      current_.text.pop_back();
    }
  }
  const Announcement literal = announcementAt(ending_);
  ending_.clear();
  if (current_.literals.empty() && !current_.cut) {
    mayHaveLiterals_ = !isForPeople(current_.text);
  }
  if (!literal.found || !mayHaveLiterals_) {
    endResponse();
  } else if (literal.absurd) {
    fail("the server announced a text of an impossible size");
  } else {
    beginLiteral(literal.size);
  }
}

void ImapReader::beginLiteral(std::uint64_t size) {
  keepText("\n");
  literalLeft_ = size;
  literalKept_ = !current_.cut && size <= limits_.literal && size + kLiteralCost <= room();
  if (current_.cut) {
    return;
  }
  if (room() < kLiteralCost) {
    current_.cut = true;
    return;
  }
  current_.literals.push_back({{}, !literalKept_});
  kept_ += kLiteralCost;
  if (literalKept_) {
    current_.literals.back().bytes.reserve(static_cast<std::size_t>(size));
    kept_ += static_cast<std::size_t>(size);
  }
}

// Numbers are taken off at the same bytes however these were cut on the way.
void ImapReader::keepText(std::string_view bytes) {
  while (mayBeList_ && current_.text.size() + bytes.size() >= kListPiece) {
    const std::size_t count = kListPiece - current_.text.size();
    keepPiece(bytes.substr(0, count));
    bytes.remove_prefix(count);
    mayBeList_ = takeNumbers();
  }
  keepPiece(bytes);
}

// Leaves the last number, which may go on in the next piece. False: this is no list, or what is
// left has to be read as it is.
bool ImapReader::takeNumbers() {
  std::string& text = current_.text;
  const ListForm form = listFormOf(text);
  const std::size_t end = text.rfind(form.separator);
  if (current_.cut || !current_.literals.empty() || form.begin == std::string::npos ||
      end == std::string::npos || end <= form.begin) {
    return false;
  }
  const auto numbers =
      UidSet::parse(std::string_view(text).substr(form.begin, end - form.begin), form.separator);
  if (!numbers) {
    return false;
  }
  current_.numbers.add(*numbers);
  if (current_.numbers.ranges().size() > 2 * kMostRanges) {
    current_.numbers.keepNewest(kMostRanges);
  }
  const std::size_t taken = end + 1 - form.begin;
  text.erase(form.begin, taken);
  kept_ -= taken;
  skip(taken);
  return fault_.empty();
}

void ImapReader::keepPiece(std::string_view bytes) {
  const bool fits = bytes.size() <= limits_.text - std::min(limits_.text, current_.text.size()) &&
                    bytes.size() <= room();
  if (!current_.cut && fits) {
    current_.text += bytes;
    kept_ += bytes.size();
    return;
  }
  // What is kept must not depend on how the bytes were cut on the way.
  if (!current_.cut) {
    const std::size_t count = std::min(
        {limits_.text - std::min(limits_.text, current_.text.size()), room(), bytes.size()});
    current_.text += bytes.substr(0, count);
    kept_ += count;
    bytes.remove_prefix(count);
    current_.cut = true;
    mayHaveLiterals_ = mayHaveLiterals_ && !isForPeople(current_.text);
  }
  skip(bytes.size());
}

void ImapReader::endResponse() {
  complete_.push_back(std::move(current_));
  current_ = {};
  kept_ = 0;
  skipped_ = 0;
  mayHaveLiterals_ = true;
  mayBeList_ = true;
}

std::size_t ImapReader::room() const {
  return limits_.response - std::min(limits_.response, kept_);
}

void ImapReader::skip(std::uint64_t count) {
  skipped_ += count;
  if (skipped_ > limits_.skipped) {
    fail("the server sent a response without an end");
  }
}

void ImapReader::fail(std::string words) {
  fault_ = std::move(words);
  current_ = {};
}

}  // namespace relaybird
