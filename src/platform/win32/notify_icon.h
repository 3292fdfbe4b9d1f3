// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>
// Why here: it needs windows.h.
#include <shellapi.h>

#include <functional>

namespace relaybird {

/// Shell_NotifyIcon with a command such as NIM_ADD, so that a test can play the notification area.
/// False where the system refuses.
using NotifyIconCall = std::function<bool(DWORD command, NOTIFYICONDATAW& record)>;
NotifyIconCall systemNotifyIcon();

/// Adds the icon, or gives one that is there what the record says. False if it is not there
/// afterwards.
bool showNotifyIcon(const NotifyIconCall& call, NOTIFYICONDATAW& record);

}  // namespace relaybird
