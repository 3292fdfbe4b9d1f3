// SPDX-License-Identifier: MIT
// The user-interface thread of programs without a toolkit: posted events, timers and file
// descriptors (signals among them, watched_signals.h), one at a time, asleep in between.
#pragma once

#include <poll.h>

#include <chrono>
#include <functional>
#include <memory>

#include "platform/event_queue.h"

namespace relaybird {

/// The system calls of a loop, so that a test can make hours pass in no time.
struct MainLoopSystem {
  /// The time for timers, counted from any fixed moment; never jumps.
  std::function<std::chrono::milliseconds()> steadyTime;
  /// As ::poll, which it may call: waits until a descriptor is ready, a signal comes or `timeout`
  /// milliseconds are over; -1 waits without end.
  std::function<int(pollfd* descriptors, nfds_t count, int timeout)> poll;
};
/// The steady clock and ::poll.
MainLoopSystem posixMainLoopSystem();

/// Made and run by one thread; only post() and quit() may be called from others. Timers and watches
/// may be destroyed after the loop, and are then silent.
/// Throws std::system_error when the system has no file descriptors left to make it.
class MainLoop : public EventQueue, public TimerMaker {
 public:
  explicit MainLoop(MainLoopSystem system = posixMainLoopSystem());
  ~MainLoop() override;
  MainLoop(const MainLoop&) = delete;
  MainLoop& operator=(const MainLoop&) = delete;

  /// Any thread, also while no loop runs. Wakes a sleeping loop.
  void post(std::function<void()> event) override;
  std::unique_ptr<Timer> makeTimer(std::chrono::milliseconds interval,
                                   std::function<void()> tick) override;

  /// Destroying it ends the watch.
  class Watch {
   public:
    virtual ~Watch() = default;
  };
  /// Calls `onReadable` whenever the descriptor is readable, at its end or broken. The callback
  /// must read or end the watch, else it is called again. The caller owns the descriptor and keeps
  /// it open while it is watched.
  std::unique_ptr<Watch> watchReadable(int descriptor, std::function<void()> onReadable);

  /// Runs until quit().
  void run();
  /// Runs until `done` returns true, which is checked first and after every event, or until quit().
  /// Returns the result of `done`. An event may call it; events then run inside that event.
  bool runUntil(const std::function<bool()>& done);
  /// Runs what is due, without waiting: events posted before this call, due timers, readable
  /// descriptors. An event may call it.
  void processPending();
  /// Ends every active run() and runUntil(), including nested ones, after their current events. If
  /// none is active, the next one returns at once. Any thread.
  void quit();

  struct State;

 private:
  std::shared_ptr<State> state_;
};

}  // namespace relaybird
