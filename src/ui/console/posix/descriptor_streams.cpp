// SPDX-License-Identifier: MIT
// DescriptorSink waits with poll() before each piece, so that it can stop waiting when the program
// is told to end. A piece is never larger than what a ready pipe takes without blocking.
#include "ui/console/posix/descriptor_streams.h"

#include <limits.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/system/secret.h"

namespace relaybird {
namespace {

// A ready pipe accepts this many bytes without blocking (POSIX.1, write to pipes).
constexpr std::size_t kPiece = PIPE_BUF;
// Small, because each line that has been read keeps a page of its own until it is used.
constexpr std::size_t kReadPiece = 4096;

}  // namespace

void DescriptorStream::read(std::function<void(std::string_view bytes)> onBytes) {
  onBytes_ = std::move(onBytes);
  watch_ = waiter_.watchReadable(descriptor_, [this] { readOnce(); });
}

void DescriptorStream::readOnce() {
  // The lines may be answers to a command that runs within this call.
  Secret buffer = Secret::ofSize(kReadPiece);
  const ssize_t got = ::read(descriptor_, buffer.writable().data(), kReadPiece);
  // A copy, because the call may begin another read().
  const auto onBytes = onBytes_;
  if (got > 0) {
    onBytes(buffer.bytes().substr(0, static_cast<std::size_t>(got)));
  } else if (got == 0 || (errno != EINTR && errno != EAGAIN)) {
    // An unreadable input, such as a terminal that hung up, has ended. Reading can also fail for
    // now although the loop reported data: another process with the same terminal may have taken
    // it.
    pause();
    onBytes({});
  }
}

DescriptorSink::DescriptorSink(int descriptor, int interrupt, std::function<void()> onBroken)
    : descriptor_(descriptor), interrupt_(interrupt), onBroken_(std::move(onBroken)) {}

// Waits until the descriptor is writable; false if it must not wait any longer.
bool DescriptorSink::mayWrite() {
  pollfd both[] = {{descriptor_, POLLOUT, 0}, {interrupt_, POLLIN, 0}};
  while (::poll(both, 2, hurry_ ? 0 : -1) < 0) {
    if (errno != EINTR) {
      return false;
    }
  }
  // An error or a hang-up counts as well: the write that follows reports it.
  return both[0].revents != 0;
}

// A broken reader is final; an error such as a full disk loses only this text.
void DescriptorSink::write(std::string_view bytes) {
  while (!bytes.empty() && !broken_) {
    if (!mayWrite()) {
      return;
    }
    const ssize_t written =
        ::write(descriptor_, bytes.data(), std::min<std::size_t>(bytes.size(), kPiece));
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EPIPE || errno == EIO || errno == EBADF) {
      // EPIPE: the reader has closed the pipe. EIO: the terminal has hung up.
      broken_ = true;
      onBroken_();
    } else if (errno != EINTR && errno != EAGAIN) {
      return;
    }
  }
}

}  // namespace relaybird
