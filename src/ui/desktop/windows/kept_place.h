// SPDX-License-Identifier: MIT
#pragma once

#include <wx/toplevel.h>

#include "ui/forms/window_places.h"

namespace relaybird::desktop {

/// Restores the last size and position of the window, which are stored by the window's name. Call
/// it before the window is shown. Returns false and changes nothing if no place is stored, or if it
/// is too small or on no present screen. On Wayland, where a program cannot position its windows,
/// only the size is restored.
bool restorePlace(wxTopLevelWindow& window, WindowPlaces& places);

/// Stores the place of the window from now on, and writes it to disk when the window is hidden.
/// `places` must outlive the window.
void followPlace(wxTopLevelWindow& window, WindowPlaces& places);

}  // namespace relaybird::desktop
