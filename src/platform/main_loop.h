// SPDX-License-Identifier: MIT
// The user-interface thread of programs without a toolkit: posted events, timers, and what the
// system has for the program, one at a time, asleep in between. The loop is the same on every
// system; how it sleeps, and what the system can wake it with (input, signals, the events of a
// console window), is behind EventWaiter.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "platform/event_queue.h"

namespace relaybird {

/// How a loop sleeps, and what wakes it. Apart from wake(), used by the loop's thread alone.
class EventWaiter {
 public:
  virtual ~EventWaiter() = default;
  /// The time for timers, counted from any fixed moment; never jumps.
  virtual std::chrono::milliseconds steadyTime() const = 0;
  /// Waits until wake() was called, something has come from the system, or the time is over; not
  /// at all for zero, without end for none. May return early. Returns the calls that serve what has
  /// come, which the loop makes one after the other. Each must do nothing where an earlier one has
  /// made it pointless. A loop that ends drops the rest, and the next wait must offer them again.
  virtual std::vector<std::function<void()>> wait(
      std::optional<std::chrono::milliseconds> limit) = 0;
  /// Ends the wait that is running, or else the next one. Any thread.
  virtual void wake() = 0;
};

/// Made and run by one thread; only post() and quit() may be called from others. Timers may be
/// destroyed after the loop, and are then silent.
class MainLoop : public EventQueue, public TimerMaker {
 public:
  explicit MainLoop(std::shared_ptr<EventWaiter> waiter);
  ~MainLoop() override;
  MainLoop(const MainLoop&) = delete;
  MainLoop& operator=(const MainLoop&) = delete;

  /// Any thread, also while no loop runs. Wakes a sleeping loop.
  void post(std::function<void()> event) override;
  std::unique_ptr<Timer> makeTimer(std::chrono::milliseconds interval,
                                   std::function<void()> tick) override;

  /// Runs until quit().
  void run();
  /// Runs until `done` returns true, which is checked first and after every event, or until quit().
  /// Returns the result of `done`. An event may call it; events then run inside that event.
  bool runUntil(const std::function<bool()>& done);
  /// Runs what is due, without waiting: events posted before this call, due timers, what has come
  /// from the system. An event may call it.
  void processPending();
  /// Ends every active run() and runUntil(), including nested ones, after their current events. If
  /// none is active, the next one returns at once. Any thread.
  void quit();

  struct State;

 private:
  std::shared_ptr<State> state_;
};

}  // namespace relaybird
