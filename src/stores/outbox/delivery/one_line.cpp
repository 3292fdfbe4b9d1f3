// SPDX-License-Identifier: MIT
#include "stores/outbox/delivery/one_line.h"

#include <cstddef>

#include "stores/text/charset.h"

namespace relaybird {

namespace {

constexpr std::size_t kLongest = 300;
constexpr std::string_view kEllipsis = "...";

bool isContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0u) == 0x80u;
}

void cut(std::string& text) {
  if (text.size() <= kLongest) return;
  std::size_t end = kLongest - kEllipsis.size();
  while (end > 0 && isContinuation(text[end])) --end;
  text.replace(end, text.npos, kEllipsis);
}

}  // namespace

std::string oneLine(std::string_view text) {
  std::string line;
  bool blank = false;
  for (const char byte : text.substr(0, 4 * kLongest)) {
    const auto value = static_cast<unsigned char>(byte);
    if (value <= 0x20 || value == 0x7F) {
      blank = true;
      continue;
    }
    if (blank && !line.empty()) line += ' ';
    blank = false;
    line += byte;
  }
  line = scrubUtf8(line);
  cut(line);
  return line;
}

}  // namespace relaybird
