// SPDX-License-Identifier: MIT
// The pause inside a check, during which the windows are painted and take input.
#pragma once

#include <wx/event.h>

#include <functional>
#include <memory>

#include "platform/clock.h"

namespace relaybird::desktop {

/// Runs events while it sleeps. The pausing check is still on the stack, so a box opened by such an
/// event would block it until the box is answered. Input that may open a box is therefore deferred
/// until the check has ended (afterCheck). On the user-interface thread.
class WxSleeper : public Sleeper {
 public:
  /// `interrupted` returns whether to end a sleep early; it is called after every event.
  /// `checkRuns` returns whether a check is on the stack.
  WxSleeper(std::function<bool()> interrupted, std::function<bool()> checkRuns);
  ~WxSleeper() override;
  void sleep(std::chrono::milliseconds duration) override;
  /// Runs the events that are due, as in a sleep, and returns. For a caller that waits for
  /// something else than time.
  void runPendingEvents();

  /// Whether this is called within a sleep, that is, by an event that the sleep runs.
  static bool sleeping();
  /// Runs the action as an event of the handler once the sleeping check has ended, and not within a
  /// later step of it that runs events. Dropped if the handler is destroyed by then. Call it only
  /// within a sleep.
  static void afterCheck(wxEvtHandler& handler, std::function<void()> action);

 private:
  class DeferredInput;

  std::function<bool()> interrupted_;
  std::function<bool()> checkRuns_;
  /// Created by the first deferred action, because its timer needs a running application.
  mutable std::unique_ptr<DeferredInput> deferred_;
};

}  // namespace relaybird::desktop
