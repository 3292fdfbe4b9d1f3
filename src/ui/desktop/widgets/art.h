// SPDX-License-Identifier: MIT
// The program's pictures. They are compiled into the program.
#pragma once

#include <wx/bmpbndl.h>
#include <wx/iconbndl.h>
#include <wx/window.h>

#include <string>

namespace relaybird::desktop {

/// The drawing of that name, scaled with the font of the window `in`; empty if there is none.
wxBitmapBundle artBitmap(const wxWindow& in, const std::string& name);

/// The program's icon in all its sizes.
wxIconBundle programIcons();

}  // namespace relaybird::desktop
