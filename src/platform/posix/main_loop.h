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

/// What a loop lives on, so that a test can let hours go by in no time.
struct MainLoopSystem {
  /// The time that timers run by, counted from any fixed moment; never jumps.
  std::function<std::chrono::milliseconds()> steadyTime;
  /// As ::poll, which it may call: waits until a descriptor is ready, a signal comes or `timeout`
  /// milliseconds are over; -1 waits without end.
  std::function<int(pollfd* descriptors, nfds_t count, int timeout)> poll;
};
/// The steady clock and ::poll.
MainLoopSystem posixMainLoopSystem();

/// Made and run by one thread, from which everything but post() and quit() is called. Timers and
/// watches hold on to what they need: they may be destroyed after the loop, and are then silent.
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
  /// Calls `onReadable` whenever the descriptor has something to read, has ended or is broken. It
  /// must read, or end the watch: it is called again for as long as that holds. The descriptor
  /// stays the caller's, and must stay open while watched.
  std::unique_ptr<Watch> watchReadable(int descriptor, std::function<void()> onReadable);

  /// Runs until quit().
  void run();
  /// Runs until `done` says so, asked first and after every event, or quit(). Returns what `done`
  /// says. An event may call it: events go on being run inside.
  bool runUntil(const std::function<bool()>& done);
  /// Runs what is due now without waiting: the events posted before this call, due timers, readable
  /// descriptors. An event may call it.
  void processPending();
  /// Ends every run() and runUntil() that runs now, one inside another included, each after the
  /// event that it is in. Where none runs, the next one returns at once. Any thread.
  void quit();

  struct State;

 private:
  std::shared_ptr<State> state_;
};

}  // namespace relaybird
