// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

namespace relaybird::desktop {

/// The names of the icons among the program's resources (packaging/windows/program.rc.in).
inline constexpr const wchar_t* kProgramIcon = L"appicon";
inline constexpr const wchar_t* kRunningIcon = L"running";
inline constexpr const wchar_t* kStoppedIcon = L"stopped";

/// The icon in the size of the notification area. The system owns it. Null if it cannot be loaded.
inline HICON trayIcon(const wchar_t* name) {
  return static_cast<HICON>(::LoadImageW(::GetModuleHandleW(nullptr), name, IMAGE_ICON,
                                         ::GetSystemMetrics(SM_CXSMICON),
                                         ::GetSystemMetrics(SM_CYSMICON), LR_SHARED));
}

}  // namespace relaybird::desktop
