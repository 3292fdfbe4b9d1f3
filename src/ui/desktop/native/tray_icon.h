// SPDX-License-Identifier: MIT
// The icon in the desktop's notification area. The desktop itself shows the icon's menu.
#pragma once

#include <memory>
#include <string>

#include "ui/forms/model/control.h"
#include "ui/forms/tray/mod_systray.h"

namespace relaybird::desktop {

class TrayIcon : public TrayPlatform {
 public:
  /// Pictures for the icon are put into `iconFolder`, which is made when the icon is first shown.
  explicit TrayIcon(std::string iconFolder);
  ~TrayIcon() override;

  /// The menu that the icon carries; must outlive the icon.
  void setMenu(Control& menu) { menu_ = &menu; }
  /// Which of its two pictures the icon shows.
  void setRunning(bool running);

  bool available() override;
  WindowHandle mainWindow() override { return 1; }
  IconHandle mainIcon() override { return 1; }
  void addIcon(const NotifyIconRecord& record) override;
  void deleteIcon(const NotifyIconRecord& record) override;
  WindowProcedure replaceProcedure(WindowHandle window, WindowProcedure procedure) override;
  void setForegroundWindow(WindowHandle) override {}

 private:
  struct Icon;

  std::string iconFolder_;
  Control* menu_ = nullptr;
  bool running_ = false;
  std::unique_ptr<Icon> icon_;
  WindowProcedure procedure_;
};

}  // namespace relaybird::desktop
