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

/// The window of frmRelaybird.
class MainWindow : public wxFrame, public FormView {
 public:
  /// The form and the places must outlive it.
  MainWindow(frmRelaybird& form, WindowPlaces& places);

  void controlChanged(const Control& control, Change what) override;
  void formChanged(const Form& form, FormChange what) override;
  /// Calls `listener` with whether forwarding is on, now and whenever that changes.
  void onRunning(std::function<void(bool)> listener);
  /// Calls `listener` with the window's message about a failed check, now and whenever it changes;
  /// with an empty text if the last check succeeded.
  void onFailure(std::function<void(const std::string&)> listener);
  /// The stored places of the windows.
  WindowPlaces& places() { return places_; }
  /// Clicks a menu entry as if the user had picked it.
  void pick(Control& entry);
  /// Shows the window in front of others, even if it was hidden or minimised.
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
  void reportFailure();
  void makeRoom();

  frmRelaybird& frm_;
  WindowPlaces& places_;
  wxWindow* panel_ = nullptr;
  wxWindow* start_ = nullptr;
  wxWindow* stop_ = nullptr;
  wxGauge* gauge_ = nullptr;
  /// Moves the gauge during work. Stopped while there is no work.
  wxTimer pulse_;
  std::function<void(bool)> onRunning_;
  std::function<void(const std::string&)> onFailure_;
};

}  // namespace relaybird::desktop
