// SPDX-License-Identifier: MIT
#include "platform/text/text_case.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "platform/text/case_folding_table.h"
#include "platform/text/utf8_text.h"

namespace relaybird {
namespace {

constexpr bool isOrdered() {
  for (std::size_t i = 1; i < std::size(kFoldedRanges); ++i) {
    if (kFoldedRanges[i].first <= kFoldedRanges[i - 1].last) {
      return false;
    }
  }
  return true;
}
static_assert(isOrdered());

constexpr char32_t moved(char32_t code, const FoldedRange& range) {
  const bool inStep = (code - range.first) % static_cast<char32_t>(range.step) == 0;
  return inStep ? static_cast<char32_t>(static_cast<std::int32_t>(code) + range.distance) : code;
}

// A direct table for Latin, Greek, Cyrillic and Armenian, which is nearly all text that has letter
// case: no search in the list of ranges.
constexpr auto kNear = [] {
  std::array<std::uint16_t, 0x590> near{};
  for (std::size_t code = 0; code < near.size(); ++code) {
    near[code] = static_cast<std::uint16_t>(code);
  }
  for (const FoldedRange& range : kFoldedRanges) {
    for (char32_t code = range.first; code <= range.last && code < near.size(); ++code) {
      near[code] = static_cast<std::uint16_t>(moved(code, range));
    }
  }
  return near;
}();

}  // namespace

char32_t foldCase(char32_t code) {
  if (code < kNear.size()) {
    return kNear[code];
  }
  const FoldedRange* const range = std::lower_bound(
      std::begin(kFoldedRanges), std::end(kFoldedRanges), code,
      [](const FoldedRange& entry, char32_t sought) { return entry.last < sought; });
  const bool within = range != std::end(kFoldedRanges) && code >= range->first;
  return within ? moved(code, *range) : code;
}

std::string foldCase(std::string_view text) {
  std::string folded;
  folded.reserve(text.size());
  while (!text.empty()) {
    const Utf8Character first = firstCharacter(text);
    const std::size_t length = std::max<std::size_t>(first.length, 1);
    const char32_t code = first.length == 0 ? first.code : foldCase(first.code);
    if (length == 1) {
      folded += first.length == 0 ? text.front() : static_cast<char>(code);
    } else if (code == first.code) {
      folded += text.substr(0, length);
    } else {
      appendCharacter(folded, static_cast<std::int32_t>(code));
    }
    text.remove_prefix(length);
  }
  return folded;
}

}  // namespace relaybird
