// SPDX-License-Identifier: MIT
// Lines are unfolded and split as they come, and only the properties that decide the kind are kept.
// The reader counts BEGIN and END instead of building a tree: that is enough to tell the first
// event or task from the alarms and time zones around it.
#include "message/calendar_kind.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

#include "message/address/vcard_reader.h"
#include "message/text/header_text.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// Unfolded content lines (RFC 5545 section 3.1), one at a time. Both CR LF and a lone LF end a
// line, since mail is stored either way. A folded line may be as long as the calendar, which
// kCalendarBytes bounds.
class ContentLines {
 public:
  explicit ContentLines(std::string_view text) : rest_(text) {}

  // False at the end.
  bool next(std::string& line) {
    line.clear();
    if (rest_.empty()) {
      return false;
    }
    do {
      const std::size_t feed = rest_.find('\n');
      std::string_view piece = rest_.substr(0, feed);
      rest_.remove_prefix(feed == std::string_view::npos ? rest_.size() : feed + 1);
      if (piece.ends_with('\r')) {
        piece.remove_suffix(1);
      }
      line += piece;
    } while (continues());
    return true;
  }

 private:
  // RFC 5545 section 3.1: a line break and one blank are a fold; further blanks belong to the
  // value.
  bool continues() {
    if (rest_.empty() || !isBlank(rest_.front())) {
      return false;
    }
    rest_.remove_prefix(1);
    return true;
  }

  std::string_view rest_;
};

struct Property {
  std::string name;  // upper case
  std::string_view parameters;
  std::string_view value;
};

// "NAME;PARAM=value:VALUE". A quoted parameter value may contain ":" and ";", so the colon is
// searched outside of quotes. A line without a colon is not a property and is skipped.
std::optional<Property> splitLine(std::string_view line) {
  const std::size_t nameEnd = line.find_first_of(":;");
  const std::size_t colon =
      nameEnd == std::string_view::npos ? nameEnd : findUnquoted(line, ':', nameEnd);
  if (colon == std::string_view::npos) {
    return std::nullopt;
  }
  return Property{asciiUpper(line.substr(0, nameEnd)), line.substr(nameEnd, colon - nameEnd),
                  line.substr(colon + 1)};
}

// A parameter's value in upper case; `parameters` are ";A=b;C=d".
std::string parameter(std::string_view parameters, std::string_view name) {
  while (!parameters.empty()) {
    parameters.remove_prefix(1);
    const std::string_view each = parameters.substr(0, findUnquoted(parameters, ';'));
    parameters.remove_prefix(each.size());
    const std::size_t equals = each.find('=');
    if (equals != std::string_view::npos && equalsAsciiCase(each.substr(0, equals), name)) {
      std::string value = asciiUpper(each.substr(equals + 1));
      std::erase(value, '"');
      return value;
    }
  }
  return {};
}

// A TEXT value (RFC 5545 section 3.3.11).
std::string unescaped(std::string_view value) {
  std::string result;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] != '\\' || i + 1 == value.size()) {
      result += value[i];
      continue;
    }
    ++i;
    result += value[i] == 'n' || value[i] == 'N' ? '\n' : value[i];
  }
  return result;
}

// 0 for a text that is not a number or does not fit: a missing SEQUENCE means 0 too (RFC 5545
// section 3.8.7.4).
std::int64_t wholeNumber(std::string_view text) {
  std::int64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

// Collects the properties of the calendar and of its first event or task. Alarms and time zones
// have a SUMMARY and DESCRIPTION too, so properties count at one depth only.
class CalendarReader {
 public:
  // Only BEGIN and END are counted, whatever they name: unbalanced lines in a hostile calendar can
  // hide properties, but cannot make the depth negative.
  void onProperty(const Property& property) {
    if (property.name == "BEGIN") {
      begin(asciiUpper(unfolded(property.value)));
    } else if (property.name == "END") {
      depth_ -= depth_ > 0 ? 1 : 0;
      within_ = within_ && depth_ >= kComponentDepth;
    } else if (depth_ == 1 && property.name == "METHOD" && object_.method.empty()) {
      // The first METHOD and the first component count. RFC 5546 allows several components in one
      // object, but they are instances of the same event or task.
      object_.method = asciiUpper(unfolded(property.value));
    } else if (within_ && depth_ == kComponentDepth) {
      onComponentProperty(property);
    }
  }

  CalendarObject take() { return std::move(object_); }

 private:
  static constexpr int kComponentDepth = 2;

  void begin(const std::string& component) {
    ++depth_;
    const bool known = component == "VEVENT" || component == "VTODO";
    if (depth_ == kComponentDepth && known && object_.component.empty()) {
      object_.component = component;
      within_ = true;
    }
  }

  void onComponentProperty(const Property& property) {
    if (property.name == "SEQUENCE") {
      object_.sequence = wholeNumber(property.value);
    } else if (property.name == "ATTENDEE" && object_.partStat.empty()) {
      // The reply of one attendee has one ATTENDEE line. A request lists all of them; its PARTSTAT
      // is not used.
      object_.partStat = parameter(property.parameters, "PARTSTAT");
    } else if (property.name == "SUMMARY" && object_.summary.empty()) {
      object_.summary = unescaped(property.value);
    } else if (property.name == "DESCRIPTION" && object_.description.empty()) {
      object_.description = unescaped(property.value);
    }
  }

  CalendarObject object_;
  std::int64_t depth_ = 0;
  bool within_ = false;
};

// RFC 5546 section 1.4, without PUBLISH, which expects no answer. A published calendar is ordinary
// mail with a file.
constexpr std::array<std::string_view, 7> kSchedulingMethods = {
    "REQUEST", "REPLY", "CANCEL", "ADD", "REFRESH", "COUNTER", "DECLINECOUNTER"};

// A request with a SEQUENCE above 0 changes an earlier one (RFC 5546 section 2.1.4).
MessageKind taskKind(const CalendarObject& task, std::string_view method) {
  if (method == "REQUEST") {
    return task.sequence > 0 ? MessageKind::kTaskUpdate : MessageKind::kTaskRequest;
  }
  if (method == "REPLY") {
    const std::string_view answer = task.partStat;
    if (answer == "ACCEPTED" || answer == "COMPLETED" || answer == "IN-PROCESS") {
      return MessageKind::kTaskAccept;
    }
    if (answer == "DECLINED") {
      return MessageKind::kTaskDecline;
    }
  }
  // Every other method or answer (CANCEL, COUNTER, DELEGATED, ...) changes a task that is known.
  return MessageKind::kTaskUpdate;
}

}  // namespace

CalendarObject readCalendar(std::string_view calendar) {
  CalendarReader reader;
  ContentLines lines(calendar.substr(0, kCalendarBytes));
  std::string line;
  while (lines.next(line)) {
    if (const auto property = splitLine(line)) {
      reader.onProperty(*property);
    }
  }
  return reader.take();
}

MessageKind calendarKind(const CalendarObject& calendar, std::string_view methodParameter) {
  const std::string method =
      // Some mail programs write METHOD only as a parameter of the Content-Type (RFC 6047 section
      // 2.4).
      calendar.method.empty() ? asciiUpper(methodParameter) : calendar.method;
  if (std::find(kSchedulingMethods.begin(), kSchedulingMethods.end(), method) ==
      kSchedulingMethods.end()) {
    return MessageKind::kMail;
  }
  if (calendar.component == "VTODO") {
    return taskKind(calendar, method);
  }
  return calendar.component == "VEVENT" ? MessageKind::kMeeting : MessageKind::kMail;
}

}  // namespace relaybird
