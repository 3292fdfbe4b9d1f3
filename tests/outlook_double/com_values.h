// SPDX-License-Identifier: MIT
// References, values and arguments of automation calls, for the double's objects and its tests.
// They are the double's own, so that it shares no mistake with the store that it tests.
#pragma once

#include <oaidl.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "platform/clock.h"

namespace relaybird::outlook_double {

std::wstring toWide(std::string_view utf8);
std::string toUtf8(std::wstring_view wide);
/// Null, the empty text of automation, gives an empty text.
std::string toUtf8(BSTR text);

/// A counted reference to an object of COM.
template <class T>
class ComRef {
 public:
  ComRef() = default;
  /// Takes over the one reference that the caller holds.
  explicit ComRef(T* owned) : object_(owned) {}
  ComRef(const ComRef& other) : object_(other.object_) {
    if (object_ != nullptr) {
      object_->AddRef();
    }
  }
  ComRef(ComRef&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ComRef& operator=(ComRef other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~ComRef() {
    if (object_ != nullptr) {
      object_->Release();
    }
  }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }
  /// Hands the reference to the caller.
  T* release() { return std::exchange(object_, nullptr); }
  /// Where a call of COM puts a reference. Drops the one that is held.
  T** out() {
    *this = ComRef();
    return &object_;
  }
  void** outVoid() { return reinterpret_cast<void**>(out()); }

 private:
  T* object_ = nullptr;
};

/// A reference of its own to an object that is held elsewhere.
template <class T>
ComRef<T> shared(T* object) {
  if (object != nullptr) {
    object->AddRef();
  }
  return ComRef<T>(object);
}

/// The result of a member. Owns what the value refers to.
class Value {
 public:
  Value() { VariantInit(&variant_); }
  Value(Value&& other) noexcept : variant_(std::exchange(other.variant_, VARIANT{})) {}
  Value& operator=(Value&& other) noexcept {
    std::swap(variant_, other.variant_);
    return *this;
  }
  ~Value() { VariantClear(&variant_); }

  static Value text(std::string_view utf8);
  static Value boolean(bool value);
  static Value number(std::int32_t value);
  /// Local time; kNoDate becomes the mail application's "none", 1 January 4501.
  static Value date(DateTime moment);
  /// May be null, which is automation's "Nothing".
  static Value object(ComRef<IDispatch> object);
  static Value unknown(ComRef<IUnknown> object);

  VARIANT& variant() { return variant_; }
  const VARIANT& variant() const { return variant_; }
  /// The object of a value that is one, not counted; null otherwise.
  IDispatch* dispatch() const { return variant_.vt == VT_DISPATCH ? variant_.pdispVal : nullptr; }
  /// Hands the value to the caller of COM.
  VARIANT release() { return std::exchange(variant_, VARIANT{}); }

 private:
  VARIANT variant_;
};

/// Thrown by a member: the call returns this code, without details.
struct Returned {
  HRESULT code;
};

/// Thrown by a member: the call tells this in its EXCEPINFO.
struct Raised {
  HRESULT code;
  std::string source;
  std::string text;
};

/// The arguments of one call, numbered from 0 in the order of writing. Reading an argument of
/// another type throws Returned with DISP_E_TYPEMISMATCH, a missing one DISP_E_BADPARAMCOUNT.
class Arguments {
 public:
  explicit Arguments(const DISPPARAMS& parameters) : parameters_(parameters) {}

  std::size_t count() const { return parameters_.cArgs; }
  std::int32_t number(std::size_t index) const;
  bool boolean(std::size_t index) const;
  std::string text(std::size_t index) const;
  /// Null for "Nothing".
  ComRef<IUnknown> object(std::size_t index) const;

 private:
  const VARIANT& at(std::size_t index) const;
  Value converted(std::size_t index, VARTYPE type) const;

  const DISPPARAMS& parameters_;
};

}  // namespace relaybird::outlook_double
