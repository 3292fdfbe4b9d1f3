// SPDX-License-Identifier: MIT
// Whole days of the program, as a user experiences them.
#include <gmock/gmock.h>

#include "ui/forms/main/program_fixture.h"

namespace relaybird {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class StoryTest : public ProgramTest {};

TEST_F(StoryTest, AMorningWithACheckEveryQuarterOfAnHour) {
  oneAddress();
  (void)program();
  switchOn();
  deliver("nine o'clock");
  letPass(minutes{14});
  EXPECT_EQ(text("txtMinToNextFwd"), "1");
  EXPECT_EQ(store_.outboxCount(), 0U);
  letPass(minutes{1});
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: nine o'clock"));
  EXPECT_EQ(text("txtNumberForwarded"), "1");
  EXPECT_EQ(text("txtMinToNextFwd"), "15");
  letPass(seconds{20});
  EXPECT_EQ(status(), "Currently Idle - Waiting for next inbox check...");

  deliver("half past");
  deliver("half past, again");
  letPass(minutes{15});
  EXPECT_EQ(text("txtNumberForwarded"), "3");
  letPass(minutes{60});
  EXPECT_EQ(text("txtNumberForwarded"), "3");

  click("frmRelaybird", "cmdStop");
  deliver("too late");
  letPass(minutes{120});
  EXPECT_EQ(store_.outboxCount(), 3U);
  EXPECT_EQ(log().front(), "--- Forwarding turned ON at 2026-11-20 09:00:00 ---");
  EXPECT_EQ(log().back(), "--- Forwarding turned OFF at 2026-11-20 09:00:00 ---");
}

TEST_F(StoryTest, ProgressTellsHowFarACheckHasCome) {
  oneAddress();
  (void)program();
  EXPECT_EQ(main().progress(), Progress{});
  switchOn();
  deliver("one");
  deliver("two");
  std::vector<Progress> seen;
  screen_.onProcessPendingEvents = [&] {
    if (seen.empty() || seen.back() != main().progress()) {
      seen.push_back(main().progress());
    }
  };
  letPass(minutes{15});
  EXPECT_THAT(
      seen,
      ElementsAre(Progress{Progress::Kind::kUnknown, 0, 0}, Progress{Progress::Kind::kSteps, 0, 2},
                  Progress{Progress::Kind::kSteps, 1, 2}, Progress{Progress::Kind::kSteps, 2, 2},
                  Progress{Progress::Kind::kUnknown, 0, 0}));
  EXPECT_EQ(main().progress(), Progress{});
}

TEST_F(StoryTest, ASynchronisationThatNeverEndsIsGivenUpAfter900Seconds) {
  oneAddress();
  (void)program();
  switchOn();
  store_.setSyncEndsByItself(false);
  deliver("lunch");
  store_.quitApplication();
  letPass(minutes{15});
  EXPECT_EQ(status(), "Outlook performing send/receive...");
  EXPECT_TRUE(main().tmrSync.enabled());
  letPass(seconds{890});
  EXPECT_EQ(store_.outboxCount(), 0U);
  letPass(seconds{10});
  EXPECT_THAT(log(), Contains("2026-11-20 09:30:00--> Inbox synchronization timed out."));
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: lunch"));

  // The synchronisation that sends it does not end either.
  letPass(seconds{910});
  EXPECT_THAT(log(), Contains(HasSubstr("--> Send/receive synchronization timed out.")));
  EXPECT_FALSE(state().syncBusy);
  store_.setSyncEndsByItself(true);
  deliver("dinner");
  letPass(minutes{30});
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: lunch", "FW: dinner"));
}

// After the application was closed, every later check still used its old objects.
TEST_F(StoryTest, AMailApplicationThatIsClosedAndOpenedAgainIsUsedAgain) {
  oneAddress();
  (void)program();
  switchOn();
  store_.quitApplication();
  deliver("lunch");
  letPass(minutes{15});
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: lunch"));
  click("frmRelaybird", "cmdStop");
  store_.quitApplication();
  switchOn();
  EXPECT_EQ(text("txtStatus"), "Running");
}

TEST_F(StoryTest, SettingsChangedWhileRunningHoldFromTheNextCheckOn) {
  oneAddress();
  (void)program();
  switchOn();
  click("frmRelaybird", "cmdPrefs");
  control("frmPrefs", "txtMinutes").setText("5");
  control("frmPrefs", "txtAddress").setText("a@b.example; c@d.example");
  click("frmPrefs", "opbFwdOnly");
  control("frmPrefs", "txtAddresses").setText("carol");
  click("frmPrefs", "cmdOK");
  EXPECT_FALSE(program().settings().visible());
  EXPECT_EQ(text("lblStatusFwdTo"), "Forwards to [2 addresses]:");
  deliver("from bob");
  letPass(minutes{15});
  EXPECT_EQ(store_.outboxCount(), 0U);
  EXPECT_EQ(text("txtMinToNextFwd"), "5");
  EXPECT_THAT(log(), Contains(HasSubstr("from bob at 2026-11-20 09:15:00 not forwarded because ")));
}

TEST_F(StoryTest, TheMaximumEndsForwardingButNotTheChecks) {
  oneAddress("mlngMaxToForward=2\n");
  (void)program();
  switchOn();
  for (const char* subject : {"one", "two", "three"}) {
    deliver(subject);
  }
  letPass(minutes{15});
  EXPECT_EQ(store_.outboxCount(), 2U);
  EXPECT_EQ(status(), "Stopped - Reached max. allowed to forward");
  letPass(minutes{15});
  EXPECT_EQ(store_.outboxCount(), 2U);
  EXPECT_EQ(text("txtStatus"), "Running");
}

// Shows accumulating timers, leaked objects and flags that are never cleared.
TEST_F(StoryTest, AMonthUnattendedGrowsNothingButTheLog) {
  oneAddress();
  (void)program();
  switchOn();
  const std::size_t timers = timers_.enabledCount();
  const int checks = 30 * 24 * 4;
  for (int check = 1; check <= checks; ++check) {
    if (check % 8 == 0) {
      deliver("number " + std::to_string(check));
    }
    letPass(minutes{15});
  }
  letPass(seconds{30});
  EXPECT_EQ(text("txtNumberForwarded"), std::to_string(checks / 8));
  EXPECT_EQ(store_.unreadCount(), 0U);
  EXPECT_EQ(timers_.enabledCount(), timers);
  EXPECT_EQ(events_.waiting(), 0U);
  EXPECT_THAT(dialogs_.boxes, testing::SizeIs(1));
  // Two lines for each check, one for each forward, and the one that switched it on.
  EXPECT_EQ(log().size(), static_cast<std::size_t>(2 * checks + checks / 8 + 1));
}

}  // namespace
}  // namespace relaybird
