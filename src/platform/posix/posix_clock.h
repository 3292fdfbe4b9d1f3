// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/clock.h"

namespace relaybird {

/// Valid UTF-8, with "?" for each byte that has no meaning in `encoding`; where the system does not
/// know the encoding, for each byte beyond ASCII. Text that says to be UTF-8 already is checked.
std::string utf8FromEncoding(std::string_view text, const char* encoding);

/// What the user's numbers have between whole and fraction, by the environment's locale (LC_ALL,
/// LC_NUMERIC, LANG), in UTF-8; "." where it names a locale that is not there.
std::string userDecimalSeparator();

/// The system's clock, and the user's own date and time form: those of the environment's locale
/// (LC_ALL, LC_TIME, LANG) when this was made, in the time zone that holds now. The program's
/// global locale is neither used nor changed. Text is valid UTF-8.
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
  std::unique_ptr<Locale> locale_;
};

class PosixSleeper : public Sleeper {
 public:
  /// Sleeps the whole time on the steady clock, signals or not. Nothing for a negative duration.
  void sleep(std::chrono::milliseconds duration) override;
};

}  // namespace relaybird
