// SPDX-License-Identifier: MIT
#include "ui/console/text/word_wrap.h"

#include <algorithm>

#include "platform/text/utf8_text.h"

namespace relaybird {
namespace {

constexpr std::string_view kListMark = "- ";

// How deep the text of a line begins.
std::size_t depthOf(std::string_view line) {
  const std::size_t blanks = std::min(line.find_first_not_of(' '), line.size());
  return blanks + (line.substr(blanks).starts_with(kListMark) ? kListMark.size() : 0);
}

// The bytes of the longest beginning that ends before a blank and has no more than `width`
// characters; a first word that is longer by itself is taken whole.
std::size_t bytesThatFit(std::string_view text, std::size_t width) {
  std::size_t fits = 0;
  while (fits < text.size()) {
    const std::size_t word = std::min(text.find_first_not_of(' ', fits), text.size());
    const std::size_t end = std::min(text.find(' ', word), text.size());
    if (fits > 0 && characterCount(text.substr(0, end)) > width) {
      break;
    }
    fits = end;
  }
  return fits;
}

}  // namespace

std::string wrapped(std::string_view line, std::size_t width, std::string_view indent) {
  const std::size_t depth = depthOf(line);
  const std::size_t room = std::max(width, indent.size() + depth + 1) - indent.size() - depth;
  std::string out = std::string(indent) + std::string(line.substr(0, depth));
  std::string_view rest = line.substr(depth);
  while (true) {
    const std::size_t taken = bytesThatFit(rest, room);
    out += rest.substr(0, taken);
    rest.remove_prefix(std::min(rest.find_first_not_of(' ', taken), rest.size()));
    out.erase(out.find_last_not_of(' ') + 1);
    out += '\n';
    if (rest.empty()) {
      return out;
    }
    out += std::string(indent) + std::string(depth, ' ');
  }
}

}  // namespace relaybird
