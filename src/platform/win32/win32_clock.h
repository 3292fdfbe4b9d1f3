// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <optional>
#include <string>

#include "platform/clock.h"

namespace relaybird {

/// The user's decimal separator, in UTF-8.
std::string userDecimalSeparator();

/// The system's clock. Texts have the short date and the long time of the user's settings, as the
/// automation's own conversion of dates writes them: a date at midnight is without a time, and a
/// time on day 0 without a date.
class Win32Clock : public Clock {
 public:
  /// Texts are in this zone; none: in the system's, also when that changes.
  explicit Win32Clock(std::optional<TIME_ZONE_INFORMATION> zone = std::nullopt,
                      LCID locale = LOCALE_USER_DEFAULT)
      : zone_(zone), locale_(locale) {}

  DateTime now() const override;
  /// Empty for a moment that has no such text, before the year 1601 or after 9999.
  std::string toText(DateTime moment) const override;

 private:
  std::optional<TIME_ZONE_INFORMATION> zone_;
  LCID locale_;
};

}  // namespace relaybird
