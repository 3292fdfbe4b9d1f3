// SPDX-License-Identifier: MIT
// Nothing is written when it is met. Breaks, tabs and blanks are only noted as due, and writeDue()
// writes them before the next visible text: only then is it known which of them count, as white
// space collapses and the end of a block swallows the blanks before it.
#include "message/text/text_layout.h"

#include <algorithm>
#include <array>

namespace relaybird {
namespace {

// The characters of windows-1252 from 0x80 on. Five of the 32 places have none.
constexpr std::array<std::string_view, 32> kWindows1252 = {
    "\u20ac", "",       "\u201a", "\u0192", "\u201e", "\u2026", "\u2020", "\u2021",
    "\u02c6", "\u2030", "\u0160", "\u2039", "\u0152", "",       "\u017d", "",
    "",       "\u2018", "\u2019", "\u201c", "\u201d", "\u2022", "\u2013", "\u2014",
    "\u02dc", "\u2122", "\u0161", "\u203a", "\u0153", "",       "\u017e", "\u0178"};

// Two empty lines at most. Pages are full of <br> rows that only make room on a screen.
constexpr std::size_t kMostForcedLineEnds = 3;

// Soft hyphen, zero-width space and byte order mark, which pages contain as break hints. The other
// fillers of character_kind.h stay on purpose: beyond what a browser leaves out, this is the text
// as it was written. withoutFillers() removes them where a text is sent.
bool isBreakHint(std::string_view rest) {
  return rest.starts_with("\xC2\xAD") || rest.starts_with("\xE2\x80\x8B") ||
         rest.starts_with("\xEF\xBB\xBF");
}

// The white space of HTML, which collapses.
bool isSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}

// C1 control characters, in UTF-8. In pages they come from bytes or references (&#150;) of
// windows-1252, and browsers read them so.
bool isC1(std::string_view rest) {
  return rest.size() > 1 && rest[0] == '\xC2' && static_cast<unsigned char>(rest[1]) < 0xA0;
}

// The length of the text at the front that needs no handling: no white space, no control
// characters, and no lead byte of a character that is looked at more closely.
std::size_t plainLength(std::string_view rest) {
  std::size_t length = 0;
  while (length < rest.size()) {
    const auto c = static_cast<unsigned char>(rest[length]);
    if (c <= ' ' || c == 0x7F || c == 0xC2 || c == 0xE2 || c == 0xEF) {
      break;
    }
    ++length;
  }
  return length;
}

}  // namespace

void TextLayout::text(std::string_view utf8) {
  while (!utf8.empty()) {
    std::size_t used = plainLength(utf8);
    if (used > 0) {
      visible(utf8.substr(0, used));
    } else {
      used = special(utf8);
    }
    utf8.remove_prefix(used);
  }
}

// Handles the character at the front and returns how many bytes it has.
std::size_t TextLayout::special(std::string_view text) {
  if (isBreakHint(text)) {
    return text[0] == '\xC2' ? 2 : 3;
  }
  // A no-break space is a blank that neither collapses nor is dropped at the beginning of a line.
  if (text.starts_with("\xC2\xA0")) {
    blank(false);
    return 2;
  }
  if (isC1(text)) {
    visible(kWindows1252[static_cast<unsigned char>(text[1]) - 0x80u]);
    return 2;
  }
  if (static_cast<unsigned char>(text[0]) >= 0x80) {
    visible(text.substr(0, 1));  // the other bytes of the character follow as plain text
  } else if (preformatted_ > 0) {
    preformattedSpace(text[0]);
  } else if (isSpace(text[0])) {
    blank(true);
  }
  return 1;
}

void TextLayout::preformattedSpace(char c) {
  if (c == '\t') {
    visible("\t");
  }
  if (c == ' ') {
    blank(false);
  }
  if (c != '\n') {
    return;
  }
  // Line ends of preformatted text count one by one; blanks before them do not.
  if (!swallowLineEnd_) {
    ++dueLines_;
  }
  swallowLineEnd_ = false;
  dueTabs_ = dueBlanks_ = 0;
}

