// SPDX-License-Identifier: MIT
#include "ui/desktop/windows/desktop_windows.h"

namespace relaybird::desktop {

DesktopWindows::DesktopWindows(ProgramForms& forms)
    : main_(new MainWindow(forms.main())),
      settings_(new SettingsWindow(*main_, forms.settings())),
      log_(new LogWindow(*main_, forms.log())),
      about_(new AboutWindow(*main_, forms.about())) {}

/// The others are the main window's children and go with it.
void DesktopWindows::destroy() {
  delete main_;
  main_ = nullptr;
}

void DesktopWindows::bringToFront() {
  main_->raise();
  if (wxWindow* other = front(); other != main_) {
    other->Raise();
  }
}

wxWindow* DesktopWindows::front() {
  for (wxTopLevelWindow* window :
       std::initializer_list<wxTopLevelWindow*>{settings_, about_, log_}) {
    if (window->IsShown() && window->IsActive()) {
      return window;
    }
  }
  return settings_->IsShown() ? static_cast<wxWindow*>(settings_) : main_;
}

}  // namespace relaybird::desktop
