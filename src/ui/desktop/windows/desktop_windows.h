// SPDX-License-Identifier: MIT
// Every window of the program, over its forms.
#pragma once

#include <wx/toplevel.h>

#include "ui/desktop/windows/about_window.h"
#include "ui/desktop/windows/log_window.h"
#include "ui/desktop/windows/main_window.h"
#include "ui/desktop/windows/settings_window.h"
#include "ui/forms/model/form.h"
#include "ui/forms/program_forms.h"

namespace relaybird::desktop {

/// A window that is made when its form is first shown: most users open the settings once and the
/// about box never.
/// Observes the form until the window does, which the toolkit owns. Owner and form must outlive it.
template <class WindowType, class FormType>
class LateWindow : private FormObserver {
 public:
  LateWindow(MainWindow& owner, FormType& form) : owner_(owner), form_(form) {
    form_.setObserver(this);
  }
  ~LateWindow() override {
    if (form_.observer() == this) {
      form_.setObserver(nullptr);
    }
  }
  LateWindow(const LateWindow&) = delete;
  LateWindow& operator=(const LateWindow&) = delete;

  /// Null while nobody has opened it.
  wxTopLevelWindow* window() const { return window_; }

 private:
  /// The window will begin with all that the form holds.
  void controlChanged(const Control&, Change) override {}
  void formChanged(const Form& form, FormChange what) override {
    if (what == FormChange::kShown) {
      auto* window = new WindowType(owner_, form_);
      window_ = window;
      window->formChanged(form, what);
    }
  }

  MainWindow& owner_;
  FormType& form_;
  wxTopLevelWindow* window_ = nullptr;
};

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
