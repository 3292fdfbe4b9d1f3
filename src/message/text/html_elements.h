// SPDX-License-Identifier: MIT
// The meaning of HTML elements for the plain text of a document. Internal to this folder.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "message/text/text_layout.h"

namespace relaybird {

/// Takes a parser's events and lays out the text. Every element begun must be ended once.
class HtmlElements {
 public:
  /// `attributes`: names and values in turn, with a null pointer at the end; a value may be null.
  /// Null for an element without attributes.
  void begin(std::string_view name, const char* const* attributes);
  void end(std::string_view name);
  void text(std::string_view utf8);

  /// True within a script or a style sheet.
  bool inRawText() const { return rawText_ > 0; }
  /// Forgets all open elements; their ends will not come.
  void forgetNesting();
  std::string take();

 private:
  struct List {
    bool ordered = false;
    long next = 1;
  };

  void beginList(bool ordered, std::string_view start);
  void beginItem();
  void beginLink(std::string_view target);
  void endLink();

  TextLayout layout_;
  std::size_t hidden_ = 0;   // open elements whose text is not shown
  std::size_t rawText_ = 0;  // how many of them are scripts or style sheets
  std::vector<List> lists_;
  std::string target_;  // of the open link
  std::size_t linkStart_ = 0;
};

}  // namespace relaybird
