// SPDX-License-Identifier: MIT
// All files are opened so that others may read, write, rename and remove them meanwhile, as on
// other systems: a lock of ours on a settings file would only be in the way of an editor. A link or
// a device under the name of a mail or settings file is refused instead of followed or waited for.
#include "platform/win32/win32_open_file.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

#include "platform/win32/win32_error.h"
#include "platform/win32/win32_path.h"

namespace relaybird {
namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
// The first lets a folder be opened at all, the second opens a link itself.
constexpr DWORD kAnything = FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT;
// A call takes a 32-bit size.
constexpr std::size_t kMostAtOnce = std::size_t{1} << 30;

std::uint64_t joined(DWORD high, DWORD low) {
  return std::uint64_t{high} << 32 | low;
}

// File times count tenths of microseconds since 1601.
DateTime momentOf(const FILETIME& time) {
  constexpr DateTime kFirst = std::chrono::sys_days{std::chrono::year{1601} / 1 / 1};
  return kFirst + std::chrono::microseconds(joined(time.dwHighDateTime, time.dwLowDateTime) / 10);
}

DWORD reparseTagOf(HANDLE file) {
  FILE_ATTRIBUTE_TAG_INFO info{};
  const bool known =
      ::GetFileInformationByHandleEx(file, FileAttributeTagInfo, &info, sizeof info) != 0;
  return known ? info.ReparseTag : 0;
}

ObjectHandle openWith(const std::wstring& path, DWORD access, DWORD disposition, DWORD flags) {
  const HANDLE file =
      ::CreateFileW(path.c_str(), access, kShareAll, nullptr, disposition, flags, nullptr);
  return ObjectHandle(file == INVALID_HANDLE_VALUE ? nullptr : file);
}

Result<ObjectHandle> openExisting(const std::string& path, DWORD access, DWORD flags,
                                  const std::string& what) {
  const auto name = systemPath(path, what);
  if (!name) {
    return name.error();
  }
  ObjectHandle file = openWith(*name, access, OPEN_EXISTING, flags);
  if (!file) {
    return lastError(what);
  }
  return file;
}

// An open file that is a regular one.
struct RegularFile {
  ObjectHandle file;
  FileInfo info;
};

Result<void> refuseOthers(FileType type, const std::string& what) {
  switch (type) {
    case FileType::kRegular:
      return {};
    case FileType::kFolder:
      return ownError(what, EISDIR, "it is a folder");
    case FileType::kLink:
      return ownError(what, ELOOP, "it is a link");
    default:
      return ownError(what, EINVAL, "not a regular file");
  }
}

Result<RegularFile> openRegular(const std::string& path, DWORD access, DWORD disposition,
                                const std::string& what) {
  const auto name = systemPath(path, what);
  if (!name) {
    return name.error();
  }
  ObjectHandle file = openWith(*name, access, disposition, kAnything);
  if (!file) {
    const DWORD code = ::GetLastError();
    const DWORD attributes = ::GetFileAttributesW(name->c_str());
    // Writing to a folder is not allowed, and that is what the system says then.
    const bool folder =
        attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    return code == ERROR_ACCESS_DENIED && folder ? ownError(what, EISDIR, "it is a folder")
                                                 : win32Error(what, code);
  }
  auto info = infoOf(file.get(), what);
  if (!info) {
    return info.error();
  }
  if (const auto regular = refuseOthers(info->type, what); !regular) {
    return regular.error();
  }
  // Reading the reparse point of a file that is kept elsewhere would not bring its content.
  if (reparseTagOf(file.get()) != 0) {
    file = openWith(*name, access, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL);
    if (!file) {
      return lastError(what);
    }
  }
  return RegularFile{std::move(file), *info};
}

class Win32InputFile : public InputFile {
 public:
  Win32InputFile(RegularFile file, std::string path)
      : file_(std::move(file)), path_(std::move(path)) {}

  const FileInfo& info() const override { return file_.info; }

  // Each call says where it reads, so that several readers may use one file.
  Result<std::size_t> readAt(std::uint64_t offset, char* buffer, std::size_t size) override {
    std::size_t done = 0;
    while (done < size) {
      const std::uint64_t at = offset + done;
      // No file has bytes there.
      if (at < offset || at > std::uint64_t{std::numeric_limits<std::int64_t>::max()}) {
        break;
      }
      OVERLAPPED place{};
      place.Offset = static_cast<DWORD>(at);
      place.OffsetHigh = static_cast<DWORD>(at >> 32);
      const auto most = static_cast<DWORD>(std::min(size - done, kMostAtOnce));
      DWORD got = 0;
      if (!::ReadFile(file_.file.get(), buffer + done, most, &got, &place) &&
          ::GetLastError() != ERROR_HANDLE_EOF) {
        return lastError("read " + path_);
      }
      if (got == 0) {
        break;
      }
      done += got;
    }
    return done;
  }

