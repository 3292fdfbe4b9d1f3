// SPDX-License-Identifier: MIT
// Time that stands still until a test moves it.
#pragma once

#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "platform/clock.h"

namespace relaybird {

/// A moment from its UTC calendar parts.
inline DateTime makeTime(int year, unsigned month, unsigned day, int hour = 0, int minute = 0,
                         int second = 0) {
  const std::chrono::year_month_day date{std::chrono::year{year}, std::chrono::month{month},
                                         std::chrono::day{day}};
  return std::chrono::sys_days{date} + std::chrono::hours{hour} + std::chrono::minutes{minute} +
         std::chrono::seconds{second};
}

/// "2026-11-20 15:04:05", in UTC wherever the test runs.
inline std::string timeText(DateTime moment) {
  const auto day = std::chrono::floor<std::chrono::days>(moment);
  const std::chrono::year_month_day date{day};
  const std::chrono::hh_mm_ss time{std::chrono::floor<std::chrono::seconds>(moment - day)};
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                static_cast<int>(time.seconds().count()));
  return text;
}

/// Starts at 2026-11-20 15:04:05.
class FakeClock : public Clock {
 public:
  FakeClock() = default;
  explicit FakeClock(DateTime start) : now_(start) {}

  DateTime now() const override { return now_; }
  std::string toText(DateTime moment) const override { return timeText(moment); }
  std::string nowText() const { return toText(now_); }

  /// Lets time pass, for timers too.
  void advance(std::chrono::microseconds duration) {
    now_ += duration;
    elapsed_ += duration;
  }
  /// Sets the wall clock, forwards or back; timers are not affected.
  void set(DateTime moment) { now_ = moment; }
  /// The sum of all advance() calls.
  std::chrono::microseconds elapsed() const { return elapsed_; }

 private:
  DateTime now_ = makeTime(2026, 11, 20, 15, 4, 5);
  std::chrono::microseconds elapsed_{0};
};

/// Sleeps by moving the clock.
class RecordingSleeper : public Sleeper {
 public:
  explicit RecordingSleeper(FakeClock& clock) : clock_(clock) {}
  void sleep(std::chrono::milliseconds duration) override {
    slept.push_back(duration);
    clock_.advance(duration);
    if (onSleep) {
      onSleep();
    }
  }

  /// Called during a sleep, for a sleeper that runs events.
  std::function<void()> onSleep;
  std::vector<std::chrono::milliseconds> slept;

 private:
  FakeClock& clock_;
};

}  // namespace relaybird
