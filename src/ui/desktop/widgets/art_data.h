// SPDX-License-Identifier: MIT
// The rendered pictures, as the build embeds them.
#pragma once

#include <span>
#include <string_view>

namespace relaybird::desktop {

struct ArtImage {
  std::string_view name;
  int size;  ///< pixels, of width and of height; 0: a drawing, to be rendered by who shows it
  std::span<const unsigned char> bytes;  ///< PNG, or SVG of a drawing
};

/// Every picture in every size, the smallest of each name first.
std::span<const ArtImage> artImages();

}  // namespace relaybird::desktop
