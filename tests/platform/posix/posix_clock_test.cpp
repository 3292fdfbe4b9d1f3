// SPDX-License-Identifier: MIT
// Date, time and decimal separator in the user's locale and time zone. Each test sets the
// environment variables and restores them; the locales are made by the build.
#include "platform/posix/posix_clock.h"

#include <gtest/gtest.h>
#include <locale.h>
#include <stdlib.h>
#include <time.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <optional>

#include "support/fake_clock.h"

namespace relaybird {
namespace {

// Sets the locale and the time zone of the environment and restores the former ones.
class WithEnvironment {
 public:
  WithEnvironment(const char* locale, const char* zone) {
    set("LC_ALL", locale);
    set("TZ", zone);
  }
  ~WithEnvironment() {
    for (const auto& [name, value] : before_) {
      value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
    }
    ::tzset();
  }
  WithEnvironment(const WithEnvironment&) = delete;
  WithEnvironment& operator=(const WithEnvironment&) = delete;

 private:
  void set(const std::string& name, const char* value) {
    const char* const before = ::getenv(name.c_str());
    before_[name] = before ? std::optional<std::string>(before) : std::nullopt;
    ::setenv(name.c_str(), value, 1);
  }

  std::map<std::string, std::optional<std::string>> before_;
};

const DateTime kMoment = makeTime(2026, 11, 20, 15, 4, 5);

TEST(UserDecimalSeparator, IsThatOfTheLocale) {
  {
    const WithEnvironment environment("C", "UTC");
    EXPECT_EQ(userDecimalSeparator(), ".");
  }
  {
    const WithEnvironment environment("xx_XX.UTF-8", "UTC");
    EXPECT_EQ(userDecimalSeparator(), ".");
  }
  // In a child process, because the C library leaks memory whenever it reads LOCPATH.
  const auto commaInGerman = [] {
    const WithEnvironment environment("de_DE.UTF-8", "UTC");
    ::setenv("LOCPATH", RELAYBIRD_TEST_LOCALES, 1);
    std::_Exit(userDecimalSeparator() == "," ? 0 : 1);
  };
  EXPECT_EXIT(commaInGerman(), testing::ExitedWithCode(0), "");
}

TEST(PosixClock, NowIsTheSystemsTime) {
  const PosixClock clock;
  const auto before = std::chrono::system_clock::now();
  const DateTime now = clock.now();
  const auto after = std::chrono::system_clock::now();
  EXPECT_GE(now, std::chrono::floor<std::chrono::microseconds>(before));
  EXPECT_LE(now, after);
}

TEST(PosixClock, TextIsTheLocalesDateAndTime) {
  const WithEnvironment environment("C", "UTC");
  EXPECT_EQ(PosixClock().toText(kMoment), "11/20/26 15:04:05");
  EXPECT_EQ(PosixClock().toText(kNoDate), "12/30/99 00:00:00");
  EXPECT_EQ(PosixClock().toText(DateTime(std::chrono::microseconds(-1))), "12/31/69 23:59:59");
}

TEST(PosixClock, TextIsInTheZoneThatHoldsNow) {
  const WithEnvironment utc("C", "UTC");
  const PosixClock clock;
  EXPECT_EQ(clock.toText(kMoment), "11/20/26 15:04:05");
  const WithEnvironment away("C", "AWAY-5:30");
  EXPECT_EQ(clock.toText(kMoment), "11/20/26 20:34:05");
}

TEST(PosixClock, AnUnknownLocaleIsTheStandardOne) {
  const WithEnvironment environment("xx_XX.nowhere", "UTC");
  EXPECT_EQ(PosixClock().toText(kMoment), "11/20/26 15:04:05");
}

TEST(Utf8FromEncoding, ConvertsWhatTheLocaleMayHold) {
  EXPECT_EQ(utf8FromEncoding("20 f\xE9v. 2026", "ISO-8859-1"), "20 fév. 2026");
  EXPECT_EQ(utf8FromEncoding("15\xBB\xFE", "EUC-JP"), "15時");
  EXPECT_EQ(utf8FromEncoding("15時", "UTF-8"), "15時");
  EXPECT_EQ(utf8FromEncoding("", "UTF-8"), "");
  const std::string many(1000, '\xE9');
  EXPECT_EQ(utf8FromEncoding(many, "ISO-8859-1").size(), 2000u);
}

TEST(Utf8FromEncoding, MarksEachByteWithoutMeaning) {
  EXPECT_EQ(utf8FromEncoding("f\xE9v.", "UTF-8"), "f?v.");
  EXPECT_EQ(utf8FromEncoding("cut \xE2\x82", "UTF-8"), "cut ??");
  EXPECT_EQ(utf8FromEncoding("f\xE9v.", "ANSI_X3.4-1968"), "f?v.");
  EXPECT_EQ(utf8FromEncoding("f\xE9v.", "no such encoding"), "f?v.");
}

TEST(PosixClock, LeavesTheProgramsLocaleAlone) {
  const std::string before = ::setlocale(LC_ALL, nullptr);
  const WithEnvironment environment("C.UTF-8", "UTC");
  (void)PosixClock().toText(kMoment);
  EXPECT_EQ(::setlocale(LC_ALL, nullptr), before);
}

TEST(PosixClock, AMomentBeyondAllCalendarsIsStillSafe) {
  const PosixClock clock;
  EXPECT_FALSE(clock.toText(DateTime::max()).empty());
  EXPECT_FALSE(clock.toText(DateTime::min()).empty());
}

}  // namespace
}  // namespace relaybird