void TextLayout::blank(bool collapses) {
  if (!collapses) {
    ++dueBlanks_;
    collapsed_ = false;
    return;
  }
  // Collapsing white space is dropped at the beginning of a line, a cell or an item.
  const bool atLineStart = out_.empty() || dueLines_ > 0 || dueTabs_ > 0 || !marker_.empty();
  if (!collapsed_ && (!atLineStart || dueBlanks_ > 0)) {
    ++dueBlanks_;
  }
  collapsed_ = true;
}

void TextLayout::visible(std::string_view characters) {
  if (characters.empty()) {
    return;
  }
  writeDue();
  out_ += characters;
  swallowLineEnd_ = false;
}

void TextLayout::writeDue() {
  if (!out_.empty()) {
    out_.append(dueLines_, '\n');
    lines_ += dueLines_;
  }
  out_.append(dueTabs_, '\t');
  out_ += marker_;
  out_.append(dueBlanks_, ' ');
  marker_.clear();
  dueLines_ = dueTabs_ = dueBlanks_ = 0;
  collapsed_ = false;
}

void TextLayout::endBlock(int lines) {
  // <td><p>text</p></td> begins no new line within the cell.
  if (atCellStart()) {
    return;
  }
  dueLines_ = std::max(dueLines_, static_cast<std::size_t>(lines));
  dueTabs_ = dueBlanks_ = 0;
  collapsed_ = false;
}

void TextLayout::endLine() {
  // Forced line ends add up, unlike those of blocks, of which the largest counts.
  const std::size_t lines = dueLines_ + 1;
  endBlock(1);
  dueLines_ = std::max(dueLines_, std::min(lines, kMostForcedLineEnds));
}

void TextLayout::beginPreformatted() {
  ++preformatted_;
  swallowLineEnd_ = true;
}

void TextLayout::endPreformatted() {
  if (preformatted_ > 0) {
    --preformatted_;
  }
}

bool TextLayout::atCellStart() const {
  return !tables_.empty() && tables_.back().inCell && out_.size() == tables_.back().start;
}

void TextLayout::beginTable() {
  endBlock(1);
  tables_.emplace_back();
}

void TextLayout::endTable() {
  if (!tables_.empty()) {
    tables_.pop_back();
  }
  endBlock(1);
}

void TextLayout::beginRow() {
  // Rows and cells without a table around them occur in damaged pages; they get one.
  if (tables_.empty()) {
    tables_.emplace_back();
  }
  tables_.back() = Table{};
  endBlock(1);
}

void TextLayout::beginCell() {
  if (tables_.empty()) {
    tables_.emplace_back();
  }
  Table& table = tables_.back();
  // A cell of several lines cannot stand beside another one: the next cell begins on a new line.
  const bool tookLines = table.inCell && lines_ > table.linesAtStart;
  if (tookLines) {
    table.inCell = false;
    endBlock(1);
  } else if (table.cells > 0) {
    // Lines due at the end of the cell before are the end of its paragraph, and would part the
    // cells.
    if (out_.size() > table.start) {
      dueLines_ = 0;
    }
    dueBlanks_ = 0;
    ++dueTabs_;
  }
  ++table.cells;
  table.inCell = true;
  table.start = out_.size();
  table.linesAtStart = lines_ + (out_.empty() ? 0 : dueLines_);
}

void TextLayout::endRow() {
  if (!tables_.empty()) {
    tables_.back() = Table{};
  }
  endBlock(1);
}

void TextLayout::annotate(std::string_view note) {
  // What is due belongs behind the note: it was caused by the text behind the link.
  const auto lines = std::exchange(dueLines_, 0);
  const auto tabs = std::exchange(dueTabs_, 0);
  const auto blanks = std::exchange(dueBlanks_, 0);
  if (!out_.empty() && out_.back() != '\n') {
    out_ += ' ';
  }
  out_ += note;
  dueLines_ = lines;
  dueTabs_ = tabs;
  dueBlanks_ = blanks;
}

std::string_view TextLayout::since(std::size_t start) const {
  const auto text = std::string_view(out_).substr(start);
  const auto first = text.find_first_not_of(" \t\n");
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(" \t\n") - first + 1);
}

void TextLayout::forgetNesting() {
  tables_.clear();
  preformatted_ = 0;
}

}  // namespace relaybird
