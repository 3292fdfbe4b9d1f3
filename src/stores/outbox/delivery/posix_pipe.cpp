// SPDX-License-Identifier: MIT
#include "stores/outbox/delivery/posix_pipe.h"

#include <fcntl.h>
#include <unistd.h>

namespace relaybird {

namespace {

FileDescriptor aboveStandardStreams(FileDescriptor descriptor) {
  if (descriptor.get() > STDERR_FILENO) return descriptor;
  return FileDescriptor(fcntl(descriptor.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

}  // namespace

void FileDescriptor::close() {
  if (number_ >= 0) ::close(number_);
  number_ = -1;
}

std::optional<Pipe> makePipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return std::nullopt;
  Pipe pipe{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
  pipe.read = aboveStandardStreams(std::move(pipe.read));
  pipe.write = aboveStandardStreams(std::move(pipe.write));
  if (!pipe.read.isOpen() || !pipe.write.isOpen()) return std::nullopt;
  return pipe;
}

void setNonBlocking(const FileDescriptor& descriptor) {
  fcntl(descriptor.get(), F_SETFL, fcntl(descriptor.get(), F_GETFL) | O_NONBLOCK);
}

}  // namespace relaybird
