// SPDX-License-Identifier: MIT
// When a check runs: the countdown, checks that are refused because something runs, and the
// synchronisations before and after a pass. The whole engine over the mailbox in memory
// (EngineTest); its synchronisations end only when a test says so, and minutes pass by the fake
// clock.
#include "engine/check_schedule.h"

#include <algorithm>

#include "engine/engine_fixture.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

class CheckScheduleTest : public EngineTest {
 protected:
  CheckScheduleTest() { store_.setSyncEndsByItself(false); }

  EngineState& state() { return engine_.state(); }
  CheckSchedule& schedule() { return engine_.schedule(); }

  // As after a check: the application was obtained and is open.
  void openSession() { engine_.session().ResetOlkObj(true, true, false); }
  void endSync() {
    store_.endSyncs();
    events_.runUntilIdle();
  }
  std::size_t checksDone() const {
    return static_cast<std::size_t>(std::count_if(
        log_.lines.begin(), log_.lines.end(),
        [](const std::string& line) { return line.starts_with("Completed Email Check at "); }));
  }
};

TEST_F(CheckScheduleTest, WithTheApplicationOpenACheckRunsAtOnce) {
  openSession();
  schedule().ForwardTrigger();
  EXPECT_EQ(checksDone(), 1u);
  EXPECT_EQ(store_.syncStarts(), 0u);
  EXPECT_EQ(trace_.lines, (Lines{"ForwardTrigger Entered", "Forward Entered"}));
}

TEST_F(CheckScheduleTest, WithTheApplicationClosedItSynchronisesFirst) {
  schedule().ForwardTrigger();
  EXPECT_EQ(checksDone(), 0u);
  EXPECT_EQ(store_.syncStarts(), 1u);
  EXPECT_TRUE(state().syncBusy);
  EXPECT_FALSE(state().sendSync);
  EXPECT_EQ(state().syncStartTime, kStart);
  EXPECT_EQ(display_.status, "Outlook performing send/receive...");
  endSync();
  EXPECT_EQ(checksDone(), 1u);
  EXPECT_FALSE(state().syncBusy);
  EXPECT_EQ(trace_.lines, (Lines{"ForwardTrigger Entered", "SyncStart Entered",
                                 "SyncEnd Entered (busy=true)", "Forward Entered"}));
}

TEST_F(CheckScheduleTest, ACheckIsRefusedWhileAPassRuns) {
  state().m_bBusyFwd = true;
  state().testCycle = true;
  display_.forwardNow = false;
  schedule().ForwardTrigger();
  EXPECT_EQ(log_.lines,
            Lines{"2026-11-20 15:00:00-->Could not check emails because still busy from "
                  "previous check"});
  EXPECT_TRUE(display_.forwardNow);
  EXPECT_FALSE(state().testCycle);
}

TEST_F(CheckScheduleTest, ACheckIsRefusedWhileASynchronisationRuns) {
  schedule().ForwardTrigger();
  log_.lines.clear();
  schedule().ForwardTrigger();
  EXPECT_EQ(log_.lines, Lines{"2026-11-20 15:00:00-->Could not check emails because currently busy "
                              "synchronizing inbox"});
  EXPECT_EQ(store_.syncStarts(), 1u);
}

TEST_F(CheckScheduleTest, TheBusyPassIsNamedBeforeTheSynchronisation) {
  state().m_bBusyFwd = true;
  state().syncBusy = true;
  schedule().ForwardTrigger();
  EXPECT_NE(log_.lines.at(0).find("still busy from previous check"), std::string::npos);
}

TEST_F(CheckScheduleTest, ASessionThatCannotBeOpenedFailsTheSynchronisation) {
  store_.removeComponent("outlook.application");
  state().testCycle = true;
  display_.forwardNow = false;
  schedule().SyncStart();
  EXPECT_EQ(
      log_.lines.at(0),
      "2026-11-20 15:00:00--> Inbox Sync failed: Could not start up Microsoft Outlook (please "
      "verify that MS-Outlook is installed and configured correctly on this PC).");
  EXPECT_FALSE(state().syncBusy);
  EXPECT_TRUE(display_.forwardNow);
  EXPECT_EQ(timers_.enabledCount(), 0u);
}

