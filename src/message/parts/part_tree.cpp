// SPDX-License-Identifier: MIT
// The scanner keeps one line, the header section being read, and a stack of open multiparts.
// Boundaries are found in a hash table rather than compared one by one, so that a message with 50
// open levels costs no more per line than a flat one. Only the innermost of equal boundaries
// counts.
#include "message/parts/part_tree.h"

#include <algorithm>
#include <functional>
#include <unordered_map>

#include "message/parts/line_reader.h"
#include "message/text/header_text.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

constexpr std::string_view kDefaultType = "text/plain";

TransferEncoding encodingOf(const HeaderBlock& headers) {
  const std::string name = asciiLower(headers.value("Content-Transfer-Encoding"));
  if (name == "base64") {
    return TransferEncoding::kBase64;
  }
  if (name == "quoted-printable") {
    return TransferEncoding::kQuotedPrintable;
  }
  // Not a standard encoding, but old programs still send it. An unknown encoding is read as it is.
  const bool uuencode = name == "x-uuencode" || name == "uuencode" || name == "x-uue";
  return uuencode ? TransferEncoding::kUuencode : TransferEncoding::kIdentity;
}

// Folding white space inside an identifier is no part of it.
std::string withoutBrackets(std::string id) {
  std::erase_if(id, [](char c) { return c == '<' || c == '>' || isBlank(c); });
  return id;
}

// Fills in what the part's header section says. `parent` is null for the message itself.
void describe(Part& part, const Part* parent) {
  if (const auto type = part.headers.raw("Content-Type")) {
    part.type = parseContentType(*type);
  }
  if (part.type.value.find('/') == std::string::npos) {
    // Parts of a digest are messages by default (RFC 2046 section 5.1.5). An invalid type reads as
    // text, so nothing is hidden.
    const bool digest = parent != nullptr && parent->type.value == "multipart/digest";
    part.type.value = digest ? std::string_view("message/rfc822") : kDefaultType;
  }
  if (const auto disposition = part.headers.raw("Content-Disposition")) {
    part.disposition = parseContentDisposition(*disposition);
  }
  part.encoding = encodingOf(part.headers);
  part.fileName = part.disposition.parameter("filename");
  // "name" is the parameter of before Content-Disposition (RFC 2183), and still common.
  if (part.fileName.empty()) {
    part.fileName = part.type.parameter("name");
  }
  part.contentId = withoutBrackets(part.headers.value("Content-ID"));
  part.location = part.headers.value("Content-Location");
  std::erase_if(part.location, isBlank);
}

std::size_t lineEndLength(std::string_view line) {
  if (line.ends_with("\r\n")) {
    return 2;
  }
  return line.ends_with('\n') ? 1 : 0;
}

struct ViewHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const {
    return std::hash<std::string_view>()(text);
  }
};

// The boundaries of the open multiparts, outermost first. Of two equal boundaries the inner one
// counts as long as it is open.
class OpenBoundaries {
 public:
  struct Match {
    std::size_t level = 0;
    bool closes = false;
  };

  // A stack kept in two forms: open_ for the order, innermost_ for the look-up. `shadowed`
  // remembers the level that had the same boundary before, so that pop() can restore it.
  void push(Part& part, std::string boundary) {
    const auto [entry, isNew] = innermost_.try_emplace(boundary, open_.size());
    const std::size_t shadowed = isNew ? kNone : entry->second;
    entry->second = open_.size();
    open_.push_back({&part, std::move(boundary), shadowed});
  }

  void pop() {
    const auto entry = innermost_.find(open_.back().boundary);
    if (open_.back().shadowed == kNone) {
      innermost_.erase(entry);
    } else {
      entry->second = open_.back().shadowed;
    }
    open_.pop_back();
  }

  // RFC 2046 section 5.1.1: "--" and the boundary, perhaps with blanks behind it; "--" behind the
  // boundary closes. The exact text is tried first, because a boundary may itself end in "--".
  std::optional<Match> match(std::string_view line) const {
    if (open_.empty() || !line.starts_with("--")) {
      return std::nullopt;
    }
    const std::string_view text = trimmedEnd(line.substr(2));
    if (const auto found = innermost_.find(text); found != innermost_.end()) {
      return Match{found->second, false};
    }
    if (!text.ends_with("--")) {
      return std::nullopt;
    }
    const auto found = innermost_.find(text.substr(0, text.size() - 2));
    return found == innermost_.end() ? std::nullopt : std::optional(Match{found->second, true});
  }

  bool empty() const { return open_.empty(); }
  std::size_t size() const { return open_.size(); }
  Part& part(std::size_t level) const { return *open_[level].part; }

 private:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  struct Open {
    Part* part;
    std::string boundary;
    std::size_t shadowed;
  };
  std::vector<Open> open_;
  std::unordered_map<std::string, std::size_t, ViewHash, std::equal_to<>> innermost_;
};

class TreeScanner {
 public:
  TreeScanner(InputFile& file, HeaderBlock top, std::uint64_t limit);
  Result<PartTree> scan();

 private:
  void onLine(const LineReader::Line& line);
  void onBoundary(const OpenBoundaries::Match& match, const LineReader::Line& line);
  void onHeaderLine(const LineReader::Line& line);
  void beginPart(Part& parent, std::uint64_t offset);
  void endHeaders(std::uint64_t body);
  void open(Part& part);
  // Ends the last part below `multipart`, and everything that is still open in it.
  void endParts(Part& multipart, std::uint64_t offset);

  InputFile& file_;
  std::uint64_t limit_;
  PartTree tree_;
  OpenBoundaries boundaries_;
  std::size_t parts_ = 1;
  Part* inHeaders_ = nullptr;  // the part whose header section is being read
  Part* headersParent_ = nullptr;
  std::string header_;
  std::size_t lastLineEnd_ = 0;  // length of the line end before the current line
};

