// SPDX-License-Identifier: MIT
// The disk by system calls. Opening, reading, writing, syncing and locking are tried again when a
// signal interrupts them; closing never is. Every error names the file and what the system says.
// Files are opened carefully: a link, a pipe or a device under the name of a mail or settings file
// is refused instead of followed or waited for.
#include "platform/posix/posix_file_system.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <limits>

#include "platform/posix/descriptor.h"

namespace relaybird {
namespace {

// Mail, and settings about it: nobody else may read what is written.
constexpr mode_t kOwnerFile = 0600;
// A link, a pipe or a device under the name of a mail or settings file is a mistake or a trap:
// never follow it, never wait for a peer, never make it the controlling terminal.
constexpr int kCareful = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
// Bounds append: another process may make and remove the name between two tries.
constexpr int kAppendTries = 100;
constexpr mode_t kOwnerFolder = 0700;
constexpr mode_t kPermissionBits = 07777;

FileType typeOf(mode_t mode) {
  if (S_ISREG(mode)) {
    return FileType::kRegular;
  }
  if (S_ISDIR(mode)) {
    return FileType::kFolder;
  }
  if (S_ISLNK(mode)) {
    return FileType::kLink;
  }
  return FileType::kOther;
}

FileInfo fileInfo(const struct stat& status) {
  FileInfo info;
  info.type = typeOf(status.st_mode);
  info.size = static_cast<std::uint64_t>(status.st_size);
  info.modified = DateTime(std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::seconds(status.st_mtim.tv_sec) +
      std::chrono::nanoseconds(status.st_mtim.tv_nsec)));
  info.device = status.st_dev;
  info.inode = status.st_ino;
  return info;
}

// ::open with O_CLOEXEC, tried again when a signal interrupts it. A new file gets mode 0600.
int openAgain(const std::string& path, int flags) {
  int descriptor;
  do {
    descriptor = ::open(path.c_str(), flags | O_CLOEXEC, kOwnerFile);
  } while (descriptor < 0 && errno == EINTR);
  return descriptor;
}

// ::fsync, tried again when a signal interrupts it.
int syncAgain(int descriptor) {
  int returned;
  do {
    returned = ::fsync(descriptor);
  } while (returned != 0 && errno == EINTR);
  return returned;
}

// Refuses an open file that is not a regular file.
// Asked of the open file, not of its name: the name could mean another file by the time it is
// opened.
Result<FileInfo> regularFile(const Descriptor& file, const std::string& what) {
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) {
    return systemError(what, errno);
  }
  if (S_ISDIR(status.st_mode)) {
    return systemError(what, EISDIR);
  }
  if (!S_ISREG(status.st_mode)) {
    return Error{EINVAL, "Cannot " + what + ": not a regular file"};
  }
  return fileInfo(status);
}

class PosixInputFile : public InputFile {
 public:
  PosixInputFile(Descriptor file, FileInfo info, std::string path)
      : file_(std::move(file)), info_(info), path_(std::move(path)) {}

  const FileInfo& info() const override { return info_; }

  Result<std::size_t> readAt(std::uint64_t offset, char* buffer, std::size_t size) override {
    // pread has no shared position, so several readers may use one file.
    std::size_t done = 0;
    while (done < size) {
      const std::uint64_t at = offset + done;
      // No file has bytes there.
      if (at < offset || at > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) {
        break;
      }
      const ssize_t got = ::pread(file_.get(), buffer + done, size - done, static_cast<off_t>(at));
      if (got < 0 && errno == EINTR) {
        continue;
      }
      if (got < 0) {
        return systemError("read " + path_, errno);
      }
      if (got == 0) {
        break;
      }
      done += static_cast<std::size_t>(got);
    }
    return done;
  }

 private:
  Descriptor file_;
  FileInfo info_;
  std::string path_;
};

class PosixOutputFile : public OutputFile {
 public:
  PosixOutputFile(Descriptor file, std::string path)
      : file_(std::move(file)), path_(std::move(path)) {}

  Result<void> write(std::string_view bytes) override {
    while (!bytes.empty()) {
      const ssize_t written = ::write(file_.get(), bytes.data(), bytes.size());
      if (written < 0 && errno == EINTR) {
        continue;
      }
      if (written < 0) {
        return systemError("write " + path_, errno);
      }
      // A write of nothing without an error would otherwise be retried forever.
      if (written == 0) {
        return systemError("write " + path_, EIO);
      }
      bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return {};
  }

  Result<void> sync() override {
    if (syncAgain(file_.get()) != 0) {
      return systemError("sync " + path_, errno);
    }
    return {};
  }

  Result<void> close() override {
    // After EINTR the descriptor is closed all the same; closing it again could hit a new one.
    if (file_.close() != 0 && errno != EINTR) {
      return systemError("close " + path_, errno);
    }
    return {};
  }

 private:
  Descriptor file_;
  std::string path_;
};

// A new file, with the mode that an unusual umask may have reduced.
Result<std::unique_ptr<OutputFile>> newFile(Descriptor file, const std::string& path) {
  if (::fchmod(file.get(), kOwnerFile) != 0) {
    const int code = errno;
    (void)::unlink(path.c_str());
    return systemError("create " + path, code);
  }
  return std::unique_ptr<OutputFile>(std::make_unique<PosixOutputFile>(std::move(file), path));
}

// Exclusive: never opens a file that somebody else has put there.
Descriptor makeFile(const std::string& path, int extraFlags) {
  return Descriptor(openAgain(path, O_WRONLY | O_CREAT | O_EXCL | kCareful | extraFlags));
}

struct CloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

class PosixFolderLock : public FolderLock {
 public:
  explicit PosixFolderLock(Descriptor folder) : folder_(std::move(folder)) {}

