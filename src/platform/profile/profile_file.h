// SPDX-License-Identifier: MIT
// Profile strings without Windows: the same observable behaviour over any FileSystem, and safer
// where the calls allow it. The first key and the first section of a name count; names are compared
// ignoring the case of ASCII letters; bytes are kept, whatever the character set.
//
// Writing changes only the lines of the settings and keeps every other byte: comments, blank lines,
// line ends, duplicates, unknown lines. The new file replaces the old one in one step.
#pragma once

#include "platform/file_system.h"
#include "platform/profile/profile_strings.h"

namespace relaybird {

/// A larger file is not a preference file: reading finds no keys, and writing fails.
inline constexpr std::size_t kProfileFileLimit = 16u << 20;

/// `files` must outlive this, its readers and its writers. File names are whole paths.
class ProfileFile : public ProfileStrings {
 public:
  explicit ProfileFile(FileSystem& files) : files_(files) {}

  /// A snapshot of the file; later changes are not seen.
  std::unique_ptr<ProfileReader> read(const std::string& file) override;

  /// Collects settings; only commit() accesses the disk. It holds the lock of the file's folder
  /// while it reads the file afresh, applies the settings and replaces it, so that keys written by
  /// another process meanwhile are kept. When it fails the old file is intact and the settings are
  /// kept, so commit() may be called again. A read-only file is never replaced. Setting the values
  /// that the file already has writes nothing.
  std::unique_ptr<ProfileWriter> write(const std::string& file) override;

 private:
  FileSystem& files_;
};

}  // namespace relaybird
