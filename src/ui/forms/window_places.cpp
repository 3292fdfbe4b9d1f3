// SPDX-License-Identifier: MIT
// The places of the windows, a section for each in a file of their own. They are kept in memory
// while the program runs and written at its end. A broken file means no places.
#include "ui/forms/window_places.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <string_view>
#include <utility>

namespace relaybird {
namespace {

constexpr const char* kKey = "place";
// No screen is larger (X11 uses 16 bits), and sums of such numbers do not overflow.
constexpr int kFarthest = 32767;

std::string textOf(const WindowPlace& place) {
  return std::to_string(place.left) + "," + std::to_string(place.top) + "," +
         std::to_string(place.width) + "," + std::to_string(place.height) + "," +
         (place.maximised ? "1" : "0");
}

// Five numbers with commas between them, and nothing else.
std::optional<WindowPlace> placeOf(std::string_view text) {
  std::array<int, 5> numbers{};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), numbers[i]);
    if (code != std::errc{} || numbers[i] < -kFarthest || numbers[i] > kFarthest) {
      return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    const bool last = i + 1 == numbers.size();
    if (last ? !text.empty() : !text.starts_with(',')) {
      return std::nullopt;
    }
    if (!last) {
      text.remove_prefix(1);
    }
  }
  const auto [left, top, width, height, maximised] = numbers;
  if (width < 1 || height < 1 || maximised < 0 || maximised > 1) {
    return std::nullopt;
  }
  return WindowPlace{left, top, width, height, maximised == 1};
}

}  // namespace

WindowPlaces::WindowPlaces(ProfileStrings& profiles, std::string file)
    : profiles_(profiles), file_(std::move(file)) {}

// A place that was read counts as written, so that a run without changes does not touch the file.
std::optional<WindowPlace> WindowPlaces::find(const std::string& window) {
  // A place kept in this run is newer than the file.
  if (const auto kept = kept_.find(window); kept != kept_.end()) {
    return kept->second;
  }
  const auto read = placeOf(profiles_.read(file_)->get(window, kKey, ""));
  if (read) {
    kept_[window] = *read;
    written_[window] = *read;
  }
  return read;
}

void WindowPlaces::keep(const std::string& window, const WindowPlace& place) {
  kept_[window] = place;
}

// Errors are ignored: the places are a convenience, and the user cannot do anything about them at
// the end of the program.
void WindowPlaces::write() {
  if (kept_ == written_) {
    return;
  }
  const std::unique_ptr<ProfileWriter> file = profiles_.write(file_);
  for (const auto& [window, place] : kept_) {
    if (!file->set(window, kKey, textOf(place))) {
      return;
    }
  }
  if (file->commit()) {
    written_ = kept_;
  }
}

bool isLargeEnough(const WindowPlace& place, int leastWidth, int leastHeight) {
  return place.width >= leastWidth && place.height >= leastHeight;
}

// The middle of the title bar must be on a screen, or the user could not grab the window.
bool isInSight(const WindowPlace& place, const std::vector<ScreenArea>& screens) {
  const int middle = place.left + place.width / 2;
  return std::any_of(screens.begin(), screens.end(), [&](const ScreenArea& screen) {
    return middle >= screen.left && middle < screen.left + screen.width &&
           place.top >= screen.top && place.top < screen.top + screen.height;
  });
}

}  // namespace relaybird
