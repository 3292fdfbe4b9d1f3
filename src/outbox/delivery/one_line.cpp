// SPDX-License-Identifier: MIT
#include "outbox/delivery/one_line.h"

#include <cstddef>

#include "platform/text/character_kind.h"
#include "platform/text/utf8_text.h"

namespace relaybird {

namespace {

constexpr std::size_t kLongest = 300;
constexpr std::string_view kEllipsis = "...";

bool divides(const Utf8Character& character) {
  if (character.length == 0) {
    return false;
  }
  const CharacterKind kind = kindOf(character.code);
  return kind == CharacterKind::kBlank || kind == CharacterKind::kLineBreak ||
         (character.code >= '\t' && character.code <= '\r');
}

}  // namespace

std::string oneLine(std::string_view text) {
  std::string line;
  std::size_t fits = 0;  // the longest beginning that leaves room for the ellipsis
  bool divided = false;
  while (!text.empty() && line.size() <= kLongest) {
    const Utf8Character first = firstCharacter(text);
    if (divides(first)) {
      text.remove_prefix(first.length);
      divided = !line.empty();
      continue;
    }
    if (divided) {
      line += ' ';
    }
    divided = false;
    takeWithCode(text, line);
    if (line.size() + kEllipsis.size() <= kLongest) {
      fits = line.size();
    }
  }
  if (line.size() > kLongest) {
    line.replace(fits, line.npos, kEllipsis);
  }
  return line;
}

}  // namespace relaybird
