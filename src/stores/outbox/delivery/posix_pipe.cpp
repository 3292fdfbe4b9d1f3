// SPDX-License-Identifier: MIT
#include "stores/outbox/delivery/posix_pipe.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

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

FileDescriptor makeInput(std::string_view bytes) {
  FileDescriptor file = aboveStandardStreams(
      FileDescriptor(memfd_create("message", MFD_CLOEXEC | MFD_ALLOW_SEALING)));
  while (file.isOpen() && !bytes.empty()) {
    const ssize_t count = write(file.get(), bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return {};
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  constexpr int kSeals = F_SEAL_WRITE | F_SEAL_GROW | F_SEAL_SHRINK | F_SEAL_SEAL;
  const bool ready = file.isOpen() && fcntl(file.get(), F_ADD_SEALS, kSeals) == 0 &&
                     lseek(file.get(), 0, SEEK_SET) == 0;
  return ready ? std::move(file) : FileDescriptor();
}

void setNonBlocking(const FileDescriptor& descriptor) {
  fcntl(descriptor.get(), F_SETFL, fcntl(descriptor.get(), F_GETFL) | O_NONBLOCK);
}

}  // namespace relaybird
