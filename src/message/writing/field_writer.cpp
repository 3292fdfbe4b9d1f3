// SPDX-License-Identifier: MIT
// Two kinds of fields. Texts and words are folded wherever a line would become too long; the words
// that cannot stand as they are become one run of encoded words, because readers drop the blanks
// between neighbouring encoded words. Address fields are folded between names and addresses only,
// and GMime is not used for them: it decodes and encodes domains by rules of its own and turns
// "xn--a.example" into another domain.
#include "message/writing/field_writer.h"

#include <algorithm>

#include "message/address/address_check.h"
#include "message/text/charset.h"
#include "message/text/clean_text.h"
#include "message/text/header_text.h"
#include "message/text/transfer_encoding.h"
#include "platform/text/ascii_text.h"
#include "platform/text/utf8_text.h"

namespace relaybird {
namespace {

// RFC 2047 section 2: no line with an encoded word is longer, and no encoded word.
constexpr std::size_t kLine = 76;
constexpr std::size_t kEncodedWord = 75;
constexpr std::size_t kEncodedWordFrame = 12;  // "=?utf-8?Q?" and "?="
constexpr std::size_t kLongestWord = 70;

// Collects a field's tokens and folds wherever a line would become too long.
class FoldedField {
 public:
  explicit FoldedField(std::string_view name) : text_(name) {
    text_ += ':';
    column_ = text_.size();
  }

  // `blanks` stand before the token; at least one.
  void add(std::string_view token, std::string_view blanks = " ") {
    if (hasToken_ && column_ + blanks.size() + token.size() > kLine) {
      fold();
    }
    text_ += blanks;
    text_ += token;
    column_ += blanks.size() + token.size();
    hasToken_ = true;
  }

  void addEncoded(std::string_view utf8);

  std::string take() { return std::move(text_) + '\n'; }

 private:
  void fold() {
    text_ += '\n';
    column_ = 0;
  }

  std::string text_;
  std::size_t column_ = 0;
  bool hasToken_ = false;
};

// The Q encoding, restricted to the characters of RFC 2047 section 5 (3), which are allowed in
// every kind of field.
std::string encodedQ(std::string_view bytes) {
  constexpr std::string_view kPlain = "!*+-/";
  std::string out;
  for (const char c : bytes) {
    if (isLetterOrDigit(c) || kPlain.find(c) != std::string_view::npos) {
      out += c;
    } else if (c == ' ') {
      out += '_';
    } else {
      appendEscapedByte(out, c);
    }
  }
  return out;
}

// Whether to use base64. It is shorter from one byte in six beyond ASCII on; up to one in three,
// the Q encoding is preferred all the same, because people and filters can still read it.
bool prefersB(std::string_view text) {
  const auto high = std::count_if(text.begin(), text.end(), [](char c) { return c < 0; });
  return static_cast<std::size_t>(high) * 3 > text.size();
}

// Words are cut between characters (RFC 2047 section 5): each must be decodable by itself.
void FoldedField::addEncoded(std::string_view utf8) {
  const bool base64 = prefersB(utf8);
  while (!utf8.empty()) {
    // A word is begun on this line only if it has room for 24 characters.
    if (hasToken_ && column_ + 1 + kEncodedWordFrame + 24 > kLine) {
      fold();
    }
    const std::size_t room = std::min(kEncodedWord, kLine - column_ - 1) - kEncodedWordFrame;
    std::string word;
    std::size_t used = 0;
    while (used < utf8.size()) {
      const std::size_t length = firstCharacters(utf8.substr(used), 1).size();
      const auto taken = utf8.substr(0, used + length);
      std::string longer = base64 ? base64Word(taken) : word + encodedQ(taken.substr(used));
      // At least one character to a word, or the loop would never end.
      if (longer.size() > room && used > 0) {
        break;
      }
      word = std::move(longer);
      used += length;
    }
    add((base64 ? "=?utf-8?B?" : "=?utf-8?Q?") + word + "?=");
    utf8.remove_prefix(used);
  }
}

// A word of a text and the blanks before it.
struct Word {
  std::size_t from = 0;   // of the blanks
  std::size_t begin = 0;  // of the word
  std::size_t end = 0;
};

std::vector<Word> wordsOf(std::string_view text) {
  std::vector<Word> words;
  for (std::size_t pos = 0; pos < text.size();) {
    const std::size_t begin = std::min(text.find_first_not_of(' ', pos), text.size());
    const std::size_t end = std::min(text.find(' ', begin), text.size());
    words.push_back({pos, begin, end});
    pos = end;
  }
  return words;
}

// Whether a word can be written unchanged.
bool isPlainWord(std::string_view text, const Word& word) {
  const auto bytes = text.substr(word.begin, word.end - word.begin);
  // A row of blanks longer than a line could not be folded as it is.
  return !bytes.empty() && bytes.size() <= kLongestWord && word.begin - word.from < kLongestWord &&
         bytes.find("=?") == std::string_view::npos &&
         std::all_of(bytes.begin(), bytes.end(), isPrintable);
}

// A longer word or quoted string becomes encoded words, which can be folded.
constexpr std::size_t kLongestPlainName = 60;

using Tokens = std::vector<std::string>;

bool isPrintableAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c == ' ' || isPrintable(c); });
}

