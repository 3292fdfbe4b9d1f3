// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <span>
#include <utility>

#include "platform/clock.h"

namespace relaybird {

/// Waits until the object is signalled or the time is over; true when it is signalled. On a thread
/// with a COM apartment of its own the calls that others make to its objects are served meanwhile,
/// which may run events of the mail application. Other messages, such as the user's clicks, wait.
bool waitServingCalls(HANDLE object, std::chrono::milliseconds limit);
/// The same without a limit, until one of at most 60 objects is signalled: the index of the first
/// one that is. Another number when the system cannot wait for them.
std::size_t waitServingCallsForAny(std::span<HANDLE> objects);

/// Sleeps in waitServingCalls(): an application whose event is not taken stands still itself.
/// Nothing for a negative duration. Any thread.
class ServingSleeper : public Sleeper {
 public:
  using Wait = std::function<bool(HANDLE object, std::chrono::milliseconds limit)>;
  /// Another wait than the system's is for tests. The sleep lasts its time if it ends early.
  explicit ServingSleeper(Wait wait = waitServingCalls) : wait_(std::move(wait)) {}
  void sleep(std::chrono::milliseconds duration) override;

 private:
  Wait wait_;
};

}  // namespace relaybird
