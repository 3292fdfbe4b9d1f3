// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <string>
#include <system_error>
#include <utility>

#include "platform/result.h"

namespace relaybird {

/// Owns an open file descriptor, or none (-1).
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() { (void)close(); }
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      (void)close();
      number_ = std::exchange(other.number_, -1);
    }
    return *this;
  }

  int get() const { return number_; }
  explicit operator bool() const { return number_ >= 0; }
  /// What ::close says. It is closed also where that is an error.
  int close() { return number_ < 0 ? 0 : ::close(std::exchange(number_, -1)); }

 private:
  int number_ = -1;
};

/// "Cannot WHAT: the system's words".
inline Error systemError(const std::string& what, int code) {
  return {code, "Cannot " + what + ": " + std::system_category().message(code)};
}

}  // namespace relaybird
