// SPDX-License-Identifier: MIT
// Makes lines of plain text out of running text, breaks, table cells and list items. White space is
// treated as in a browser whose page is as wide as necessary. Internal to this folder.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace relaybird {

class TextLayout {
 public:
  /// Running text, UTF-8. White space collapses, except no-break spaces; control characters and
  /// break hints are removed; C1 characters become what windows-1252 has in their places.
  void text(std::string_view utf8);
  /// Text between these two calls keeps its line ends, blanks and tabs. The calls nest.
  void beginPreformatted();
  void endPreformatted();

  /// Ends a block: the next text begins at least `lines` lines further down (2 leaves an empty line
  /// between). No effect at the beginning of the text or of a table cell.
  void endBlock(int lines);
  /// A forced line end. Several in a row leave at most two empty lines.
  void endLine();
  /// Sets the mark of a list item, which is written before the next text in place of blanks.
  void setMarker(std::string marker) { marker_ = std::move(marker); }

  void beginTable();
  void endTable();
  void beginRow();
  /// Begins a cell behind a tab, or on a new line where the cell before has several lines.
  void beginCell();
  void endRow();

  /// Appends `note` to the text so far, before the breaks that are due.
  void annotate(std::string_view note);
  /// The length of the text, without the breaks and blanks that are due.
  std::size_t size() const { return out_.size(); }
  /// The text from a former size() on, trimmed.
  std::string_view since(std::size_t start) const;

  /// Closes all tables and preformatted text.
  void forgetNesting();
  std::string take() { return std::move(out_); }

 private:
  struct Table {
    bool inCell = false;
    std::size_t cells = 0;         // begun in this row
    std::size_t start = 0;         // size() when the cell began
    std::size_t linesAtStart = 0;  // line ends when the cell began, the due ones included
  };

  bool atCellStart() const;
  void blank(bool collapses);
  std::size_t special(std::string_view text);
  void preformattedSpace(char c);
  void visible(std::string_view characters);
  void writeDue();

  std::string out_;
  std::size_t lines_ = 0;  // line ends in out_
  std::size_t dueLines_ = 0;
  std::size_t dueTabs_ = 0;
  std::size_t dueBlanks_ = 0;
  bool collapsed_ = false;  // further white space collapses into the last due blank
  std::string marker_;
  std::size_t preformatted_ = 0;
  bool swallowLineEnd_ = false;  // directly behind <pre> a line end is not part of the text
  std::vector<Table> tables_;
};

}  // namespace relaybird
