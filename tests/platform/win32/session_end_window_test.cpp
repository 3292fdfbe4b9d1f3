// SPDX-License-Identifier: MIT
// The window is one without a screen here, which nobody but the test sends messages to.
#include "platform/win32/session_end_window.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <mutex>
#include <string>

#include "platform/win32/win32_text.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;

// Only for a failure.
constexpr DWORD kLimit = 20000;

class SessionEndWindowTest : public testing::Test {
 protected:
  void note(const std::string& word) {
    const std::lock_guard lock(mutex);
    log += word + " ";
  }
  std::string noted() {
    const std::lock_guard lock(mutex);
    return log;
  }
  SessionEndCalls calls() {
    return {HWND_MESSAGE, [this](HWND, const wchar_t* reason) { note(fromWide(reason)); },
            [this](HWND) { note("dropped"); }};
  }
  static HWND window() {
    return ::FindWindowExW(HWND_MESSAGE, nullptr, L"RelaybirdSessionEnd", nullptr);
  }
  static LRESULT send(UINT message, WPARAM word) {
    DWORD_PTR answer = 77;
    EXPECT_NE(::SendMessageTimeoutW(window(), message, word, 0, SMTO_NORMAL, kLimit, &answer), 0);
    return static_cast<LRESULT>(answer);
  }

  std::mutex mutex;
  std::string log;
  // Before the window, whose thread uses them.
  std::promise<void> told;
  std::atomic<bool> isTold = false;
  std::unique_ptr<SessionEndWindow> subject = std::make_unique<SessionEndWindow>(
      [this] {
        note("asked");
        if (!isTold.exchange(true)) {
          told.set_value();
        }
      },
      "reason", calls());
};

TEST_F(SessionEndWindowTest, TheQuestionIsAgreedToAndEndsNothing) {
  EXPECT_EQ(send(WM_QUERYENDSESSION, 0), TRUE);
  EXPECT_EQ(noted(), "");
}

TEST_F(SessionEndWindowTest, AnEndThatSomebodyElseHasRefusedEndsNothing) {
  EXPECT_EQ(send(WM_QUERYENDSESSION, 0), TRUE);
  EXPECT_EQ(send(WM_ENDSESSION, FALSE), 0);
  EXPECT_EQ(noted(), "");
}

TEST_F(SessionEndWindowTest, TheSystemWaitsUntilTheProgramHasSavedEverything) {
  auto answer = std::async(std::launch::async, [] { return send(WM_ENDSESSION, TRUE); });
  told.get_future().wait();
  EXPECT_EQ(answer.wait_for(0s), std::future_status::timeout);
  EXPECT_EQ(noted(), "reason asked ");
  note("saved");
  subject.reset();
  EXPECT_EQ(answer.get(), 0);
  EXPECT_EQ(noted(), "reason asked saved dropped ");
}

TEST_F(SessionEndWindowTest, ARequestToCloseEndsTheProgramOnceAndKeepsNobodyWaiting) {
  EXPECT_EQ(send(WM_CLOSE, 0), 0);
  EXPECT_EQ(send(WM_CLOSE, 0), 0);
  EXPECT_EQ(noted(), "asked ");
}

TEST_F(SessionEndWindowTest, NoWindowIsLeftBehind) {
  ASSERT_NE(window(), nullptr);
  subject.reset();
  EXPECT_EQ(window(), nullptr);
}

// As on a system without a screen. Whatever the system says, the program goes on.
TEST_F(SessionEndWindowTest, WithoutAWindowTheProgramGoesOnAndEnds) {
  subject.reset();
  SessionEndCalls none = calls();
  none.parent = reinterpret_cast<HWND>(0x7FFF0001);  // no window has it
  SessionEndWindow refused([] {}, "reason", none);
}

}  // namespace
}  // namespace relaybird
