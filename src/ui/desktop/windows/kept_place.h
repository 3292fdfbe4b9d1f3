// SPDX-License-Identifier: MIT
#pragma once

#include <wx/toplevel.h>

#include "ui/forms/window_places.h"

namespace relaybird::desktop {

/// Puts a window back to where it was when it was last seen, by the name of the window; before it
/// is shown. False where it stays as it is: that place is not known, no longer on a screen, or too
/// small. Where the desktop alone says where windows stand (Wayland), only the size comes back.
bool restorePlace(wxTopLevelWindow& window, WindowPlaces& places);

/// Remembers from now on where the window is; `places` must outlive it. Written when it goes.
void followPlace(wxTopLevelWindow& window, WindowPlaces& places);

}  // namespace relaybird::desktop
