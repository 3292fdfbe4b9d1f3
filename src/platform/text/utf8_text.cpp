// SPDX-License-Identifier: MIT
// Well-formed UTF-8 is what RFC 3629 allows: no overlong forms, no surrogates, nothing past
// U+10FFFF. Counting and cutting accept any bytes, because texts come from files and strangers.
#include "platform/text/utf8_text.h"

#include <array>

namespace relaybird {

namespace {

// The number of bytes that a lead byte announces; 1 for a byte that is not a lead byte.
std::size_t announcedLength(char lead) {
  const auto byte = static_cast<unsigned char>(lead);
  if (byte >= 0xF0) {
    return byte < 0xF8 ? 4 : 1;
  }
  if (byte >= 0xE0) {
    return 3;
  }
  return byte >= 0xC0 ? 2 : 1;
}

// The length in bytes of the first character of the text.
// Judged by the lead byte and the bytes that must follow, not by the code: texts of older releases
// may contain codes that UTF-8 forbids, and each of them counts as one character.
std::size_t firstLength(std::string_view text) {
  const std::size_t length = announcedLength(text.front());
  if (length > text.size()) {
    return 1;
  }
  for (std::size_t i = 1; i < length; ++i) {
    if (!isContinuation(text[i])) {
      return 1;
    }
  }
  return length;
}

}  // namespace

std::size_t characterCount(std::string_view text) {
  std::size_t count = 0;
  for (; !text.empty(); ++count) {
    text.remove_prefix(firstLength(text));
  }
  return count;
}

std::string_view firstCharacters(std::string_view text, std::size_t most) {
  std::size_t length = 0;
  for (; most > 0 && length < text.size(); --most) {
    length += firstLength(text.substr(length));
  }
  return text.substr(0, length);
}

Utf8Character firstCharacter(std::string_view text) {
  // The smallest code that needs so many bytes: a smaller one would be an overlong form.
  constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  constexpr char32_t kGreatest = 0x10FFFF;
  const auto lead = static_cast<unsigned char>(text.front());
  if (lead < 0x80) {
    return {lead, 1};
  }
  const std::size_t length = firstLength(text);
  if (length == 1) {
    return {};
  }
  char32_t code = lead & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    code = (code << 6) | (text[i] & 0x3F);
  }
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  if (code < kLeast[length] || code > kGreatest || surrogate) {
    return {};
  }
  return {code, length};
}

// Accepts every form that appendCharacter() writes.
std::int32_t takeCharacter(std::string_view& text) {
  const std::size_t length = firstLength(text);
  std::int32_t code = static_cast<unsigned char>(text.front());
  if (length > 1) {
    code &= 0x7F >> length;
  }
  for (std::size_t i = 1; i < length; ++i) {
    code = (code << 6) | (text[i] & 0x3F);
  }
  text.remove_prefix(length);
  return code;
}

void appendCharacter(std::string& text, std::int32_t code) {
  constexpr std::array<int, 4> kLeads = {0, 0xC0, 0xE0, 0xF0};
  const std::size_t following = code < 0x80 ? 0 : code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
  text += static_cast<char>(kLeads[following] | code >> (6 * following));
  for (std::size_t left = following; left > 0; --left) {
    text += static_cast<char>(0x80 | (code >> (6 * (left - 1)) & 0x3F));
  }
}

// Only the last character can be incomplete. Bytes that are not UTF-8 anyway are kept.
std::string_view withoutBrokenEnd(std::string_view text) {
  std::size_t lead = text.size();
  while (lead > 0 && isContinuation(text[lead - 1])) {
    --lead;
  }
  if (lead == 0) {
    return text;
  }
  --lead;
  const std::size_t there = text.size() - lead;
  return there < announcedLength(text[lead]) ? text.substr(0, lead) : text;
}

}  // namespace relaybird
