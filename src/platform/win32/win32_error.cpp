// SPDX-License-Identifier: MIT
#include "platform/win32/win32_error.h"

#include <windows.h>

#include <cerrno>
#include <string_view>

#include "platform/win32/win32_text.h"

namespace relaybird {
namespace {

// ERROR_DISK_QUOTA_EXCEEDED, which the headers do not define.
constexpr DWORD kDiskQuotaExceeded = 1295;

struct Row {
  DWORD code;
  int number;
};

// Callers tell a missing file, a taken name, a missing right, a full disk and a lock from other
// failures; the rest is told to the user in words.
constexpr Row kNumbers[] = {
    {ERROR_FILE_NOT_FOUND, ENOENT},        {ERROR_PATH_NOT_FOUND, ENOENT},
    {ERROR_INVALID_DRIVE, ENOENT},         {ERROR_BAD_NETPATH, ENOENT},
    {ERROR_BAD_NET_NAME, ENOENT},          {ERROR_BAD_PATHNAME, ENOENT},
    {ERROR_FILE_EXISTS, EEXIST},           {ERROR_ALREADY_EXISTS, EEXIST},
    {ERROR_ACCESS_DENIED, EACCES},         {ERROR_NETWORK_ACCESS_DENIED, EACCES},
    {ERROR_CANNOT_MAKE, EACCES},           {ERROR_DELETE_PENDING, EACCES},
    {ERROR_PRIVILEGE_NOT_HELD, EPERM},     {ERROR_SHARING_VIOLATION, EBUSY},
    {ERROR_LOCK_VIOLATION, EBUSY},         {ERROR_BUSY, EBUSY},
    {ERROR_WRITE_PROTECT, EROFS},          {ERROR_DISK_FULL, ENOSPC},
    {ERROR_HANDLE_DISK_FULL, ENOSPC},      {kDiskQuotaExceeded, ENOSPC},
    {ERROR_FILE_TOO_LARGE, EFBIG},         {ERROR_TOO_MANY_OPEN_FILES, EMFILE},
    {ERROR_NOT_ENOUGH_MEMORY, ENOMEM},     {ERROR_OUTOFMEMORY, ENOMEM},
    {ERROR_INVALID_HANDLE, EBADF},         {ERROR_INVALID_PARAMETER, EINVAL},
    {ERROR_INVALID_NAME, EINVAL},          {ERROR_DIRECTORY, ENOTDIR},
    {ERROR_DIR_NOT_EMPTY, ENOTEMPTY},      {ERROR_FILENAME_EXCED_RANGE, ENAMETOOLONG},
    {ERROR_BUFFER_OVERFLOW, ENAMETOOLONG}, {ERROR_NOT_SAME_DEVICE, EXDEV},
    {ERROR_CANT_RESOLVE_FILENAME, ELOOP},
};

int numberOf(DWORD code) {
  for (const Row& row : kNumbers) {
    if (row.code == code) {
      return row.number;
    }
  }
  return EIO;
}

// In the language of the user's Windows, without the line end and the full stop that it has.
std::string wordsOf(DWORD code) {
  wchar_t* words = nullptr;
  const DWORD length = ::FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, code, 0, reinterpret_cast<wchar_t*>(&words), 0, nullptr);
  std::string text = fromWide({words, length});
  ::LocalFree(words);
  const auto last = text.find_last_not_of("\r\n .");
  text.resize(last == std::string::npos ? 0 : last + 1);
  return text.empty() ? "error " + std::to_string(code) : text;
}

}  // namespace

Error win32Error(const std::string& what, unsigned long code) {
  return {numberOf(code), "Cannot " + what + ": " + wordsOf(code)};
}

Error lastError(const std::string& what) {
  return win32Error(what, ::GetLastError());
}

Error ownError(const std::string& what, int number, const std::string& words) {
  return {number, "Cannot " + what + ": " + words};
}

}  // namespace relaybird
