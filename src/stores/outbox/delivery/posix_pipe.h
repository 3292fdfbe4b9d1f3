// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
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

void setNonBlocking(const FileDescriptor& descriptor);

}  // namespace relaybird
