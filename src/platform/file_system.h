// SPDX-License-Identifier: MIT
// The disk: the few calls that the preference file, the trace file and the local mail stores need.
// It is an interface so that a test can fill the disk, take it away or cut the power between any
// two calls; every call that changes the disk is one primitive step.
//
// Calls never throw. Unless a call says otherwise, paths are absolute, links are not followed at
// the last component, and any thread may call.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "platform/paths.h"
#include "platform/result.h"

namespace relaybird {

enum class FileType { kRegular, kFolder, kLink, kOther };

struct FileInfo {
  FileType type = FileType::kOther;
  std::uint64_t size = 0;  ///< bytes
  DateTime modified = kNoDate;
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
};

struct FolderEntry {
  std::string name;  ///< without its folder; "." and ".." are never listed
  FileType type = FileType::kOther;
};

/// A regular file open for reading.
class InputFile {
 public:
  virtual ~InputFile() = default;
  virtual const FileInfo& info() const = 0;
  /// Reads up to `size` bytes from `offset`; fewer only at the end of the file, 0 at the end.
  virtual Result<std::size_t> readAt(std::uint64_t offset, char* buffer, std::size_t size) = 0;
};

/// A regular file open for writing. Destroying it closes it and ignores an error of close.
class OutputFile {
 public:
  virtual ~OutputFile() = default;
  /// Writes all of `bytes`; on failure an unknown part of them has been written.
  virtual Result<void> write(std::string_view bytes) = 0;
  /// Returns once everything written is on disk (fsync).
  virtual Result<void> sync() = 0;
  virtual Result<void> close() = 0;
};

/// The lock is held while the object lives.
class FolderLock {
 public:
  virtual ~FolderLock() = default;
};

class FileSystem {
 public:
  virtual ~FileSystem() = default;

  /// ENOENT if the name does not exist.
  virtual Result<FileInfo> inspect(const std::string& path) = 0;
  /// The path with every link followed. A name that does not exist is returned unchanged.
  virtual Result<std::string> resolve(const std::string& path) { return path; }
  /// inspect() with every link followed. A link that leads to nothing is told as the link that it
  /// is.
  virtual Result<FileInfo> inspectTarget(const std::string& path) {
    const auto target = resolve(path);
    return target ? inspect(*target) : target.error();
  }
  /// In no particular order.
  virtual Result<std::vector<FolderEntry>> list(const std::string& folder) = 0;
  /// Opens a regular file; anything else (a folder, a pipe, a device, a link) is an error, at once
  /// and without waiting for a peer.
  virtual Result<std::unique_ptr<InputFile>> open(const std::string& path) = 0;

  /// An error if the permissions of a file, or of a link's target, do not allow the user to change
  /// it; a rename over it would not check them. A file without any write permission is also an
  /// error for the superuser, who could write it.
  virtual Result<void> mayWrite(const std::string& file) {
    static_cast<void>(file);
    return {};
  }
  /// Makes a new file, readable and writable by its owner alone; EEXIST if the name exists.
  virtual Result<std::unique_ptr<OutputFile>> create(const std::string& path) = 0;
  /// Opens a file for writing at its end; creates it, for its owner alone, if it does not exist.
  virtual Result<std::unique_ptr<OutputFile>> append(const std::string& path) = 0;
  /// Atomic; replaces a file of the new name.
  virtual Result<void> rename(const std::string& from, const std::string& to) = 0;
  virtual Result<void> remove(const std::string& file) = 0;
  /// Creates one folder, accessible by its owner alone; EEXIST if the name exists.
  virtual Result<void> createFolder(const std::string& folder) = 0;
  /// Returns once the names in the folder are on disk. The folder may be named by a link.
  virtual Result<void> syncFolder(const std::string& folder) = 0;

  /// Takes the folder's advisory lock, which excludes other holders in this and other processes.
  /// Waits a moment for another holder; then EWOULDBLOCK. The folder may be named by a link.
  virtual Result<std::unique_ptr<FolderLock>> lockFolder(const std::string& folder) = 0;
  /// The same without waiting, if the system supports that.
  virtual Result<std::unique_ptr<FolderLock>> tryLockFolder(const std::string& folder) {
    return lockFolder(folder);
  }
};

/// The whole of a file, at most `limit` bytes of it.
Result<std::string> readFile(FileSystem& files, const std::string& path, std::size_t limit);

/// Replaces the content of `path` atomically and durably: the bytes are written to a file beside
/// it, synced and renamed, so a crash or a full disk leaves either the old content or all of
/// `bytes`. The new file is accessible by its owner alone. If only the last step fails, syncing the
/// name, `bytes` are already in place.
Result<void> replaceFile(FileSystem& files, const std::string& path, std::string_view bytes);

/// The names of the files that replaceFile writes first, `number` from 1 on. One that nobody is
/// writing was left by a crash.
std::string temporaryName(const std::string& path, int number);

/// Whether the path, with every link followed, is a regular file. False for a folder, for a
/// dangling link, and after an error.
bool FileExists(FileSystem& files, const std::string& path);

/// modFolderCheck: creates the missing folders above the last component of `filePath`, from the
/// outermost down, but not the last component itself. True when the folder exists at the end.
/// A path without a separator after its first character is false, and nothing is created. Links to
/// folders on the way count as folders.
bool MakeFolderPath(FileSystem& files, std::string_view filePath,
                    PathStyle style = nativePathStyle());

}  // namespace relaybird
