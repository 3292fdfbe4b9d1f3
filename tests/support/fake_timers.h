// SPDX-License-Identifier: MIT
// The user-interface thread's timers and event queue, ticked and run by the test.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>

#include "platform/event_queue.h"
#include "support/fake_clock.h"

namespace relaybird {

/// Makes timers that tick only inside advance(). Must outlive its timers.
class FakeTimers : public TimerMaker {
 public:
  explicit FakeTimers(FakeClock& clock) : clock_(clock) {}

  std::unique_ptr<Timer> makeTimer(std::chrono::milliseconds interval,
                                   std::function<void()> tick) override;

  /// Moves the clock by `duration`, stopping at every tick on the way; timers due together tick in
  /// the order in which they were enabled. A tick may sleep on the clock, and may enable, disable,
  /// make or destroy timers, its own included. What fell due while a tick slept ticks late and
  /// once.
  void advance(std::chrono::microseconds duration);

  /// Timers that are enabled now.
  std::size_t enabledCount() const;

 private:
  struct State;
  class FakeTimer;

  std::shared_ptr<State> earliestDue(std::chrono::microseconds limit) const;

  FakeClock& clock_;
  std::list<std::shared_ptr<State>> states_;
  std::uint64_t nextTurn_ = 0;
};

/// Runs posted events when the test asks for it.
class FakeEventQueue : public EventQueue {
 public:
  void post(std::function<void()> event) override;

  /// Runs the events that wait at the time of the call, in order, and returns their number; events
  /// that they post wait for the next call. An event may call it too.
  std::size_t runPending();
  /// Runs events until none waits, at most `limit` of them, because an event may post itself
  /// forever.
  std::size_t runUntilIdle(std::size_t limit = 10000);
  std::size_t waiting() const;

 private:
  bool runOne();

  mutable std::mutex mutex_;
  std::deque<std::function<void()>> events_;
};

}  // namespace relaybird
