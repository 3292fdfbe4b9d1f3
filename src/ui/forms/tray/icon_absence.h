// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "platform/event_queue.h"

namespace relaybird {

/// What a look at the desktop's notification area finds.
enum class IconArea {
  kShown,
  kGone,
  kHeldBack,  ///< gone for a while that the desktop knows the end of: the screen is locked
};

/// Decides when icons have been away for too long: a panel that crashes or is exchanged is back
/// within ten seconds and takes in the icons that it finds. Time in which they are held back does
/// not count. On the user-interface thread; nothing ticks while icons are shown.
class IconAbsence {
 public:
  /// `look` looks once more and reports by seen(), after it has returned; it is asked every second
  /// while icons are gone, as not every desktop tells when they are back, and every minute while
  /// they are held back. `lost` is called once, from within seen(), and may end this object.
  /// `timers` must outlive this.
  IconAbsence(TimerMaker& timers, std::function<void()> look, std::function<void()> lost);

  /// What is so now, also unasked.
  void seen(IconArea area);

 private:
  void tick();
  void lookAgainIn(std::chrono::milliseconds interval);

  std::function<void()> look_;
  std::function<void()> lost_;
  IconArea last_ = IconArea::kShown;
  int secondsGone_ = 0;
  std::unique_ptr<Timer> timer_;
};

}  // namespace relaybird
