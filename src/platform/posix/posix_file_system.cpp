// SPDX-License-Identifier: MIT
#include "platform/posix/posix_file_system.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "platform/posix/descriptor.h"
#include "platform/posix/posix_files.h"

namespace relaybird {
namespace {

constexpr mode_t kOwnerFolder = 0700;
constexpr mode_t kPermissionBits = 07777;

struct CloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

class PosixFolderLock : public FolderLock {
 public:
  explicit PosixFolderLock(Descriptor folder) : folder_(std::move(folder)) {}

 private:
  Descriptor folder_;  // closing it gives the lock back
};

// A C string ends at a NUL: a path that holds one would name another file.
bool holdsNul(const std::string& path) {
  return path.find('\0') != std::string::npos;
}

Result<void> outcome(int returned, const std::string& what) {
  if (returned == 0) {
    return {};
  }
  return systemError(what, errno);
}

// What the folder says of an entry, or a look at the entry where it says nothing.
FileType typeOf(int folder, const dirent& entry) {
  switch (entry.d_type) {
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
  Descriptor opened(openAgain(folder, O_RDONLY | O_DIRECTORY | extraFlags));
  if (!opened) {
    return systemError(what, errno);
  }
  return opened;
}

}  // namespace

Result<FileInfo> PosixFileSystem::inspect(const std::string& path) {
  struct stat status {};
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
  // An unusual umask may have taken away even the owner's rights.
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
  // Some file systems know no such call for folders; there is nothing else one could do there.
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
