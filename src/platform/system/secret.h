// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace relaybird {

/// Where the bytes of secrets are kept. Any thread may call.
class SecretMemory {
 public:
  virtual ~SecretMemory() = default;
  /// At least `size` bytes; throws std::bad_alloc where there are none.
  virtual char* take(std::size_t size) = 0;
  /// Gives back what take() returned for that size. The bytes have been overwritten.
  virtual void giveBack(char* bytes, std::size_t size) = 0;
};

/// Secrets made from now on are kept in `memory`, which must live until the process ends. Without
/// this call they are kept in ordinary memory. To be called before other threads are started.
void keepSecretsIn(SecretMemory& memory);

/// A password or an access token. Its bytes are overwritten when the object ends or gets another
/// value. There is no conversion to text and no output operator, so that it cannot get into a log
/// by accident.
class Secret {
 public:
  Secret() = default;
  explicit Secret(std::string_view bytes);
  /// `size` zero bytes, to be filled through writable(): for what is read from elsewhere, so that
  /// no copy of it is in ordinary memory.
  static Secret ofSize(std::size_t size);
  ~Secret();
  Secret(const Secret& other);
  Secret& operator=(const Secret& other);
  Secret(Secret&& other) noexcept;
  Secret& operator=(Secret&& other) noexcept;

  bool empty() const { return size_ == 0; }
  /// Valid until the object ends or changes. Callers must not keep copies.
  std::string_view bytes() const { return {bytes_, size_}; }
  std::span<char> writable() { return {bytes_, size_}; }
  /// Keeps the first `size` bytes, if there are more, and overwrites the others.
  void cut(std::size_t size);

  friend bool operator==(const Secret& a, const Secret& b) { return a.bytes() == b.bytes(); }

 private:
  void wipe();

  char* bytes_ = nullptr;
  std::size_t size_ = 0;
  std::size_t taken_ = 0;  ///< the size that was asked of memory_
  SecretMemory* memory_ = nullptr;
};

/// Overwrites what earlier calls of this thread have left on its stack and in the processor's
/// registers. To be called after work with a secret, from where that work was called: copying
/// leaves pieces of it in registers, which are saved on the stack when a function of a library is
/// called for the first time.
void overwriteStack();

/// Overwrites bytes, also where the compiler sees that nobody reads them any more.
void overwrite(std::span<char> bytes);

/// Empties a text and overwrites all memory that it has, also what a longer text has left there, or
/// one that has moved away. For a text that may be a password where there can be no Secret: in the
/// field of a form, and on the way there.
void wipe(std::string& text);

}  // namespace relaybird