constexpr std::uint64_t kOpenEnd = static_cast<std::uint64_t>(-1);

TreeScanner::TreeScanner(InputFile& file, HeaderBlock top, std::uint64_t limit)
    : file_(file), limit_(limit) {
  tree_.root = std::make_unique<Part>();
  Part& root = *tree_.root;
  root.body = top.bodyOffset();
  root.headers = std::move(top);
  describe(root, nullptr);
}

Result<PartTree> TreeScanner::scan() {
  Part& root = *tree_.root;
  root.end = std::max(root.body, std::min(limit_, file_.info().size));
  open(root);
  LineReader lines(file_, root.body, root.end);
  // Without an open boundary nothing more can be found, so the rest of the message is not read.
  while (!boundaries_.empty() && parts_ < kPartCount) {
    const auto line = lines.next();
    if (!line) {
      return line.error();
    }
    if (!line->has_value()) {
      break;
    }
    onLine(**line);
  }
  tree_.truncated = tree_.truncated || parts_ >= kPartCount;
  // The file may have become shorter since it was opened. Parts end where it ends now, so that
  // nobody reads beyond it.
  if (lines.offset() < root.end && !boundaries_.empty() && !tree_.truncated) {
    root.end = lines.offset();
  }
  if (inHeaders_ != nullptr) {
    endHeaders(lines.offset());
  }
  endParts(root, root.end);
  return std::move(tree_);
}

void TreeScanner::onLine(const LineReader::Line& line) {
  // A multipart's body may begin without an empty line. Its boundary is known only once its header
  // section has ended, so a line that looks like a boundary ends the section.
  if (inHeaders_ != nullptr && line.begins && line.text.starts_with("--") &&
      !boundaries_.match(line.text)) {
    endHeaders(line.offset);
  }
  const auto match = line.begins ? boundaries_.match(line.text) : std::nullopt;
  if (match) {
    onBoundary(*match, line);
  } else if (inHeaders_ != nullptr) {
    onHeaderLine(line);
  }
  lastLineEnd_ = lineEndLength(line.text);
}

void TreeScanner::onBoundary(const OpenBoundaries::Match& match, const LineReader::Line& line) {
  if (inHeaders_ != nullptr) {
    endHeaders(line.offset);
  }
  // The boundary of an outer multipart ends all inner ones, as RFC 2046 section 5.1.2 demands:
  // their closing boundaries may be missing.
  Part& multipart = boundaries_.part(match.level);
  // The line end in front of the boundary belongs to the boundary (RFC 2046 section 5.1.1).
  endParts(multipart, line.offset - lastLineEnd_);
  while (boundaries_.size() > match.level + (match.closes ? 0 : 1)) {
    boundaries_.pop();
  }
  if (!match.closes) {
    beginPart(multipart, line.offset + line.text.size());
  }
}

void TreeScanner::beginPart(Part& parent, std::uint64_t offset) {
  parent.children.push_back(std::make_unique<Part>());
  ++parts_;
  inHeaders_ = parent.children.back().get();
  inHeaders_->begin = inHeaders_->body = offset;
  // The end is unknown until the next boundary, or the end of the message, in endParts().
  inHeaders_->end = kOpenEnd;
  headersParent_ = &parent;
  header_.clear();
}

void TreeScanner::onHeaderLine(const LineReader::Line& line) {
  const bool isFirst = line.offset == inHeaders_->begin;
  // A part without header section and without the empty line in front of its content: the line is
  // content already.
  if (isFirst && HeaderBlock(line.text).bytes().empty()) {
    endHeaders(line.offset);
    return;
  }
  // Longer sections are cut here, but read to their end, so that the body begins at the right
  // place.
  if (header_.size() < kPartHeaderBytes) {
    header_ += line.text;
  }
  if (line.begins && line.text.size() == lineEndLength(line.text)) {
    endHeaders(line.offset + line.text.size());
  }
}

void TreeScanner::endHeaders(std::uint64_t body) {
  Part& part = *inHeaders_;
  inHeaders_ = nullptr;
  part.headers = HeaderBlock(header_);
  // HeaderBlock has the better judgement of where odd sections end. It cannot tell where a cut
  // section ends; the caller's position counts then.
  part.body = part.headers.ended() ? part.begin + part.headers.bodyOffset() : body;
  describe(part, headersParent_);
  open(part);
}

void TreeScanner::open(Part& part) {
  if (!part.type.value.starts_with("multipart/")) {
    return;
  }
  // RFC 2046 section 5.1.1: blanks at the end of a boundary are not part of it. A multipart without
  // a boundary is a leaf, shown as it is.
  const std::string_view boundary = trimmedEnd(part.type.parameter("boundary"));
  if (boundary.empty()) {
    return;
  }
  if (boundaries_.size() >= static_cast<std::size_t>(kPartDepth)) {
    tree_.truncated = true;
    return;
  }
  part.multipart = true;
  boundaries_.push(part, std::string(boundary));
}

void TreeScanner::endParts(Part& multipart, std::uint64_t offset) {
  const Part* last = &multipart;
  while (!last->children.empty()) {
    last = last->children.back().get();
  }
  // The line end before the boundary may have ended a header section; it belongs to that part then.
  const std::uint64_t end = std::max(offset, last->body);
  for (Part* part = &multipart; !part->children.empty();) {
    part = part->children.back().get();
    if (part->end == kOpenEnd) {
      part->end = end;
    }
  }
}

}  // namespace

Result<PartTree> readPartTree(InputFile& file, HeaderBlock top, std::uint64_t limit) {
  return TreeScanner(file, std::move(top), limit).scan();
}

}  // namespace relaybird
