// SPDX-License-Identifier: MIT
#include "ui/desktop/desk/art.h"

#include <wx/bitmap.h>
#include <wx/icon.h>

#include "ui/desktop/desk/art_data.h"

namespace relaybird::desktop {
namespace {

constexpr std::string_view kProgramIcon = "relaybird";

}  // namespace

wxBitmapBundle artBitmap(const std::string& name) {
  wxVector<wxBitmap> bitmaps;
  for (const ArtImage& image : artImages()) {
    if (image.name == name) {
      bitmaps.push_back(wxBitmap::NewFromPNGData(image.png.data(), image.png.size()));
    }
  }
  return wxBitmapBundle::FromBitmaps(bitmaps);
}

wxIconBundle programIcons() {
  wxIconBundle icons;
  for (const ArtImage& image : artImages()) {
    if (image.name == kProgramIcon) {
      wxIcon icon;
      icon.CopyFromBitmap(wxBitmap::NewFromPNGData(image.png.data(), image.png.size()));
      icons.AddIcon(icon);
    }
  }
  return icons;
}

}  // namespace relaybird::desktop
