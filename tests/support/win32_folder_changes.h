// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <string>

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

  /// Waits until the file has this name. When an old name goes, the new one may still be to come.
  /// False where nothing changes any more.
  bool bring(const std::string& file) const {
    constexpr DWORD kLimit = 20000;  // milliseconds; only for a failure
    while (::GetFileAttributesW(toWide(file).c_str()) == INVALID_FILE_ATTRIBUTES) {
      if (::WaitForSingleObject(handle_, kLimit) != WAIT_OBJECT_0) {
        return false;
      }
      ::FindNextChangeNotification(handle_);
    }
    return true;
  }

 private:
  HANDLE handle_;
};

}  // namespace relaybird
