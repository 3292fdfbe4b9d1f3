// SPDX-License-Identifier: MIT
#pragma once

#include <wx/frame.h>
#include <wx/gauge.h>
#include <wx/menu.h>
#include <wx/sizer.h>
#include <wx/timer.h>

#include <functional>

#include "ui/desktop/views/form_view.h"
#include "ui/forms/main/frm_relaybird.h"
#include "ui/forms/window_places.h"

namespace relaybird::desktop {

/// frmRelaybird on the screen.
class MainWindow : public wxFrame, public FormView {
 public:
  /// The form and the places must outlive it.
  MainWindow(frmRelaybird& form, WindowPlaces& places);

  void controlChanged(const Control& control, Change what) override;
  void formChanged(const Form& form, FormChange what) override;
  /// Calls `listener` with whether forwarding is on, now and whenever that changes.
  void onRunning(std::function<void(bool)> listener);
  /// Calls `listener` with what the window says of checks that fail, now and whenever that changes;
  /// with nothing where the last one succeeded.
  void onFailure(std::function<void(const std::string&)> listener);
  /// Where the windows were.
  WindowPlaces& places() { return places_; }
  /// As the user picks it from the menu.
  void pick(Control& entry);
  /// Comes to the front, also from the notification area or when it is minimised.
  void raise();

 private:
  wxMenuBar* menuBar();
  wxMenu* menu(Control& top);
  wxSizer* commands(wxWindow* parent);
  wxSizer* pictures(wxWindow* parent);
  wxSizer* status(wxWindow* parent);
  wxSizer* diagnostics(wxWindow* parent);
  void showProgress();
  void keepFocus();
  void tellFailure();
  void makeRoom();

  frmRelaybird& frm_;
  WindowPlaces& places_;
  wxWindow* panel_ = nullptr;
  wxWindow* start_ = nullptr;
  wxWindow* stop_ = nullptr;
  wxGauge* gauge_ = nullptr;
  /// Runs only while something does that the status line does not tell the end of.
  wxTimer pulse_;
  std::function<void(bool)> onRunning_;
  std::function<void(const std::string&)> onFailure_;
};

}  // namespace relaybird::desktop
