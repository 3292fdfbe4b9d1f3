// SPDX-License-Identifier: MIT
// A moment becomes local calendar parts, these an automation date, and that a text, each by the
// system's own call: what the mail application shows for a date and what the log says are then the
// same.
#include "platform/win32/win32_clock.h"

#include <oleauto.h>

#include <array>
#include <cstdint>

#include "platform/win32/win32_text.h"

namespace relaybird {
namespace {

constexpr DateTime kFirstFileTime = std::chrono::sys_days{std::chrono::year{1601} / 1 / 1};
// No text has a longer year.
constexpr DateTime kEnd = std::chrono::sys_days{std::chrono::year{10000} / 1 / 1};
constexpr std::int64_t kFileTimesPerMicrosecond = 10;

std::optional<SYSTEMTIME> utcParts(DateTime moment) {
  if (moment < kFirstFileTime || moment >= kEnd) {
    return std::nullopt;
  }
  const auto ticks = static_cast<std::uint64_t>((moment - kFirstFileTime).count()) *
                     std::uint64_t{kFileTimesPerMicrosecond};
  const FILETIME time{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  SYSTEMTIME parts{};
  if (!::FileTimeToSystemTime(&time, &parts)) {
    return std::nullopt;
  }
  return parts;
}

}  // namespace

std::string userDecimalSeparator() {
  std::array<wchar_t, 8> text{};
  const int length = ::GetLocaleInfoEx(LOCALE_NAME_USER_DEFAULT, LOCALE_SDECIMAL, text.data(),
                                       static_cast<int>(text.size()));
  return length > 1 ? fromWide(text.data()) : ".";
}

DateTime Win32Clock::now() const {
  return std::chrono::time_point_cast<std::chrono::microseconds>(std::chrono::system_clock::now());
}

std::string Win32Clock::toText(DateTime moment) const {
  const auto utc = utcParts(moment);
  SYSTEMTIME local{};
  DATE date = 0;
  if (!utc || !::SystemTimeToTzSpecificLocalTime(zone_ ? &*zone_ : nullptr, &*utc, &local) ||
      !::SystemTimeToVariantTime(&local, &date)) {
    return {};
  }
  BSTR text = nullptr;
  if (FAILED(::VarBstrFromDate(date, locale_, 0, &text))) {
    return {};
  }
  const std::string result = fromWide({text, ::SysStringLen(text)});
  ::SysFreeString(text);
  return result;
}

}  // namespace relaybird
