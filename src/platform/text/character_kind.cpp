// SPDX-License-Identifier: MIT
// The kinds are a sorted table of ranges, searched by halving; everything else is ordinary. Texts
// are shown character by character: a hidden one becomes its code, because an invisible character
// or one that turns the direction could make a stranger's text look like something else.
#include "platform/text/character_kind.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "platform/text/utf8_text.h"

namespace relaybird {
namespace {

using enum CharacterKind;

struct Range {
  char32_t first, last;
  CharacterKind kind;
};

// Characters outside it are ordinary. A test compares it with the Unicode data if installed.
constexpr Range kRanges[] = {
    {0x0, 0x1F, kControl},
    {0x20, 0x20, kBlank},
    {0x7F, 0x9F, kControl},
    {0xA0, 0xA0, kBlank},
    {0xAD, 0xAD, kFiller},    // soft hyphen
    {0x34F, 0x34F, kFiller},  // combining grapheme joiner
    {0x61C, 0x61C, kDirectionMark},
    {0x115F, 0x1160, kFiller},  // Hangul fillers, also U+3164 and U+FFA0
    {0x1680, 0x1680, kBlank},
    {0x17B4, 0x17B5, kFiller},  // Khmer inherent vowels
    {0x180B, 0x180D, kJoiner},  // Mongolian variation selectors, also U+180F
    {0x180E, 0x180E, kFiller},  // Mongolian vowel separator
    {0x180F, 0x180F, kJoiner},
    {0x2000, 0x200A, kBlank},
    {0x200B, 0x200B, kFiller},  // zero-width space
    {0x200C, 0x200D, kJoiner},
    {0x200E, 0x200F, kDirectionMark},
    {0x2028, 0x2029, kLineBreak},
    {0x202A, 0x202E, kDirection},
    {0x202F, 0x202F, kBlank},
    {0x205F, 0x205F, kBlank},
    {0x2060, 0x2065, kFiller},  // word joiner, invisible operators
    {0x2066, 0x2069, kDirection},
    {0x206A, 0x206F, kFiller},  // deprecated format characters
    {0x2800, 0x2800, kBlank},   // Braille pattern without dots
    {0x3000, 0x3000, kBlank},
    {0x3164, 0x3164, kFiller},
    {0xFE00, 0xFE0F, kJoiner},  // variation selectors
    {0xFEFF, 0xFEFF, kFiller},  // byte order mark
    {0xFFA0, 0xFFA0, kFiller},
    {0xFFF0, 0xFFFB, kFiller},    // interlinear annotation, and codes before it without a meaning
    {0x1BCA0, 0x1BCA3, kFiller},  // shorthand format controls
    {0x1D173, 0x1D17A, kFiller},  // musical format controls
    {0xE0000, 0xE00FF, kFiller},  // tags
    {0xE0100, 0xE01EF, kJoiner},  // further variation selectors
    {0xE01F0, 0xE0FFF, kFiller},  // reserved for characters without ink
};

// The search needs it, and a table edited by hand is easily out of order.
constexpr bool isOrdered() {
  for (std::size_t i = 1; i < std::size(kRanges); ++i) {
    if (kRanges[i].first <= kRanges[i - 1].last) {
      return false;
    }
  }
  return true;
}
static_assert(isOrdered());

constexpr std::string_view kLowerDigits = "0123456789abcdef";
constexpr std::string_view kUpperDigits = "0123456789ABCDEF";

// At least four digits, as Unicode writes codes.
void appendCode(std::string& out, char32_t code) {
  constexpr int kFewestDigits = 4;
  int digits = kFewestDigits;
  while (digits < 6 && code >> (4 * digits) != 0) {
    ++digits;
  }
  out += "<U+";
  while (digits > 0) {
    out += kUpperDigits[code >> (4 * --digits) & 0xF];
  }
  out += '>';
}

void appendByte(std::string& out, char byte) {
  const auto value = static_cast<unsigned char>(byte);
  out += "\\x";
  out += kLowerDigits[value >> 4];
  out += kLowerDigits[value & 0xF];
}

}  // namespace

CharacterKind kindOf(char32_t code) {
  // Nearly all characters of mail are these.
  if (code > 0x20 && code < 0x7F) {
    return kOrdinary;
  }
  const Range* const range =
      std::lower_bound(std::begin(kRanges), std::end(kRanges), code,
                       [](const Range& entry, char32_t sought) { return entry.last < sought; });
  return range != std::end(kRanges) && code >= range->first ? range->kind : kOrdinary;
}

bool isHidden(char32_t code) {
  switch (kindOf(code)) {
    case kControl:
    case kLineBreak:
    case kDirection:
    case kDirectionMark:
    case kFiller:
      return true;
    case kOrdinary:
    case kBlank:
    case kJoiner:
    default:
      return false;
  }
}

void takeWithCode(std::string_view& text, std::string& out) {
  const Utf8Character first = firstCharacter(text);
  const std::string_view bytes = text.substr(0, std::max<std::size_t>(first.length, 1));
  if (first.length == 0) {
    appendByte(out, bytes.front());
  } else if (first.code != '\t' && isHidden(first.code)) {
    // A tab moves nothing but itself, and is common in text.
    appendCode(out, first.code);
  } else {
    out += bytes;
  }
  text.remove_prefix(bytes.size());
}

std::string withCodes(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    takeWithCode(text, out);
  }
  return out;
}

std::string linesWithCodes(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const std::size_t lineEnd = text.starts_with("\r\n") ? 2 : text.starts_with('\n') ? 1 : 0;
    if (lineEnd == 0) {
      takeWithCode(text, out);
    } else {
      out += text.substr(0, lineEnd);
      text.remove_prefix(lineEnd);
    }
  }
  return out;
}

}  // namespace relaybird
