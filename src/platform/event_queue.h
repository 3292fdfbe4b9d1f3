// SPDX-License-Identifier: MIT
// The user-interface thread's events: calls posted from anywhere, and timers.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace relaybird {

class EventQueue {
 public:
  virtual ~EventQueue() = default;
  /// Runs `event` later on the user-interface thread, in the order of posting, never inside this
  /// call. Any thread. An event still waiting when the queue is destroyed is dropped.
  virtual void post(std::function<void()> event) = 0;
};

/// A repeating timer. Its tick is called on the user-interface thread, one interval after the timer
/// was enabled and then every interval; of the ticks missed while the thread was busy one comes
/// late, the others are dropped. An interval of 0 never ticks. Destroying the timer ends it.
/// Made disabled. All calls from the user-interface thread.
class Timer {
 public:
  virtual ~Timer() = default;
  virtual void setInterval(std::chrono::milliseconds interval) = 0;
  virtual void setEnabled(bool enabled) = 0;
  virtual bool enabled() const = 0;
};

class TimerMaker {
 public:
  virtual ~TimerMaker() = default;
  virtual std::unique_ptr<Timer> makeTimer(std::chrono::milliseconds interval,
                                           std::function<void()> tick) = 0;
};

}  // namespace relaybird
