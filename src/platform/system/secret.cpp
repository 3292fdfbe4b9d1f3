// SPDX-License-Identifier: MIT
// The bytes of a secret are in memory of a SecretMemory, which a program chooses once at its start.
// They are overwritten before that memory is given back, and a move hands the memory on, so that no
// copy stays behind. Copies outside of such objects, on the stack and in registers, are what
// overwriteStack() is for.
#include "platform/system/secret.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <utility>

namespace relaybird {

namespace {

class OrdinaryMemory : public SecretMemory {
 public:
  char* take(std::size_t size) override { return new char[size]; }
  void giveBack(char* bytes, std::size_t) override { delete[] bytes; }
};

// Never destroyed: a secret may be the last thing that ends.
SecretMemory& ordinaryMemory() {
  static SecretMemory* const memory = new OrdinaryMemory;
  return *memory;
}

// Null: nobody has chosen, as in most tests.
std::atomic<SecretMemory*> chosen = nullptr;

}  // namespace

void keepSecretsIn(SecretMemory& memory) {
  chosen = &memory;
}

Secret Secret::ofSize(std::size_t size) {
  Secret secret;
  if (size > 0) {
    SecretMemory* const memory = chosen;
    // Each secret keeps its memory, so that it is given back there after another one was chosen.
    secret.memory_ = memory != nullptr ? memory : &ordinaryMemory();
    secret.bytes_ = secret.memory_->take(size);
    secret.size_ = size;
    secret.taken_ = size;
    std::ranges::fill(secret.writable(), '\0');
  }
  return secret;
}

Secret::Secret(std::string_view bytes) : Secret(ofSize(bytes.size())) {
  std::ranges::copy(bytes, bytes_);
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
    : bytes_(std::exchange(other.bytes_, nullptr)),
      size_(std::exchange(other.size_, 0)),
      taken_(std::exchange(other.taken_, 0)),
      memory_(other.memory_) {}

Secret& Secret::operator=(Secret&& other) noexcept {
  if (this != &other) {
    wipe();
    bytes_ = std::exchange(other.bytes_, nullptr);
    size_ = std::exchange(other.size_, 0);
    taken_ = std::exchange(other.taken_, 0);
    memory_ = other.memory_;
  }
  return *this;
}

void Secret::cut(std::size_t size) {
  if (size < size_) {
    overwrite(writable().subspan(size));
    size_ = size;
  }
}

void Secret::wipe() {
  if (bytes_ != nullptr) {
    overwrite({bytes_, taken_});
    memory_->giveBack(std::exchange(bytes_, nullptr), std::exchange(taken_, 0));
  }
  size_ = 0;
}

// The array is as deep as the calls of libcurl, libsecret and OpenSSL go. Copying uses other
// registers for other sizes, and leaves the last bytes that it copied in them, so zeros are copied
// in each size. The copying function is called through a volatile pointer, so that the compiler
// does not replace the calls.
void overwriteStack() {
  std::array<char, std::size_t{64} * 1024> stack;
  overwrite(stack);
  void* (*volatile copy)(void*, const void*, std::size_t) = std::memmove;
  for (std::size_t size = 16; size <= 1024; size *= 2) {
    copy(stack.data(), stack.data() + 2 * size, size + 1);
  }
}

// Written through a volatile pointer, because a compiler leaves out writes to memory that is about
// to be freed.
void overwrite(std::span<char> bytes) {
  volatile char* const at = bytes.data();
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    at[i] = 0;
  }
}

void wipe(std::string& text) {
  text.resize(text.capacity());  // stays where it is
  overwrite(text);
  text.clear();
}

}  // namespace relaybird
