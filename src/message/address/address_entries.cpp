// SPDX-License-Identifier: MIT
// What a parser of addresses must not see is replaced before it sees it, and put back afterwards.
// The stand-ins are private-use characters, which mean nothing in mail; those that a writer has
// used are dropped first, so that nobody can forge a stand-in.
#include "message/address/address_entries.h"

#include <algorithm>
#include <utility>

#include "message/text/encoded_word.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// U+E000 to U+E002, of private use.
constexpr std::string_view kAtomStart = "\xEE\x80\x80";
constexpr std::string_view kAtomEnd = "\xEE\x80\x81";
constexpr std::string_view kLabelMark = "\xEE\x80\x82";

// The text without the writer's own private-use characters, which would be taken for ours.
std::string withoutOurs(std::string_view text) {
  std::string out;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto character = text.substr(at, kAtomStart.size());
    if (character == kAtomStart || character == kAtomEnd || character == kLabelMark) {
      at += kAtomStart.size() - 1;
    } else {
      out += text[at];
    }
  }
  return out;
}

// In any letter case and at any place: the parser looks into every label.
bool isCodedLabel(std::string_view text) {
  return text.size() >= 4 && (text[0] == 'x' || text[0] == 'X') &&
         (text[1] == 'n' || text[1] == 'N') && text[2] == '-' && text[3] == '-';
}

// The text with a mark inside each "xn--".
std::string markLabels(std::string_view text) {
  std::string out;
  for (std::size_t at = 0; at < text.size(); ++at) {
    out += text[at];
    if (text[at] == 'n' || text[at] == 'N') {
      if (at > 0 && isCodedLabel(text.substr(at - 1))) {
        out += kLabelMark;
      }
    }
  }
  return out;
}

bool contains(std::string_view text, char c) {
  return text.find(c) != std::string_view::npos;
}

// The state of a scan through an address list (RFC 5322 section 3.2): inside a comment, a quoted
// string, angle brackets. A backslash hides the next character everywhere.
class Nesting {
 public:
  // Takes the next character; true where it is outside of all of these.
  bool outside(char c) {
    if (escaped_) {
      escaped_ = false;
      return false;
    }
    if (c == '\\') {
      escaped_ = true;
      return false;
    }
    // Comments nest.
    if (comments_ > 0) {
      comments_ += c == '(' ? 1 : c == ')' ? -1 : 0;
      return false;
    }
    if (c == '"') {
      quoted_ = !quoted_;
      return false;
    }
    if (quoted_) {
      return false;
    }
    if (c == '(') {
      comments_ = 1;
    }
    if (c == '<') {
      angle_ = true;
    }
    if (c == '>') {
      angle_ = false;
    }
    return comments_ == 0 && !angle_;
  }

  // The brackets that close the comments still open at the end: GMime leaks unclosed comments.
  std::string closing() const {
    if (comments_ <= 0) {
      return {};
    }
    return std::string(escaped_ ? "\\" : "") +
           std::string(static_cast<std::size_t>(comments_), ')');
  }

 private:
  bool escaped_ = false;
  bool quoted_ = false;
  bool angle_ = false;
  long comments_ = 0;
};

}  // namespace

HiddenWords::HiddenWords(std::string_view value) : value_(withoutOurs(value)) {
  const std::string_view all = value_;
  std::size_t done = 0;
  for (const Span& span : encodedWords(all)) {
    const auto word = all.substr(span.start, span.length);
    if (contains(word, '<')) {
      continue;
    }
    text_ += markLabels(all.substr(done, span.start - done));
    text_.append(kAtomStart).append(std::to_string(words_.size())).append(kAtomEnd);
    words_.push_back(word);
    done = span.start + span.length;
  }
  text_ += markLabels(all.substr(done));
}

std::string HiddenWords::restored(std::string_view text) const {
  // An atom is short, so its end is searched nearby: a value of many beginnings stays linear.
  constexpr std::size_t kLongestAtom = 32;
  std::string out;
  while (!text.empty()) {
    const auto mark = std::min(text.find("\xEE\x80"), text.size());
    out += text.substr(0, mark);
    text.remove_prefix(mark);
    const auto end = text.starts_with(kAtomStart) ? text.substr(0, kLongestAtom).find(kAtomEnd)
                                                  : std::string_view::npos;
    if (end != std::string_view::npos) {
      out += wordOf(text.substr(kAtomStart.size(), end - kAtomStart.size()));
      text.remove_prefix(end + kAtomEnd.size());
    } else {
      // Others of this block of private-use characters are the writer's own.
      const bool ours = text.starts_with(kLabelMark) || text.starts_with(kAtomStart) ||
                        text.starts_with(kAtomEnd);
      if (!ours) {
        out += text.substr(0, kLabelMark.size());
      }
      text.remove_prefix(std::min(kLabelMark.size(), text.size()));
    }
  }
  return out;
}

std::string_view HiddenWords::wordOf(std::string_view number) const {
  // The parser may have cut or joined atoms, so the number is checked before it is used.
  std::size_t index = 0;
  for (const char c : number) {
    if (c < '0' || c > '9' || index > words_.size()) {
      return {};
    }
    index = index * 10 + static_cast<std::size_t>(c - '0');
  }
  return index < words_.size() ? words_[index] : std::string_view();
}

std::optional<std::string> AddressEntries::next() {
  for (;;) {
    Piece found = ahead_ ? *std::exchange(ahead_, std::nullopt) : piece();
    if (found.text.empty() && found.end == '\0') {
      return std::nullopt;
    }
    if (found.text.empty()) {
      continue;
    }
    // Perhaps the family name of the next entry.
    if (found.end == ',' && !contains(found.text, '@')) {
      ahead_ = piece();
      if (contains(ahead_->text, '<') && contains(ahead_->text, '@')) {
        return found.text + ", " + std::exchange(ahead_, std::nullopt)->text;
      }
    }
    return std::move(found.text);
  }
}

AddressEntries::Piece AddressEntries::piece() {
  Piece found;
  Nesting nesting;
  bool sawAt = false;
  while (!text_.empty()) {
    const char c = text_.front();
    text_.remove_prefix(1);
    if (nesting.outside(c)) {
      if (c == ',' || c == ';') {
        found.end = c;
        break;
      }
      // A colon in front of any address ends the name of a group (RFC 5322 section 3.4). Behind an
      // "@" it is part of a route or of an address literal.
      if (c == ':' && !sawAt) {
        found.text.clear();  // the name of a group
        continue;
      }
      sawAt = sawAt || c == '@';
    }
    found.text += c == '\0' ? ' ' : c;
  }
  found.text = std::string(trimmed(found.text)) + nesting.closing();
  return found;
}

}  // namespace relaybird
