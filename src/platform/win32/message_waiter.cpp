// SPDX-License-Identifier: MIT
// An event object wakes the wait when another thread posts. Messages stay in the thread's queue
// until the loop makes the call that dispatches them, so that a loop that ends loses none.
#include "platform/win32/message_waiter.h"

#include <algorithm>
#include <cstdint>
#include <system_error>
#include <utility>

#include "platform/clock.h"

namespace relaybird {
namespace {

using std::chrono::milliseconds;

// A window that posts messages to itself without end must not keep timers and posted events from
// their turn.
constexpr int kMostAtOnce = 64;

DWORD timeoutOf(std::optional<milliseconds> limit) {
  if (!limit) {
    return INFINITE;
  }
  return static_cast<DWORD>(std::clamp<std::int64_t>(limit->count(), 0, INFINITE - 1));
}

bool messageWaits() {
  MSG message;
  return ::PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE) != 0;
}

// WM_QUIT is dropped: it would end a toolkit's loop, and this program's loop is ended by quit().
void dispatchMessages() {
  MSG message;
  for (int left = kMostAtOnce; left > 0 && ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);
       --left) {
    if (message.message != WM_QUIT) {
      ::TranslateMessage(&message);
      ::DispatchMessageW(&message);
    }
  }
}

}  // namespace

// MWMO_INPUTAVAILABLE: a message that an earlier look has seen and left ends the wait as well.
MessageWaitCalls systemMessageWaitCalls() {
  return {relaybird::steadyTime, [](HANDLE event, DWORD milliseconds) {
            ::MsgWaitForMultipleObjectsEx(1, &event, milliseconds, QS_ALLINPUT,
                                          MWMO_INPUTAVAILABLE);
          }};
}

MessageWaiter::MessageWaiter(MessageWaitCalls calls)
    : calls_(std::move(calls)), wake_(::CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
  if (!wake_) {
    throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(),
                            "CreateEvent");
  }
}

milliseconds MessageWaiter::steadyTime() const {
  return calls_.steadyTime();
}

void MessageWaiter::wake() {
  ::SetEvent(wake_.get());
}

std::vector<std::function<void()>> MessageWaiter::wait(std::optional<milliseconds> limit) {
  calls_.wait(wake_.get(), timeoutOf(limit));
  if (messageWaits()) {
    return {dispatchMessages};
  }
  return {};
}

}  // namespace relaybird
