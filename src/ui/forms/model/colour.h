// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace relaybird {

/// A colour that follows the user's theme, or one of red, green and blue.
struct Colour {
  enum class Source : std::uint8_t {
    kRgb,
    kWindowBackground,
    kWindowText,
    kButtonFace,
    kButtonText,
    kGrayText,
  };

  Source source = Source::kRgb;
  std::uint8_t red = 0;
  std::uint8_t green = 0;
  std::uint8_t blue = 0;

  bool operator==(const Colour&) const = default;
};

constexpr Colour rgb(std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
  return {Colour::Source::kRgb, red, green, blue};
}

inline constexpr Colour kWindowBackground{Colour::Source::kWindowBackground};
inline constexpr Colour kWindowText{Colour::Source::kWindowText};
inline constexpr Colour kButtonFace{Colour::Source::kButtonFace};
inline constexpr Colour kButtonText{Colour::Source::kButtonText};
inline constexpr Colour kGrayText{Colour::Source::kGrayText};

inline constexpr Colour kRunningGreen = rgb(0, 255, 0);
inline constexpr Colour kStoppedRed = rgb(255, 0, 0);
inline constexpr Colour kLightGreen = rgb(192, 255, 192);

}  // namespace relaybird
