// SPDX-License-Identifier: MIT
// StreamLines reads only while its splitter is empty: commands of a script that waits stay in the
// pipe, and a fast writer is held up instead of filling memory.
#include "ui/console/line_source.h"

#include <algorithm>
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

StreamLines::~StreamLines() {
  stream_.pause();
}

void StreamLines::listen(std::function<void()> onLines) {
  onLines_ = std::move(onLines);
  readOrPause();
}

void StreamLines::readOrPause() {
  const bool wanted = !ended_ && lines_.empty();
  if (std::exchange(reading_, wanted) == wanted) {
    return;
  }
  if (wanted) {
    stream_.read([this](std::string_view bytes) { take(bytes); });
  } else {
    stream_.pause();
  }
}

void StreamLines::take(std::string_view bytes) {
  if (bytes.empty()) {
    ended_ = true;
    lines_.end();
  } else {
    lines_.feed(bytes);
  }
  if (lines_.empty()) {
    return;
  }
  readOrPause();
  onLines_();
}

std::optional<InputLine> StreamLines::next() {
  if (lines_.empty()) {
    return std::nullopt;
  }
  InputLine line = lines_.take();
  // Reading goes on after the last line has been taken.
  if (onLines_) {
    readOrPause();
  }
  return line;
}

}  // namespace relaybird
