// SPDX-License-Identifier: MIT
#include "ui/console/input/line_splitter.h"

#include <algorithm>
#include <utility>

#include "ui/console/text/quoting.h"

namespace relaybird {

void LineSplitter::append(std::string_view part) {
  // One more than allowed may be the CR of a line of full length.
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

}  // namespace relaybird
