// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

#include "platform/main_loop.h"
#include "platform/win32/object_handle.h"

namespace relaybird {

/// The system calls of a waiter, so that a test can make hours pass in no time.
struct MessageWaitCalls {
  std::function<std::chrono::milliseconds()> steadyTime;
  /// Waits until the event is set, the thread has a message, or `milliseconds` are over; INFINITE
  /// is without end.
  std::function<void(HANDLE event, DWORD milliseconds)> wait;
};
/// The steady clock and MsgWaitForMultipleObjectsEx.
MessageWaitCalls systemMessageWaitCalls();

/// Sleeps until the thread gets a message, which is then dispatched. COM needs that: the calls and
/// events of other processes come to this thread as messages of a hidden window. Throws
/// std::system_error when the system has no event object left to make it.
class MessageWaiter : public EventWaiter {
 public:
  explicit MessageWaiter(MessageWaitCalls calls = systemMessageWaitCalls());

  std::chrono::milliseconds steadyTime() const override;
  std::vector<std::function<void()>> wait(std::optional<std::chrono::milliseconds> limit) override;
  void wake() override;

 private:
  MessageWaitCalls calls_;
  ObjectHandle wake_;
};

}  // namespace relaybird
