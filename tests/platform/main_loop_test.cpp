// SPDX-License-Identifier: MIT
// The loop in virtual time, apart from the system that it sleeps in.
#include "platform/main_loop.h"

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/fake_waiter.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using Limits = std::vector<FakeWaiter::Limit>;

class MainLoopTest : public testing::Test {
 protected:
  MainLoopTest() {
    waiter->onEndlessWait = [this] { loop->quit(); };
  }
  // Runs until the loop would wait forever.
  void runToIdle() { loop->run(); }
  std::unique_ptr<Timer> ticking(milliseconds interval, const std::string& name) {
    auto timer = loop->makeTimer(interval,
                                 [this, name] { log += name + std::to_string(now.count()) + ' '; });
    timer->setEnabled(true);
    return timer;
  }

  std::shared_ptr<FakeWaiter> waiter = std::make_shared<FakeWaiter>();
  milliseconds& now = waiter->now;
  std::string log;
  std::optional<MainLoop> loop{std::in_place, waiter};
};

TEST_F(MainLoopTest, RunsEventsInTheOrderOfPostingAndNeverInsidePost) {
  loop->post([&] {
    log += 'a';
    loop->post([&] { log += 'c'; });
    log += 'A';
  });
  loop->post([&] { log += 'b'; });
  EXPECT_EQ(log, "");
  runToIdle();
  EXPECT_EQ(log, "aAbc");
}

TEST_F(MainLoopTest, SleepsWithoutEndWhileNothingIsToBeDone) {
  const auto timer = loop->makeTimer(10ms, [&] { log += 't'; });  // made, not enabled
  runToIdle();
  EXPECT_EQ(waiter->limits, Limits{std::nullopt});
  EXPECT_EQ(log, "");
}

TEST_F(MainLoopTest, SleepsUntilTheNextTickAndNotLess) {
  const auto slow = ticking(60000ms, "m");
  const auto fast = ticking(25000ms, "s");
  loop->runUntil([&] { return now >= 60000ms && log.find('m') != std::string::npos; });
  EXPECT_EQ(log, "s25000 s50000 m60000 ");
  EXPECT_EQ(waiter->limits, (Limits{25000ms, 25000ms, 10000ms}));
}

TEST_F(MainLoopTest, TimersDueTogetherTickInTheOrderOfEnabling) {
  const auto late = loop->makeTimer(10ms, [&] { log += 'l'; });
  const auto early = loop->makeTimer(10ms, [&] { log += 'e'; });
  early->setEnabled(true);
  late->setEnabled(true);
  loop->runUntil([&] { return log.size() >= 4; });
  EXPECT_EQ(log, "elel");
}

TEST_F(MainLoopTest, OfMissedTicksOneComesLate) {
  const auto busy = loop->makeTimer(100ms, [&] {
    log += std::to_string(now.count()) + ' ';
    if (now == 100ms) {
      now += 450ms;
    }
  });
  busy->setEnabled(true);
  loop->runUntil([&] { return now > 700ms; });
  // One tick for those from 200 to 500, as soon as there is time for it.
  EXPECT_EQ(log, "100 550 600 700 ");
}

TEST_F(MainLoopTest, AnIntervalCountsFromWhenItIsSetOrEnabled) {
  const auto timer = ticking(100ms, "t");
  now += 60ms;
  timer->setEnabled(true);  // already enabled: no change
  loop->runUntil([&] { return !log.empty(); });
  EXPECT_EQ(log, "t100 ");
  timer->setInterval(30ms);
  loop->runUntil([&] { return now > 160ms; });
  EXPECT_EQ(log, "t100 t130 t160 ");
}

TEST_F(MainLoopTest, ATickMayDestroyItselfAndOthers) {
  auto victim = ticking(10ms, "v");
  std::unique_ptr<Timer> self = loop->makeTimer(5ms, [&] {
    victim.reset();
    self.reset();
    log += 'x';
  });
  self->setEnabled(true);
  runToIdle();
  EXPECT_EQ(log, "x");
  EXPECT_EQ(waiter->endlessWaits, 1);
}

TEST_F(MainLoopTest, AnIntervalOfNothingNeverTicks) {
  const auto timer = ticking(0ms, "t");
  runToIdle();
  EXPECT_EQ(log, "");
  EXPECT_EQ(waiter->limits, Limits{std::nullopt});
}