 private:
  Descriptor folder_;  // closing it releases the lock
};

Result<void> outcome(int returned, const std::string& what) {
  if (returned == 0) {
    return {};
  }
  return systemError(what, errno);
}

// The type given by the folder, or by the entry itself if the folder does not know it.
FileType typeOf(int folder, const dirent& entry) {
  switch (entry.d_type) {
    // The folder knows the types on most file systems, which saves a call for each entry.
    case DT_REG:
      return FileType::kRegular;
    case DT_DIR:
      return FileType::kFolder;
    case DT_LNK:
      return FileType::kLink;
    case DT_UNKNOWN: {
      struct stat status {};
      if (::fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return FileType::kOther;
      }
      return fileInfo(status).type;
    }
    default:
      return FileType::kOther;
  }
}

Result<Descriptor> openFolder(const std::string& folder, int extraFlags, const std::string& what) {
  if (holdsNul(folder)) {
    return systemError(what, EINVAL);
  }
  // A folder under the name of a file, or the reverse, is refused by the open itself.
  Descriptor opened(openAgain(folder, O_RDONLY | O_DIRECTORY | extraFlags));
  if (!opened) {
    return systemError(what, errno);
  }
  return opened;
}

Result<std::unique_ptr<InputFile>> openPosixInput(const std::string& path) {
  const std::string what = "open " + path;
  Descriptor file(openAgain(path, O_RDONLY | kCareful));
  if (!file) {
    return systemError(what, errno);
  }
  const auto info = regularFile(file, what);
  if (!info) {
    return info.error();
  }
  return std::unique_ptr<InputFile>(std::make_unique<PosixInputFile>(std::move(file), *info, path));
}

Result<std::unique_ptr<OutputFile>> createPosixOutput(const std::string& path) {
  Descriptor file = makeFile(path, 0);
  if (!file) {
    return systemError("create " + path, errno);
  }
  return newFile(std::move(file), path);
}

Result<std::unique_ptr<OutputFile>> appendPosixOutput(const std::string& path) {
  // Opens the file that is there, or creates it exclusively, so that only a new file gets its mode
  // set.
  const std::string what = "append to " + path;
  for (int tries = 0; tries < kAppendTries; ++tries) {
    Descriptor file(openAgain(path, O_WRONLY | O_APPEND | kCareful));
    if (file) {
      const auto info = regularFile(file, what);
      if (!info) {
        return info.error();
      }
      return std::unique_ptr<OutputFile>(std::make_unique<PosixOutputFile>(std::move(file), path));
    }
    if (errno != ENOENT) {
      return systemError(what, errno);
    }
    file = makeFile(path, O_APPEND);
    if (file) {
      return newFile(std::move(file), path);
    }
    if (errno != EEXIST) {
      return systemError(what, errno);
    }
  }
  return systemError(what, EEXIST);
}

}  // namespace

Result<FileInfo> PosixFileSystem::inspect(const std::string& path) {
  struct stat status {};
  // The system would use the name up to the NUL, which is another file.
  if (holdsNul(path)) {
    return systemError("look at " + path, EINVAL);
  }
  if (::lstat(path.c_str(), &status) != 0) {
    return systemError("look at " + path, errno);
  }
  return fileInfo(status);
}

Result<std::string> PosixFileSystem::resolve(const std::string& path) {
  if (holdsNul(path)) {
    return systemError("find " + path, EINVAL);
  }
  const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr),
                                                         &std::free);
  if (real) {
    return std::string(real.get());
  }
  // A name that does not exist yet stands for itself.
  if (errno == ENOENT) {
    return path;
  }
  return systemError("find " + path, errno);
}

