// SPDX-License-Identifier: MIT
#include "outlook_double/com_values.h"

#include <windows.h>

#include <oleauto.h>

namespace relaybird::outlook_double {

namespace {

// 1 January 4501 as an automation date: what the mail application has for "no date".
constexpr double kNoneDate = 949998.0;

}  // namespace

std::wstring toWide(std::string_view utf8) {
  const int length = static_cast<int>(utf8.size());
  const int needed = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(needed), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, wide.data(), needed);
  return wide;
}

std::string toUtf8(std::wstring_view wide) {
  const int length = static_cast<int>(wide.size());
  const int needed =
      WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(needed), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, utf8.data(), needed, nullptr, nullptr);
  return utf8;
}

std::string toUtf8(BSTR text) {
  return toUtf8(std::wstring_view(text, SysStringLen(text)));
}

Value Value::text(std::string_view utf8) {
  const std::wstring wide = toWide(utf8);
  Value value;
  value.variant_.vt = VT_BSTR;
  value.variant_.bstrVal = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
  return value;
}

Value Value::boolean(bool flag) {
  Value value;
  value.variant_.vt = VT_BOOL;
  value.variant_.boolVal = flag ? VARIANT_TRUE : VARIANT_FALSE;
  return value;
}

Value Value::number(std::int32_t number) {
  Value value;
  value.variant_.vt = VT_I4;
  value.variant_.lVal = number;
  return value;
}

Value Value::date(DateTime moment) {
  Value value;
  value.variant_.vt = VT_DATE;
  value.variant_.date = kNoneDate;
  if (moment == kNoDate) {
    return value;
  }
  // Counted in parts of 100 ns from 1601.
  constexpr auto kFrom1601To1970 = std::chrono::seconds{11644473600};
  const auto parts = static_cast<std::uint64_t>(
      std::chrono::microseconds(moment.time_since_epoch() + kFrom1601To1970).count() * 10);
  const FILETIME file{static_cast<DWORD>(parts), static_cast<DWORD>(parts >> 32)};
  SYSTEMTIME universal;
  SYSTEMTIME local;
  if (FileTimeToSystemTime(&file, &universal) == FALSE ||
      SystemTimeToTzSpecificLocalTime(nullptr, &universal, &local) == FALSE ||
      SystemTimeToVariantTime(&local, &value.variant_.date) == FALSE) {
    throw Returned{E_INVALIDARG};
  }
  return value;
}

Value Value::object(ComRef<IDispatch> object) {
  Value value;
  value.variant_.vt = VT_DISPATCH;
  value.variant_.pdispVal = object.release();
  return value;
}

Value Value::unknown(ComRef<IUnknown> object) {
  Value value;
  value.variant_.vt = VT_UNKNOWN;
  value.variant_.punkVal = object.release();
  return value;
}

const VARIANT& Arguments::at(std::size_t index) const {
  if (index >= count()) {
    throw Returned{DISP_E_BADPARAMCOUNT};
  }
  // Automation hands the arguments over from the last to the first.
  const VARIANT& argument = parameters_.rgvarg[count() - 1 - index];
  const bool leftOut = argument.vt == VT_ERROR && argument.scode == DISP_E_PARAMNOTFOUND;
  if (leftOut) {
    throw Returned{DISP_E_PARAMNOTFOUND};
  }
  return argument;
}

Value Arguments::converted(std::size_t index, VARTYPE type) const {
  VARIANT source = at(index);  // not owned: the call's own argument
  Value result;
  if (FAILED(VariantChangeType(&result.variant(), &source, 0, type))) {
    throw Returned{DISP_E_TYPEMISMATCH};
  }
  return result;
}

std::int32_t Arguments::number(std::size_t index) const {
  return converted(index, VT_I4).variant().lVal;
}

bool Arguments::boolean(std::size_t index) const {
  return converted(index, VT_BOOL).variant().boolVal != VARIANT_FALSE;
}

std::string Arguments::text(std::size_t index) const {
  return toUtf8(converted(index, VT_BSTR).variant().bstrVal);
}

ComRef<IUnknown> Arguments::object(std::size_t index) const {
  VARIANT source = at(index);  // not owned: the call's own argument
  Value argument;
  // A client may hand over a reference to its variable.
  if (FAILED(VariantCopyInd(&argument.variant(), &source))) {
    throw Returned{DISP_E_TYPEMISMATCH};
  }
  const VARIANT& value = argument.variant();
  if (value.vt == VT_UNKNOWN || value.vt == VT_DISPATCH) {
    return shared(value.punkVal);
  }
  if (value.vt == VT_EMPTY) {
    return {};
  }
  throw Returned{DISP_E_TYPEMISMATCH};
}

}  // namespace relaybird::outlook_double
