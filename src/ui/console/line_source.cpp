// SPDX-License-Identifier: MIT
// StreamLines reads only while its splitter is empty: commands of a script that waits stay in the
// pipe, and a fast writer is held up instead of filling memory.
#include "ui/console/line_source.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "ui/console/quoting.h"

namespace relaybird {

// Bytes beyond the limit are dropped at once, so that a line without an end cannot fill the memory.
void LineSplitter::append(std::string_view part) {
  // One more byte than allowed, because it may be the CR of a line of maximum length.
  const std::size_t room = kLongestLine + 1 - std::min(current_.size(), kLongestLine + 1);
  tooLong_ = tooLong_ || part.size() > room;
  current_ += part.substr(0, room);
}

void LineSplitter::endLine() {
  if (!current_.empty() && current_.back() == '\r') {
    current_.pop_back();
  }
  tooLong_ = tooLong_ || current_.size() > kLongestLine;
  std::string why = tooLong_ ? "the line is longer than " + std::to_string(kLongestLine) + " bytes"
                             : whyNoCommand(current_);
  if (why.empty()) {
    lines_.push_back({InputLine::Kind::kText, std::move(current_)});
  } else {
    lines_.push_back({InputLine::Kind::kUnusable, std::move(why)});
  }
  current_ = {};
  tooLong_ = false;
}

void LineSplitter::feed(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t end = bytes.find('\n');
    append(bytes.substr(0, end));
    if (end == std::string_view::npos) {
      return;
    }
    endLine();
    bytes.remove_prefix(end + 1);
  }
}

void LineSplitter::end() {
  if (std::exchange(ended_, true)) {
    return;
  }
  if (!current_.empty()) {
    endLine();
  }
  lines_.push_back({InputLine::Kind::kEnd, {}});
}

InputLine LineSplitter::take() {
  InputLine line = std::move(lines_.front());
  lines_.pop_front();
  return line;
}

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
    // An unreadable input, such as a terminal that hung up, has ended. Reading can also fail for
    // now although the loop reported data: another process with the same terminal may have taken
    // it.
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
  // Reading goes on after the last line has been taken.
  if (onLines_) {
    watch();
  }
  return line;
}

}  // namespace relaybird
