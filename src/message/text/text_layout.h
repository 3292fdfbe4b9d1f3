// SPDX-License-Identifier: MIT
// Lines of plain text out of running text, breaks, table cells and list items: what a browser does
// with white space, on a page that is as wide as it needs to be. Internal to this folder.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace relaybird {

class TextLayout {
 public:
  /// Running text, UTF-8: white space collapses, no-break spaces count each, control characters and
  /// invisible break marks go, and the C1 characters are what windows-1252 has in their places.
  void text(std::string_view utf8);
  /// Text between these two keeps its line ends, blanks and tabs. They nest.
  void beginPreformatted();
  void endPreformatted();

  /// The end of a block: the next text begins at least `lines` lines further down (2 leaves an
  /// empty one between). At the beginning of a table cell and of the text there is nothing to end.
  void endBlock(int lines);
  /// A forced line end; in a row they leave up to two empty lines.
  void endLine();
  /// Stands before the next text of the line, in place of blanks: a list item's mark.
  void setMarker(std::string marker) { marker_ = std::move(marker); }

  void beginTable();
  void endTable();
  void beginRow();
  /// The cell's text goes behind a tab, or on a line of its own where the cell before took several.
  void beginCell();
  void endRow();

  /// Appends `note` to the text so far, whatever breaks are due.
  void annotate(std::string_view note);
  /// How long the text is, without breaks and blanks that are due.
  std::size_t size() const { return out_.size(); }
  /// The text from a former size() on, trimmed.
  std::string_view since(std::size_t start) const;

  /// Forgets tables and preformatted text: what opened them will not be closed.
  void forgetNesting();
  std::string take() { return std::move(out_); }

 private:
  struct Table {
    bool inCell = false;
    std::size_t cells = 0;         // begun in this row
    std::size_t start = 0;         // size() when the cell began
    std::size_t linesAtStart = 0;  // line ends, the due ones included
  };

  bool atCellStart() const;
  void blank(bool collapses);
  std::size_t special(std::string_view text);
  void preformattedSpace(char c);
  void visible(std::string_view characters);
  void writeDue();
  std::string_view windows1252(unsigned char c1);

  std::string out_;
  std::size_t lines_ = 0;  // line ends in out_
  std::size_t dueLines_ = 0;
  std::size_t dueTabs_ = 0;
  std::size_t dueBlanks_ = 0;
  bool collapsed_ = false;  // the last due blank takes further white space
  std::string marker_;
  std::size_t preformatted_ = 0;
  bool swallowLineEnd_ = false;  // the one right behind <pre> is not part of the text
  std::vector<Table> tables_;
  std::array<std::string, 32> c1_;  // made when the first one comes
  bool haveC1_ = false;
};

}  // namespace relaybird
