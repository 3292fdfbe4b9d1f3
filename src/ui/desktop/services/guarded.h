// SPDX-License-Identifier: MIT
#pragma once

#include <wx/app.h>
#include <wx/evtloop.h>

#include <exception>
#include <utility>

namespace relaybird::desktop {

/// Runs what C code calls back: no exception may go through that. The application hears of it when
/// the call back is over: it opens a box, and a timer stands still as long as its tick lasts.
template <class Action>
void guarded(Action&& action) {
  try {
    action();
  } catch (...) {
    wxAppConsole* const application = wxAppConsole::GetInstance();
    application->CallAfter([application, caught = std::current_exception()] {
      try {
        std::rethrow_exception(caught);
      } catch (...) {
        application->OnExceptionInMainLoop();
      }
    });
  }
}

/// Runs the action once the event in hand is over, unless the handler is gone by then.
template <class Action>
void later(wxEvtHandler& handler, Action action) {
  handler.CallAfter([action = std::move(action)] { guarded(action); });
}

/// The same for what the user has done. A box that has come up in between takes all input, also
/// this that was on its way: then `late` runs in the action's place.
template <class Action, class Late>
void inputLater(wxEvtHandler& handler, Action action, Late late) {
  handler.CallAfter(
      [action = std::move(action), late = std::move(late), loop = wxEventLoopBase::GetActive()] {
        if (wxEventLoopBase::GetActive() == loop) {
          guarded(action);
        } else {
          guarded(late);
        }
      });
}

}  // namespace relaybird::desktop