TEST_F(CheckScheduleTest, ASynchronisationAskedForWhileOneRunsChangesNothing) {
  schedule().SyncStart();
  clock_.advance(60s);
  schedule().SyncStart(true);
  EXPECT_EQ(store_.syncStarts(), 1u);
  EXPECT_FALSE(state().sendSync);
  EXPECT_EQ(state().syncStartTime, kStart);
  EXPECT_EQ(log_.lines, Lines{"2026-11-20 15:01:00--> Inbox Sync failed: "});
}

TEST_F(CheckScheduleTest, AStartThatFailsLeavesNothingBusy) {
  store_.setHook([](std::string_view at) {
    if (at == "SyncObject.Start") {
      throw MailStoreError("line is down");
    }
  });
  schedule().ForwardTrigger();
  EXPECT_EQ(log_.lines, Lines{"2026-11-20 15:00:00--> Inbox Sync failed: line is down"});
  EXPECT_FALSE(state().syncBusy);
  EXPECT_EQ(timers_.enabledCount(), 0u);
}

// The closing box of a test cycle came up while the status line ran events, with the check on the
// stack.
TEST_F(CheckScheduleTest, AStartThatFailsEndsItsTestWhenNoMoreEventsRun) {
  state().testCycle = true;
  store_.setHook([](std::string_view at) {
    if (at == "SyncObject.Start") {
      throw MailStoreError("line is down");
    }
  });
  schedule().ForwardTrigger();
  EXPECT_EQ(display_.calls.back(), "forward now: on");
}

// The session was released although it answered: every later check began with the same failing
// synchronisation, and no pass ever ran.
TEST_F(CheckScheduleTest, ASynchronisationThatNeverStartsKeepsNoCheckFromRunning) {
  store_.setHook([](std::string_view at) {
    if (at == "SyncObject.Start") {
      throw MailStoreError("line is down");
    }
  });
  schedule().ForwardTrigger();
  EXPECT_NE(engine_.session().application(), nullptr);
  deliver("one");
  schedule().ForwardTrigger();
  EXPECT_EQ(checksDone(), 1u);
  EXPECT_EQ(sentSubjects(), Lines{"FW: one"});
}

TEST_F(CheckScheduleTest, AnApplicationThatIsGoneWhenItsSynchronisationStartsIsOpenedAfresh) {
  store_.setHook([this](std::string_view at) {
    if (at == "SyncObject.Start") {
      store_.quitApplication();
    }
  });
  schedule().ForwardTrigger();
  EXPECT_EQ(engine_.session().application(), nullptr);
  store_.setHook({});
  schedule().ForwardTrigger();
  endSync();
  EXPECT_EQ(checksDone(), 1u);
}

TEST_F(CheckScheduleTest, SwitchingOffAndOnKeepsTheCheckThatASynchronisationIsFor) {
  deliver("one");
  schedule().startCountdown();
  schedule().ForwardTrigger();
  schedule().stopCountdown();
  schedule().startCountdown();
  endSync();
  EXPECT_EQ(sentSubjects(), Lines{"FW: one"});
}

// Its command stayed disabled forever.
TEST_F(CheckScheduleTest, ATestWhoseCheckIsDroppedEnds) {
  state().testCycle = true;
  display_.forwardNow = false;
  schedule().ForwardTrigger();
  schedule().stopCountdown();
  endSync();
  EXPECT_EQ(checksDone(), 0u);
  EXPECT_FALSE(state().testCycle);
  EXPECT_TRUE(display_.forwardNow);
  EXPECT_EQ(log_.lines, Lines{"2026-11-20 15:00:00--> Email check dropped: forwarding was switched "
                              "off"});
}

// Opening a session can take as long as the server of an account lets wait; events run meanwhile.
class SlowSessionTest : public CheckScheduleTest {
 protected:
  void whileItOpens(std::function<void()> act) {
    store_.setHook([act = std::move(act)](std::string_view at) {
      if (at == "Application.GetNamespace") {
        act();
      }
    });
  }
  void switchOff() {
    engine_.pass().stopAfterItem();
    schedule().stopCountdown();
  }
};

