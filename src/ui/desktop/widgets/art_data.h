// SPDX-License-Identifier: MIT
// The pictures, as the build embeds them.
#pragma once

#include <span>
#include <string_view>

namespace relaybird::desktop {

struct ArtImage {
  std::string_view name;
  int size;      ///< pixels, of width and of height; of a drawing at letters of the ordinary size
  bool drawing;  ///< to be rendered by whoever shows it
  std::span<const unsigned char> bytes;  ///< SVG of a drawing, else PNG
};

/// Every picture: in every size that it is rendered in, or once as a drawing.
std::span<const ArtImage> artImages();

}  // namespace relaybird::desktop
