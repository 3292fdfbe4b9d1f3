// SPDX-License-Identifier: MIT
// Collects what is written into blocks, and remembers the first failure so that a writer need not
// ask after every line.
#pragma once

#include <string>
#include <string_view>

#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

class ForwardOutput {
 public:
  explicit ForwardOutput(OutputFile& file) : file_(file) {}

  void add(std::string_view bytes);
  /// Adds bytes in blocks as they come, each CR LF as LF; a CR at a block's end waits for the next.
  void addWithPlainLineEnds(std::string_view block);
  /// To be called behind the last such block.
  void endPlainLineEnds();
  /// Ends the line unless it has been.
  void endLine();
  /// Remembers a failure from elsewhere.
  void fail(const Error& error);
  bool failed() const { return !result_; }

  /// Writes what is left and says how it all went.
  Result<void> finish();

 private:
  OutputFile& file_;
  std::string pending_;
  bool carriageReturn_ = false;
  bool atLineStart_ = true;
  Result<void> result_;
};

}  // namespace relaybird
