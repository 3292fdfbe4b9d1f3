// SPDX-License-Identifier: MIT
#include "message/writing/address_field.h"

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

// RFC 2047 section 2: no line with an encoded word is longer.
constexpr std::size_t kLine = 76;
// A word or quoted string beyond this becomes encoded words, which can be folded.
constexpr std::size_t kLongestPlain = 60;

using Tokens = std::vector<std::string>;

bool isAtomText(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) {
    return isLetterOrDigit(c) ||
           std::string_view("!#$%&'*+-/=?^_`{|}~").find(c) != std::string_view::npos;
  });
}

bool isPrintableAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c == ' ' || isPrintable(c); });
}

// Whole characters in each word, which is at most 75 bytes long (RFC 2047 section 2) and finds
// room on the first line beside the field's name.
Tokens encodedWords(std::string_view text) {
  constexpr std::size_t kBytesOfAWord = 39;
  Tokens words;
  while (!text.empty()) {
    const auto part = withoutBrokenEnd(text.substr(0, kBytesOfAWord));
    words.push_back("=?utf-8?B?" + base64Word(part) + "?=");
    text.remove_prefix(part.size());
  }
  return words;
}

std::string quoted(std::string_view text) {
  std::string all = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      all += '\\';
    }
    all += c;
  }
  return all + '"';
}

Tokens wordsOf(std::string_view name) {
  Tokens words;
  while (!name.empty()) {
    const auto blank = std::min(name.find(' '), name.size());
    words.emplace_back(name.substr(0, blank));
    name.remove_prefix(std::min(blank + 1, name.size()));
  }
  return words;
}

// The name as what may be folded between: as it is, quoted, or encoded.
Tokens phrase(const std::string& name) {
  Tokens words = wordsOf(name);
  const bool plain = std::all_of(words.begin(), words.end(), [](const std::string& word) {
    return isAtomText(word) && word.size() <= kLongestPlain;
  });
  // Text that looks like an encoded word would be shown as what it stands for.
  const bool coded = name.find("=?") != std::string::npos;
  if (plain && !coded) {
    return words;
  }
  if (isPrintableAscii(name) && !coded && name.size() <= kLongestPlain) {
    return {quoted(name)};
  }
  return encodedWords(name);
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
      // The first stays beside the name: a line of blanks alone would end the field for some
      // readers.
      const bool stays = field.size() == name.size() + 1 || column + 1 + token.size() <= kLine;
      field += stays ? " " : "\n ";
      column = (stays ? column : 0) + 1 + token.size();
      field += token;
    }
  }
  return field + "\n";
}

}  // namespace relaybird
