// SPDX-License-Identifier: MIT
#include "platform/text/text_case.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace relaybird {
namespace {

/// Letters whose capitals stand in a row: those of [first, last] lie `distance` below.
struct Shifted {
  char32_t first, last, distance;
};
constexpr Shifted kShifted[] = {
    {0x61, 0x7A, 0x20},   {0xE0, 0xF6, 0x20},   {0xF8, 0xFE, 0x20},
    {0x3AD, 0x3AF, 0x25}, {0x3B1, 0x3C1, 0x20}, {0x3C3, 0x3CB, 0x20},
    {0x3CD, 0x3CE, 0x3F}, {0x430, 0x44F, 0x20}, {0x450, 0x45F, 0x50},
};

/// Stretches where capital and small letter alternate; the small ones are the odd or the even ones.
struct Alternating {
  char32_t first, last, odd;
};
constexpr Alternating kAlternating[] = {
    {0x100, 0x12F, 1}, {0x132, 0x137, 1}, {0x139, 0x148, 0}, {0x14A, 0x177, 1}, {0x179, 0x17E, 0},
    {0x1F8, 0x21F, 1}, {0x222, 0x233, 1}, {0x370, 0x373, 1}, {0x376, 0x377, 1}, {0x3D8, 0x3EF, 1},
    {0x460, 0x481, 1}, {0x48A, 0x4BF, 1}, {0x4C1, 0x4CE, 0}, {0x4D0, 0x52F, 1},
};

/// The rest, by the small letter: letters whose capitals stand apart, and second forms of a letter.
struct Single {
  char32_t small, capital;
};
constexpr Single kSingles[] = {
    {0xB5, 0x39C},  {0xFF, 0x178},  {0x131, 0x49},  {0x17F, 0x53},  {0x37B, 0x3FD}, {0x37C, 0x3FE},
    {0x37D, 0x3FF}, {0x3AC, 0x386}, {0x3C2, 0x3A3}, {0x3CC, 0x38C}, {0x3D0, 0x392}, {0x3D1, 0x398},
    {0x3D5, 0x3A6}, {0x3D6, 0x3A0}, {0x3D7, 0x3CF}, {0x3F0, 0x39A}, {0x3F1, 0x3A1}, {0x3F2, 0x3F9},
    {0x3F3, 0x37F}, {0x3F5, 0x395}, {0x3F8, 0x3F7}, {0x3FB, 0x3FA}, {0x4CF, 0x4C0},
};

char32_t capital(char32_t letter) {
  for (const auto& [first, last, distance] : kShifted) {
    if (letter >= first && letter <= last) return letter - distance;
  }
  for (const auto& [first, last, odd] : kAlternating) {
    if (letter >= first && letter <= last) return (letter & 1) == odd ? letter - 1 : letter;
  }
  const auto* const single =
      std::lower_bound(std::begin(kSingles), std::end(kSingles), letter,
                       [](const Single& entry, char32_t sought) { return entry.small < sought; });
  return single != std::end(kSingles) && single->small == letter ? single->capital : letter;
}

void append(std::string& text, char32_t letter) {
  if (letter < 0x80) {
    text += static_cast<char>(letter);
  } else {
    text += static_cast<char>(0xC0 | (letter >> 6));
    text += static_cast<char>(0x80 | (letter & 0x3F));
  }
}

}  // namespace

std::string upperCase(std::string_view text) {
  std::string upper;
  upper.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte < 0x80) {
      append(upper, capital(byte));
      continue;
    }
    // Every letter with a partner takes two bytes, so longer sequences need no decoding. A lead
    // byte cannot stand inside one: copying byte by byte never falls out of step.
    const bool twoBytes = byte >= 0xC2 && byte <= 0xDF && at + 1 < text.size() &&
                          (static_cast<unsigned char>(text[at + 1]) & 0xC0) == 0x80;
    if (!twoBytes) {
      upper += text[at];
      continue;
    }
    const auto next = static_cast<unsigned char>(text[++at]);
    append(upper, capital(static_cast<char32_t>((byte & 0x1F) << 6 | (next & 0x3F))));
  }
  return upper;
}

}  // namespace relaybird
