// SPDX-License-Identifier: MIT
// Conversions go through the system's own rules for automation values, so that a server may answer
// with any kind of number or text. They do not depend on the user's language.
#include "stores/outlook/value.h"

#include <chrono>
#include <cmath>
#include <limits>
#include <utility>

#include "mail/mail_store.h"
#include "platform/win32/win32_text.h"

namespace relaybird::outlook {
namespace {

using std::chrono::days;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::sys_days;
using std::chrono::year;

constexpr auto kDayZero = sys_days{year{1899} / 12 / 30};
// The mail application's "no date": 1 January 4501.
constexpr double kNoneFrom = (sys_days{year{4501} / 1 / 1} - kDayZero).count();
// The days that automation knows: from 1 January 100 to 31 December 9999.
constexpr double kFirstDay = (sys_days{year{100} / 1 / 1} - kDayZero).count();
constexpr double kDayAfterLast = (sys_days{year{10000} / 1 / 1} - kDayZero).count();
// System times begin here; older dates have no time zone.
constexpr auto kFirstSystemTime = sys_days{year{1601} / 1 / 1};
constexpr double kMillisecondsPerDay = 24.0 * 60 * 60 * 1000;

SYSTEMTIME toSystemTime(DateTime moment) {
  const auto day = std::chrono::floor<days>(moment);
  const std::chrono::year_month_day date{day};
  const std::chrono::hh_mm_ss time{std::chrono::floor<milliseconds>(moment - day)};
  SYSTEMTIME result{};
  result.wYear = static_cast<WORD>(static_cast<int>(date.year()));
  result.wMonth = static_cast<WORD>(static_cast<unsigned>(date.month()));
  result.wDay = static_cast<WORD>(static_cast<unsigned>(date.day()));
  result.wHour = static_cast<WORD>(time.hours().count());
  result.wMinute = static_cast<WORD>(time.minutes().count());
  result.wSecond = static_cast<WORD>(time.seconds().count());
  result.wMilliseconds = static_cast<WORD>(time.subseconds().count());
  return result;
}

DateTime fromSystemTime(const SYSTEMTIME& time) {
  const sys_days day{year{time.wYear} / time.wMonth / time.wDay};
  return day + std::chrono::hours{time.wHour} + std::chrono::minutes{time.wMinute} +
         std::chrono::seconds{time.wSecond} + milliseconds{time.wMilliseconds};
}

using Conversion = WINBOOL(WINAPI*)(const TIME_ZONE_INFORMATION*, const SYSTEMTIME*, SYSTEMTIME*);

// A time that the system cannot convert stays as it is.
DateTime shifted(DateTime moment, Conversion convert, const TIME_ZONE_INFORMATION* zone) {
  if (moment < kFirstSystemTime) {
    return moment;
  }
  const SYSTEMTIME from = toSystemTime(moment);
  SYSTEMTIME to{};
  return convert(zone, &from, &to) ? fromSystemTime(to) : moment;
}

}  // namespace

DateTime fromAutomationDate(double date, const TIME_ZONE_INFORMATION* zone) {
  if (!(date >= kFirstDay && date < kDayAfterLast)) {
    throw MailStoreError("The mail application gave a date that does not exist");
  }
  if (date == 0 || date >= kNoneFrom) {
    return kNoDate;
  }
  // Also before day 0 the fraction counts forward from midnight.
  const double whole = std::trunc(date);
  const double fraction = std::abs(date - whole);
  const auto local = kDayZero + days{static_cast<int>(whole)} +
                     milliseconds{std::llround(fraction * kMillisecondsPerDay)};
  return shifted(local, TzSpecificLocalTimeToSystemTime, zone);
}

double toAutomationDate(DateTime moment, const TIME_ZONE_INFORMATION* zone) {
  if (moment == kNoDate) {
    return 0;
  }
  const DateTime local = shifted(moment, SystemTimeToTzSpecificLocalTime, zone);
  const auto day = std::chrono::floor<days>(local);
  const auto whole = static_cast<double>((day - kDayZero).count());
  const double fraction =
      static_cast<double>(std::chrono::floor<milliseconds>(local - day).count()) /
      kMillisecondsPerDay;
  return whole < 0 ? whole - fraction : whole + fraction;
}

AutomationText::AutomationText(std::string_view utf8) {
  const std::wstring wide = toWide(utf8);
  text_ = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
  if (text_ == nullptr) {
    throw MailStoreError("Out of memory", E_OUTOFMEMORY);
  }
}

std::string fromAutomationText(BSTR text) {
  return text == nullptr ? std::string() : fromWide({text, SysStringLen(text)});
}

Value::Value(const Value& other) : Value() {
  VARIANT from = other.variant_;
  if (FAILED(VariantCopyInd(&variant_, &from))) {
    throw MailStoreError("A value of the mail application could not be copied");
  }
}

Value Value::ofText(std::string_view utf8) {
  AutomationText text(utf8);
  Value value;
  value.variant_.vt = VT_BSTR;
  value.variant_.bstrVal = text.release();
  return value;
}

Value Value::ofNumber(std::int32_t number) {
  Value value;
  value.variant_.vt = VT_I4;
  value.variant_.lVal = number;
  return value;
}

Value Value::ofTruth(bool truth) {
  Value value;
  value.variant_.vt = VT_BOOL;
  value.variant_.boolVal = truth ? VARIANT_TRUE : VARIANT_FALSE;
  return value;
}

Value Value::ofObject(IDispatch* object) {
  Value value;
  value.variant_.vt = VT_DISPATCH;
  value.variant_.pdispVal = object;
  if (object != nullptr) {
    object->AddRef();
  }
  return value;
}

Value Value::ofDate(DateTime moment) {
  Value value;
  value.variant_.vt = VT_DATE;
  value.variant_.date = toAutomationDate(moment);
  return value;
}

VARIANT* Value::out() {
  VariantClear(&variant_);
  return &variant_;
}

Value Value::converted(VARTYPE type, const char* what) const {
  const Value direct(*this);
  VARIANT from = direct.variant_;
  Value result;
  const bool fromObject = from.vt == VT_DISPATCH || from.vt == VT_UNKNOWN || from.vt == VT_ERROR;
  if (fromObject ||
      FAILED(VariantChangeTypeEx(&result.variant_, &from, LOCALE_INVARIANT, 0, type))) {
    throw MailStoreError(std::string("The mail application did not answer with ") + what,
                         DISP_E_TYPEMISMATCH);
  }
  return result;
}

std::string Value::text() const {
  if (variant_.vt == VT_EMPTY || variant_.vt == VT_NULL) {
    return {};
  }
  if (variant_.vt == VT_BSTR) {
    return fromAutomationText(variant_.bstrVal);
  }
  return fromAutomationText(converted(VT_BSTR, "a text").variant_.bstrVal);
}

std::int32_t Value::number() const {
  if (variant_.vt == VT_I4) {
    return variant_.lVal;
  }
  // Empty would be taken for 0.
  if (variant_.vt == VT_EMPTY) {
    throw MailStoreError("The mail application did not answer with a number", DISP_E_TYPEMISMATCH);
  }
  // Not to VT_I4 at once: some systems let an unsigned number wrap there.
  const double number = std::round(converted(VT_R8, "a number").variant_.dblVal);
  if (!(number >= std::numeric_limits<std::int32_t>::min() &&
        number <= std::numeric_limits<std::int32_t>::max())) {
    throw MailStoreError("The mail application answered with a number that is too large",
                         DISP_E_OVERFLOW);
  }
  return static_cast<std::int32_t>(number);
}

bool Value::truth() const {
  if (variant_.vt == VT_EMPTY) {
    throw MailStoreError("The mail application did not answer with yes or no", DISP_E_TYPEMISMATCH);
  }
  return converted(VT_BOOL, "yes or no").variant_.boolVal != VARIANT_FALSE;
}

DateTime Value::date() const {
  if (variant_.vt == VT_EMPTY || variant_.vt == VT_NULL) {
    return kNoDate;
  }
  return fromAutomationDate(converted(VT_DATE, "a date").variant_.date);
}

ComPtr<IDispatch> Value::object() const {
  const Value direct(*this);
  switch (direct.variant_.vt) {
    case VT_EMPTY:
    case VT_NULL:
      return {};
    case VT_DISPATCH:
      return ComPtr<IDispatch>(direct.variant_.pdispVal);
    case VT_UNKNOWN:
      return ComPtr<IUnknown>(direct.variant_.punkVal).as<IDispatch>(IID_IDispatch);
    default:
      throw MailStoreError("The mail application did not answer with an object",
                           DISP_E_TYPEMISMATCH);
  }
}

}  // namespace relaybird::outlook
