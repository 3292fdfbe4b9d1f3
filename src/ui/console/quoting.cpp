// SPDX-License-Identifier: MIT
// Escaping and its inverse, character by character. Which characters are hidden or dangerous is
// decided in platform/text/character_kind.h, in one place for the whole program.
#include "ui/console/quoting.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

#include "platform/text/ascii_text.h"
#include "platform/text/character_kind.h"
#include "platform/text/utf8_text.h"

namespace relaybird {
namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kHexDigits = "0123456789abcdef";

unsigned byteOf(char c) {
  return static_cast<unsigned char>(c);
}

void appendHex(std::string& out, std::string_view bytes) {
  for (const char c : bytes) {
    out += "\\x";
    out += kHexDigits[byteOf(c) >> 4];
    out += kHexDigits[byteOf(c) & 0xF];
  }
}

// The letter that escapes the character after a backslash; 0 if it has none.
char escapeLetter(char32_t code) {
  switch (code) {
    case '\\':
      return '\\';
    case '\n':
      return 'n';
    case '\r':
      return 'r';
    case '\t':
      return 't';
    default:
      return 0;
  }
}

// Invalid bytes are written one by one, so that splitWords() restores exactly the same bytes.
std::string written(std::string_view text, bool inQuotes) {
  std::string out;
  out.reserve(text.size() + 2);
  while (!text.empty()) {
    const Utf8Character first = firstCharacter(text);
    const std::string_view bytes = text.substr(0, first.length == 0 ? 1 : first.length);
    text.remove_prefix(bytes.size());
    const char letter = first.length == 1 ? escapeLetter(first.code) : '\0';
    if (letter != 0 || (inQuotes && first.code == '"')) {
      out += '\\';
      out += letter != 0 ? letter : '"';
    } else if (first.length == 0 || isHidden(first.code)) {
      appendHex(out, bytes);
    } else {
      out += bytes;
    }
  }
  return out;
}

// Removes an escape from the text, whose backslash was removed already, and returns its character.
std::optional<char> takeEscape(std::string_view& text) {
  if (text.empty()) {
    return std::nullopt;
  }
  const char letter = text.front();
  text.remove_prefix(1);
  switch (letter) {
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 't':
      return '\t';
    case '\\':
    case '"':
      return letter;
    default:
      break;
  }
  if (letter != 'x' || text.size() < 2) {
    return std::nullopt;
  }
  const int high = hexValue(text[0]);
  const int low = hexValue(text[1]);
  text.remove_prefix(2);
  if (high < 0 || low < 0) {
    return std::nullopt;
  }
  return static_cast<char>(high * 16 + low);
}

// Whether a character can control a terminal or a line. Hidden marks and fillers are allowed: they
// come with pasted names and are harmless.
bool steers(char32_t code) {
  const CharacterKind kind = kindOf(code);
  return kind == CharacterKind::kControl || kind == CharacterKind::kLineBreak ||
         kind == CharacterKind::kDirection;
}

void skipBlanks(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
}

// Removes a word in quotes from the text, which begins with the opening quote.
Result<std::string> takeQuoted(std::string_view& text) {
  text.remove_prefix(1);
  std::string word;
  word.reserve(text.size());  // it may be a password: a text that grows leaves copies behind
  while (!text.empty() && text.front() != '"') {
    const char c = text.front();
    text.remove_prefix(1);
    if (c != '\\') {
      word += c;
      continue;
    }
    const auto meant = takeEscape(text);
    if (!meant) {
      return Error{0, R"(after a backslash in quotes comes one of n r t x \ ")"};
    }
    word += *meant;
  }
  if (text.empty()) {
    return Error{0, "a closing quote is missing"};
  }
  text.remove_prefix(1);
  if (!text.empty() && kBlanks.find(text.front()) == std::string_view::npos) {
    return Error{0, "a blank must follow the closing quote"};
  }
  return word;
}

}  // namespace

std::string escaped(std::string_view text) {
  return written(text, false);
}

std::string inQuotes(std::string_view text) {
  return '"' + written(text, true) + '"';
}

std::string printable(std::string_view text) {
  std::string line = withCodes(text);
  std::replace(line.begin(), line.end(), '\t', ' ');
  return line;
}

std::string_view takeWord(std::string_view& line) {
  skipBlanks(line);
  const std::string_view word = line.substr(0, line.find_first_of(kBlanks));
  line.remove_prefix(word.size());
  skipBlanks(line);
  return word;
}

Result<std::vector<std::string>> splitWords(std::string_view line) {
  std::vector<std::string> words;
  words.reserve(line.size() / 2 + 1);  // words may be passwords, too
  skipBlanks(line);
  while (!line.empty()) {
    if (line.front() == '"') {
      auto word = takeQuoted(line);
      if (!word) {
        return word.error();
      }
      words.push_back(std::move(*word));
      skipBlanks(line);
    } else {
      words.emplace_back(takeWord(line));
    }
  }
  return words;
}

// Only a value that begins with a quote is read as a quoted one, so that other texts may hold
// quotes and backslashes.
Result<std::string> readValue(std::string_view rest) {
  skipBlanks(rest);
  if (rest.empty() || rest.front() != '"') {
    const auto last = rest.find_last_not_of(kBlanks);
    return std::string(rest.substr(0, last == std::string_view::npos ? 0 : last + 1));
  }
  auto value = takeQuoted(rest);
  skipBlanks(rest);
  if (value && !rest.empty()) {
    return Error{0, "there is more after the closing quote"};
  }
  return value;
}

// A line with control characters is not what the user sees, so it is refused instead of cleaned.
std::string whyNoCommand(std::string_view bytes) {
  while (!bytes.empty()) {
    const Utf8Character first = firstCharacter(bytes);
    if (first.length == 0) {
      return "the line is not UTF-8";
    }
    if (first.code == 0) {
      return "the line holds a NUL character";
    }
    if (first.code != '\t' && steers(first.code)) {
      return "the line holds control characters";
    }
    bytes.remove_prefix(first.length);
  }
  return {};
}

}  // namespace relaybird
