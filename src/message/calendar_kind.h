// SPDX-License-Identifier: MIT
// Scheduling messages (RFC 5545 objects, RFC 5546 methods): which kind of item one is, and a task's
// text. Only the few properties needed are read, in one pass without a tree: the calendar libraries
// at hand need quadratic time for some hostile objects and write complaints to standard error.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "message/message_kind.h"

namespace relaybird {

/// Calendar objects are read no further than this many bytes.
inline constexpr std::size_t kCalendarBytes = std::size_t{256} << 10;

/// What is known of a calendar object's first event or task; empty and 0 where it does not say.
struct CalendarObject {
  std::string method;     ///< upper case
  std::string component;  ///< "VEVENT", "VTODO"; upper case
  std::string partStat;   ///< of the first attendee, upper case
  std::int64_t sequence = 0;
  std::string summary;
  std::string description;
};

/// Reads a decoded text/calendar part; bytes that are no calendar make an empty object.
CalendarObject readCalendar(std::string_view calendar);

/// kMail for an object that takes no part in scheduling (no method, or PUBLISH). `methodParameter`
/// is the method of the Content-Type field, which counts where the object names none.
MessageKind calendarKind(const CalendarObject& calendar, std::string_view methodParameter = {});

}  // namespace relaybird
