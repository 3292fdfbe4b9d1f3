// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <optional>
#include <string>

#include "platform/win32/object_handle.h"
#include "platform/win32/win32_text.h"

namespace relaybird {

/// The changes of names in a folder from now on, to wait for a file without asking again and again.
class FolderChanges {
 public:
  explicit FolderChanges(const std::string& folder)
      : handle_(::FindFirstChangeNotificationW(toWide(folder).c_str(), FALSE,
                                               FILE_NOTIFY_CHANGE_FILE_NAME)) {}
  ~FolderChanges() { ::FindCloseChangeNotification(handle_); }
  FolderChanges(const FolderChanges&) = delete;
  FolderChanges& operator=(const FolderChanges&) = delete;

  /// Waits until the file has this name, and returns what is in it. When an old name goes, the new
  /// one may still be to come. Nothing where nothing changes any more.
  std::optional<std::string> bring(const std::string& file) const {
    constexpr DWORD kLimit = 20000;  // milliseconds; only for a failure
    while (::GetFileAttributesW(toWide(file).c_str()) == INVALID_FILE_ATTRIBUTES) {
      if (::WaitForSingleObject(handle_, kLimit) != WAIT_OBJECT_0) {
        return std::nullopt;
      }
      ::FindNextChangeNotification(handle_);
    }
    return contents(file);
  }

 private:
  // Whoever has renamed a file may have it open still, for its deletion: the streams of the
  // language refuse to share that.
  static std::optional<std::string> contents(const std::string& file) {
    const HANDLE open = ::CreateFileW(toWide(file).c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, 0, nullptr);
    if (open == INVALID_HANDLE_VALUE) {
      return std::nullopt;
    }
    const ObjectHandle owned(open);
    char bytes[1024];  // longer than what tests write
    DWORD size = 0;
    if (::ReadFile(open, bytes, sizeof bytes, &size, nullptr) == 0) {
      return std::nullopt;
    }
    return std::string(bytes, size);
  }

  HANDLE handle_;
};

}  // namespace relaybird
