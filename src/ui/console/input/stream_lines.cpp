// SPDX-License-Identifier: MIT
#include "ui/console/input/stream_lines.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

namespace relaybird {

StreamLines::StreamLines(MainLoop& loop, int descriptor) : loop_(loop), descriptor_(descriptor) {}

void StreamLines::listen(std::function<void()> onLines) {
  onLines_ = std::move(onLines);
  watch();
}

void StreamLines::watch() {
  if (ended_ || !lines_.empty()) {
    watch_.reset();
  } else if (!watch_) {
    watch_ = loop_.watchReadable(descriptor_, [this] { read(); });
  }
}

void StreamLines::read() {
  std::array<char, 16384> buffer;
  const ssize_t got = ::read(descriptor_, buffer.data(), buffer.size());
  if (got > 0) {
    lines_.feed({buffer.data(), static_cast<std::size_t>(got)});
  } else if (got == 0 || (errno != EINTR && errno != EAGAIN)) {
    // What cannot be read, such as a terminal that was hung up, has ended.
    ended_ = true;
    lines_.end();
  }
  if (lines_.empty()) {
    return;
  }
  watch();
  onLines_();
}

std::optional<InputLine> StreamLines::next() {
  if (lines_.empty()) {
    return std::nullopt;
  }
  InputLine line = lines_.take();
  if (onLines_) {
    watch();
  }
  return line;
}

}  // namespace relaybird
