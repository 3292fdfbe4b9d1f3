// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <string>
#include <utility>

#include "platform/win32/notify_icon.h"

namespace relaybird {

/// Whose balloon it is. `window` gets `message` for each event of the balloon, with the event in
/// the low word of its second value; it must be there as long as the balloon.
struct BalloonOwner {
  HWND window = nullptr;
  UINT message = 0;
  HICON icon = nullptr;
};

/// A warning in a balloon at the notification area, one at a time. It needs an icon there, so one
/// is shown for as long as the balloon is; Windows 10 and later show the balloon as a notification
/// of their own. Texts are UTF-8. One thread.
class Balloon {
 public:
  explicit Balloon(NotifyIconCall call = systemNotifyIcon()) : call_(std::move(call)) {}

  /// Shows a balloon in place of the one before. A text that is too long is cut: 63 UTF-16 units of
  /// the title, 255 of the text. `cause` names it; not empty. Nothing happens where the system has
  /// no notification area.
  void show(const BalloonOwner& owner, const std::string& cause, const std::string& title,
            const std::string& text);
  void remove();
  /// The cause of the balloon that is shown; empty if there is none.
  const std::string& shown() const { return cause_; }
  /// Reacts to an event of the balloon: one that has ended is removed. True if the user has clicked
  /// on it, or on its icon: that stays while a notification waits in the notification centre.
  bool clickedBy(UINT event);

 private:
  NotifyIconCall call_;
  HWND window_ = nullptr;  ///< of the balloon that is shown
  std::string cause_;
};

}  // namespace relaybird
