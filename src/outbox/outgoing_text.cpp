// SPDX-License-Identifier: MIT
// A CR at the end of a piece may belong to the LF that begins the next one, so it is left to that
// piece. Pieces are far larger than one byte, and so always get further.
#include "outbox/outgoing_text.h"

#include <algorithm>
#include <utility>

namespace relaybird {

namespace {

constexpr std::size_t kPiece = std::size_t{64} << 10;

// Removes the CR of each CR LF from `from` on.
void endLinesWithLf(std::string& text, std::size_t from) {
  // Our own messages have none, and the search for one is much faster than the loop.
  const std::size_t first = text.find('\r', from);
  if (first == text.npos) {
    return;
  }
  std::size_t kept = first;
  for (std::size_t at = first; at < text.size(); ++at) {
    const bool lineBreak = text[at] == '\r' && at + 1 < text.size() && text[at + 1] == '\n';
    if (!lineBreak) {
      text[kept++] = text[at];
    }
  }
  text.resize(kept);
}

// Whether an empty line, which ends the head, is among what was read from `from` on.
bool hasEmptyLine(std::string_view text, std::size_t from) {
  const std::size_t before = from - std::min<std::size_t>(from, 2);
  return text.starts_with('\n') || text.starts_with("\r\n") ||
         text.find("\n\n", before) != text.npos || text.find("\n\r\n", before) != text.npos;
}

}  // namespace

OutgoingText::OutgoingText(std::string whole) : beginning_(std::move(whole)) {
  endLinesWithLf(beginning_, 0);
}

Result<OutgoingText> OutgoingText::read(std::unique_ptr<InputFile> file) {
  OutgoingText text;
  text.file_ = std::move(file);
  text.fileSize_ = text.file_->info().size;
  bool headEnded = false;
  while (!headEnded && text.fileBegin_ < text.fileSize_ && text.held() <= kLongestHead) {
    const std::size_t before = text.held();
    if (auto read = text.appendPiece(text.fileBegin_, text.beginning_); !read) {
      return read.error();
    }
    headEnded = hasEmptyLine(text.beginning_, before);
  }
  const bool all = text.fileBegin_ == text.fileSize_;
  text.headIsTooLong_ = !headEnded && !all;
  if (all) {
    text.file_.reset();
  }
  return text;
}

void OutgoingText::replaceHead(std::size_t size, std::string_view head) {
  beginning_.replace(0, size, head);
}

Result<void> OutgoingText::appendPiece(std::uint64_t& at, std::string& to) const {
  const std::size_t before = to.size();
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(kPiece, fileSize_ - at));
  to.resize(before + wanted);
  const auto count = file_->readAt(at, to.data() + before, wanted);
  if (!count || *count < wanted) {
    to.resize(before);
    return count ? Error{0, "The file of the message has become shorter"} : count.error();
  }
  at += wanted;
  if (to.back() == '\r' && at < fileSize_) {
    to.pop_back();
    --at;
  }
  endLinesWithLf(to, before);
  return {};
}

Result<std::string_view> OutgoingText::Reader::next() {
  std::string_view piece = text_->beginning().substr(given_, kPiece);
  given_ += piece.size();
  if (piece.empty()) {
    piece_.clear();
    if (at_ < text_->fileSize_) {
      if (auto read = text_->appendPiece(at_, piece_); !read) {
        return read.error();
      }
    }
    piece = piece_;
  }
  // Pieces end at the same places in each reader.
  if (!piece.empty()) {
    digest_ = 31 * digest_ + std::hash<std::string_view>()(piece);
  }
  return piece;
}

Result<void> OutgoingText::forEachPiece(
    const std::function<Result<void>(std::string_view)>& take) const {
  Reader reader(*this);
  while (true) {
    const auto piece = reader.next();
    if (!piece) {
      return piece.error();
    }
    if (piece->empty()) {
      return {};
    }
    if (auto taken = take(*piece); !taken) {
      return taken;
    }
  }
}

}  // namespace relaybird
