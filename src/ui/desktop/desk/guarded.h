// SPDX-License-Identifier: MIT
#pragma once

#include <wx/app.h>

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

}  // namespace relaybird::desktop
