// SPDX-License-Identifier: MIT
// The program's pictures, built in, in the sizes that screens of every density need.
#pragma once

#include <wx/bmpbndl.h>
#include <wx/iconbndl.h>

#include <string>

namespace relaybird::desktop {

/// The picture of that name, at least so many pixels wide at 100 %; an empty one where there is
/// none.
wxBitmapBundle artBitmap(const std::string& name, int width = 0);

/// The program's icon in all its sizes.
wxIconBundle programIcons();

}  // namespace relaybird::desktop
