// SPDX-License-Identifier: MIT
#pragma once

namespace relaybird::desktop {

/// The names of the icons among the program's resources (packaging/windows/program.rc.in).
inline constexpr const wchar_t* kProgramIcon = L"appicon";
inline constexpr const wchar_t* kRunningIcon = L"running";
inline constexpr const wchar_t* kStoppedIcon = L"stopped";

}  // namespace relaybird::desktop