// The check ran and forwarded after the user had stopped it.
TEST_F(SlowSessionTest, AStopWhileTheSessionOpensDropsTheCheck) {
  deliver("one");
  schedule().startCountdown();
  whileItOpens([this] {
    switchOff();
    EXPECT_TRUE(state().stopWanted());
  });
  schedule().ForwardTrigger();
  endSync();
  EXPECT_EQ(store_.syncStarts(), 0u);
  EXPECT_EQ(sentSubjects(), Lines{});
  EXPECT_FALSE(state().stopWanted());
  EXPECT_FALSE(state().syncStarting);
  EXPECT_EQ(log_.lines.back(),
            "2026-11-20 15:00:00--> Email check dropped: forwarding was switched off");
  store_.setHook({});
  schedule().ForwardTrigger();
  EXPECT_EQ(sentSubjects(), Lines{"FW: one"});
}

TEST_F(SlowSessionTest, ASessionThatGivesUpBecauseOfAStopIsNoFailedCheck) {
  schedule().startCountdown();
  whileItOpens([this] {
    switchOff();
    throw MailStoreError("Stopped");
  });
  schedule().ForwardTrigger();
  EXPECT_EQ(alerts_.lines, Lines{});
  EXPECT_EQ(log_.lines,
            Lines{"2026-11-20 15:00:00--> Email check dropped: forwarding was switched off"});
}

TEST_F(SlowSessionTest, NoSecondCheckStartsWhileTheSessionOpens) {
  schedule().startCountdown();
  whileItOpens([this] { schedule().ForwardTrigger(); });
  schedule().ForwardTrigger();
  EXPECT_EQ(store_.syncStarts(), 1u);
  EXPECT_EQ(log_.lines, Lines{"2026-11-20 15:00:00-->Could not check emails because currently busy "
                              "synchronizing inbox"});
}

// No check ran until the synchronisation was given up, a quarter of an hour later.
TEST_F(CheckScheduleTest, ASynchronisationWhoseSessionIsReleasedIsOver) {
  deliver("one");
  schedule().ForwardTrigger();
  state().testCycle = true;
  engine_.session().release();
  EXPECT_FALSE(state().syncBusy);
  EXPECT_FALSE(state().testCycle);
  EXPECT_FALSE(schedule().tmrSync().enabled());
  schedule().ForwardTrigger();
  EXPECT_EQ(store_.syncStarts(), 2u);
  endSync();
  EXPECT_EQ(sentSubjects(), Lines{"FW: one"});
}

TEST_F(CheckScheduleTest, WhatAPassSentIsFollowedByASendSynchronisation) {
  openSession();
  deliver("one");
  schedule().ForwardTrigger();
  EXPECT_EQ(store_.syncStarts(), 1u);
  EXPECT_TRUE(state().sendSync);
  trace_.lines.clear();
  endSync();
  EXPECT_FALSE(state().sendSync);
  EXPECT_FALSE(state().syncBusy);
  EXPECT_EQ(checksDone(), 1u);
  EXPECT_EQ(trace_.lines,
            (Lines{"SyncEnd Entered (busy=true)", "m_sync_SyncEnd-WasBusySendSync-NowReset+Exit"}));
}

TEST_F(CheckScheduleTest, APassInsideSyncEndHasItsSendSynchronisationOnceTheFlagIsCleared) {
  deliver("one");
  schedule().ForwardTrigger();
  bool busyAtSecondStart = false;
  store_.setHook([&](std::string_view at) {
    if (at == "SyncObject.Start") {
      busyAtSecondStart = state().syncBusy && state().sendSync;
    }
  });
  endSync();
  EXPECT_EQ(checksDone(), 1u);
  EXPECT_EQ(store_.syncStarts(), 2u);
  EXPECT_TRUE(busyAtSecondStart);
  EXPECT_TRUE(state().sendSync);
  EXPECT_TRUE(state().syncBusy);
  for (const std::string& line : log_.lines) {
    EXPECT_EQ(line.find("Inbox Sync failed"), std::string::npos) << line;
  }
  endSync();
  EXPECT_FALSE(state().syncBusy);
  EXPECT_EQ(checksDone(), 1u);
}

