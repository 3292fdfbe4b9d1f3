// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>
// Why here: it needs windows.h.
#include <shellapi.h>

#include <functional>
#include <string>

namespace relaybird {

/// Shell_NotifyIcon with a command such as NIM_ADD, so that a test can play the notification area.
/// False where the system refuses.
using NotifyIconCall = std::function<bool(DWORD command, NOTIFYICONDATAW& record)>;
NotifyIconCall systemNotifyIcon();

/// Adds the icon, or gives one that is there what the record says. False if it is not there
/// afterwards. The record gets the picture that `picture` gives at that time: an icon that is added
/// again may need another one than before.
bool showNotifyIcon(const NotifyIconCall& call, const std::function<HICON()>& picture,
                    NOTIFYICONDATAW& record);

/// The width of an icon in the notification area, at the scale that the task bar has now.
int notifyIconSize();
/// The same at a number of dots per inch.
int smallIconSize(UINT dotsPerInch);

/// A picture among the resources of a module, or the system's warning sign, in the size that is
/// asked for. One thread.
class IconResource {
 public:
  /// The program's own, if `module` is null.
  explicit IconResource(HMODULE module = nullptr) : module_(module) {}
  ~IconResource();
  IconResource(const IconResource&) = delete;
  IconResource& operator=(const IconResource&) = delete;

  /// Null if it cannot be loaded. Stays until another picture or size is asked for, by either call.
  HICON get(const std::wstring& name, int size);
  HICON warningSign(int size);

 private:
  HICON keep(const std::wstring& name, int size, const std::function<HANDLE()>& load);

  HMODULE module_;
  std::wstring name_;
  int size_ = 0;
  HICON icon_ = nullptr;
};

}  // namespace relaybird
