// SPDX-License-Identifier: MIT
// The icon in the desktop's notification area.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/event_queue.h"
#include "platform/file_system.h"
#include "ui/forms/mod_systray.h"
#include "ui/forms/model/control.h"

namespace relaybird::desktop {

class TrayIcon : public TrayPlatform {
 public:
  /// Where the desktop loads the icon's pictures from files, `iconFolder` is the folder for them.
  /// It is created and filled when the icon is first needed. `files` and `timers` must outlive this
  /// object.
  TrayIcon(FileSystem& files, TimerMaker& timers, std::string iconFolder);
  ~TrayIcon() override;

  /// Sets the icon's menu, which must outlive the icon, for a desktop that shows the menu itself.
  /// Elsewhere the form shows it, when the icon reports the right button.
  void setMenu(Control& menu);
  /// Selects which of its two pictures the icon shows.
  void setRunning(bool running);
  /// Shows a warning sign in place of the picture, with this text for assistive tools. An empty
  /// text shows the picture again.
  void setWarning(std::string text);

  /// Whether an icon would be visible: the desktop shows icons, and can load one of our pictures.
  /// Blocks for up to one second if the panel does not answer.
  bool available() override;
  WindowHandle mainWindow() override;
  IconHandle mainIcon() override;
  void addIcon(const NotifyIconRecord& record) override;
  void deleteIcon(const NotifyIconRecord& record) override;
  WindowProcedure replaceProcedure(WindowHandle window, WindowProcedure procedure) override;
  void setForegroundWindow(WindowHandle window) override;
  void onIconLost(std::function<void()> listener) override;

 private:
  struct Area;
  std::unique_ptr<Area> area_;
};

}  // namespace relaybird::desktop
