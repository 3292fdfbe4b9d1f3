// SPDX-License-Identifier: MIT
#include "message/text/tidy_line.h"

#include <algorithm>
#include <cstddef>

#include "platform/text/character_kind.h"
#include "platform/text/utf8_text.h"

namespace relaybird {

namespace {

bool divides(const Utf8Character& character) {
  if (character.length == 0) {
    return false;
  }
  const CharacterKind kind = kindOf(character.code);
  return character.code == ' ' || kind == CharacterKind::kControl ||
         kind == CharacterKind::kLineBreak;
}

}  // namespace

std::string tidyLine(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    const Utf8Character first = firstCharacter(text);
    const std::string_view bytes = text.substr(0, std::max<std::size_t>(first.length, 1));
    text.remove_prefix(bytes.size());
    if (!divides(first)) {
      out += bytes;
    } else if (!out.empty() && out.back() != ' ') {
      out += ' ';
    }
  }
  if (!out.empty() && out.back() == ' ') {
    out.pop_back();
  }
  return out;
}

}  // namespace relaybird
