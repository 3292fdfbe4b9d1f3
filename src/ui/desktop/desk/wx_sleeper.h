// SPDX-License-Identifier: MIT
// The pause of a check, in which the windows stay painted and answer.
#pragma once

#include <wx/event.h>

#include <functional>

#include "platform/clock.h"

namespace relaybird::desktop {

/// Runs events while it sleeps. The check that pauses is still on the stack, and would wait for the
/// answer to any box that came up meanwhile: what may ask the user something is kept until the
/// pause is over (keptBack).
class WxSleeper : public Sleeper {
 public:
  /// `over` ends a sleep early; it is asked after every event.
  explicit WxSleeper(std::function<bool()> over) : over_(std::move(over)) {}
  void sleep(std::chrono::milliseconds duration) override;

  /// Whether a sleep is going on, within which this is called.
  static bool sleeping();
  /// Runs the action as an event of the handler once the sleep that is going on has ended, unless
  /// the handler is gone by then.
  static void afterwards(wxEvtHandler& handler, std::function<void()> action);

 private:
  std::function<bool()> over_;
};

}  // namespace relaybird::desktop
