// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>
#include <variant>

namespace relaybird {

/// Why a system call failed: the system's error number (errno values; 0 if none applies) and a
/// sentence for the log that names the file or object concerned.
struct Error {
  int code = 0;
  std::string text;
};

/// The outcome of a call that can fail: a value or an Error. Accessing the one that is not there
/// throws std::bad_variant_access.
template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}
  Result(Error error) : state_(std::in_place_index<1>, std::move(error)) {}

  explicit operator bool() const { return state_.index() == 0; }
  T& value() { return std::get<0>(state_); }
  const T& value() const { return std::get<0>(state_); }
  T& operator*() { return value(); }
  const T& operator*() const { return value(); }
  T* operator->() { return &value(); }
  const T* operator->() const { return &value(); }
  const Error& error() const { return std::get<1>(state_); }

 private:
  std::variant<T, Error> state_;
};

template <>
class [[nodiscard]] Result<void> {
 public:
  Result() = default;
  Result(Error error) : state_(std::move(error)) {}

  explicit operator bool() const { return state_.index() == 0; }
  const Error& error() const { return std::get<1>(state_); }

 private:
  std::variant<std::monostate, Error> state_;
};

}  // namespace relaybird
