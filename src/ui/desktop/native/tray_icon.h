// SPDX-License-Identifier: MIT
// The icon in the desktop's notification area. The desktop itself shows the icon's menu.
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
  /// The desktop reads the icon's pictures from `iconFolder`, into which they are put when the icon
  /// is wanted for the first time. `files` and `timers` must outlive this.
  TrayIcon(FileSystem& files, TimerMaker& timers, std::string iconFolder);
  ~TrayIcon() override;

  /// The menu that the icon carries; must outlive the icon.
  void setMenu(Control& menu) { menu_ = &menu; }
  /// Which of its two pictures the icon shows.
  void setRunning(bool running);
  /// Puts the sign of a warning in the picture's place, with these words for assistive tools;
  /// nothing takes it away.
  void setWarning(std::string words);

  /// Whether an icon would be seen: something shows icons, and finds a picture of ours. Waits a
  /// second at most for a panel that does not answer.
  bool available() override;
  WindowHandle mainWindow() override { return 1; }
  IconHandle mainIcon() override { return 1; }
  void addIcon(const NotifyIconRecord& record) override;
  void deleteIcon(const NotifyIconRecord& record) override;
  WindowProcedure replaceProcedure(WindowHandle window, WindowProcedure procedure) override;
  void setForegroundWindow(WindowHandle) override {}
  void onIconLost(std::function<void()> listener) override { onLost_ = std::move(listener); }

 private:
  struct Icon;

  bool picturesInPlace();
  const char* pictureName() const;
  void showState();
  void lost();

  FileSystem& files_;
  TimerMaker& timers_;
  std::string iconFolder_;
  bool picturesInPlace_ = false;
  Control* menu_ = nullptr;
  bool running_ = false;
  std::string warning_;
  std::unique_ptr<Icon> icon_;
  WindowProcedure procedure_;
  std::function<void()> onLost_;
};

}  // namespace relaybird::desktop
