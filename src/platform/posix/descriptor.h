// SPDX-License-Identifier: MIT
// Open file descriptors: their owner, pipes and files in memory, and the error of a system call.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/result.h"

namespace relaybird {

/// Owns an open file descriptor; -1 stands for none.
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
  /// The result of ::close. The descriptor is closed even after an error.
  int close() { return number_ < 0 ? 0 : ::close(std::exchange(number_, -1)); }

 private:
  int number_ = -1;
};

/// Whether a text holds a NUL. A C string ends there: such a path would name another file.
inline bool holdsNul(const std::string& text) {
  return text.find('\0') != std::string::npos;
}

/// "Cannot WHAT: the system's words".
inline Error systemError(const std::string& what, int code) {
  return {code, "Cannot " + what + ": " + std::system_category().message(code)};
}

/// The descriptor, or a duplicate of it where it is one of the standard streams: a program that was
/// started without them gets their numbers for its next files. No descriptor when none is left, or
/// none was given; errno stays as it is then, or says why.
Descriptor aboveStandardStreams(Descriptor descriptor);

struct Pipe {
  Descriptor read;
  Descriptor write;
};

/// Both ends close when another program is started, and neither is one of the standard streams,
/// even where this program was started without them. Nothing when no descriptor is left.
std::optional<Pipe> makePipe();

/// A file in memory, without a name, that holds the pieces that `next` gives (an empty one is the
/// end) and cannot be changed, to be read from its beginning; closed when another program is
/// started, and not one of the standard streams. Fails with the system's error number, or as `next`
/// does.
///
/// Unlike a pipe it is complete before anybody reads it: its reader finds the end only where the
/// bytes end, even when this program is killed meanwhile. A command that delivers mail would take
/// the end of a broken pipe for the end of the message.
/// `create` is memfd_create (2), or stands for one of another kernel.
Result<Descriptor> makeInput(const std::function<Result<std::string_view>()>& next,
                             int (*create)(const char* name, unsigned flags) = memfd_create);

void setNonBlocking(const Descriptor& descriptor);

}  // namespace relaybird
