// SPDX-License-Identifier: MIT
// The rendered pictures, as the build embeds them.
#pragma once

#include <span>
#include <string_view>

namespace relaybird::desktop {

struct ArtImage {
  std::string_view name;
  int size;  ///< pixels, of width and of height
  std::span<const unsigned char> png;
};

/// Every picture in every size, the smallest of each name first.
std::span<const ArtImage> artImages();

}  // namespace relaybird::desktop
