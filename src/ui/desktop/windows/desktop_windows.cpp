// SPDX-License-Identifier: MIT
#include "ui/desktop/windows/desktop_windows.h"

namespace relaybird::desktop {

DesktopWindows::DesktopWindows(ProgramForms& forms, WindowPlaces& places)
    : main_(new MainWindow(forms.main(), places)),
      settings_(*main_, forms.settings()),
      log_(*main_, forms.log()),
      about_(*main_, forms.about()),
      setup_(*main_, forms.setup()) {}

// The other windows are children of the main window and are destroyed with it.
void DesktopWindows::destroy() {
  main_->SetEvtHandlerEnabled(false);
  // Destroy() would leave the deletion to an event loop, and the last one has ended.
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
       {settings_.window(), setup_.window(), about_.window(), log_.window()}) {
    if (window != nullptr && window->IsShown() && window->IsActive()) {
      return window;
    }
  }
  // None has the focus: these are modal, so they come before the main window.
  for (wxTopLevelWindow* dialog : {settings_.window(), setup_.window()}) {
    if (dialog != nullptr && dialog->IsShown()) {
      return dialog;
    }
  }
  return main_;
}

}  // namespace relaybird::desktop
