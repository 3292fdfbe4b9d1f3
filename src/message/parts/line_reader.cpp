// SPDX-License-Identifier: MIT
#include "message/parts/line_reader.h"

#include <algorithm>
#include <cstring>

namespace relaybird {
namespace {

constexpr std::size_t kBufferSize = 65536;

}  // namespace

LineReader::LineReader(InputFile& file, std::uint64_t begin, std::uint64_t end)
    : file_(file), offset_(begin), end_(std::max(begin, end)), buffer_(kBufferSize) {}

Result<std::optional<LineReader::Line>> LineReader::next() {
  while (true) {
    const std::string_view pending(buffer_.data() + begin_, filled_ - begin_);
    if (const auto text = take(pending)) {
      const Line line{offset_, *text, lineBegins_};
      lineBegins_ = text->back() == '\n';
      begin_ += text->size();
      offset_ += text->size();
      return std::optional<Line>(line);
    }
    if (atEnd_) {
      return std::optional<Line>();
    }
    if (const auto filled = fill(); !filled) {
      return filled.error();
    }
  }
}

// The next line within the pending bytes, or the piece of a line that fills the buffer. A CR at the
// end of such a piece stays for the next one, so that CR LF is never split.
std::optional<std::string_view> LineReader::take(std::string_view pending) {
  const std::size_t feed = pending.find('\n');
  if (feed != std::string_view::npos) {
    return pending.substr(0, feed + 1);
  }
  if (atEnd_) {
    return pending.empty() ? std::nullopt : std::optional(pending);
  }
  if (pending.size() < buffer_.size()) {
    return std::nullopt;
  }
  return pending.substr(0, pending.size() - (pending.back() == '\r' ? 1 : 0));
}

// Moves what is pending to the front and reads behind it. A pending line shorter than the buffer
// always leaves room, so every call reads at least one byte or reaches the end.
Result<bool> LineReader::fill() {
  std::memmove(buffer_.data(), buffer_.data() + begin_, filled_ - begin_);
  filled_ -= begin_;
  begin_ = 0;
  const std::uint64_t from = offset_ + filled_;
  const auto wanted = static_cast<std::size_t>(
      std::min<std::uint64_t>(buffer_.size() - filled_, end_ - std::min(end_, from)));
  const auto read = file_.readAt(from, buffer_.data() + filled_, wanted);
  if (!read) {
    return read.error();
  }
  filled_ += *read;
  // A short read is the end of the file, which may be before end_ if the file was truncated.
  atEnd_ = *read < wanted || from + *read >= end_;
  return true;
}

}  // namespace relaybird
