// SPDX-License-Identifier: MIT
#include "outbox/journal_line.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

constexpr std::size_t kSumDigits = 16;

// FNV-1a, 64 bits: only tells a torn line from a complete one. A program that can write the file
// can also compute the sum.
std::string checkSum(std::string_view text) {
  std::uint64_t sum = 0xcbf29ce484222325u;
  for (const char byte : text) {
    sum = (sum ^ static_cast<unsigned char>(byte)) * 0x100000001b3u;
  }
  std::string bytes;
  for (int shift = 56; shift >= 0; shift -= 8) {
    bytes += static_cast<char>(sum >> shift & 0xff);
  }
  return toHex(bytes);
}

bool isPlain(char byte) {
  return byte > ' ' && byte < '\x7f' && byte != '%';
}

// Blanks, control characters, "%" and bytes beyond ASCII are written as "%" and two digits: an
// entry may be named by any bytes but must stay within its field and line.
void appendField(std::string& text, std::string_view field) {
  if (field.empty()) {
    text += '%';  // marks an empty field, so that every field has characters
  }
  constexpr std::string_view kDigits = "0123456789abcdef";
  for (const char byte : field) {
    if (isPlain(byte)) {
      text += byte;
    } else {
      const auto value = static_cast<unsigned char>(byte);
      text += '%';
      text += kDigits[value >> 4];
      text += kDigits[value & 15];
    }
  }
}

std::optional<std::string> decodeField(std::string_view text) {
  if (text.empty()) {
    return std::nullopt;
  }
  std::string field;
  if (text == "%") {
    return field;
  }
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '%') {
      field += text[at];
      continue;
    }
    if (text.size() - at < 3) {
      return std::nullopt;
    }
    const int high = hexValue(text[at + 1]);
    const int low = hexValue(text[at + 2]);
    if (high < 0 || low < 0) {
      return std::nullopt;
    }
    field += static_cast<char>(high * 16 + low);
    at += 2;
  }
  return field;
}

}  // namespace

// The sum comes first, so that a line which was cut short cannot have the right one by accident.
std::string encodeJournalLine(const std::vector<std::string_view>& fields) {
  std::string text;
  for (const std::string_view field : fields) {
    // Most of a message is plain, which is the only large field.
    text.reserve(text.size() + field.size() + field.size() / 2);
    text += ' ';
    appendField(text, field);
  }
  return checkSum(text) + text + '\n';
}

// Empty for a line that was torn, damaged, or not written by encodeJournalLine().
std::optional<std::vector<std::string>> decodeJournalLine(std::string_view line) {
  if (line.size() <= kSumDigits) {
    return std::nullopt;
  }
  std::string_view rest = line.substr(kSumDigits);
  if (rest[0] != ' ' || line.substr(0, kSumDigits) != checkSum(rest)) {
    return std::nullopt;
  }
  std::vector<std::string> fields;
  while (!rest.empty()) {
    rest.remove_prefix(1);
    const std::size_t end = std::min(rest.find(' '), rest.size());
    auto field = decodeField(rest.substr(0, end));
    if (!field) {
      return std::nullopt;
    }
    fields.push_back(std::move(*field));
    rest.remove_prefix(end);
  }
  return fields;
}

}  // namespace relaybird