TEST_F(CheckScheduleTest, NoCheckStartsWhileThePassInsideSyncEndRuns) {
  deliver("one");
  schedule().ForwardTrigger();
  bool tried = false;
  display_.onProcessPendingEvents = [&] {
    if (display_.status == "Checking unread item 1 of 1" && !std::exchange(tried, true)) {
      schedule().ForwardTrigger();
    }
  };
  endSync();
  EXPECT_TRUE(tried);
  EXPECT_EQ(checksDone(), 1u);
  EXPECT_EQ(store_.outboxCount(), 1u);
}

// The second end was dropped silently.
TEST_F(CheckScheduleTest, AnEndWithinThePassOfAnotherIsRefusedAsAPassAndKeepsTheFlag) {
  deliver("one");
  schedule().ForwardTrigger();
  bool tried = false;
  display_.onProcessPendingEvents = [&] {
    if (display_.status == "Checking unread item 1 of 1" && !std::exchange(tried, true)) {
      schedule().m_sync_SyncEnd();
      EXPECT_TRUE(state().syncBusy);
    }
  };
  endSync();
  EXPECT_TRUE(tried);
  EXPECT_EQ(log_.lines.at(1),
            "2026-11-20 15:00:00--> Email check aborted: Didn't finish prev. check yet");
  EXPECT_EQ(checksDone(), 1u);
  EXPECT_EQ(sentSubjects(), Lines{"FW: one"});
}

// A check whose forwards could not be sent was reported as failed.
TEST_F(CheckScheduleTest, ASendSynchronisationThatFailsIsNoFailedCheck) {
  openSession();
  deliver("one");
  store_.setHook([](std::string_view at) {
    if (at == "SyncObject.Start") {
      throw MailStoreError("line is down");
    }
  });
  schedule().ForwardTrigger();
  EXPECT_EQ(alerts_.lines, Lines{"completed"});
  EXPECT_EQ(log_.lines.back(), "2026-11-20 15:00:03--> Inbox Sync failed: line is down");
}

TEST_F(CheckScheduleTest, ASynchronisationThatTheUserStartedEndsWithoutACheck) {
  openSession();
  state().testCycle = true;
  display_.forwardNow = false;
  schedule().m_sync_SyncEnd();
  EXPECT_EQ(checksDone(), 0u);
  EXPECT_EQ(trace_.lines,
            (Lines{"SyncEnd Entered (busy=false)", "m_sync_SyncEnd - Busy is false so exit"}));
  EXPECT_TRUE(display_.forwardNow);
}

TEST_F(CheckScheduleTest, TheEndOfASynchronisationDisarmsItsWatch) {
  schedule().ForwardTrigger();
  EXPECT_EQ(timers_.enabledCount(), 2u);
  endSync();
  timers_.advance(11s);
  EXPECT_EQ(timers_.enabledCount(), 0u);
}

TEST_F(CheckScheduleTest, AnInboxSynchronisationIsGivenUpAfter900SecondsAndTheCheckRunsAnyway) {
  deliver("one");
  schedule().ForwardTrigger();
  trace_.lines.clear();
  timers_.advance(899s);
  EXPECT_EQ(checksDone(), 0u);
  trace_.lines.clear();
  timers_.advance(1s);
  EXPECT_EQ(checksDone(), 1u);
  EXPECT_EQ(log_.lines.at(0), "2026-11-20 15:15:00--> Inbox synchronization timed out.");
  EXPECT_EQ(Lines(trace_.lines.begin(), trace_.lines.begin() + 4),
            (Lines{"TmrSync Entered", "TmrSync timed out for an inbox sync",
                   "TmrSync To Trigger Fwd now", "Forward Entered"}));
  EXPECT_EQ(store_.outboxCount(), 1u);
  EXPECT_TRUE(state().sendSync);
}

TEST_F(CheckScheduleTest, ASendSynchronisationIsGivenUpAfter900SecondsWithoutACheck) {
  openSession();
  deliver("one");
  schedule().ForwardTrigger();
  log_.lines.clear();
  trace_.lines.clear();
  timers_.advance(900s);
  EXPECT_EQ(log_.lines, Lines{"2026-11-20 15:15:03--> Send/receive synchronization timed out."});
  EXPECT_EQ(trace_.lines.back(), "TmrSync timed out for a send sync");
  EXPECT_FALSE(state().sendSync);
  EXPECT_FALSE(state().syncBusy);
  timers_.advance(60s);
  EXPECT_EQ(timers_.enabledCount(), 0u);
}

