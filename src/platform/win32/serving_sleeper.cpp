// SPDX-License-Identifier: MIT
#include "platform/win32/serving_sleeper.h"

#include <objbase.h>

#include <algorithm>
#include <cstdint>

#include "platform/win32/object_handle.h"

namespace relaybird {
namespace {

using std::chrono::milliseconds;

// Less than INFINITE, which would be another question.
constexpr std::int64_t kLongestWait = INFINITE - 1;

DWORD until(milliseconds end) {
  return static_cast<DWORD>(
      std::clamp<std::int64_t>((end - steadyTime()).count(), 0, kLongestWait));
}

}  // namespace

// COM's own wait, as in an outgoing call: it knows which messages are calls.
bool waitServingCalls(HANDLE object, milliseconds limit) {
  const milliseconds end = steadyTime() + std::max(limit, milliseconds(0));
  DWORD index = 0;
  HRESULT result = ::CoWaitForMultipleHandles(COWAIT_DEFAULT, until(end), 1, &object, &index);
  // A thread without COM has no calls to serve.
  if (FAILED(result) && result != RPC_S_CALLPENDING) {
    result = ::WaitForSingleObject(object, until(end)) == WAIT_OBJECT_0 ? S_OK : RPC_S_CALLPENDING;
  }
  return SUCCEEDED(result);
}

std::size_t waitServingCallsForAny(std::span<HANDLE> objects) {
  const auto count = static_cast<DWORD>(objects.size());
  DWORD index = 0;
  // It fails on a thread without COM, and early on one that is told to quit.
  if (FAILED(::CoWaitForMultipleHandles(COWAIT_DEFAULT, INFINITE, count, objects.data(), &index))) {
    index = ::WaitForMultipleObjects(count, objects.data(), FALSE, INFINITE) - WAIT_OBJECT_0;
  }
  return index;
}

void ServingSleeper::sleep(milliseconds duration) {
  const milliseconds end = steadyTime() + duration;
  // Nobody sets it.
  const ObjectHandle never(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (never) {
    (void)wait_(never.get(), duration);
  }
  // What is left when COM has ended the wait early, as for a thread that is told to quit.
  ::Sleep(until(end));
}

}  // namespace relaybird