 private:
  RegularFile file_;
  std::string path_;
};

class Win32OutputFile : public OutputFile {
 public:
  Win32OutputFile(ObjectHandle file, std::string path)
      : file_(std::move(file)), path_(std::move(path)) {}

  Result<void> write(std::string_view bytes) override {
    while (!bytes.empty()) {
      const auto most = static_cast<DWORD>(std::min(bytes.size(), kMostAtOnce));
      DWORD written = 0;
      if (!file_) {
        return win32Error("write " + path_, ERROR_INVALID_HANDLE);
      }
      if (!::WriteFile(file_.get(), bytes.data(), most, &written, nullptr)) {
        return lastError("write " + path_);
      }
      // A write of nothing without an error would otherwise be retried forever.
      if (written == 0) {
        return ownError("write " + path_, EIO, "nothing was written");
      }
      bytes.remove_prefix(written);
    }
    return {};
  }

  Result<void> sync() override {
    if (!file_) {
      return win32Error("sync " + path_, ERROR_INVALID_HANDLE);
    }
    return ::FlushFileBuffers(file_.get()) ? Result<void>() : lastError("sync " + path_);
  }

  Result<void> close() override {
    const HANDLE file = file_.release();
    const bool closed = file == nullptr || ::CloseHandle(file);
    return closed ? Result<void>() : lastError("close " + path_);
  }

 private:
  ObjectHandle file_;
  std::string path_;
};

Result<std::unique_ptr<OutputFile>> output(Result<RegularFile> opened, const std::string& path) {
  if (!opened) {
    return opened.error();
  }
  return std::unique_ptr<OutputFile>(
      std::make_unique<Win32OutputFile>(std::move(opened->file), path));
}

}  // namespace

FileType typeOf(DWORD attributes, DWORD reparseTag) {
  if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
      (reparseTag == IO_REPARSE_TAG_SYMLINK || reparseTag == IO_REPARSE_TAG_MOUNT_POINT)) {
    return FileType::kLink;
  }
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    return FileType::kFolder;
  }
  return (attributes & FILE_ATTRIBUTE_DEVICE) != 0 ? FileType::kOther : FileType::kRegular;
}

Result<FileInfo> infoOf(HANDLE file, const std::string& what) {
  FileInfo info;
  // "NUL", "COM1" and pipes have names in every folder.
  if (::GetFileType(file) != FILE_TYPE_DISK) {
    return info;
  }
  BY_HANDLE_FILE_INFORMATION known{};
  if (!::GetFileInformationByHandle(file, &known)) {
    return lastError(what);
  }
  const DWORD attributes = known.dwFileAttributes;
  const bool reparse = (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
  info.type = typeOf(attributes, reparse ? reparseTagOf(file) : 0);
  info.size = joined(known.nFileSizeHigh, known.nFileSizeLow);
  info.modified = momentOf(known.ftLastWriteTime);
  info.device = known.dwVolumeSerialNumber;
  info.inode = joined(known.nFileIndexHigh, known.nFileIndexLow);
  return info;
}

Result<ObjectHandle> openItself(const std::string& path, DWORD access, const std::string& what) {
  return openExisting(path, access, kAnything, what);
}

Result<ObjectHandle> openTarget(const std::string& path, DWORD access, const std::string& what) {
  return openExisting(path, access, FILE_FLAG_BACKUP_SEMANTICS, what);
}

Result<std::unique_ptr<InputFile>> openWin32Input(const std::string& path) {
  auto opened = openRegular(path, GENERIC_READ, OPEN_EXISTING, "open " + path);
  if (!opened) {
    return opened.error();
  }
  return std::unique_ptr<InputFile>(std::make_unique<Win32InputFile>(std::move(*opened), path));
}

Result<std::unique_ptr<OutputFile>> createWin32Output(const std::string& path) {
  return output(openRegular(path, GENERIC_WRITE, CREATE_NEW, "create " + path), path);
}

// With this right alone every write goes to the end, wherever others have moved it.
Result<std::unique_ptr<OutputFile>> appendWin32Output(const std::string& path) {
  return output(openRegular(path, FILE_APPEND_DATA | SYNCHRONIZE, OPEN_ALWAYS, "append to " + path),
                path);
}

}  // namespace relaybird
