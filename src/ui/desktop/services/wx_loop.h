// SPDX-License-Identifier: MIT
// The program's event queue, timers, screen and clipboard, implemented by the toolkit.
#pragma once

#include <functional>
#include <memory>

#include "platform/event_queue.h"
#include "ui/forms/form_world.h"

namespace relaybird::desktop {

/// post() may be called on any thread, everything else on the user-interface thread only.
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

/// Ends the program's main loop. Called within the loop of a modal box, it takes effect as soon as
/// the box has returned. Does nothing if no main loop runs.
void endMainLoop();

class WxScreen : public Screen {
 public:
  /// `onEnd` ends the toolkit's loop. It may be called within any event.
  explicit WxScreen(std::function<void()> onEnd);

  void repaint() override;
  void processPendingEvents() override;
  void endProgram() override { onEnd_(); }
  bool canMinimise() const override;
  std::int32_t textWidth(const std::string& text) const override;

 private:
  std::function<void()> onEnd_;
};

/// The desktop's clipboard. Its text survives the end of the program if the desktop runs a
/// clipboard manager.
class WxClipboard : public Clipboard {
 public:
  Result<void> setText(const std::string& text) override;
};

}  // namespace relaybird::desktop