// The text, which is valid UTF-8, in encoded words of whole characters. 39 bytes are 52 digits of
// base64: 64 characters with the frame, within the 75 of RFC 2047 section 2, and short enough for
// the first line beside the field's name.
Tokens encodedName(std::string_view text) {
  constexpr std::size_t kBytesOfAWord = 39;
  Tokens words;
  while (!text.empty()) {
    const auto part = withoutBrokenEnd(text.substr(0, kBytesOfAWord));
    words.push_back("=?utf-8?B?" + base64Word(part) + "?=");
    text.remove_prefix(part.size());
  }
  return words;
}

Tokens wordsOfName(std::string_view name) {
  Tokens words;
  while (!name.empty()) {
    const auto blank = std::min(name.find(' '), name.size());
    words.emplace_back(name.substr(0, blank));
    name.remove_prefix(std::min(blank + 1, name.size()));
  }
  return words;
}

// The name as tokens between which the field may be folded: unchanged, quoted, or encoded.
Tokens phrase(const std::string& name) {
  Tokens words = wordsOfName(name);
  const bool plain = std::all_of(words.begin(), words.end(), [](const std::string& word) {
    return std::all_of(word.begin(), word.end(), isAtomCharacter) &&
           word.size() <= kLongestPlainName;
  });
  // A name that looks like an encoded word must be encoded, or readers would decode it.
  const bool coded = name.find("=?") != std::string::npos;
  if (plain && !coded) {
    return words;
  }
  if (isPrintableAscii(name) && !coded && name.size() <= kLongestPlainName) {
    return {quotedString(name)};
  }
  return encodedName(name);
}

Tokens tokensOf(const Mailbox& mailbox) {
  const std::string name = tidyLine(onOneLine(scrubUtf8(mailbox.name)));
  const std::string address = wireAddress(mailbox.address);
  if (name.empty()) {
    return {address};
  }
  Tokens tokens = phrase(name);
  tokens.push_back("<" + address + ">");
  return tokens;
}

}  // namespace

std::string textField(std::string_view name, std::string_view text) {
  FoldedField field(name);
  const auto words = wordsOf(text);
  const auto isOdd = [&](const Word& word) { return !isPlainWord(text, word); };
  const auto firstOdd = std::find_if(words.begin(), words.end(), isOdd);
  const auto lastOdd = std::find_if(words.rbegin(), words.rend(), isOdd).base();
  const auto addPlain = [&](const Word& word) {
    field.add(text.substr(word.begin, word.end - word.begin),
              word.from == word.begin ? " " : text.substr(word.from, word.begin - word.from));
  };
  std::for_each(words.begin(), firstOdd, addPlain);
  if (firstOdd != words.end()) {
    // One blank before and one behind separate the encoded words from the rest and are not encoded.
    const std::size_t begin = firstOdd->from + (firstOdd == words.begin() ? 0 : 1);
    field.addEncoded(text.substr(begin, (lastOdd - 1)->end - begin));
    std::for_each(lastOdd, words.end(), addPlain);
  }
  return field.take();
}

std::string wordField(std::string_view name, const std::vector<std::string>& words) {
  FoldedField field(name);
  for (const std::string& word : words) {
    field.add(word);
  }
  return words.empty() ? std::string() : field.take();
}

std::string addressField(std::string_view name, const std::vector<Mailbox>& mailboxes) {
  if (mailboxes.empty()) {
    return {};
  }
  std::string field = std::string(name) + ":";
  std::size_t column = field.size();
  for (std::size_t i = 0; i < mailboxes.size(); ++i) {
    Tokens tokens = tokensOf(mailboxes[i]);
    if (i + 1 < mailboxes.size()) {
      tokens.back() += ',';
    }
    for (const std::string& token : tokens) {
      // The first token stays on the line of the field's name: some readers end the field at a line
      // without text.
      const bool stays = field.size() == name.size() + 1 || column + 1 + token.size() <= kLine;
      field += stays ? " " : "\n ";
      column = (stays ? column : 0) + 1 + token.size();
      field += token;
    }
  }
  return field + "\n";
}

}  // namespace relaybird
