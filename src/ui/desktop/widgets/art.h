// SPDX-License-Identifier: MIT
// The program's pictures, which are built in.
#pragma once

#include <wx/bmpbndl.h>
#include <wx/iconbndl.h>
#include <wx/window.h>

#include <string>

namespace relaybird::desktop {

/// The drawing of that name, as much larger as the letters of the window that it stands in; an
/// empty one where there is none.
wxBitmapBundle artBitmap(const wxWindow& in, const std::string& name);

/// The program's icon in all its sizes.
wxIconBundle programIcons();

}  // namespace relaybird::desktop
