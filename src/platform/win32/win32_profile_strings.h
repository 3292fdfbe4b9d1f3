// SPDX-License-Identifier: MIT
#pragma once

#include "platform/file_system.h"
#include "platform/profile/profile_strings.h"

namespace relaybird {

/// Profile strings by the calls of Windows: GetPrivateProfileStringW and
/// WritePrivateProfileStringW.
///
/// Every character can be kept: a file that is written is UTF-16, which these calls know by its
/// mark. A file without the mark is read in the user's code page, as older releases wrote it, or as
/// UTF-8 where a value is that. The calls without W would lose what the code page does not have;
/// under a manifest that makes UTF-8 the code page, they lose what older releases wrote, and write
/// the loss back into lines that nobody set.
///
/// The calls change a file in place. So they work on a copy, which then replaces the file in one
/// step, as other systems do it.
class Win32ProfileStrings : public ProfileStrings {
 public:
  /// `files` must outlive this, its readers and its writers. File names are whole paths.
  explicit Win32ProfileStrings(FileSystem& files) : files_(files) {}

  /// Reads the file anew at each call.
  std::unique_ptr<ProfileReader> read(const std::string& file) override;
  /// Collects settings, and commits them as ProfileFile does: under the lock of the folder, keeping
  /// what others have written meanwhile, and not at all where the file has these values already.
  std::unique_ptr<ProfileWriter> write(const std::string& file) override;

 private:
  FileSystem& files_;
};

}  // namespace relaybird