Result<void> PosixFileSystem::mayWrite(const std::string& file) {
  const std::string what = "write to " + file;
  struct stat status {};
  if (holdsNul(file)) {
    return systemError(what, EINVAL);
  }
  if (::stat(file.c_str(), &status) != 0) {
    return systemError(what, errno);
  }
  // The bits first: the superuser may write to every file, but a read-only file is meant to stay as
  // it is.
  if ((status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0) {
    return systemError(what, EACCES);
  }
  if (::faccessat(AT_FDCWD, file.c_str(), W_OK, AT_EACCESS) != 0) {
    return systemError(what, errno);
  }
  return {};
}

Result<std::vector<FolderEntry>> PosixFileSystem::list(const std::string& folder) {
  const std::string what = "list " + folder;
  const auto opened = openFolder(folder, O_NOFOLLOW, what);
  if (!opened) {
    return opened.error();
  }
  // The stream closes the descriptor that it is given.
  const int own = ::fcntl(opened->get(), F_DUPFD_CLOEXEC, 0);
  if (own < 0) {
    return systemError(what, errno);
  }
  const std::unique_ptr<DIR, CloseFolder> stream(::fdopendir(own));
  if (!stream) {
    const int code = errno;
    ::close(own);
    return systemError(what, code);
  }
  std::vector<FolderEntry> entries;
  for (;;) {
    // readdir() returns null at the end and on errors; only errno tells them apart.
    errno = 0;
    const dirent* const entry = ::readdir(stream.get());
    if (!entry) {
      break;
    }
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") {
      entries.push_back({std::string(name), typeOf(opened->get(), *entry)});
    }
  }
  if (errno != 0) {
    return systemError(what, errno);
  }
  return entries;
}

Result<std::unique_ptr<InputFile>> PosixFileSystem::open(const std::string& path) {
  if (holdsNul(path)) {
    return systemError("open " + path, EINVAL);
  }
  return openPosixInput(path);
}

Result<std::unique_ptr<OutputFile>> PosixFileSystem::create(const std::string& path) {
  if (holdsNul(path)) {
    return systemError("create " + path, EINVAL);
  }
  return createPosixOutput(path);
}

Result<std::unique_ptr<OutputFile>> PosixFileSystem::append(const std::string& path) {
  if (holdsNul(path)) {
    return systemError("append to " + path, EINVAL);
  }
  return appendPosixOutput(path);
}

Result<void> PosixFileSystem::rename(const std::string& from, const std::string& to) {
  const std::string what = "rename " + from + " to " + to;
  if (holdsNul(from) || holdsNul(to)) {
    return systemError(what, EINVAL);
  }
  return outcome(::rename(from.c_str(), to.c_str()), what);
}

Result<void> PosixFileSystem::remove(const std::string& file) {
  const std::string what = "remove " + file;
  if (holdsNul(file)) {
    return systemError(what, EINVAL);
  }
  return outcome(::unlink(file.c_str()), what);
}

Result<void> PosixFileSystem::createFolder(const std::string& folder) {
  const std::string what = "make the folder " + folder;
  if (holdsNul(folder)) {
    return systemError(what, EINVAL);
  }
  if (::mkdir(folder.c_str(), kOwnerFolder) != 0) {
    return systemError(what, errno);
  }
  // An unusual umask may have removed even the owner's permissions.
  struct stat status {};
  if (::lstat(folder.c_str(), &status) != 0) {
    return systemError(what, errno);
  }
  if (!S_ISDIR(status.st_mode) || (status.st_mode & kOwnerFolder) == kOwnerFolder) {
    return {};
  }
  return outcome(::chmod(folder.c_str(), (status.st_mode & kPermissionBits) | kOwnerFolder), what);
}

Result<void> PosixFileSystem::syncFolder(const std::string& folder) {
  const std::string what = "sync the folder " + folder;
  const auto opened = openFolder(folder, 0, what);
  if (!opened) {
    return opened.error();
  }
  // Some file systems cannot sync folders (EINVAL), and there is no other call to try.
  if (syncAgain(opened->get()) != 0 && errno != EINVAL) {
    return systemError(what, errno);
  }
  return {};
}

Result<std::unique_ptr<FolderLock>> PosixFileSystem::lockFolder(const std::string& folder) {
  return lockWithin(folder, kFolderLockPatience);
}

Result<std::unique_ptr<FolderLock>> PosixFileSystem::tryLockFolder(const std::string& folder) {
  return lockWithin(folder, std::chrono::milliseconds{0});
}

Result<std::unique_ptr<FolderLock>> PosixFileSystem::lockWithin(
    const std::string& folder, std::chrono::milliseconds patience) {
  const std::string what = "lock the folder " + folder;
  auto opened = openFolder(folder, 0, what);
  if (!opened) {
    return opened.error();
  }
  std::chrono::milliseconds waited{0};
  // flock() has no time limit, so it is polled.
  while (::flock(opened->get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno == EINTR) {
      continue;
    }
    if (errno != EWOULDBLOCK || waited >= patience) {
      return systemError(what, errno);
    }
    sleeper_.sleep(kFolderLockRetry);
    waited += kFolderLockRetry;
  }
  return std::unique_ptr<FolderLock>(std::make_unique<PosixFolderLock>(std::move(*opened)));
}

}  // namespace relaybird
