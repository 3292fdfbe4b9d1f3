// SPDX-License-Identifier: MIT
// Texts of dates in American and German form, whatever the user's settings, and in zones with and
// without summer time.
#include "platform/win32/win32_clock.h"

#include <gtest/gtest.h>

#include "support/fake_clock.h"

namespace relaybird {
namespace {

constexpr LCID kAmerican = 0x0409;
constexpr LCID kGerman = 0x0407;

TIME_ZONE_INFORMATION utc() {
  return {};
}

// Berlin: an hour ahead, and another one from the last Sunday of March to that of October.
TIME_ZONE_INFORMATION berlin() {
  TIME_ZONE_INFORMATION zone{};
  zone.Bias = -60;
  zone.DaylightBias = -60;
  zone.DaylightDate.wMonth = 3;
  zone.DaylightDate.wDay = 5;
  zone.DaylightDate.wHour = 2;
  zone.StandardDate.wMonth = 10;
  zone.StandardDate.wDay = 5;
  zone.StandardDate.wHour = 3;
  return zone;
}

TEST(Win32ClockTest, ATextIsShortDateAndLongTime) {
  const Win32Clock clock(utc(), kAmerican);
  EXPECT_EQ(clock.toText(makeTime(2026, 11, 20, 15, 4, 5)), "11/20/2026 3:04:05 PM");
  EXPECT_EQ(clock.toText(makeTime(2026, 1, 2, 3, 4, 5)), "1/2/2026 3:04:05 AM");
  EXPECT_EQ(clock.toText(makeTime(2026, 11, 20, 12, 0, 0)), "11/20/2026 12:00:00 PM");
  EXPECT_EQ(Win32Clock(utc(), kGerman).toText(makeTime(2026, 11, 20, 15, 4, 5)),
            "20.11.2026 15:04:05");
}

TEST(Win32ClockTest, MidnightHasNoTimeAndDayZeroNoDate) {
  const Win32Clock clock(utc(), kAmerican);
  EXPECT_EQ(clock.toText(makeTime(2026, 11, 20)), "11/20/2026");
  EXPECT_EQ(clock.toText(makeTime(4501, 1, 1)), "1/1/4501");
  EXPECT_EQ(clock.toText(kNoDate), "12:00:00 AM");
}

TEST(Win32ClockTest, PartsOfASecondAreDropped) {
  const Win32Clock clock(utc(), kAmerican);
  EXPECT_EQ(clock.toText(makeTime(2026, 11, 20, 23, 59, 59) + std::chrono::microseconds(999999)),
            "11/20/2026 11:59:59 PM");
}

TEST(Win32ClockTest, ATextIsInTheZoneAsItIsAtThatMoment) {
  const Win32Clock clock(berlin(), kAmerican);
  EXPECT_EQ(clock.toText(makeTime(2026, 1, 2, 3, 4, 5)), "1/2/2026 4:04:05 AM");
  EXPECT_EQ(clock.toText(makeTime(2026, 7, 2, 23, 4, 5)), "7/3/2026 1:04:05 AM");
}

TEST(Win32ClockTest, AMomentThatCannotBeWrittenIsEmpty) {
  const Win32Clock clock(utc(), kAmerican);
  EXPECT_EQ(clock.toText(makeTime(1600, 12, 31)), "");
  EXPECT_EQ(clock.toText(makeTime(10000, 1, 1)), "");
  EXPECT_EQ(clock.toText(DateTime::max()), "");
  EXPECT_EQ(clock.toText(DateTime::min()), "");
}

TEST(Win32ClockTest, TheSystemsOwnTimeAndSettingsAreTheDefault) {
  const Win32Clock clock;
  EXPECT_LT(std::chrono::abs(clock.now() - std::chrono::system_clock::now()),
            std::chrono::minutes(1));
  EXPECT_NE(clock.toText(clock.now()), "");
  EXPECT_EQ(userDecimalSeparator(), ".");  // of the locale that the tests run in
}

}  // namespace
}  // namespace relaybird
