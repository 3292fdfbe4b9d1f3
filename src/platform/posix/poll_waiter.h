// SPDX-License-Identifier: MIT
#pragma once

#include <poll.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "platform/main_loop.h"

namespace relaybird {

/// The system calls of a waiter, so that a test can make hours pass in no time.
struct PollCalls {
  std::function<std::chrono::milliseconds()> steadyTime;
  /// As ::poll, which it may call: waits until a descriptor is ready, a signal comes or `timeout`
  /// milliseconds are over; -1 waits without end.
  std::function<int(pollfd* descriptors, nfds_t count, int timeout)> poll;
};
/// The steady clock and ::poll.
PollCalls systemPollCalls();

/// Sleeps in poll(), and wakes for descriptors; watched_signals.h makes signals readable like one.
/// Throws std::system_error when the system has no file descriptors left to make it.
class PollWaiter : public EventWaiter {
 public:
  explicit PollWaiter(PollCalls calls = systemPollCalls());
  ~PollWaiter() override;
  PollWaiter(const PollWaiter&) = delete;
  PollWaiter& operator=(const PollWaiter&) = delete;

  std::chrono::milliseconds steadyTime() const override;
  std::vector<std::function<void()>> wait(std::optional<std::chrono::milliseconds> limit) override;
  void wake() override;

  /// Destroying it ends the watch; it may outlive the waiter.
  class Watch {
   public:
    virtual ~Watch() = default;
  };
  /// Has `onReadable` called by the loop whenever the descriptor is readable, at its end or broken.
  /// The callback must read or end the watch, else it is called again. The caller owns the
  /// descriptor and keeps it open while it is watched.
  std::unique_ptr<Watch> watchReadable(int descriptor, std::function<void()> onReadable);

  struct State;

 private:
  std::shared_ptr<State> state_;
};

}  // namespace relaybird
