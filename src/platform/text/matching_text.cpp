// SPDX-License-Identifier: MIT
// Letter case and internationalised domains for matching.
//
// Letter case: a table of ranges, made from the Unicode data, is searched for a character; the
// scripts of nearly all text with letter case have a direct table, computed by the compiler.
// Domains: finds the "xn--" labels of a text and decodes each with Punycode (RFC 3492). A label
// that is not valid Punycode is left as it is.
#include "platform/text/matching_text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>

#include "platform/text/ascii_text.h"
#include "platform/text/case_folding_table.h"
#include "platform/text/utf8_text.h"

namespace relaybird {
namespace {

// The search needs it.
constexpr bool isOrdered() {
  for (std::size_t i = 1; i < std::size(kFoldedRanges); ++i) {
    if (kFoldedRanges[i].first <= kFoldedRanges[i - 1].last) {
      return false;
    }
  }
  return true;
}
static_assert(isOrdered());

// Capital and small letters alternate in many scripts: such a range has the step 2, and only every
// second character has a partner.
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

// The parameters of Punycode (RFC 3492 section 5).
constexpr std::uint32_t kBase = 36;
constexpr std::uint32_t kTMin = 1;
constexpr std::uint32_t kTMax = 26;
constexpr std::uint32_t kSkew = 38;
constexpr std::uint32_t kDamp = 700;
constexpr std::uint32_t kInitialBias = 72;
constexpr std::uint32_t kFirstCode = 0x80;
constexpr std::uint32_t kLastCode = 0x10FFFF;

constexpr std::string_view kPrefix = "xn--";
constexpr std::size_t kLongestLabel = 63;

bool isSurrogate(std::uint32_t code) {
  return code >= 0xD800 && code <= 0xDFFF;
}

// "a" to "z" and then the digits, in any letter case (RFC 3492 section 5).
std::optional<std::uint32_t> digitOf(char c) {
  if (c >= 'a' && c <= 'z') {
    return static_cast<std::uint32_t>(c - 'a');
  }
  if (c >= 'A' && c <= 'Z') {
    return static_cast<std::uint32_t>(c - 'A');
  }
  if (c >= '0' && c <= '9') {
    return static_cast<std::uint32_t>(c - '0') + 26;
  }
  return std::nullopt;
}

// RFC 3492 section 6.1.
std::uint32_t adapted(std::uint32_t delta, std::uint32_t count, bool first) {
  delta = first ? delta / kDamp : delta / 2;
  delta += delta / count;
  std::uint32_t k = 0;
  while (delta > ((kBase - kTMin) * kTMax) / 2) {
    delta /= kBase - kTMin;
    k += kBase;
  }
  return k + (kBase - kTMin + 1) * delta / (delta + kSkew);
}

// Removes one number of variable length from the digits (RFC 3492 section 6.2); none where the
// digits end too early or the number is larger than any label needs.
std::optional<std::uint32_t> takeNumber(std::string_view& digits, std::uint32_t bias) {
  constexpr std::uint64_t kLargest = std::numeric_limits<std::uint32_t>::max() / 2;
  std::uint64_t number = 0;
  std::uint64_t weight = 1;
  for (std::uint32_t k = kBase;; k += kBase) {
    const auto digit = digits.empty() ? std::nullopt : digitOf(digits.front());
    if (!digit) {
      return std::nullopt;
    }
    digits.remove_prefix(1);
    number += *digit * weight;
    const std::uint32_t threshold = k <= bias ? kTMin : std::min(k - bias, kTMax);
    if (number > kLargest) {
      return std::nullopt;
    }
    if (*digit < threshold) {
      return static_cast<std::uint32_t>(number);
    }
    weight *= kBase - threshold;
    if (weight > kLargest) {
      return std::nullopt;
    }
  }
}

// RFC 3492 section 6.2. The characters before the last hyphen are literal; the rest are numbers,
// each of which says how far to go and where to insert. Inserting is quadratic, in a label of at
// most 63.
std::optional<std::u32string> decoded(std::string_view label) {
  std::u32string text;
  const std::size_t hyphen = label.rfind('-');
  if (hyphen != std::string_view::npos) {
    for (const char c : label.substr(0, hyphen)) {
      text += static_cast<unsigned char>(c);
    }
    label.remove_prefix(hyphen + 1);
  }
  if (label.empty()) {
    return std::nullopt;
  }
  std::uint32_t code = kFirstCode;
  std::uint32_t bias = kInitialBias;
  std::uint32_t at = 0;
  while (!label.empty()) {
    const auto delta = takeNumber(label, bias);
    if (!delta) {
      return std::nullopt;
    }
    const auto count = static_cast<std::uint32_t>(text.size()) + 1;
    bias = adapted(*delta, count, at == 0);
    at += *delta;
    code += at / count;
    at %= count;
    if (code > kLastCode || isSurrogate(code)) {
      return std::nullopt;
    }
    text.insert(at, 1, static_cast<char32_t>(code));
    ++at;
  }
  return text;
}

bool isLabelCharacter(char c) {
  return digitOf(c).has_value() || c == '-';
}

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

std::string withDecodedLabels(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    const auto end = static_cast<std::size_t>(
        std::find_if_not(text.begin(), text.end(), isLabelCharacter) - text.begin());
    const std::string_view label = text.substr(0, std::max<std::size_t>(end, 1));
    // A longer label is not one (RFC 1035 section 2.3.4), and would be expensive.
    const bool coded = label.size() > kPrefix.size() && label.size() <= kLongestLabel &&
                       asciiLower(label.substr(0, kPrefix.size())) == kPrefix;
    if (const auto letters = coded ? decoded(label.substr(kPrefix.size())) : std::nullopt) {
      for (const char32_t code : *letters) {
        appendCharacter(out, static_cast<std::int32_t>(code));
      }
    } else {
      out += label;
    }
    text.remove_prefix(label.size());
  }
  return out;
}

}  // namespace relaybird
