// SPDX-License-Identifier: MIT
#pragma once

#include <wx/app.h>

#include <utility>

namespace relaybird::desktop {

/// Runs what C code calls back: no exception may go through that. The application hears of it.
template <class Action>
void guarded(Action&& action) {
  try {
    action();
  } catch (...) {
    wxTheApp->OnExceptionInMainLoop();
  }
}

/// Runs the action once the event in hand is over, unless the handler is gone by then.
template <class Action>
void later(wxEvtHandler& handler, Action action) {
  handler.CallAfter([action = std::move(action)] { guarded(action); });
}

}  // namespace relaybird::desktop
