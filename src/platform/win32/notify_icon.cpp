// SPDX-License-Identifier: MIT
#include "platform/win32/notify_icon.h"

namespace relaybird {

NotifyIconCall systemNotifyIcon() {
  return [](DWORD command, NOTIFYICONDATAW& record) {
    return ::Shell_NotifyIconW(command, &record) != FALSE;
  };
}

// An icon that is there cannot be added again, and a task bar that answers too late has added it
// all the same. Only an icon that is there can be changed.
bool showNotifyIcon(const NotifyIconCall& call, NOTIFYICONDATAW& record) {
  return call(NIM_ADD, record) || call(NIM_MODIFY, record);
}

}  // namespace relaybird
