// SPDX-License-Identifier: MIT
#include "ui/console/output/text_sink.h"

#include <limits.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace relaybird {
namespace {

// A pipe that is ready takes this much without blocking (POSIX.1, write to pipes).
constexpr std::size_t kPiece = PIPE_BUF;

}  // namespace

DescriptorSink::DescriptorSink(int descriptor, int interrupt, std::function<void()> onBroken)
    : descriptor_(descriptor), interrupt_(interrupt), onBroken_(std::move(onBroken)) {}

// Waits until the reader has room; false where that is not to be waited for.
bool DescriptorSink::mayWrite() {
  pollfd both[] = {{descriptor_, POLLOUT, 0}, {interrupt_, POLLIN, 0}};
  while (::poll(both, 2, hurry_ ? 0 : -1) < 0) {
    if (errno != EINTR) {
      return false;
    }
  }
  return both[0].revents != 0;
}

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
      broken_ = true;
      onBroken_();
    } else if (errno != EINTR && errno != EAGAIN) {
      return;
    }
  }
}

}  // namespace relaybird
