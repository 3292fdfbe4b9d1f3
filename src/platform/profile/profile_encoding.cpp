// SPDX-License-Identifier: MIT
// Only UTF-16 is converted; plain and UTF-8 files are edited as they are. A file must come back
// byte by byte, even one that is not valid UTF-16: half a surrogate pair is carried as if it were a
// character, and an odd last byte as a tail.
#include "platform/profile/profile_encoding.h"

#include <cstddef>
#include <utility>

namespace relaybird {
namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16LeMark = "\xFF\xFE";

bool isHighSurrogate(char32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
bool isLowSurrogate(char32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

char byteOf(char32_t bits) {
  return static_cast<char>(static_cast<unsigned char>(bits));
}

// A UTF-16 code unit, low byte first.
char32_t unitAt(std::string_view bytes, std::size_t at) {
  return static_cast<unsigned char>(bytes[at]) |
         static_cast<char32_t>(static_cast<unsigned char>(bytes[at + 1])) << 8;
}

// Also halves of surrogate pairs, which strict UTF-8 excludes: see above.
void appendUtf8(std::string& text, char32_t character) {
  if (character < 0x80) {
    text += byteOf(character);
    return;
  }
  if (character < 0x800) {
    text += byteOf(0xC0 | character >> 6);
  } else {
    if (character < 0x10000) {
      text += byteOf(0xE0 | character >> 12);
    } else {
      text += byteOf(0xF0 | character >> 18);
      text += byteOf(0x80 | (character >> 12 & 0x3F));
    }
    text += byteOf(0x80 | (character >> 6 & 0x3F));
  }
  text += byteOf(0x80 | (character & 0x3F));
}

std::string utf8FromUtf16Le(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    char32_t character = unitAt(bytes, at);
    if (isHighSurrogate(character) && at + 3 < bytes.size() &&
        isLowSurrogate(unitAt(bytes, at + 2))) {
      at += 2;
      character = 0x10000 + ((character - 0xD800) << 10) + (unitAt(bytes, at) - 0xDC00);
    }
    appendUtf8(text, character);
  }
  return text;
}

// Removes the next character of the text; none where it is not in its only valid form.
std::optional<char32_t> takeUtf8(std::string_view& text) {
  const auto lead = static_cast<unsigned char>(text.front());
  // The shortest form only, and nothing above U+10FFFF: another form would come back as other
  // bytes.
  const std::size_t length = lead < 0x80   ? 1
                             : lead < 0xC0 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                                           : 4;
  if (length == 0 || length > text.size() || lead > 0xF4) {
    return std::nullopt;
  }
  char32_t character = length == 1 ? lead : lead & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0) != 0x80) {
      return std::nullopt;
    }
    character = character << 6 | (next & 0x3F);
  }
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (character < kSmallest[length] || character > 0x10FFFF) {
    return std::nullopt;
  }
  text.remove_prefix(length);
  return character;
}

void appendUnit(std::string& bytes, char32_t unit) {
  bytes += byteOf(unit & 0xFF);
  bytes += byteOf(unit >> 8);
}

std::optional<std::string> utf16LeFromUtf8(std::string_view text) {
  std::string bytes;
  bytes.reserve(2 * text.size());
  bool afterHigh = false;
  while (!text.empty()) {
    const auto character = takeUtf8(text);
    if (!character) {
      return std::nullopt;
    }
    // Two adjacent halves would be read back as one character.
    if (afterHigh && isLowSurrogate(*character)) {
      return std::nullopt;
    }
    afterHigh = isHighSurrogate(*character);
    if (*character < 0x10000) {
      appendUnit(bytes, *character);
    } else {
      appendUnit(bytes, 0xD800 + ((*character - 0x10000) >> 10));
      appendUnit(bytes, 0xDC00 + ((*character - 0x10000) & 0x3FF));
    }
  }
  return bytes;
}

}  // namespace

// The mark at the beginning decides. Without one the bytes are passed on as they are, whatever
// their encoding.
ProfileText decodeProfile(std::string bytes) {
  const std::string_view all = bytes;
  if (all.starts_with(kUtf8Mark)) {
    return {std::string(all.substr(kUtf8Mark.size())), ProfileEncoding::kUtf8Bom, {}};
  }
  if (!all.starts_with(kUtf16LeMark)) {
    return {std::move(bytes), ProfileEncoding::kPlain, {}};
  }
  const std::string_view units = all.substr(kUtf16LeMark.size());
  return {utf8FromUtf16Le(units), ProfileEncoding::kUtf16Le,
          std::string(units.substr(units.size() - units.size() % 2))};
}

std::optional<std::string> encodeProfile(const ProfileText& source, std::string_view text) {
  if (source.encoding == ProfileEncoding::kPlain) {
    return std::string(text);
  }
  if (source.encoding == ProfileEncoding::kUtf8Bom) {
    return std::string(kUtf8Mark) + std::string(text);
  }
  // A new value that is not UTF-8 has no form in UTF-16; nothing is written then.
  const auto units = utf16LeFromUtf8(text);
  if (!units) {
    return std::nullopt;
  }
  return std::string(kUtf16LeMark) + *units + source.tail;
}

}  // namespace relaybird
