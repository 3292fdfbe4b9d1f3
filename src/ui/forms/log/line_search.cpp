// SPDX-License-Identifier: MIT
// The search keeps a position and the number of lines after it that are known not to contain the
// text. A longer text continues from there; a shorter or different one starts again. Lines that
// were added in the meantime are examined before the search wraps around.
#include "ui/forms/log/line_search.h"

#include <utility>

#include "platform/text/matching_text.h"

namespace relaybird {

void LineSearch::forget() {
  text_.clear();
  begin(0);
}

// A position behind the last line wraps around to the first one.
void LineSearch::begin(std::size_t origin) {
  origin_ = origin < lines_.size() ? origin : 0;
  misses_ = 0;
  size_ = lines_.size();
}

bool LineSearch::contains(std::size_t line) {
  ++examined_;
  return foldCase(lines_[line]).find(text_) != std::string::npos;
}

bool LineSearch::hasNoHit() const {
  return text_.empty() || (misses_ == size_ && size_ == lines_.size());
}

bool LineSearch::isHit(std::size_t line) const {
  return !text_.empty() && misses_ < size_ && (origin_ + misses_) % size_ == line;
}

// Continues to the first line that contains the text.
std::optional<LineSearch::Hit> LineSearch::advance() {
  const std::size_t added = lines_.size() - size_;
  if (origin_ + misses_ >= size_) {
    // The search has wrapped around already: examine newly added lines before the rest.
    for (std::size_t line = size_; line < lines_.size(); ++line) {
      if (contains(line)) {
        begin(line);
        return Hit{line, false};
      }
    }
    misses_ += added;
  }
  size_ += added;
  for (; misses_ < size_; ++misses_) {
    const std::size_t line = (origin_ + misses_) % size_;
    if (contains(line)) {
      return Hit{line, origin_ + misses_ >= size_};
    }
  }
  return std::nullopt;
}

std::optional<LineSearch::Hit> LineSearch::type(std::string_view text, std::size_t from) {
  std::string folded = foldCase(text);
  if (folded.empty()) {
    forget();
    return std::nullopt;
  }
  if (text_.empty() || !folded.starts_with(text_)) {
    // If the current line is the hit of the former text, the new search starts where that one did.
    // Otherwise each correction of a letter would move on through the log.
    begin(isHit(from) ? origin_ : from);
  }
  text_ = std::move(folded);
  return advance();
}

std::optional<LineSearch::Hit> LineSearch::next(std::size_t from) {
  if (hasNoHit()) {
    return std::nullopt;
  }
  begin(from + 1);
  auto hit = advance();
  if (hit) {
    hit->aroundTheEnd = hit->line <= from;
  }
  return hit;
}

// Going back cannot use what the forward search knows, so every line on the way is examined.
std::optional<LineSearch::Hit> LineSearch::previous(std::size_t from) {
  if (hasNoHit()) {
    return std::nullopt;
  }
  const std::size_t count = lines_.size();
  for (std::size_t back = 1; back <= count; ++back) {
    const std::size_t line = (from + count - back) % count;
    if (!contains(line)) {
      continue;
    }
    begin(line);
    return Hit{line, line >= from};
  }
  begin(0);
  // All lines are examined now, and none contains the text.
  misses_ = size_;
  return std::nullopt;
}

}  // namespace relaybird
