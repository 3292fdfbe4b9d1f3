// SPDX-License-Identifier: MIT
// modSystray: the icon in the notification area, and the messages that it sends to the main window.
// While the icon is there the window's procedure is replaced, as on Windows; a desktop that reports
// clicks in another way passes the same message. IconAbsence decides when an area has been gone for
// too long.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/event_queue.h"

namespace relaybird {

using WindowHandle = std::uintptr_t;
using IconHandle = std::uintptr_t;

/// Win32 numbers: the callback message of our icon, the mouse event that opens its menu, and the
/// flags NIF_MESSAGE, NIF_ICON and NIF_TIP.
inline constexpr std::uint32_t kTrayCallbackMessage = 517;
inline constexpr std::intptr_t kRightButtonDown = 0x204;
inline constexpr std::uint32_t kTrayFlags = 7;

/// NOTIFYICONDATA in its first, ANSI form.
struct NotifyIconRecord {
  std::uint32_t size = 88;
  WindowHandle window = 0;
  std::uint32_t id = 0;
  std::uint32_t flags = kTrayFlags;
  std::uint32_t callbackMessage = kTrayCallbackMessage;
  IconHandle icon = 0;
  std::array<char, 64> tip{};  ///< padded with NUL, at least one

  std::string_view tipText() const;
  /// Cuts a longer text between two characters.
  void setTip(std::string_view text);
};

struct WindowMessage {
  WindowHandle window = 0;
  std::uint32_t message = 0;
  std::uintptr_t high = 0;  ///< wParam
  std::intptr_t low = 0;    ///< lParam; the mouse event, for our callback message
};

/// A window's message handler.
using WindowProcedure = std::function<std::intptr_t(const WindowMessage&)>;

/// The notification area of the desktop. Calls report no failures.
class TrayPlatform {
 public:
  virtual ~TrayPlatform() = default;
  /// Whether a notification area exists now.
  virtual bool available() = 0;
  virtual WindowHandle mainWindow() = 0;
  virtual IconHandle mainIcon() = 0;
  virtual void addIcon(const NotifyIconRecord& record) = 0;
  virtual void deleteIcon(const NotifyIconRecord& record) = 0;
  /// Makes `procedure` handle the window's messages, and returns the former procedure. May be
  /// called while a procedure of the window is running, which must then live until it returns.
  virtual WindowProcedure replaceProcedure(WindowHandle window, WindowProcedure procedure) = 0;
  virtual void setForegroundWindow(WindowHandle window) = 0;
  /// Sets a listener that is called, in an event of its own and once per icon, when the area has
  /// been gone for too long (see IconAbsence). It may delete the icon and set another listener. The
  /// default is for an area that never disappears.
  virtual void onIconLost(std::function<void()> /*listener*/) {}
};

class modSystray {
 public:
  /// `onRightButton` is called when the right button is pressed over the icon; it may unhook.
  /// `platform` must outlive this.
  modSystray(TrayPlatform& platform, std::function<void()> onRightButton);
  /// Restores the window's own procedure.
  ~modSystray();
  modSystray(const modSystray&) = delete;
  modSystray& operator=(const modSystray&) = delete;

  /// Fills in the record and adds the icon. Its tool tip does not change afterwards.
  void addIcon(std::string_view toolTip);
  /// Removes the icon, with the record that it was added with.
  void deleteIcon();
  /// Sets the listener for the loss of the icon while hooked; it may unhook and set another
  /// listener.
  void onLost(std::function<void()> listener) { onLost_ = std::move(listener); }
  /// Replaces the main window's procedure, unless it is replaced already.
  void hook();
  /// Restores the former procedure, if it was replaced.
  void unhook();

  bool hooked() const { return hooked_; }
  const NotifyIconRecord& record() const { return record_; }
  TrayPlatform& platform() { return platform_; }

  /// The replacement procedure: handles the right button over the icon and returns -1; passes every
  /// other message to the window's own procedure. Returns 0 while not hooked.
  std::intptr_t replacementProcedure(const WindowMessage& message);

 private:
  void lost();

  TrayPlatform& platform_;
  std::function<void()> onRightButton_;
  std::function<void()> onLost_;
  NotifyIconRecord record_;
  WindowHandle window_ = 0;
  WindowProcedure previous_;
  bool hooked_ = false;
};

/// State of the desktop's notification area.
enum class IconArea {
  kShown,
  kGone,
  kHeldBack,  ///< gone until the desktop brings it back: the screen is locked
};

/// Decides when the area has been gone for too long: a panel that crashed or was replaced is back
/// within ten seconds and shows the existing icons again. Time in state kHeldBack does not count.
/// For the user-interface thread; no timer runs while icons are shown.
class IconAbsence {
 public:
  /// `look` examines the area again and reports by seen(), after it has returned. It is called
  /// every second while icons are gone, because not every desktop reports their return, and every
  /// minute while they are held back. `lost` is called once, from within seen(), and may destroy
  /// this object. `timers` must outlive this.
  IconAbsence(TimerMaker& timers, std::function<void()> look, std::function<void()> lost);

  /// Reports the current state; may be called at any time.
  void seen(IconArea area);

 private:
  void tick();
  void lookAgainIn(std::chrono::milliseconds interval);

  std::function<void()> look_;
  std::function<void()> lost_;
  IconArea last_ = IconArea::kShown;
  int secondsGone_ = 0;
  std::unique_ptr<Timer> timer_;
};

}  // namespace relaybird
