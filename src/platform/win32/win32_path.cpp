// SPDX-License-Identifier: MIT
#include "platform/win32/win32_path.h"

#include <windows.h>

#include <cerrno>
#include <string_view>

#include "platform/win32/win32_error.h"
#include "platform/win32/win32_text.h"

namespace relaybird {
namespace {

constexpr std::wstring_view kUnlimited = L"\\\\?\\";
constexpr std::wstring_view kUnlimitedShare = L"\\\\?\\UNC\\";
constexpr std::wstring_view kShare = L"\\\\";
// A folder's path must leave room for a short file name, so that its limit comes first.
constexpr std::size_t kLongestPlain = MAX_PATH - 13;
// No path of more UTF-16 units is possible, and each of them has at most three bytes in UTF-8.
constexpr std::size_t kLongest = 32767;

// In the unlimited form the system takes a path as it is: "/", "." and ".." are resolved before.
std::wstring wholePath(const std::wstring& path) {
  const DWORD size = ::GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
  std::wstring whole(size, L'\0');
  whole.resize(::GetFullPathNameW(path.c_str(), size, whole.data(), nullptr));
  return whole;
}

}  // namespace

// Short paths stay in the plain form: only it knows drives that stand for folders, and refuses
// names that other programs could not use.
Result<std::wstring> systemPath(const std::string& path, const std::string& what) {
  if (path.find('\0') != std::string::npos) {
    return ownError(what, EINVAL, "a NUL is in the name");
  }
  // Before the work of converting it.
  if (path.size() > 3 * kLongest) {
    return win32Error(what, ERROR_FILENAME_EXCED_RANGE);
  }
  std::wstring wide = toWide(path);
  if (wide.size() <= kLongestPlain || wide.starts_with(kUnlimited)) {
    return wide;
  }
  const std::wstring whole = wholePath(wide);
  if (whole.empty()) {
    return lastError(what);
  }
  if (whole.starts_with(kShare)) {
    return std::wstring(kUnlimitedShare) + whole.substr(kShare.size());
  }
  return std::wstring(kUnlimited) + whole;
}

std::string plainPath(std::wstring path) {
  if (path.starts_with(kUnlimitedShare)) {
    path.replace(0, kUnlimitedShare.size(), kShare);
  } else if (path.starts_with(kUnlimited)) {
    path.erase(0, kUnlimited.size());
  }
  return fromWide(path);
}

}  // namespace relaybird
