// SPDX-License-Identifier: MIT
#include "ui/desktop/widgets/art.h"

#include <wx/bitmap.h>
#include <wx/icon.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "ui/desktop/widgets/art_data.h"
#include "ui/desktop/widgets/layout.h"

namespace relaybird::desktop {
namespace {

constexpr std::string_view kProgramIcon = "relaybird";

// Null if there is no drawing of that name.
const ArtImage* drawing(std::string_view name) {
  const auto images = artImages();
  const auto image = std::find_if(images.begin(), images.end(), [&](const ArtImage& each) {
    return each.drawing && each.name == name;
  });
  return image == images.end() ? nullptr : &*image;
}

wxBitmapBundle toBundle(const ArtImage& image, int side) {
  return wxBitmapBundle::FromSVG(image.bytes.data(), image.bytes.size(), wxSize(side, side));
}

}  // namespace

wxBitmapBundle artBitmap(const wxWindow& in, const std::string& name) {
  const ArtImage* image = drawing(name);
  return image == nullptr ? wxBitmapBundle() : toBundle(*image, scaledWithFont(in, image->size));
}

wxIconBundle programIcons() {
  // For title bars, task bars and window switchers at usual resolutions.
  constexpr std::array<int, 6> kSizes{16, 24, 32, 48, 64, 128};
  wxIconBundle icons;
  if (const ArtImage* image = drawing(kProgramIcon)) {
    const wxBitmapBundle bundle = toBundle(*image, image->size);
    for (const int side : kSizes) {
      wxIcon icon;
      icon.CopyFromBitmap(bundle.GetBitmap(wxSize(side, side)));
      icons.AddIcon(icon);
    }
  }
  return icons;
}

}  // namespace relaybird::desktop
