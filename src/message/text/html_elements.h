// SPDX-License-Identifier: MIT
// What the elements of an HTML document mean for its plain text. Internal to this folder.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "message/text/text_layout.h"

namespace relaybird {

/// Takes a parser's events, every begun element ended once, and lays out the text.
class HtmlElements {
 public:
  /// `attributes`: name and value in turn, a null pointer at the end, or none; a value may be null.
  void begin(std::string_view name, const char* const* attributes);
  void end(std::string_view name);
  void text(std::string_view utf8);

  /// True within a script or a style sheet.
  bool inRawText() const { return rawText_ > 0; }
  /// From here on no end comes for what has begun.
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
  std::size_t hidden_ = 0;   // open elements whose text nobody sees
  std::size_t rawText_ = 0;  // those of them that are scripts and style sheets
  std::vector<List> lists_;
  std::string target_;  // of the open link
  std::size_t linkStart_ = 0;
};

}  // namespace relaybird
