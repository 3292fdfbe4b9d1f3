// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

#include "platform/file_system.h"

namespace relaybird {

/// How long lockFolder waits for another holder, and how often it looks.
inline constexpr std::chrono::milliseconds kFolderLockPatience{2000};
inline constexpr std::chrono::milliseconds kFolderLockRetry{50};
/// How long rename and remove wait for a program that has the file open, such as a virus scanner
/// that looks at what was written last, and how often they try.
inline constexpr std::chrono::milliseconds kBusyFilePatience{1000};
inline constexpr std::chrono::milliseconds kBusyFileRetry{20};
/// The file that a lock on a folder is while somebody holds it.
inline constexpr const char* kFolderLockFile = ".relaybird-lock";

/// The disk of a Windows system. Error texts name the file and the system's message; error numbers
/// are those of other systems. Paths may be longer than 260 characters. Files and folders that are
/// made have the rights of the folder that they are in: in the user's profile those of the user,
/// the administrators and the system. A file that the program has open may be renamed, replaced
/// and removed by others.
///
/// A folder's lock is a hidden file in it, kFolderLockFile, which the system removes when the
/// holder ends in any way. `sleeper` waits between two tries and must outlive this. Any thread may
/// call.
class Win32FileSystem : public FileSystem {
 public:
  explicit Win32FileSystem(Sleeper& sleeper) : sleeper_(sleeper) {}

  /// The device is the volume's serial number, the inode the file's number on that volume. Links
  /// are symbolic links and junctions.
  Result<FileInfo> inspect(const std::string& path) override;
  Result<std::string> resolve(const std::string& path) override;
  Result<FileInfo> inspectTarget(const std::string& path) override;
  Result<void> mayWrite(const std::string& file) override;
  Result<std::vector<FolderEntry>> list(const std::string& folder) override;
  Result<std::unique_ptr<InputFile>> open(const std::string& path) override;
  Result<std::unique_ptr<OutputFile>> create(const std::string& path) override;
  Result<std::unique_ptr<OutputFile>> append(const std::string& path) override;
  Result<void> rename(const std::string& from, const std::string& to) override;
  Result<void> remove(const std::string& file) override;
  Result<void> createFolder(const std::string& folder) override;
  Result<void> syncFolder(const std::string& folder) override;
  Result<std::unique_ptr<FolderLock>> lockFolder(const std::string& folder) override;
  Result<std::unique_ptr<FolderLock>> tryLockFolder(const std::string& folder) override;

 private:
  Result<std::unique_ptr<FolderLock>> lockWithin(const std::string& folder,
                                                 std::chrono::milliseconds patience);

  Sleeper& sleeper_;
};

}  // namespace relaybird
