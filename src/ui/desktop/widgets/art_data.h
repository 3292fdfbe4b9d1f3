// SPDX-License-Identifier: MIT
// The pictures as data. The build generates the definition (art/CMakeLists.txt).
#pragma once

#include <span>
#include <string_view>

namespace relaybird::desktop {

struct ArtImage {
  std::string_view name;
  int size;      ///< width and height in pixels; for a drawing, at the ordinary font size
  bool drawing;  ///< scalable: rendered when it is shown
  std::span<const unsigned char> bytes;  ///< SVG for a drawing, otherwise PNG
};

/// All pictures: one entry for each rendered size, and one entry for each drawing.
std::span<const ArtImage> artImages();

}  // namespace relaybird::desktop
