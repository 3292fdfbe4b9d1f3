// SPDX-License-Identifier: MIT
// StreamLines reads only while its splitter is empty: commands of a script that waits stay in the
// pipe, and a fast writer is held up instead of filling memory.
#include "ui/console/line_source.h"

#include <utility>

#include "ui/console/quoting.h"

namespace relaybird {

bool LineBeginning::append(std::string_view part) {
  const auto free = room_.writable().subspan(size_);
  const std::size_t taken = part.copy(free.data(), free.size());
  size_ += taken;
  return taken == part.size();
}

void LineBeginning::cut(std::size_t size) {
  overwrite(room_.writable().subspan(size, size_ - size));
  size_ = size;
}

// The byte more that there is room for may be the CR of a line of maximum length.
void LineSplitter::endLine() {
  std::string_view line = current_.bytes();
  if (line.ends_with('\r')) {
    line.remove_suffix(1);
  }
  tooLong_ = tooLong_ || line.size() > kLongestLine;
  std::string why = tooLong_ ? "the line is longer than " + std::to_string(kLongestLine) + " bytes"
                             : whyNoCommand(line);
  if (why.empty()) {
    lines_.push_back({InputLine::Kind::kText, Secret(line)});
  } else {
    lines_.push_back({InputLine::Kind::kUnusable, {}, std::move(why)});
  }
  current_.cut(0);
  tooLong_ = false;
}

void LineSplitter::feed(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t end = bytes.find('\n');
    // What does not fit is dropped at once, so that a line without an end cannot fill the memory.
    tooLong_ = !current_.append(bytes.substr(0, end)) || tooLong_;
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
  if (!current_.bytes().empty()) {
    endLine();
  }
  lines_.push_back({InputLine::Kind::kEnd});
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
