// SPDX-License-Identifier: MIT
// The bytes of a message that were fetched from a server: in memory, or in a file if they are many.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

/// A message with more bytes goes to a file.
inline constexpr std::size_t kBodyInMemory = std::size_t{2} << 20;

/// The folder for messages that are too large for memory. A file is removed as soon as it is open
/// for reading, so that nothing is left behind; what a crash has left is removed at the start.
class BodySpool {
 public:
  /// The folder is made when it is first needed. `files` must outlive the object.
  BodySpool(FileSystem& files, std::string folder) : files_(files), folder_(std::move(folder)) {}

  /// Removes what an earlier run has left.
  void clear();
  Result<std::unique_ptr<OutputFile>> create(std::string& path);
  Result<std::unique_ptr<InputFile>> open(const std::string& path);
  void remove(const std::string& path);

 private:
  FileSystem& files_;
  std::string folder_;
  std::uint64_t last_ = 0;
};

/// Collects a message. Destroying it removes its file.
class FetchedBody {
 public:
  explicit FetchedBody(BodySpool& spool) : spool_(spool) {}
  ~FetchedBody();
  FetchedBody(const FetchedBody&) = delete;
  FetchedBody& operator=(const FetchedBody&) = delete;

  /// Appends bytes; takes them over where they are the first ones.
  Result<void> append(std::string bytes);
  std::uint64_t size() const { return size_; }
  std::size_t memory() const { return bytes_.size(); }
  /// The collected message, received at `received`. Leaves the object empty.
  Result<std::unique_ptr<InputFile>> finish(DateTime received);

 private:
  Result<void> toFile();

  BodySpool& spool_;
  std::string bytes_;
  std::uint64_t size_ = 0;
  std::unique_ptr<OutputFile> file_;
  std::string path_;
};

}  // namespace relaybird
