// SPDX-License-Identifier: MIT
// Waiting on a thread with objects that other threads call, as the mail application calls the
// program's event sink. The waits end when the call has come; their limits are only for a failure.
#include "platform/win32/serving_sleeper.h"

#include <gtest/gtest.h>
#include <objbase.h>

#include <thread>

#include "platform/win32/object_handle.h"
#include "support/served_call.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;

ObjectHandle newEvent() {
  return ObjectHandle(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

TEST_F(ServedCall, OfAnotherThreadReturnsWhileThisOneWaits) {
  EXPECT_TRUE(waitServingCalls(sink().called(), 60s));
  EXPECT_TRUE(waitServingCalls(returned(), 60s));
  EXPECT_EQ(result(), S_OK);
  EXPECT_EQ(sink().calledOn, ::GetCurrentThreadId());
}

TEST_F(ServedCall, OfAnotherThreadReturnsWhileThisOneWaitsForOneOfSeveral) {
  const ObjectHandle never = newEvent();
  HANDLE both[] = {never.get(), returned()};
  EXPECT_EQ(waitServingCallsForAny(both), 1u);
  EXPECT_EQ(result(), S_OK);
  EXPECT_EQ(sink().calledOn, ::GetCurrentThreadId());
}

// Sleeps until it has come, a little each time: a sleep always lasts its time.
TEST_F(ServedCall, OfAnotherThreadReturnsWhileThisOneSleeps) {
  ServingSleeper sleeper;
  const auto limit = steadyTime() + 20s;
  while (!done() && steadyTime() < limit) {
    sleeper.sleep(1ms);
  }
  EXPECT_EQ(result(), S_OK);
  EXPECT_EQ(sink().calledOn, ::GetCurrentThreadId());
}

TEST(ServingSleeperTest, AThreadWithoutComWaitsToo) {
  const ObjectHandle event = newEvent();
  EXPECT_FALSE(waitServingCalls(event.get(), 0ms));
  EXPECT_FALSE(waitServingCalls(event.get(), -1ms));
  ::SetEvent(event.get());
  EXPECT_TRUE(waitServingCalls(event.get(), 60s));
  const ObjectHandle other = newEvent();
  HANDLE both[] = {other.get(), event.get()};
  EXPECT_EQ(waitServingCallsForAny(both), 1u);
  ::SetEvent(other.get());
  EXPECT_EQ(waitServingCallsForAny(both), 0u);
}

TEST(ServingSleeperTest, AWaitForOneOfSeveralLastsAlsoForAThreadThatIsToldToQuit) {
  ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
  ::PostQuitMessage(0);
  const ObjectHandle never = newEvent();
  const ObjectHandle set = newEvent();
  std::thread setter([&] {
    ::Sleep(20);
    ::SetEvent(set.get());
  });
  HANDLE both[] = {never.get(), set.get()};
  EXPECT_EQ(waitServingCallsForAny(both), 1u);
  setter.join();
  MSG message{};
  while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
  }
  ::CoUninitialize();
}

TEST(ServingSleeperTest, ClicksAndOtherMessagesWait) {
  ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
  ASSERT_TRUE(::PostThreadMessageW(::GetCurrentThreadId(), WM_APP + 7, 0, 0));
  const ObjectHandle never = newEvent();
  EXPECT_FALSE(waitServingCalls(never.get(), 1ms));
  MSG message{};
  EXPECT_TRUE(::PeekMessageW(&message, nullptr, WM_APP + 7, WM_APP + 7, PM_REMOVE));
  EXPECT_EQ(message.message, static_cast<UINT>(WM_APP + 7));
  ::CoUninitialize();
}

// As Windows does for a thread that is told to quit, and Wine does not.
TEST(ServingSleeperTest, ASleepLastsItsTimeWhereTheWaitEndsEarly) {
  ServingSleeper sleeper([](HANDLE, std::chrono::milliseconds) { return false; });
  const auto before = steadyTime();
  sleeper.sleep(20ms);
  EXPECT_GE(steadyTime() - before, 19ms);
}

TEST(ServingSleeperTest, ASleepLastsItsTimeAlsoForAThreadThatIsToldToQuit) {
  ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
  ServingSleeper sleeper;
  sleeper.sleep(-1ms);
  ::PostQuitMessage(0);
  const auto before = steadyTime();
  sleeper.sleep(20ms);
  EXPECT_GE(steadyTime() - before, 19ms);
  MSG message{};
  while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
  }
  ::CoUninitialize();
}

}  // namespace
}  // namespace relaybird
