// SPDX-License-Identifier: MIT
#include "ui/desktop/widgets/art.h"

#include <wx/bitmap.h>
#include <wx/icon.h>

#include <algorithm>

#include "ui/desktop/widgets/art_data.h"
#include "ui/desktop/widgets/layout.h"

namespace relaybird::desktop {
namespace {

constexpr std::string_view kProgramIcon = "relaybird";

}  // namespace

wxBitmapBundle artBitmap(const wxWindow& in, const std::string& name) {
  const auto images = artImages();
  const auto image = std::find_if(images.begin(), images.end(), [&](const ArtImage& each) {
    return each.drawing && each.name == name;
  });
  if (image == images.end()) {
    return {};
  }
  const int side = scaledWithFont(in, image->size);
  return wxBitmapBundle::FromSVG(image->bytes.data(), image->bytes.size(), wxSize(side, side));
}

wxIconBundle programIcons() {
  wxIconBundle icons;
  for (const ArtImage& image : artImages()) {
    if (!image.drawing && image.name == kProgramIcon) {
      wxIcon icon;
      icon.CopyFromBitmap(wxBitmap::NewFromPNGData(image.bytes.data(), image.bytes.size()));
      icons.AddIcon(icon);
    }
  }
  return icons;
}

}  // namespace relaybird::desktop
