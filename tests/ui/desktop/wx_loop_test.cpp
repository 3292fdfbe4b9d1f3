// SPDX-License-Identifier: MIT
// Runs the toolkit's event loop without a display. Checks that an exception in a timer or an event
// does not end the program, that deferred input waits for the end of the check, and that the
// program can end from within any loop.
#include "ui/desktop/services/wx_loop.h"

#include <gtest/gtest.h>
#include <wx/app.h>
#include <wx/apptrait.h>
#include <wx/evtloop.h>
#include <wx/init.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ui/desktop/services/wx_sleeper.h"

namespace relaybird::desktop {
namespace {

// Counts the exceptions that reach the application.
class CountingApp : public wxAppConsole {
 public:
  bool OnExceptionInMainLoop() override {
    try {
      throw;
    } catch (const std::runtime_error&) {
      ++faults;
      onFault();
    }
    return true;
  }
  int faults = 0;
  std::function<void()> onFault = [] {};
};

class WxLoopTest : public testing::Test {
 protected:
  WxLoopTest() {
    wxApp::SetInstance(app_);
    int argc = 0;
    started_ = wxEntryStart(argc, static_cast<wxChar**>(nullptr));
  }
  ~WxLoopTest() override { wxEntryCleanup(); }

  // Runs the loop until `done` returns true; it is called after each event.
  void runUntil(const std::function<bool()>& done) {
    std::unique_ptr<wxEventLoopBase> loop(app_->GetTraits()->CreateEventLoop());
    const wxEventLoopActivator active(loop.get());
    while (!done()) {
      app_->ProcessPendingEvents();
      loop->DispatchTimeout(1);
    }
  }

  CountingApp* app_ = new CountingApp;  // owned by the toolkit once it is the instance
  bool started_ = false;
};

TEST_F(WxLoopTest, ATimerThatThrowsContinues) {
  ASSERT_TRUE(started_);
  WxLoop loop;
  int ticks = 0;
  const auto timer = loop.makeTimer(std::chrono::milliseconds{1}, [&] {
    ++ticks;
    throw std::runtime_error("broken");
  });
  timer->setEnabled(true);
  runUntil([&] { return app_->faults >= 3; });
  EXPECT_GE(ticks, app_->faults);
}

// The application opens a box for an exception, and a timer does not tick again before its tick has
// returned.
TEST_F(WxLoopTest, AnExceptionOfATimerIsReportedAfterItsTick) {
  ASSERT_TRUE(started_);
  WxLoop loop;
  std::vector<std::string> order;
  app_->onFault = [&] { order.emplace_back("told"); };
  std::unique_ptr<Timer> timer = loop.makeTimer(std::chrono::milliseconds{1}, [&] {
    timer->setEnabled(false);
    loop.post([&] { order.emplace_back("an event of the tick"); });
    throw std::runtime_error("broken");
  });
  timer->setEnabled(true);
  runUntil([&] { return order.size() >= 2; });
  EXPECT_EQ(order, (std::vector<std::string>{"an event of the tick", "told"}));
}

TEST_F(WxLoopTest, AnEventThatThrowsDoesNotAffectLaterEvents) {
  ASSERT_TRUE(started_);
  WxLoop loop;
  std::vector<int> order;
  loop.post([&] {
    order.push_back(1);
    throw std::runtime_error("broken");
  });
  loop.post([&] { order.push_back(2); });
  runUntil([&] { return order.size() >= 2 && app_->faults > 0; });
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
  EXPECT_EQ(app_->faults, 1);
}

TEST_F(WxLoopTest, EventsOfADestroyedLoopAreDropped) {
  ASSERT_TRUE(started_);
  bool ran = false;
  {
    WxLoop gone;
    gone.post([&] { ran = true; });
  }
  WxLoop loop;
  bool after = false;
  loop.post([&] { after = true; });
  runUntil([&] { return after; });
  EXPECT_FALSE(ran);
}

// A check paused in the loop of a box when the program was told to end. The toolkit ignored that,
// and the program went on after the box had closed.
TEST_F(WxLoopTest, EndingFromTheLoopOfABoxEndsTheMainLoopToo) {
  ASSERT_TRUE(started_);
  WxLoop loop;
  bool ended = true;
  // Ends the main loop if the tested call does not.
  const auto watchdog = loop.makeTimer(std::chrono::milliseconds{20}, [&] {
    ended = false;
    app_->ExitMainLoop();
  });
  loop.post([&] {
    const std::unique_ptr<wxEventLoopBase> box(app_->GetTraits()->CreateEventLoop());
    loop.post([&] { box->Yield(true); });  // the pause
    loop.post([&] {
      box->Exit();
      endMainLoop();
    });
    box->Run();
    watchdog->setEnabled(true);
  });
  app_->MainLoop();
  EXPECT_TRUE(ended);
}

class DeferredInputTest : public WxLoopTest {
 protected:
  // Defers a click in the pause of a check.
  void deferInPause() {
    sleeper_ = std::make_unique<WxSleeper>(
        [this] {
          WxSleeper::afterCheck(*app_, [this] { delivered_ = true; });
          return true;
        },
        [this] { return checkRuns_(); });
    sleeper_->sleep(std::chrono::hours{1});
  }
  // Long enough for several polls for the end of the check.
  void runAWhile() {
    WxLoop loop;
    int ticks = 0;
    const auto timer = loop.makeTimer(std::chrono::milliseconds{10}, [&] { ++ticks; });
    timer->setEnabled(true);
    runUntil([&] { return ticks >= 4; });
  }

