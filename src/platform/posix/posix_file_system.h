// SPDX-License-Identifier: MIT
#pragma once

#include "platform/file_system.h"

namespace relaybird {

/// How long lockFolder waits for another holder, and how often it looks.
inline constexpr std::chrono::milliseconds kFolderLockPatience{2000};
inline constexpr std::chrono::milliseconds kFolderLockRetry{50};

/// The disk of a POSIX system. Error texts name the file and the system's message. Files are
/// created with mode 0600 and folders with 0700, whatever the umask. `sleeper` waits between two
/// tries for a folder's lock and must outlive this. Any thread may call.
class PosixFileSystem : public FileSystem {
 public:
  explicit PosixFileSystem(Sleeper& sleeper) : sleeper_(sleeper) {}

  Result<FileInfo> inspect(const std::string& path) override;
  Result<std::string> resolve(const std::string& path) override;
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
