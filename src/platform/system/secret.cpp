// SPDX-License-Identifier: MIT
#include "platform/system/secret.h"

#include <algorithm>
#include <utility>

namespace relaybird {

Secret::Secret(std::string_view bytes)
    : bytes_(std::make_unique<char[]>(bytes.size())), size_(bytes.size()) {
  std::copy(bytes.begin(), bytes.end(), bytes_.get());
}

Secret::~Secret() {
  wipe();
}

Secret::Secret(const Secret& other) : Secret(other.bytes()) {}

Secret& Secret::operator=(const Secret& other) {
  if (this != &other) {
    *this = Secret(other.bytes());
  }
  return *this;
}

Secret::Secret(Secret&& other) noexcept
    : bytes_(std::move(other.bytes_)), size_(std::exchange(other.size_, 0)) {}

Secret& Secret::operator=(Secret&& other) noexcept {
  wipe();
  bytes_ = std::move(other.bytes_);
  size_ = std::exchange(other.size_, 0);
  return *this;
}

// Written through a volatile pointer, because a compiler leaves out writes to memory that is about
// to be freed.
void Secret::wipe() {
  volatile char* at = bytes_.get();
  for (std::size_t i = 0; i < size_; ++i) {
    at[i] = 0;
  }
  bytes_.reset();
  size_ = 0;
}

}  // namespace relaybird
