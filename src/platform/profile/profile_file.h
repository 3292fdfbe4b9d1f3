// SPDX-License-Identifier: MIT
// Profile strings without Windows: the same observable behaviour over any FileSystem, and safer
// where the calls leave room for it. The first key of the first section of a name counts; names are
// compared without regard to the case of ASCII letters; bytes are bytes, whatever the character
// set.
//
// Writing changes the lines it must and keeps every other byte: comments, blank lines, line
// endings, duplicates, lines that mean nothing. The new file takes the place of the old one in one
// step.
#pragma once

#include "platform/file_system.h"
#include "platform/profile/profile_strings.h"

namespace relaybird {

/// Files beyond this size are not preference files: reading finds no keys, and writing refuses.
inline constexpr std::size_t kProfileFileLimit = 16u << 20;

/// `files` must outlive this, its readers and its writers. File names are whole paths.
class ProfileFile : public ProfileStrings {
 public:
  explicit ProfileFile(FileSystem& files) : files_(files) {}

  /// The file as it is at this moment; later changes are not seen.
  std::unique_ptr<ProfileReader> read(const std::string& file) override;

  /// Collects; only commit() touches the disk. It holds the lock of the file's folder while it
  /// reads the file afresh, applies what was set and replaces it, so that keys which another
  /// process has written since stay. When it fails the old file is whole and what was set is kept,
  /// so that commit() may be called again. A file that is read-only is never replaced. Setting the
  /// values that are there writes nothing.
  std::unique_ptr<ProfileWriter> write(const std::string& file) override;

 private:
  FileSystem& files_;
};

}  // namespace relaybird
