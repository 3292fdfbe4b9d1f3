// SPDX-License-Identifier: MIT
#pragma once

#include <wx/app.h>
#include <wx/evtloop.h>

#include <exception>
#include <utility>

namespace relaybird::desktop {

/// Runs an action that is called from C code: exceptions must not cross C frames. An exception is
/// passed to the application in an event of its own, because the application opens a box for it,
/// and a timer does not tick again before its tick has returned.
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

/// Runs the action after the current event, unless the handler is destroyed by then.
template <class Action>
void later(wxEvtHandler& handler, Action action) {
  handler.CallAfter([action = std::move(action)] { guarded(action); });
}

/// The same for user input. If a modal box has opened in the meantime, the input is void, as all
/// input outside the box is: then `late` runs in place of the action.
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
