// SPDX-License-Identifier: MIT
#pragma once

#include <deque>
#include <string>
#include <string_view>

#include "ui/console/input/line_source.h"

namespace relaybird {

/// Makes lines of bytes as they come. A line ends in LF or CR LF, the last one also at the end of
/// the input; one that is too long, or that whyNoCommand() refuses, becomes one unusable line.
class LineSplitter {
 public:
  void feed(std::string_view bytes);
  /// The input has ended.
  void end();

  bool empty() const { return lines_.empty(); }
  InputLine take();

 private:
  void append(std::string_view part);
  void endLine();

  std::deque<InputLine> lines_;
  std::string current_;
  bool tooLong_ = false;
  bool ended_ = false;
};

}  // namespace relaybird
