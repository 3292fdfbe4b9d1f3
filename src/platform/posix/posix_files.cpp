// SPDX-License-Identifier: MIT
#include "platform/posix/posix_files.h"

#include <fcntl.h>

#include <cerrno>
#include <limits>

#include "platform/posix/descriptor.h"

namespace relaybird {
namespace {

constexpr mode_t kOwnerFile = 0600;
// Links, pipes and devices under a mail or settings file's name are somebody's mistake or trap:
// never follow, never wait for a peer, never become the terminal's owner.
constexpr int kCareful = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
// A name that comes and goes between two looks would otherwise keep append busy for ever.
constexpr int kAppendTries = 100;

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

// Refuses what is open but is no regular file.
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
    std::size_t done = 0;
    while (done < size) {
      const std::uint64_t at = offset + done;
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
      // Nothing taken and no reason given would otherwise be tried for ever.
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
    // After EINTR the descriptor is gone all the same; closing again could hit another's.
    if (file_.close() != 0 && errno != EINTR) {
      return systemError("close " + path_, errno);
    }
    return {};
  }

 private:
  Descriptor file_;
  std::string path_;
};

// A file just made, with the mode that an unusual umask may have taken away.
Result<std::unique_ptr<OutputFile>> newFile(Descriptor file, const std::string& path) {
  if (::fchmod(file.get(), kOwnerFile) != 0) {
    const int code = errno;
    (void)::unlink(path.c_str());
    return systemError("create " + path, code);
  }
  return std::unique_ptr<OutputFile>(std::make_unique<PosixOutputFile>(std::move(file), path));
}

Descriptor makeFile(const std::string& path, int extraFlags) {
  return Descriptor(openAgain(path, O_WRONLY | O_CREAT | O_EXCL | kCareful | extraFlags));
}

}  // namespace

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

int openAgain(const std::string& path, int flags) {
  int descriptor;
  do {
    descriptor = ::open(path.c_str(), flags | O_CLOEXEC, kOwnerFile);
  } while (descriptor < 0 && errno == EINTR);
  return descriptor;
}

int syncAgain(int descriptor) {
  int returned;
  do {
    returned = ::fsync(descriptor);
  } while (returned != 0 && errno == EINTR);
  return returned;
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

}  // namespace relaybird
