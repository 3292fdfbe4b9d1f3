// SPDX-License-Identifier: MIT
// Reads the lines of a file a block at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

class LineReader {
 public:
  struct Line {
    std::uint64_t offset = 0;  ///< of its first byte in the file
    std::string_view text;     ///< its LF included; valid until the next call
    bool begins = true;        ///< false for the further pieces of a line too long for one
  };

  /// Reads from `begin` up to `end` or the end of the file. `file` must outlive the reader.
  LineReader(InputFile& file, std::uint64_t begin, std::uint64_t end);

  /// The next line, or piece of a long one; empty at the end. A CR LF is never split.
  Result<std::optional<Line>> next();
  /// The offset behind the last line returned.
  std::uint64_t offset() const { return offset_; }

 private:
  Result<bool> fill();
  std::optional<std::string_view> take(std::string_view pending);

  InputFile& file_;
  std::uint64_t offset_;  ///< of the first pending byte
  std::uint64_t end_;
  std::vector<char> buffer_;
  std::size_t begin_ = 0;  ///< pending bytes within the buffer
  std::size_t filled_ = 0;
  bool atEnd_ = false;
  bool lineBegins_ = true;
};

}  // namespace relaybird
