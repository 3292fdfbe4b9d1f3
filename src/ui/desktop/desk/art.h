// SPDX-License-Identifier: MIT
// The program's pictures, built in, in the sizes that screens of every density need.
#pragma once

#include <wx/bmpbndl.h>
#include <wx/iconbndl.h>

#include <string>

namespace relaybird::desktop {

/// The picture of that name; an empty one where there is none.
wxBitmapBundle artBitmap(const std::string& name);

/// The program's icon in all its sizes.
wxIconBundle programIcons();

}  // namespace relaybird::desktop
