// SPDX-License-Identifier: MIT
// The pause of a check, in which the windows stay painted and answer.
#pragma once

#include <wx/event.h>

#include <functional>
#include <memory>

#include "platform/clock.h"

namespace relaybird::desktop {

/// Runs events while it sleeps. The check that pauses is still on the stack, and would wait for the
/// answer to any box that came up meanwhile: what may ask the user something is kept until the
/// check has ended (afterCheck).
class WxSleeper : public Sleeper {
 public:
  /// `over` ends a sleep early; it is asked after every event. `checkRuns` says whether a check is
  /// on the stack. Both are called on the thread of the user interface.
  WxSleeper(std::function<bool()> over, std::function<bool()> checkRuns);
  ~WxSleeper() override;
  void sleep(std::chrono::milliseconds duration) override;

  /// Whether a sleep is going on, within which this is called.
  static bool sleeping();
  /// To be called while a sleep is going on. Runs the action as an event of the handler once the
  /// check that sleeps has ended: not within a later step of it that lets events run. Dropped when
  /// the handler is gone by then.
  static void afterCheck(wxEvtHandler& handler, std::function<void()> action);

 private:
  class KeptInput;

  std::function<bool()> over_;
  std::function<bool()> checkRuns_;
  /// Made by the first call that keeps something: its timer needs a running application.
  mutable std::unique_ptr<KeptInput> keptInput_;
};

}  // namespace relaybird::desktop
