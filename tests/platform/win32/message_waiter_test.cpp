// SPDX-License-Identifier: MIT
// A loop over the thread's messages. Time is virtual where it matters: a wait that would sleep
// moves the clock instead, and one that would sleep for ever is counted and ends the loop.
#include "platform/win32/message_waiter.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "platform/win32/object_handle.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

constexpr UINT kLetter = WM_APP + 1;

// A window without a screen that notes the letters it is sent.
class LetterWindow {
 public:
  LetterWindow() {
    WNDCLASSW kind{};
    kind.lpfnWndProc = take;
    kind.hInstance = ::GetModuleHandleW(nullptr);
    kind.lpszClassName = L"relaybird test letters";
    ::RegisterClassW(&kind);
    window_ = ::CreateWindowW(kind.lpszClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                              kind.hInstance, nullptr);
    ::SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  }
  ~LetterWindow() { ::DestroyWindow(window_); }
  LetterWindow(const LetterWindow&) = delete;
  LetterWindow& operator=(const LetterWindow&) = delete;

  bool post(char letter) {
    return ::PostMessageW(window_, kLetter, static_cast<WPARAM>(letter), 0) != 0;
  }

  std::string letters;
  std::function<void()> onLetter = [] {};

 private:
  static LRESULT CALLBACK take(HWND window, UINT message, WPARAM first, LPARAM second) {
    if (message == kLetter) {
      auto* const self =
          reinterpret_cast<LetterWindow*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
      self->letters += static_cast<char>(first);
      self->onLetter();
      return 0;
    }
    return ::DefWindowProcW(window, message, first, second);
  }

  HWND window_ = nullptr;
};

class MessageWaiterTest : public testing::Test {
 protected:
  MessageWaitCalls virtualCalls() {
    return {[this] { return now; },
            [this](HANDLE event, DWORD timeout) {
              timeouts.push_back(timeout);
              if (::MsgWaitForMultipleObjectsEx(1, &event, 0, QS_ALLINPUT, MWMO_INPUTAVAILABLE) !=
                  WAIT_TIMEOUT) {
                return;
              }
              if (timeout == INFINITE) {
                ++endlessWaits;
                loop.quit();
              } else {
                now += milliseconds(timeout);
              }
            }};
  }
  // Runs until the loop would wait for ever.
  void runToIdle() { loop.run(); }

  milliseconds now{0};
  std::vector<DWORD> timeouts;
  int endlessWaits = 0;
  std::string log;
  std::shared_ptr<MessageWaiter> waiter = std::make_shared<MessageWaiter>(virtualCalls());
  MainLoop loop{waiter};
};

TEST_F(MessageWaiterTest, ALimitIsTheTimeoutOfTheWait) {
  const auto timer = loop.makeTimer(25000ms, [&] { log += 't'; });
  timer->setEnabled(true);
  loop.runUntil([&] { return !log.empty(); });
  loop.processPending();
  timer->setEnabled(false);
  runToIdle();
  EXPECT_EQ(timeouts, (std::vector<DWORD>{25000, 0, INFINITE}));
}

TEST_F(MessageWaiterTest, AnEnormousLimitIsNotWithoutEnd) {
  waiter->wait(std::chrono::hours(24 * 365));
  waiter->wait(-5ms);
  EXPECT_EQ(timeouts, (std::vector<DWORD>{INFINITE - 1, 0}));
}

TEST_F(MessageWaiterTest, MessagesOfTheThreadsWindowsAreDispatched) {
  LetterWindow window;
  ASSERT_TRUE(window.post('a'));
  ASSERT_TRUE(window.post('b'));
  runToIdle();
  EXPECT_EQ(window.letters, "ab");
  EXPECT_EQ(endlessWaits, 1);
}

TEST_F(MessageWaiterTest, MessagesThatNobodyDispatchedAreOfferedAgain) {
  LetterWindow window;
  ASSERT_TRUE(window.post('a'));
  EXPECT_FALSE(waiter->wait(0ms).empty());
  EXPECT_EQ(window.letters, "");
  const auto again = waiter->wait(0ms);
  ASSERT_EQ(again.size(), 1u);
  again.front()();
  EXPECT_EQ(window.letters, "a");
  EXPECT_TRUE(waiter->wait(0ms).empty());
}

TEST_F(MessageWaiterTest, MessagesWithoutEndLeaveTheOthersTheirTurn) {
  LetterWindow window;
  window.onLetter = [&] { window.post('x'); };
  ASSERT_TRUE(window.post('x'));
  loop.post([&] { loop.post([&] { log += 'p'; }); });
  const auto timer = loop.makeTimer(10ms, [&] { log += 't'; });
  timer->setEnabled(true);
  int rounds = 0;
  loop.runUntil([&] {
    now += 1ms;
    return ++rounds > 30;
  });
  EXPECT_EQ(log.substr(0, 2), "pt");
}

TEST_F(MessageWaiterTest, AMessageToQuitDoesNotEndTheLoop) {
  LetterWindow window;
  ::PostQuitMessage(0);
  ASSERT_TRUE(window.post('a'));
  loop.runUntil([&] { return !window.letters.empty(); });
  runToIdle();
  EXPECT_EQ(window.letters, "a");
  EXPECT_EQ(endlessWaits, 1);
}

TEST_F(MessageWaiterTest, AWakeBeforeTheWaitEndsIt) {
  waiter->wake();
  waiter->wait(1000ms);
  EXPECT_EQ(now, 0ms);
  waiter->wait(1000ms);
  EXPECT_EQ(now, 1000ms);
}

TEST_F(MessageWaiterTest, AMessageInsideAMessageIsDispatchedByTheInnerLoop) {
  LetterWindow window;
  window.onLetter = [&] {
    if (window.letters == "a") {
      window.post('b');
      loop.runUntil([&] { return window.letters == "ab"; });
      log += "inner";
    }
  };
  ASSERT_TRUE(window.post('a'));
  runToIdle();
  EXPECT_EQ(log, "inner");
}

TEST(MessageWaiterThreads, APostFromAnotherThreadEndsAWaitWithoutEnd) {
  MainLoop loop(std::make_shared<MessageWaiter>());
  std::string log;
  std::thread other([&] {
    loop.post([&] {
      log += 'p';
      loop.quit();
    });
  });
  loop.run();
  other.join();
  EXPECT_EQ(log, "p");
}

TEST(MessageWaiterThreads, AMessageFromAnotherThreadEndsAWaitWithoutEnd) {
  MainLoop loop(std::make_shared<MessageWaiter>());
  LetterWindow window;
  std::thread other([&] { window.post('a'); });
  loop.runUntil([&] { return !window.letters.empty(); });
  other.join();
  EXPECT_EQ(window.letters, "a");
}

// Code of others, such as COM, looks into the queue and leaves the message there.
TEST(MessageWaiterThreads, AMessageThatWasSeenAndLeftEndsAWait) {
  const MessageWaitCalls calls = systemMessageWaitCalls();
  const ObjectHandle never(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
  LetterWindow window;
  ASSERT_TRUE(window.post('a'));
  MSG message{};
  ASSERT_TRUE(::PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE));
  ASSERT_NE(HIWORD(::GetQueueStatus(QS_ALLINPUT)), 0);
  const auto before = calls.steadyTime();
  calls.wait(never.get(), 20000);
  EXPECT_LT(calls.steadyTime() - before, 10s);
}

}  // namespace
}  // namespace relaybird
