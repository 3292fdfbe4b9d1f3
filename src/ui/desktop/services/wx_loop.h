// SPDX-License-Identifier: MIT
// The toolkit's event loop as the program's timers and event queue, its screen and its clipboard.
#pragma once

#include <functional>
#include <memory>

#include "platform/event_queue.h"
#include "ui/forms/form_world.h"

namespace relaybird::desktop {

/// Any thread may post; everything else on the thread of the user interface.
class WxLoop : public EventQueue, public TimerMaker {
 public:
  WxLoop();
  ~WxLoop() override;

  void post(std::function<void()> event) override;
  std::unique_ptr<Timer> makeTimer(std::chrono::milliseconds interval,
                                   std::function<void()> tick) override;

 private:
  class Queue;
  std::shared_ptr<Queue> queue_;
};

/// Ends the program's main loop. Within the loop of a box, which ends first, the main loop ends as
/// soon as the box has returned. Nothing where no main loop runs.
void endMainLoop();

class WxScreen : public Screen {
 public:
  /// `onEnd` ends the toolkit's loop; it may be called within any event.
  explicit WxScreen(std::function<void()> onEnd);

  void repaint() override;
  void processPendingEvents() override;
  void endProgram() override { onEnd_(); }
  bool canMinimise() const override;
  std::int32_t textWidth(const std::string& text) const override;

 private:
  std::function<void()> onEnd_;
};

/// The desktop's clipboard. What was put there stays when the program ends, where the desktop can
/// keep it.
class WxClipboard : public Clipboard {
 public:
  Result<void> setText(const std::string& text) override;
};

}  // namespace relaybird::desktop
