// SPDX-License-Identifier: MIT
// modSystray: the icon in the notification area, and the messages that it sends to the main window.
// The window's procedure is replaced while the icon is there, as on Windows; a desktop that reports
// a click in another way hands in the same message.
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
  /// Cuts between characters what does not fit.
  void setTip(std::string_view text);
};

struct WindowMessage {
  WindowHandle window = 0;
  std::uint32_t message = 0;
  std::uintptr_t high = 0;  ///< wParam
  std::intptr_t low = 0;    ///< lParam; of our callback message the mouse event
};

/// What a window does with its messages.
using WindowProcedure = std::function<std::intptr_t(const WindowMessage&)>;

/// The notification area of the desktop. Calls do not fail towards the caller.
class TrayPlatform {
 public:
  virtual ~TrayPlatform() = default;
  /// Whether there is a notification area now.
  virtual bool available() = 0;
  virtual WindowHandle mainWindow() = 0;
  virtual IconHandle mainIcon() = 0;
  virtual void addIcon(const NotifyIconRecord& record) = 0;
  virtual void deleteIcon(const NotifyIconRecord& record) = 0;
  /// Has the window send its messages to `procedure`, and returns what it did with them before. May
  /// be called while a procedure of the window runs, which must then live until it returns.
  virtual WindowProcedure replaceProcedure(WindowHandle window, WindowProcedure procedure) = 0;
  virtual void setForegroundWindow(WindowHandle window) = 0;
  /// Has `listener` called, in an event of its own and once for each icon, when the area that shows
  /// the icon has gone for too long (see IconAbsence). It may delete the icon and set another
  /// listener. An area that never goes needs none of this.
  virtual void onIconLost(std::function<void()> /*listener*/) {}
};

class modSystray {
 public:
  /// `onRightButton` is called for a press of the right button over the icon; it may unhook.
  /// `platform` must outlive this.
  modSystray(TrayPlatform& platform, std::function<void()> onRightButton);
  /// Gives the window its own procedure back.
  ~modSystray();
  modSystray(const modSystray&) = delete;
  modSystray& operator=(const modSystray&) = delete;

  /// Fills the record and adds the icon. Later changes of the tip's text do not reach the icon.
  void addIcon(std::string_view toolTip);
  /// Takes the icon away by the record that it was added with.
  void deleteIcon();
  /// Who is told, while hooked, that the icon is lost; may unhook, and set another.
  void onLost(std::function<void()> listener) { onLost_ = std::move(listener); }
  /// Takes the main window's messages. Nothing where they are taken already.
  void hook();
  /// Gives them back to the procedure that had them. Nothing where they are not taken.
  void unhook();

  bool hooked() const { return hooked_; }
  const NotifyIconRecord& record() const { return record_; }
  TrayPlatform& platform() { return platform_; }

  /// The procedure that stands in for the window's own while hooked: the right button over the icon
  /// is answered with -1, all else goes on to the window's own procedure. 0 while not hooked.
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

/// What a look at the desktop's notification area finds.
enum class IconArea {
  kShown,
  kGone,
  kHeldBack,  ///< gone for a while that the desktop knows the end of: the screen is locked
};

/// Decides when icons have been away for too long: a panel that crashes or is exchanged is back
/// within ten seconds and takes in the icons that it finds. Time in which they are held back does
/// not count. On the user-interface thread; nothing ticks while icons are shown.
class IconAbsence {
 public:
  /// `look` looks once more and reports by seen(), after it has returned; it is asked every second
  /// while icons are gone, as not every desktop tells when they are back, and every minute while
  /// they are held back. `lost` is called once, from within seen(), and may end this object.
  /// `timers` must outlive this.
  IconAbsence(TimerMaker& timers, std::function<void()> look, std::function<void()> lost);

  /// What is so now, also unasked.
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