TEST_F(CheckScheduleTest, ALateEndOfASynchronisationThatWasGivenUpStartsNothing) {
  schedule().ForwardTrigger();
  timers_.advance(900s);
  ASSERT_EQ(checksDone(), 1u);
  endSync();
  EXPECT_EQ(checksDone(), 1u);
  EXPECT_EQ(trace_.lines.back(), "m_sync_SyncEnd - Busy is false so exit");
}

TEST_F(CheckScheduleTest, TheMinuteTimerCountsDownAndChecksAtZero) {
  openSession();
  prefs_.fields().mdblFwdToFrequency = 3;
  schedule().startCountdown();
  EXPECT_EQ(display_.minutes, "3");
  timers_.advance(60s);
  EXPECT_EQ(display_.minutes, "2");
  timers_.advance(60s);
  EXPECT_EQ(display_.minutes, "1");
  EXPECT_EQ(checksDone(), 0u);
  timers_.advance(60s);
  EXPECT_EQ(checksDone(), 1u);
  EXPECT_EQ(display_.minutes, "3");
}

TEST_F(CheckScheduleTest, ATickThatFindsWorkRunningLeavesZeroAndChecksOnTheFirstFreeTick) {
  openSession();
  prefs_.fields().mdblFwdToFrequency = 2;
  schedule().startCountdown();
  state().m_bBusyFwd = true;
  timers_.advance(3min);
  EXPECT_EQ(display_.minutes, "0");
  EXPECT_EQ(checksDone(), 0u);
  state().m_bBusyFwd = false;
  state().syncBusy = true;
  timers_.advance(1min);
  EXPECT_EQ(checksDone(), 0u);
  state().syncBusy = false;
  timers_.advance(1min);
  EXPECT_EQ(checksDone(), 1u);
  EXPECT_EQ(display_.minutes, "2");
}

TEST_F(CheckScheduleTest, FractionsOfMinutesAreRoundedHalfToEven) {
  const std::vector<std::pair<double, std::string>> cases = {
      {2.5, "2"}, {3.5, "4"}, {15, "15"}, {2.6, "3"}};
  for (const auto& [minutes, shown] : cases) {
    prefs_.fields().mdblFwdToFrequency = minutes;
    schedule().startCountdown();
    EXPECT_EQ(display_.minutes, shown) << minutes;
  }
}

TEST_F(CheckScheduleTest, AHandEditedIntervalNeverChecksMoreOftenThanEveryTwoMinutes) {
  for (const double minutes : {0.0, -5.0, 1.0, 0.3}) {
    prefs_.fields().mdblFwdToFrequency = minutes;
    schedule().startCountdown();
    EXPECT_EQ(display_.minutes, "2") << minutes;
  }
  prefs_.fields().mdblFwdToFrequency = 1e300;
  schedule().startCountdown();
  EXPECT_EQ(display_.minutes, "2147483647");
}

TEST_F(CheckScheduleTest, AStoppedCountdownTicksNoMore) {
  schedule().startCountdown();
  schedule().stopCountdown();
  timers_.advance(60min);
  EXPECT_EQ(display_.minutes, "15");
  EXPECT_TRUE(log_.lines.empty());
}

TEST_F(CheckScheduleTest, AMonthOfChecksForwardsEachMessageOnceAndLeavesNoTimerBehind) {
  store_.setSyncEndsByItself(true);
  prefs_.fields().mlngMaxToForward = 30000;
  display_.onProcessPendingEvents = [this] { events_.runPending(); };
  schedule().startCountdown();
  for (int hour = 0; hour < 24 * 30; ++hour) {
    deliver("mail " + std::to_string(hour));
    timers_.advance(1h);
    events_.runUntilIdle();
  }
  timers_.advance(1h);
  EXPECT_EQ(store_.outboxCount(), 24u * 30u);
  EXPECT_EQ(display_.forwarded, std::to_string(24 * 30));
  EXPECT_FALSE(state().syncBusy);
  EXPECT_FALSE(state().m_bBusyFwd);
  EXPECT_EQ(store_.unreadCount(), 0u);
}

}  // namespace
}  // namespace relaybird
