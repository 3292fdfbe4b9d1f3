// SPDX-License-Identifier: MIT
#pragma once

#include <sys/mman.h>

#include <optional>
#include <string_view>
#include <utility>

namespace relaybird {

/// Owns a file descriptor.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int number) : number_(number) {}
  FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~FileDescriptor() { close(); }

  int get() const { return number_; }  ///< -1 when closed
  bool isOpen() const { return number_ >= 0; }
  void close();

 private:
  int number_ = -1;
};

struct Pipe {
  FileDescriptor read;
  FileDescriptor write;
};

/// Both ends close when another program is started, and neither is one of the standard streams,
/// even where this program was started without them. Nothing when no descriptors are left.
std::optional<Pipe> makePipe();

/// A file in memory, without a name, that holds the bytes and cannot be changed, to be read from
/// its beginning; closed when another program is started, and none of the standard streams. Closed
/// where it cannot be made; errno says why.
///
/// Unlike a pipe it is all there before anybody reads it: its reader finds the end only where the
/// bytes end, also when this program is killed meanwhile. A command that delivers mail would take
/// the end of a broken pipe for the end of the message.
/// `create` is memfd_create (2), or stands for one of another kernel.
FileDescriptor makeInput(std::string_view bytes,
                         int (*create)(const char* name, unsigned flags) = memfd_create);

void setNonBlocking(const FileDescriptor& descriptor);

}  // namespace relaybird
