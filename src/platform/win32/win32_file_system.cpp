// SPDX-License-Identifier: MIT
// The disk by system calls. Replacing a file is one MoveFileEx: ReplaceFile, which keeps the rights
// of the old file, is made of several steps and can leave neither name in place. A short refusal,
// because a virus scanner or the search index has just opened the file, is waited for.
#include "platform/win32/win32_file_system.h"

#include <windows.h>

#include <cerrno>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/win32/win32_error.h"
#include "platform/win32/win32_open_file.h"
#include "platform/win32/win32_path.h"
#include "platform/win32/win32_text.h"

namespace relaybird {
namespace {

struct CloseSearch {
  using pointer = HANDLE;
  void operator()(HANDLE search) const { ::FindClose(search); }
};

class Win32FolderLock : public FolderLock {
 public:
  explicit Win32FolderLock(ObjectHandle file) : file_(std::move(file)) {}

 private:
  ObjectHandle file_;  // closing it removes the file
};

Result<ObjectHandle> checkedFolder(Result<ObjectHandle> opened, const std::string& what) {
  if (!opened) {
    return opened;
  }
  const auto info = infoOf(opened->get(), what);
  if (!info) {
    return info.error();
  }
  if (info->type != FileType::kFolder) {
    return ownError(what, ENOTDIR, "it is not a folder");
  }
  return opened;
}

// What stands in the way of a file that is to be replaced or removed, and does not go away: a
// folder, or a file that is read-only.
bool staysInTheWay(const std::wstring& path) {
  const DWORD attributes = ::GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    return ::GetLastError() == ERROR_FILE_NOT_FOUND;
  }
  return (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY)) != 0;
}

// Makes the call again while another program has the file open.
DWORD patiently(Sleeper& sleeper, const std::wstring& path, const std::function<bool()>& call) {
  for (auto waited = std::chrono::milliseconds(0); !call(); waited += kBusyFileRetry) {
    const DWORD code = ::GetLastError();
    const bool busy = code == ERROR_SHARING_VIOLATION || code == ERROR_LOCK_VIOLATION ||
                      (code == ERROR_ACCESS_DENIED && !staysInTheWay(path));
    if (!busy || waited >= kBusyFilePatience) {
      return code;
    }
    sleeper.sleep(kBusyFileRetry);
  }
  return ERROR_SUCCESS;
}

Result<void> outcome(DWORD code, const std::string& what) {
  return code == ERROR_SUCCESS ? Result<void>() : win32Error(what, code);
}

bool isDotName(std::wstring_view name) {
  return name == L"." || name == L"..";
}

}  // namespace

Result<FileInfo> Win32FileSystem::inspect(const std::string& path) {
  const std::string what = "look at " + path;
  const auto opened = openItself(path, FILE_READ_ATTRIBUTES, what);
  if (!opened) {
    return opened.error();
  }
  return infoOf(opened->get(), what);
}

// The final path has no link in it, and no drive that stands for a folder.
Result<std::string> Win32FileSystem::resolve(const std::string& path) {
  const std::string what = "find " + path;
  const auto opened = openTarget(path, 0, what);
  if (!opened) {
    return opened.error().code == ENOENT ? Result<std::string>(path) : opened.error();
  }
  const DWORD size = ::GetFinalPathNameByHandleW(opened->get(), nullptr, 0, FILE_NAME_NORMALIZED);
  std::wstring name(size, L'\0');
  const DWORD length =
      ::GetFinalPathNameByHandleW(opened->get(), name.data(), size, FILE_NAME_NORMALIZED);
  // A volume without a drive letter has no such name.
  if (length == 0 || length >= size) {
    return path;
  }
  name.resize(length);
  return plainPath(std::move(name));
}

// Not by resolve(): a volume that is mounted in a folder has no other path than that of the mount
// point, and some drivers have no final paths at all.
Result<FileInfo> Win32FileSystem::inspectTarget(const std::string& path) {
  const std::string what = "look at " + path;
  const auto opened = openTarget(path, FILE_READ_ATTRIBUTES, what);
  if (!opened) {
    return opened.error().code == ENOENT ? inspect(path) : opened.error();
  }
  return infoOf(opened->get(), what);
}

// The attribute first: who may write everything could write to a read-only file as well, but it is
// meant to stay as it is.
Result<void> Win32FileSystem::mayWrite(const std::string& file) {
  const std::string what = "write to " + file;
  const auto looked = openTarget(file, FILE_READ_ATTRIBUTES, what);
  if (!looked) {
    return looked.error();
  }
  BY_HANDLE_FILE_INFORMATION info{};
  if (!::GetFileInformationByHandle(looked->get(), &info)) {
    return lastError(what);
  }
  if ((info.dwFileAttributes & FILE_ATTRIBUTE_READONLY) != 0) {
    return ownError(what, EACCES, "it is read-only");
  }
  const auto opened = openTarget(file, GENERIC_WRITE, what);
  return opened ? Result<void>() : opened.error();
}

