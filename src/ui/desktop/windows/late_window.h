// SPDX-License-Identifier: MIT
// A window that is made when its form is first shown: most users open the settings once and the
// about box never.
#pragma once

#include <wx/toplevel.h>

#include "ui/desktop/windows/main_window.h"
#include "ui/forms/model/form.h"

namespace relaybird::desktop {

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

}  // namespace relaybird::desktop
