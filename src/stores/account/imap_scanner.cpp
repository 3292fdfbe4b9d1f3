// SPDX-License-Identifier: MIT
// A failure moves to the end of the text, where every further step finds nothing: so a caller's
// loop ends, whatever a server sends. The bytes of literals are not in the text but beside it, in
// the order of their announcements, because they may hold line ends and quotes.
#include "stores/account/imap_scanner.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

constexpr std::string_view kWordEnds = " ()\n";

}  // namespace

void ImapScanner::rewind(Position position) {
  position_ = position;
  failed_ = false;
}

void ImapScanner::fail() {
  failed_ = true;
  position_.text = text_.size();
}

bool ImapScanner::take(char c) {
  if (!at(c)) {
    return false;
  }
  ++position_.text;
  return true;
}

void ImapScanner::expect(char c) {
  if (!take(c)) {
    fail();
  }
}

void ImapScanner::skipBlanks() {
  while (take(' ')) {
  }
}

std::string_view ImapScanner::word() {
  const std::size_t begin = position_.text;
  position_.text = std::min(text_.find_first_of(kWordEnds, begin), text_.size());
  return text_.substr(begin, position_.text - begin);
}

std::uint64_t ImapScanner::number() {
  const std::string_view digits = word();
  std::uint64_t result = 0;
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), result);
  if (digits.empty() || read.ec != std::errc() || read.ptr != digits.data() + digits.size()) {
    fail();
    return 0;
  }
  return result;
}

std::optional<std::string> ImapScanner::text(bool* cut) {
  if (at('"')) {
    return quoted();
  }
  if (atLiteral()) {
    ImapLiteral* found = literal();
    if (found == nullptr) {
      return std::nullopt;
    }
    if (cut != nullptr) {
      *cut = found->cut;
    }
    return std::move(found->bytes);
  }
  const std::string_view bare = word();
  if (bare.empty()) {
    fail();
  }
  if (bare.empty() || equalsAsciiCase(bare, "NIL")) {
    return std::nullopt;
  }
  return std::string(bare);
}

std::vector<std::string> ImapScanner::wordList() {
  std::vector<std::string> words;
  if (!at('(')) {
    if (!equalsAsciiCase(word(), "NIL")) {
      fail();
    }
    return words;
  }
  expect('(');
  skipBlanks();
  while (!failed_ && !take(')')) {
    const std::string_view each = word();
    if (each.empty()) {
      fail();
      break;
    }
    words.emplace_back(each);
    skipBlanks();
  }
  return words;
}

std::string_view ImapScanner::section() {
  expect('[');
  const std::size_t begin = position_.text;
  while (!failed_ && !at(']')) {
    if (atEnd()) {
      fail();
    } else if (at('"')) {
      quoted();
    } else if (atLiteral()) {
      literal();
    } else {
      ++position_.text;
    }
  }
  if (failed_) {
    return {};
  }
  const std::string_view whole = text_.substr(begin, position_.text - begin);
  expect(']');
  return whole.substr(0, std::min(whole.find(' '), whole.size()));
}

void ImapScanner::skipValue() {
  std::size_t depth = 0;
  do {
    skipBlanks();
    if (atEnd()) {
      fail();
    } else if (take('(')) {
      ++depth;
    } else if (at(')')) {
      if (depth == 0) {
        fail();
        return;
      }
      take(')');
      --depth;
    } else {
      skipToken();
    }
  } while (depth > 0 && !failed_);
}

void ImapScanner::skipToken() {
  if (at('"')) {
    quoted();
  } else if (atLiteral()) {
    literal();
  } else if (word().empty()) {
    fail();
  }
}

bool ImapScanner::atLiteral() const {
  const std::string_view rest = text_.substr(std::min(position_.text, text_.size()));
  return rest.starts_with('{') || rest.starts_with("~{");
}

ImapLiteral* ImapScanner::literal() {
  const std::size_t feed = text_.find('\n', position_.text);
  if (feed == std::string_view::npos || text_[feed - 1] != '}' ||
      position_.literal >= lines_.literals.size()) {
    fail();
    return nullptr;
  }
  // The reader has checked the number; here only its form matters, so that no other brace passes.
  std::string_view announced = text_.substr(position_.text, feed - position_.text);
  announced.remove_prefix(announced.starts_with('~') ? 2 : 1);
  if (announced.find_first_not_of("0123456789+}") != std::string_view::npos) {
    fail();
    return nullptr;
  }
  position_.text = feed + 1;
  return &lines_.literals[position_.literal++];
}

std::string ImapScanner::quoted() {
  std::string result;
  expect('"');
  while (!failed_) {
    const std::size_t stop = text_.find_first_of("\"\\\n", position_.text);
    if (stop == std::string_view::npos || text_[stop] == '\n') {
      fail();
      break;
    }
    result += text_.substr(position_.text, stop - position_.text);
    position_.text = stop + 1;
    if (text_[stop] == '"') {
      return result;
    }
    if (atEnd()) {
      fail();
      break;
    }
    result += text_[position_.text++];
  }
  return {};
}

}  // namespace relaybird
