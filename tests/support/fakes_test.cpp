// SPDX-License-Identifier: MIT
// All other tests rely on the fakes, so their behaviour is checked too.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "support/fake_clock.h"
#include "support/fake_timers.h"
#include "support/recording_reports.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;

TEST(FakeClock, StartsAtAFixedMomentAndShowsItAsText) {
  FakeClock clock;
  EXPECT_EQ(clock.nowText(), "2026-11-20 15:04:05");
  clock.advance(9h);
  EXPECT_EQ(clock.nowText(), "2026-11-21 00:04:05");
  EXPECT_EQ(clock.toText(kNoDate), "1899-12-30 00:00:00");
}

TEST(RecordingSleeper, MovesTheClock) {
  FakeClock clock;
  RecordingSleeper sleeper(clock);
  sleeper.sleep(3000ms);
  EXPECT_EQ(clock.nowText(), "2026-11-20 15:04:08");
  EXPECT_EQ(sleeper.slept, std::vector{3000ms});
}

class FakeTimersTest : public testing::Test {
 protected:
  std::unique_ptr<Timer> ticking(std::chrono::milliseconds interval, const std::string& name) {
    auto timer = timers.makeTimer(
        interval, [this, name] { ticks.push_back(name + clock.nowText().substr(16)); });
    timer->setEnabled(true);
    return timer;
  }

  FakeClock clock;
  FakeTimers timers{clock};
  std::vector<std::string> ticks;
};

TEST_F(FakeTimersTest, TicksComeInDueOrderEachAtItsTime) {
  const auto slow = ticking(2000ms, "slow");
  const auto fast = ticking(1000ms, "fast");
  timers.advance(3500ms);
  EXPECT_EQ(ticks, (std::vector<std::string>{"fast:06", "slow:07", "fast:07", "fast:08"}));
  EXPECT_EQ(clock.elapsed(), 3500ms);
}

TEST_F(FakeTimersTest, ADisabledOrDestroyedTimerIsSilent) {
  const auto first = ticking(1000ms, "first");
  auto second = ticking(1000ms, "second");
  first->setEnabled(false);
  second.reset();
  timers.advance(5s);
  EXPECT_TRUE(ticks.empty());
  EXPECT_EQ(timers.enabledCount(), 0u);
}

TEST_F(FakeTimersTest, ATimerMayDestroyItselfInItsTick) {
  std::unique_ptr<Timer> timer;
  int count = 0;
  timer = timers.makeTimer(1000ms, [&] {
    ++count;
    timer.reset();
  });
  timer->setEnabled(true);
  timers.advance(5s);
  EXPECT_EQ(count, 1);
}

TEST_F(FakeTimersTest, TicksMissedDuringASleepAreNotMadeUpFor) {
  RecordingSleeper sleeper(clock);
  int count = 0;
  const auto sleepy = timers.makeTimer(10s, [&] { sleeper.sleep(4500ms); });
  const auto busy = timers.makeTimer(1s, [&] { ++count; });
  sleepy->setEnabled(true);
  timers.advance(9s);
  busy->setEnabled(true);
  timers.advance(6s);
  // One late tick at 14.5 s for those of 10 to 14 s, and the one of 15 s.
  EXPECT_EQ(count, 2);
}

TEST_F(FakeTimersTest, SettingTheWallClockTicksNothing) {
  const auto timer = ticking(1000ms, "tick");
  clock.set(makeTime(2030, 1, 1));
  timers.advance(500ms);
  EXPECT_TRUE(ticks.empty());
}

TEST(FakeEventQueue, RunsWhatWaitsInOrderAndLeavesWhatItPosts) {
  FakeEventQueue queue;
  std::string ran;
  queue.post([&] {
    ran += 'a';
    queue.post([&] { ran += 'c'; });
  });
  queue.post([&] { ran += 'b'; });
  EXPECT_EQ(queue.runPending(), 2u);
  EXPECT_EQ(ran, "ab");
  EXPECT_EQ(queue.waiting(), 1u);
  EXPECT_EQ(queue.runUntilIdle(), 1u);
  EXPECT_EQ(ran, "abc");
}

TEST(RecordingLog, KeepsVerboseLinesOnlyWhileVerbose) {
  const FakeClock clock;
  RecordingLog log(&clock);
  log.AddToLogV("unseen");
  log.verboseOn = true;
  log.AddToLogV("seen");
  log.AddToLog("plain");
  EXPECT_EQ(log.lines, (std::vector<std::string>{"2026-11-20 15:04:05 [v]-->seen", "plain"}));
}

TEST(RecordingDisplay, KeepsFieldsAndTheOrderOfTheCalls) {
  RecordingDisplay display;
  display.lblCurrentActions("Idle");
  display.txtNumberForwarded("3");
  display.cmdForwardNow(false);
  EXPECT_EQ(display.status, "Idle");
  EXPECT_EQ(static_cast<const EngineDisplay&>(display).txtNumberForwarded(), "3");
  EXPECT_EQ(display.calls,
            (std::vector<std::string>{"status: Idle", "forwarded: 3", "forward now: off"}));
}

}  // namespace
}  // namespace relaybird
