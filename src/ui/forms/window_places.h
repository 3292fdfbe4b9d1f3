// SPDX-License-Identifier: MIT
// Where the user has put the windows, from one run to the next: a file of its own in the state
// folder, as it is no setting that anybody types. What cannot be read or written is left alone: a
// window opens where it would without it. All calls on the user-interface thread.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/profile/profile_strings.h"

namespace relaybird {

/// In pixels of the toolkit: the outer corner, and the size within borders and menu, for how wide
/// those are is known only of a window that is seen.
struct WindowPlace {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
  bool maximised = false;  ///< the rest is what it goes back to then
  bool operator==(const WindowPlace&) const = default;
};

/// The part of a screen that windows may take up.
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

  /// Where a window was when it was last kept, in this run or an earlier one; none where that is
  /// not known.
  std::optional<WindowPlace> find(const std::string& window);
  /// Remembers it for this run, and for the next ones once it is written.
  void keep(const std::string& window, const WindowPlace& place);
  /// Writes what has changed since then.
  void write();

 private:
  ProfileStrings& profiles_;
  std::string file_;
  std::map<std::string, WindowPlace> kept_;
  std::map<std::string, WindowPlace> written_;
};

/// Whether a window of that place is large enough for what is in it.
bool isLargeEnough(const WindowPlace& place, int leastWidth, int leastHeight);

/// Whether the user would find the window there: the middle of its upper edge, by which windows are
/// moved, is on one of the screens.
bool isInSight(const WindowPlace& place, const std::vector<ScreenArea>& screens);

}  // namespace relaybird
