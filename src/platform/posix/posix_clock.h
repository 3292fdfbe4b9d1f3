// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/clock.h"

namespace relaybird {

/// Converts to valid UTF-8, with "?" for each byte that is invalid in `encoding`, or for each byte
/// beyond ASCII if the system does not know the encoding. Text that claims to be UTF-8 is checked.
std::string utf8FromEncoding(std::string_view text, const char* encoding);

/// The decimal separator of the environment's locale (LC_ALL, LC_NUMERIC, LANG), in UTF-8; "." when
/// that locale is not installed.
std::string userDecimalSeparator();

/// The system's clock. Texts have the form of the environment's locale (LC_ALL, LC_TIME, LANG) at
/// construction and the current time zone, and are valid UTF-8. The program's global locale is
/// neither used nor changed.
class PosixClock : public Clock {
 public:
  PosixClock();
  ~PosixClock() override;
  PosixClock(const PosixClock&) = delete;
  PosixClock& operator=(const PosixClock&) = delete;

  DateTime now() const override;
  std::string toText(DateTime moment) const override;

 private:
  struct Locale;

  void followZone() const;

  std::unique_ptr<Locale> locale_;
  mutable std::atomic<std::int64_t> zoneSecond_{-1};  // when the zone was looked at
};

class PosixSleeper : public Sleeper {
 public:
  /// Sleeps the whole time on the steady clock, signals or not. Nothing for a negative duration.
  void sleep(std::chrono::milliseconds duration) override;
};

}  // namespace relaybird
