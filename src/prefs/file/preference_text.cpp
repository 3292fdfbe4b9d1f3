// SPDX-License-Identifier: MIT
#include "prefs/file/preference_text.h"

#include "platform/text/ascii_text.h"
#include "platform/text/number_text.h"
#include "platform/text/utf8_text.h"

namespace relaybird {

namespace {

constexpr int kShift = 17;

std::string moved(std::string_view text, int by) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const std::int32_t code = takeCharacter(text) + by;
    appendCharacter(result, code < 0 ? 0 : code);
  }
  return result;
}

}  // namespace

bool booleanFromText(std::string_view text) {
  const std::string trimmed = trimBlanks(text);
  return trimmed == "1" || asciiLower(trimmed) == "true";
}

std::string textFromBoolean(bool value) {
  return value ? "1" : "0";
}

std::optional<std::int16_t> wholeFromText16(std::string_view text) {
  return toInt16(numericPrefix(text));
}

std::optional<std::int32_t> wholeFromText32(std::string_view text) {
  return toInt32(numericPrefix(text));
}

std::string shifted(std::string_view text) {
  return moved(text, kShift);
}

std::string unshifted(std::string_view text) {
  return moved(text, -kShift);
}

}  // namespace relaybird
