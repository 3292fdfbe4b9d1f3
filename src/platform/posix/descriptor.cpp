// SPDX-License-Identifier: MIT
#include "platform/posix/descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace relaybird {

namespace {

// MFD_NOEXEC_SEAL of Linux 6.3; older headers do not define it.
constexpr unsigned kNoExecSeal = 0x8;

// With vm.memfd_noexec = 2 the kernel refuses a file that may be executed; an older kernel refuses
// the flag that forbids it.
Descriptor makeMemoryFile(int (*create)(const char*, unsigned)) {
  constexpr unsigned kFlags = MFD_CLOEXEC | MFD_ALLOW_SEALING;
  int number = create("message", kFlags | kNoExecSeal);
  if (number < 0 && errno == EINVAL) {
    number = create("message", kFlags);
  }
  return Descriptor(number);
}

bool writeAll(const Descriptor& file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(file.get(), bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count <= 0) {
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace

// A process started without standard streams gets the numbers 0 to 2 for its own files. Redirecting
// the streams of a child would then close them, or hand them over.
Descriptor aboveStandardStreams(Descriptor descriptor) {
  if (!descriptor || descriptor.get() > STDERR_FILENO) {
    return descriptor;
  }
  return Descriptor(fcntl(descriptor.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

std::optional<Pipe> makePipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    return std::nullopt;
  }
  Pipe pipe{Descriptor(ends[0]), Descriptor(ends[1])};
  pipe.read = aboveStandardStreams(std::move(pipe.read));
  pipe.write = aboveStandardStreams(std::move(pipe.write));
  if (!pipe.read || !pipe.write) {
    return std::nullopt;
  }
  return pipe;
}

// A file in memory, not a pipe: the reader finds all of it or, if this program dies while writing,
// nothing. The seals keep the reader from changing what another try would send.
Result<Descriptor> makeInput(const std::function<Result<std::string_view>()>& next,
                             int (*create)(const char*, unsigned)) {
  const auto failed = [] { return systemError("make a file in memory", errno); };
  Descriptor file = aboveStandardStreams(makeMemoryFile(create));
  if (!file) {
    return failed();
  }
  for (auto piece = next(); !piece || !piece->empty(); piece = next()) {
    if (!piece) {
      return piece.error();
    }
    if (!writeAll(file, *piece)) {
      return failed();
    }
  }
  constexpr int kSeals = F_SEAL_WRITE | F_SEAL_GROW | F_SEAL_SHRINK | F_SEAL_SEAL;
  if (fcntl(file.get(), F_ADD_SEALS, kSeals) != 0 || lseek(file.get(), 0, SEEK_SET) != 0) {
    return failed();
  }
  return file;
}

void setNonBlocking(const Descriptor& descriptor) {
  fcntl(descriptor.get(), F_SETFL, fcntl(descriptor.get(), F_GETFL) | O_NONBLOCK);
}

}  // namespace relaybird
