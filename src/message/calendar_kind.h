// SPDX-License-Identifier: MIT
// Scheduling messages (RFC 5545 objects, RFC 5546 methods): the kind of item, and the text of a
// task. Only the properties needed are read, in one pass without a tree, because libical needs
// quadratic time for some hostile objects and writes warnings to standard error.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "message/message_kind.h"

namespace relaybird {

/// A calendar object is read up to this many bytes.
inline constexpr std::size_t kCalendarBytes = std::size_t{256} << 10;

/// The first event or task of a calendar object; empty or 0 where it does not say.
struct CalendarObject {
  std::string method;     ///< upper case
  std::string component;  ///< "VEVENT", "VTODO"; upper case
  std::string partStat;   ///< of the first attendee, upper case
  std::int64_t sequence = 0;
  std::string summary;
  std::string description;
};

/// Reads a decoded text/calendar part; other bytes make an empty object.
CalendarObject readCalendar(std::string_view calendar);

/// The kind of the object; kMail where it is not a scheduling message (no method, or PUBLISH).
/// `methodParameter` is the method in the Content-Type field, used where the object has none.
MessageKind calendarKind(const CalendarObject& calendar, std::string_view methodParameter = {});

}  // namespace relaybird
