// SPDX-License-Identifier: MIT
// The values of automation calls: a VARIANT that frees itself, made from and read as the types of
// the mail store interface.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/clock.h"
#include "stores/outlook/com_pointer.h"

namespace relaybird::outlook {

class Value {
 public:
  /// Empty.
  Value() noexcept { VariantInit(&variant_); }
  Value(const Value& other);
  Value(Value&& other) noexcept : Value() { std::swap(variant_, other.variant_); }
  Value& operator=(Value other) noexcept {
    std::swap(variant_, other.variant_);
    return *this;
  }
  ~Value() { VariantClear(&variant_); }

  static Value ofText(std::string_view utf8);
  static Value ofNumber(std::int32_t number);
  static Value ofTruth(bool truth);
  /// Null is "Nothing".
  static Value ofObject(IDispatch* object);
  static Value ofDate(DateTime moment);

  // Reading throws MailStoreError where the value is of another type and cannot be converted.

  /// UTF-8. Empty and Null read as "".
  std::string text() const;
  /// Of any kind of number that fits into 32 bits.
  std::int32_t number() const;
  bool truth() const;
  /// Empty, Null, day 0 and the mail application's "no date" read as kNoDate.
  DateTime date() const;
  /// None for "Nothing", Empty and Null.
  ComPtr<IDispatch> object() const;

  const VARIANT& variant() const { return variant_; }
  /// Where a call puts a value that the caller owns. Frees the former one.
  VARIANT* out();

 private:
  /// The value converted to another type. `what` names that type for the error's text.
  Value converted(VARTYPE type, const char* what) const;

  VARIANT variant_;
};

/// Automation dates are local times: days since 30 December 1899, with the time of day as a
/// fraction. `zone` null means this computer's. Throws MailStoreError for what is no date.
DateTime fromAutomationDate(double date, const TIME_ZONE_INFORMATION* zone = nullptr);
double toAutomationDate(DateTime moment, const TIME_ZONE_INFORMATION* zone = nullptr);

/// A text in the form that automation takes it. Owned by the object.
class AutomationText {
 public:
  explicit AutomationText(std::string_view utf8);
  ~AutomationText() { SysFreeString(text_); }
  AutomationText(const AutomationText&) = delete;
  AutomationText& operator=(const AutomationText&) = delete;
  /// The caller frees it.
  BSTR release() { return std::exchange(text_, nullptr); }
  BSTR get() const { return text_; }

 private:
  BSTR text_;
};

/// UTF-8; "" for null.
std::string fromAutomationText(BSTR text);

}  // namespace relaybird::outlook