Result<std::vector<FolderEntry>> Win32FileSystem::list(const std::string& folder) {
  const std::string what = "list " + folder;
  const auto opened = checkedFolder(openItself(folder, FILE_READ_ATTRIBUTES, what), what);
  if (!opened) {
    return opened.error();
  }
  const auto pattern = systemPath(joinPath(folder, "*"), what);
  if (!pattern) {
    return pattern.error();
  }
  WIN32_FIND_DATAW found{};
  const HANDLE first =
      ::FindFirstFileExW(pattern->c_str(), FindExInfoBasic, &found, FindExSearchNameMatch, nullptr,
                         FIND_FIRST_EX_LARGE_FETCH);
  // The root of an empty volume has no entry at all, not even ".".
  if (first == INVALID_HANDLE_VALUE && ::GetLastError() == ERROR_FILE_NOT_FOUND) {
    return std::vector<FolderEntry>();
  }
  if (first == INVALID_HANDLE_VALUE) {
    return lastError(what);
  }
  const std::unique_ptr<HANDLE, CloseSearch> search(first);
  std::vector<FolderEntry> entries;
  do {
    if (!isDotName(found.cFileName)) {
      entries.push_back(
          {fromWide(found.cFileName), typeOf(found.dwFileAttributes, found.dwReserved0)});
    }
  } while (::FindNextFileW(search.get(), &found));
  const DWORD code = ::GetLastError();
  if (code != ERROR_NO_MORE_FILES) {
    return win32Error(what, code);
  }
  return entries;
}

Result<std::unique_ptr<InputFile>> Win32FileSystem::open(const std::string& path) {
  return openWin32Input(path);
}

Result<std::unique_ptr<OutputFile>> Win32FileSystem::create(const std::string& path) {
  return createWin32Output(path);
}

Result<std::unique_ptr<OutputFile>> Win32FileSystem::append(const std::string& path) {
  return appendWin32Output(path);
}

// Write-through: returns once the new name is on disk.
Result<void> Win32FileSystem::rename(const std::string& from, const std::string& to) {
  const std::string what = "rename " + from + " to " + to;
  const auto old = systemPath(from, what);
  const auto fresh = systemPath(to, what);
  if (!old || !fresh) {
    return old ? fresh.error() : old.error();
  }
  const auto move = [&] {
    return ::MoveFileExW(old->c_str(), fresh->c_str(),
                         MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
  };
  return outcome(patiently(sleeper_, *fresh, move), what);
}

Result<void> Win32FileSystem::remove(const std::string& file) {
  const std::string what = "remove " + file;
  const auto name = systemPath(file, what);
  if (!name) {
    return name.error();
  }
  const auto info = inspect(file);
  if (info && info->type == FileType::kFolder) {
    return ownError(what, EISDIR, "it is a folder");
  }
  // A link to a folder is removed as folders are; what it leads to stays.
  const DWORD attributes = ::GetFileAttributesW(name->c_str());
  const bool link = info && info->type == FileType::kLink &&
                    attributes != INVALID_FILE_ATTRIBUTES &&
                    (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  const auto erase = [&] {
    return (link ? ::RemoveDirectoryW(name->c_str()) : ::DeleteFileW(name->c_str())) != 0;
  };
  return outcome(patiently(sleeper_, *name, erase), what);
}

Result<void> Win32FileSystem::createFolder(const std::string& folder) {
  const std::string what = "make the folder " + folder;
  const auto name = systemPath(folder, what);
  if (!name) {
    return name.error();
  }
  return ::CreateDirectoryW(name->c_str(), nullptr) ? Result<void>() : lastError(what);
}

// Not every file system can flush a folder, and not every user may. The names are safe all the
// same: rename() has written its own through, and NTFS keeps those of new files in a log.
Result<void> Win32FileSystem::syncFolder(const std::string& folder) {
  const std::string what = "sync the folder " + folder;
  const auto looked = checkedFolder(openTarget(folder, FILE_READ_ATTRIBUTES, what), what);
  if (!looked) {
    return looked.error();
  }
  const auto opened = openTarget(folder, GENERIC_WRITE, what);
  if (opened && !::FlushFileBuffers(opened->get())) {
    const DWORD code = ::GetLastError();
    const bool unable = code == ERROR_INVALID_FUNCTION || code == ERROR_NOT_SUPPORTED ||
                        code == ERROR_INVALID_PARAMETER || code == ERROR_ACCESS_DENIED;
    return unable ? Result<void>() : win32Error(what, code);
  }
  return {};
}

Result<std::unique_ptr<FolderLock>> Win32FileSystem::lockFolder(const std::string& folder) {
  return lockWithin(folder, kFolderLockPatience);
}

Result<std::unique_ptr<FolderLock>> Win32FileSystem::tryLockFolder(const std::string& folder) {
  return lockWithin(folder, std::chrono::milliseconds(0));
}

// A folder itself cannot be locked. A file that nobody else may open at all excludes programs on
// other computers too, where the folder is on a server.
Result<std::unique_ptr<FolderLock>> Win32FileSystem::lockWithin(
    const std::string& folder, std::chrono::milliseconds patience) {
  const std::string what = "lock the folder " + folder;
  const auto looked = checkedFolder(openTarget(folder, FILE_READ_ATTRIBUTES, what), what);
  if (!looked) {
    return looked.error();
  }
  const auto name = systemPath(joinPath(folder, kFolderLockFile), what);
  if (!name) {
    return name.error();
  }
  for (auto waited = std::chrono::milliseconds(0);; waited += kFolderLockRetry) {
    const HANDLE file = ::CreateFileW(
        name->c_str(), GENERIC_READ | GENERIC_WRITE | DELETE, 0, nullptr, OPEN_ALWAYS,
        FILE_ATTRIBUTE_HIDDEN | FILE_FLAG_DELETE_ON_CLOSE | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
      return std::unique_ptr<FolderLock>(std::make_unique<Win32FolderLock>(ObjectHandle(file)));
    }
    const DWORD code = ::GetLastError();
    // Access is denied too while the file of a holder that has just ended is being removed.
    const bool held = code == ERROR_SHARING_VIOLATION;
    if ((!held && code != ERROR_ACCESS_DENIED) || waited >= patience) {
      const Error error = win32Error(what, code);
      return Error{held ? EWOULDBLOCK : error.code, error.text};
    }
    sleeper_.sleep(kFolderLockRetry);
  }
}

}  // namespace relaybird
