// SPDX-License-Identifier: MIT
// Files in memory, which record how they were used.
#pragma once

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "platform/file_system.h"

namespace relaybird {

class MemoryInput : public InputFile {
 public:
  explicit MemoryInput(std::string bytes) : bytes_(std::move(bytes)) {
    info_.type = FileType::kRegular;
    info_.size = bytes_.size();
  }

  const FileInfo& info() const override { return info_; }

  Result<std::size_t> readAt(std::uint64_t offset, char* buffer, std::size_t size) override {
    ++reads;
    if (failing) {
      return Error{EIO, "the disk is gone"};
    }
    const auto from = static_cast<std::size_t>(std::min<std::uint64_t>(offset, bytes_.size()));
    const std::size_t count = std::min(size, bytes_.size() - from);
    std::memcpy(buffer, bytes_.data() + from, count);
    readTo = std::max<std::uint64_t>(readTo, from + count);
    return count;
  }

  /// Cuts the file as another program might while it is open.
  void truncate(std::size_t size) { bytes_.resize(size); }

  bool failing = false;
  int reads = 0;
  std::uint64_t readTo = 0;  ///< the end of what has been read

 private:
  std::string bytes_;
  FileInfo info_;
};

class MemoryOutput : public OutputFile {
 public:
  Result<void> write(std::string_view bytes) override {
    longestWrite = std::max(longestWrite, bytes.size());
    if (written.size() + bytes.size() > room) {
      return Error{ENOSPC, "the disk is full"};
    }
    written += bytes;
    return {};
  }
  Result<void> sync() override { return {}; }
  Result<void> close() override { return {}; }

  std::string written;
  std::size_t room = static_cast<std::size_t>(-1);
  std::size_t longestWrite = 0;
};

inline std::shared_ptr<MemoryInput> memoryFile(std::string bytes) {
  return std::make_shared<MemoryInput>(std::move(bytes));
}

}  // namespace relaybird