  std::unique_ptr<WxSleeper> sleeper_;
  std::function<bool()> checkRuns_ = [] { return true; };
  bool delivered_ = false;
};

// A store that waits for its server calls this again and again, with the check on the stack.
TEST_F(DeferredInputTest, EventsThatRunWhileAStoreWaitsDeferClicksToo) {
  ASSERT_TRUE(started_);
  WxLoop loop;
  WxSleeper sleeper([] { return false; }, [this] { return checkRuns_(); });
  bool ran = false;
  bool called = false;
  loop.post([&] {
    loop.post([&] {
      ran = WxSleeper::sleeping();
      WxSleeper::afterCheck(*app_, [this] { delivered_ = true; });
    });
    sleeper.runPendingEvents();
    EXPECT_TRUE(ran);
    EXPECT_FALSE(WxSleeper::sleeping());
    called = true;
  });
  runUntil([&] { return called; });
  runAWhile();
  EXPECT_FALSE(delivered_);
  checkRuns_ = [] { return false; };
  runUntil([this] { return delivered_; });
}

// After the pause the synchronisation updates the status line, which runs events. A box that opened
// there blocked the check.
TEST_F(DeferredInputTest, ADeferredClickWaitsForTheEndOfTheCheck) {
  ASSERT_TRUE(started_);
  deferInPause();
  runAWhile();
  EXPECT_FALSE(delivered_);
  checkRuns_ = [] { return false; };
  runUntil([this] { return delivered_; });
}

TEST_F(DeferredInputTest, ADeferredClickWaitsWhileTheLoopYields) {
  ASSERT_TRUE(started_);
  WxLoop loop;
  bool yielded = false;
  // Posted before the click, so that this event comes first.
  bool asked = false;
  checkRuns_ = [&] {
    if (!std::exchange(asked, true)) {
      loop.post([&] {
        wxEventLoopBase::GetActive()->Yield(true);
        EXPECT_FALSE(delivered_);
        yielded = true;
      });
    }
    return false;
  };
  deferInPause();
  runUntil([&] { return yielded && delivered_; });
}

TEST_F(DeferredInputTest, AClickIsDeferredAgainWhenAnotherCheckHasStarted) {
  ASSERT_TRUE(started_);
  bool looked = false;
  checkRuns_ = [&] { return std::exchange(looked, true); };
  deferInPause();
  runAWhile();
  EXPECT_TRUE(looked);
  EXPECT_FALSE(delivered_);
}
}  // namespace
}  // namespace relaybird::desktop
