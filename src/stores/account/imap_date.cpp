// SPDX-License-Identifier: MIT
#include "stores/account/imap_date.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <string>

#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

constexpr std::array<std::string_view, 12> kMonths = {"jan", "feb", "mar", "apr", "may", "jun",
                                                      "jul", "aug", "sep", "oct", "nov", "dec"};

// Takes that many digits, which must be there, off the text.
std::optional<int> takeDigits(std::string_view& text, std::size_t count) {
  int value = 0;
  if (text.size() < count) {
    return std::nullopt;
  }
  for (std::size_t i = 0; i < count; ++i) {
    if (!isDigit(text[i])) {
      return std::nullopt;
    }
    value = value * 10 + (text[i] - '0');
  }
  text.remove_prefix(count);
  return value;
}

bool takeChar(std::string_view& text, char c) {
  if (!text.starts_with(c)) {
    return false;
  }
  text.remove_prefix(1);
  return true;
}

}  // namespace

std::optional<DateTime> parseInternalDate(std::string_view text) {
  text = trimmed(text);
  // " 7-Jul-2026 02:44:25 +0200" or "17-Jul-..." (RFC 9051 section 9, "date-time").
  const auto day = takeDigits(text, text.find('-') == 1 ? 1 : 2);
  if (!takeChar(text, '-') || text.size() < 3) {
    return std::nullopt;
  }
  const std::string name = asciiLower(text.substr(0, 3));
  const auto month = std::find(kMonths.begin(), kMonths.end(), name);
  text.remove_prefix(3);
  const bool dashed = takeChar(text, '-');
  const auto year = takeDigits(text, 4);
  const bool spaced = takeChar(text, ' ');
  const auto hour = takeDigits(text, 2);
  const bool colon = takeChar(text, ':');
  const auto minute = takeDigits(text, 2);
  const bool secondColon = takeChar(text, ':');
  const auto second = takeDigits(text, 2);
  const bool thirdBlank = takeChar(text, ' ');
  const bool west = text.starts_with('-');
  if (!west && !text.starts_with('+')) {
    return std::nullopt;
  }
  text.remove_prefix(1);
  const auto zoneHours = takeDigits(text, 2);
  const auto zoneMinutes = takeDigits(text, 2);
  if (!day || month == kMonths.end() || !dashed || !year || !spaced || !hour || !colon || !minute ||
      !secondColon || !second || !thirdBlank || !zoneHours || !zoneMinutes || !text.empty() ||
      *hour > 23 || *minute > 59 || *second > 60) {
    return std::nullopt;
  }
  const std::chrono::year_month_day date(
      std::chrono::year(*year),
      std::chrono::month(static_cast<unsigned>(month - kMonths.begin()) + 1),
      std::chrono::day(static_cast<unsigned>(*day)));
  if (!date.ok()) {
    return std::nullopt;
  }
  const auto zone = std::chrono::hours(*zoneHours) + std::chrono::minutes(*zoneMinutes);
  const auto local = std::chrono::sys_days(date) + std::chrono::hours(*hour) +
                     std::chrono::minutes(*minute) + std::chrono::seconds(*second);
  return DateTime(west ? local + zone : local - zone);
}

}  // namespace relaybird
