// SPDX-License-Identifier: MIT
// The icon in the desktop's notification area. The desktop shows the icon's menu itself.
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
  /// `iconFolder` is the folder from which the desktop loads the icon's pictures. It is created and
  /// filled when the icon is first needed. `files` and `timers` must outlive this object.
  TrayIcon(FileSystem& files, TimerMaker& timers, std::string iconFolder);
  ~TrayIcon() override;

  /// Sets the icon's menu, which must outlive the icon.
  void setMenu(Control& menu) { menu_ = &menu; }
  /// Selects which of its two pictures the icon shows.
  void setRunning(bool running);
  /// Shows a warning sign in place of the picture, with this text for assistive tools. An empty
  /// text shows the picture again.
  void setWarning(std::string text);

  /// Whether an icon would be visible: the desktop shows icons, and can load one of our pictures.
  /// Blocks for up to one second if the panel does not answer.
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

  bool ensurePictures();
  const char* pictureName() const;
  void showState();
  void lost();

  FileSystem& files_;
  TimerMaker& timers_;
  std::string iconFolder_;
  bool picturesWritten_ = false;
  Control* menu_ = nullptr;
  bool running_ = false;
  std::string warning_;
  std::unique_ptr<Icon> icon_;
  WindowProcedure procedure_;
  std::function<void()> onLost_;
};

}  // namespace relaybird::desktop
