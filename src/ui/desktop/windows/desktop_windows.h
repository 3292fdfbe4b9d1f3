// SPDX-License-Identifier: MIT
// Every window of the program, over its forms.
#pragma once

#include "ui/desktop/windows/about_window.h"
#include "ui/desktop/windows/late_window.h"
#include "ui/desktop/windows/log_window.h"
#include "ui/desktop/windows/main_window.h"
#include "ui/desktop/windows/settings_window.h"
#include "ui/forms/program_forms.h"

namespace relaybird::desktop {

/// The toolkit owns the windows: they go with the main one. The forms and the places must outlive
/// them.
class DesktopWindows {
 public:
  DesktopWindows(ProgramForms& forms, WindowPlaces& places);

  MainWindow& main() { return *main_; }
  /// In front of other programs' windows, with the window that waits for the user on top.
  void bringToFront();
  /// Takes every window off the screen and away.
  void destroy();
  /// The window that a box stands over now.
  wxWindow* front();

 private:
  MainWindow* main_;
  LateWindow<SettingsWindow, frmPrefs> settings_;
  LateWindow<LogWindow, frmLog> log_;
  LateWindow<AboutWindow, frmAbout> about_;
};

}  // namespace relaybird::desktop
