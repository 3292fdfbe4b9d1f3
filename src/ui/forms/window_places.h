// SPDX-License-Identifier: MIT
// The places of the windows, kept from one run to the next in a file of its own in the state
// folder. Errors are ignored: a window without a stored place opens where the toolkit puts it. All
// calls are made on the user-interface thread.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/profile/profile_strings.h"

namespace relaybird {

/// In pixels of the toolkit: the outer corner, and the size without borders and menu, whose widths
/// are known only while a window is shown.
struct WindowPlace {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
  bool maximised = false;  ///< the other fields are then its restored place
  bool operator==(const WindowPlace&) const = default;
};

/// The part of a screen that windows may occupy.
struct ScreenArea {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
};

class WindowPlaces {
 public:
  /// `profiles` must outlive it.
  WindowPlaces(ProfileStrings& profiles, std::string file);

  /// The last kept place of a window, from this run or an earlier one; empty if unknown.
  std::optional<WindowPlace> find(const std::string& window);
  /// Keeps a place for this run, and for later runs once write() is called.
  void keep(const std::string& window, const WindowPlace& place);
  /// Writes the kept places, if they have changed.
  void write();

 private:
  ProfileStrings& profiles_;
  std::string file_;
  std::map<std::string, WindowPlace> kept_;
  std::map<std::string, WindowPlace> written_;
};

/// Whether the place is large enough for the window's contents.
bool isLargeEnough(const WindowPlace& place, int leastWidth, int leastHeight);

/// Whether the user can reach the window there: the middle of its upper edge, where windows are
/// dragged, is on one of the screens.
bool isInSight(const WindowPlace& place, const std::vector<ScreenArea>& screens);

}  // namespace relaybird
