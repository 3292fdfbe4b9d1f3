// SPDX-License-Identifier: MIT
// Any bytes as a calendar object.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "message/calendar_kind.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace relaybird;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const CalendarObject object = readCalendar(text);
  const MessageKind kind = calendarKind(object, "REQUEST");
  const bool isTask = kind == MessageKind::kTaskRequest || kind == MessageKind::kTaskUpdate ||
                      kind == MessageKind::kTaskAccept || kind == MessageKind::kTaskDecline;
  if ((isTask && object.component != "VTODO") ||
      (kind == MessageKind::kMeeting && object.component != "VEVENT") ||
      object.summary.size() + object.description.size() > size) {
    std::abort();
  }
  return 0;
}
