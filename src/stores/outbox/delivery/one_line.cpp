// SPDX-License-Identifier: MIT
#include "stores/outbox/delivery/one_line.h"

#include <cstddef>

#include "stores/text/charset.h"
#include "stores/text/tidy_line.h"

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
  std::string line = scrubUtf8(tidyLine(text.substr(0, 4 * kLongest)));
  cut(line);
  return line;
}

}  // namespace relaybird