TEST_F(MainLoopTest, EventsThatPostThemselvesKeepNobodyOut) {
  const auto timer = ticking(10ms, "t");
  std::function<void()> again = [&] {
    now += 1ms;
    loop->post(again);
  };
  loop->post(again);
  loop->runUntil([&] { return now >= 25ms; });
  EXPECT_EQ(log, "t10 t20 ");
}

TEST_F(MainLoopTest, RunUntilAsksFirstAndAfterEveryEvent) {
  EXPECT_TRUE(loop->runUntil([] { return true; }));
  EXPECT_TRUE(waiter->limits.empty());
  int ran = 0;
  for (int i = 0; i < 5; ++i) {
    loop->post([&] { ++ran; });
  }
  EXPECT_TRUE(loop->runUntil([&] { return ran == 2; }));
  EXPECT_EQ(ran, 2);
  EXPECT_FALSE(loop->runUntil([] { return false; }));  // ends by the quit of the endless wait
  EXPECT_EQ(ran, 5);
}

TEST_F(MainLoopTest, AnEventMayRunTheLoopInside) {
  loop->post([&] {
    log += '(';
    EXPECT_TRUE(loop->runUntil([&] { return log.find('b') != std::string::npos; }));
    log += ')';
  });
  loop->post([&] { log += 'a'; });
  loop->post([&] { log += 'b'; });
  loop->post([&] { log += 'c'; });
  runToIdle();
  EXPECT_EQ(log, "(ab)c");
}

TEST_F(MainLoopTest, ProcessPendingRunsWhatIsDueWithoutWaiting) {
  const auto timer = ticking(10ms, "t");
  loop->post([&] { loop->post([&] { log += "later "; }); });
  now = 10ms;
  loop->processPending();
  EXPECT_EQ(log, "t10 ");
  loop->processPending();
  EXPECT_EQ(log, "t10 later ");
  EXPECT_EQ(waiter->limits, (Limits{0ms, 0ms}));
}

TEST_F(MainLoopTest, QuitEndsAllLoopsThatRunAndNoLaterOne) {
  loop->post([&] {
    EXPECT_FALSE(loop->runUntil([] { return false; }));
    log += "inner ";
  });
  loop->post([&] { loop->quit(); });
  loop->post([&] { log += "later "; });
  loop->run();
  EXPECT_EQ(log, "inner ");
  runToIdle();
  EXPECT_EQ(log, "inner later ");
}

TEST_F(MainLoopTest, QuitBeforeRunEndsItAtOnce) {
  loop->post([&] { log += 'x'; });
  loop->quit();
  loop->run();
  EXPECT_EQ(log, "");
  runToIdle();
  EXPECT_EQ(log, "x");
}

TEST_F(MainLoopTest, AnEventThatThrowsLeavesTheLoopUsable) {
  loop->post([] { throw std::runtime_error("from an event"); });
  loop->post([&] { log += 'x'; });
  EXPECT_THROW(loop->run(), std::runtime_error);
  runToIdle();
  EXPECT_EQ(log, "x");
}

TEST_F(MainLoopTest, WhatTheSystemHasComesAfterEventsAndTimersThatAreDue) {
  const auto timer = ticking(10ms, "t");
  now = 10ms;
  loop->post([&] { log += "event "; });
  waiter->fromSystem = {[&] { log += "first "; }, [&] { log += "second "; }};
  loop->runUntil([&] { return log.find("second") != std::string::npos; });
  EXPECT_EQ(log, "event t10 first second ");
}

// The rest is the waiter's to offer again.
TEST_F(MainLoopTest, NothingMoreOfTheSystemIsServedOnceTheLoopIsDone) {
  waiter->fromSystem = {[&] { log += "first "; }, [&] { log += "second "; }};
  loop->runUntil([&] { return !log.empty(); });
  EXPECT_EQ(log, "first ");
}

TEST_F(MainLoopTest, TimersMayOutliveTheLoop) {
  auto timer = ticking(10ms, "t");
  loop->post([&] { log += "dropped"; });
  loop.reset();
  timer->setInterval(5ms);
  timer->setEnabled(false);
  timer->setEnabled(true);
  timer.reset();
  EXPECT_EQ(log, "");
}

}  // namespace
}  // namespace relaybird
