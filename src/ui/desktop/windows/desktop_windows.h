// SPDX-License-Identifier: MIT
// All windows of the program, one for each form.
#pragma once

#include <wx/toplevel.h>

#include "ui/desktop/windows/about_window.h"
#include "ui/desktop/windows/log_window.h"
#include "ui/desktop/windows/main_window.h"
#include "ui/desktop/windows/settings_window.h"
#include "ui/desktop/windows/setup_window.h"
#include "ui/forms/model/form.h"
#include "ui/forms/program_forms.h"

namespace relaybird::desktop {

/// A window that is created when its form is first shown: most users open the settings once and the
/// about box never. Observes the form until the window itself observes it. The toolkit owns the
/// window. Owner and form must outlive this object.
template <class WindowType, class FormType>
class LazyWindow : private FormObserver {
 public:
  LazyWindow(MainWindow& owner, FormType& form) : owner_(owner), form_(form) {
    form_.setObserver(this);
  }
  ~LazyWindow() override {
    if (form_.observer() == this) {
      form_.setObserver(nullptr);
    }
  }
  LazyWindow(const LazyWindow&) = delete;
  LazyWindow& operator=(const LazyWindow&) = delete;

  /// Null until the form is first shown.
  wxTopLevelWindow* window() const { return window_; }

 private:
  /// Ignored: a new window shows the whole state of the form.
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

/// The toolkit owns the windows; they are destroyed with the main window. The forms and the places
/// must outlive them.
class DesktopWindows {
 public:
  DesktopWindows(ProgramForms& forms, WindowPlaces& places);

  MainWindow& main() { return *main_; }
  /// Raises the windows above those of other programs, with the front() window on top.
  void bringToFront();
  /// Destroys all windows.
  void destroy();
  /// The parent for a new box: the active window, else the settings or the set-up if open, else the
  /// main window.
  wxWindow* front();

 private:
  MainWindow* main_;
  LazyWindow<SettingsWindow, frmPrefs> settings_;
  LazyWindow<LogWindow, frmLog> log_;
  LazyWindow<AboutWindow, frmAbout> about_;
  LazyWindow<SetupWindow, frmSetup> setup_;
};

}  // namespace relaybird::desktop
