// SPDX-License-Identifier: MIT
// Time. Everything that asks for the time or waits uses these interfaces, so that a test can
// control them.
#pragma once

#include <chrono>
#include <string>

namespace relaybird {

/// A moment, in UTC. Text for people is always made by Clock::toText, in local time.
using DateTime = std::chrono::sys_time<std::chrono::microseconds>;

/// 30 December 1899, midnight: the automation date 0, which stands for "no date known". It lies
/// before every real date, so that an item without a date counts as old.
inline constexpr DateTime kNoDate = std::chrono::sys_days{std::chrono::year{1899} / 12 / 30};

/// The time since some fixed moment, for limits and deadlines: never jumps. Any thread.
inline std::chrono::milliseconds steadyTime() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::steady_clock::now().time_since_epoch());
}

class Clock {
 public:
  virtual ~Clock() = default;
  /// The wall clock. May jump when the user or the network sets it. Any thread.
  virtual DateTime now() const = 0;
  /// The moment as local date and time in the system's default text form. Any thread.
  virtual std::string toText(DateTime moment) const = 0;
};

class Sleeper {
 public:
  virtual ~Sleeper() = default;
  /// Returns when the time is over. The calling thread is blocked, unless the implementation says
  /// that it runs events meanwhile.
  virtual void sleep(std::chrono::milliseconds duration) = 0;
};

}  // namespace relaybird
