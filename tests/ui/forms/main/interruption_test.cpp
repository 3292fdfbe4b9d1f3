// SPDX-License-Identifier: MIT
// Re-entrance: boxes and status texts let events run, in which the user clicks, the program ends or
// a synchronisation ends.
#include <gmock/gmock.h>

#include <utility>

#include "ui/forms/main/program_fixture.h"

namespace relaybird {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

class InterruptionTest : public ProgramTest {
 protected:
  // Runs `event` once, while the status line begins with that text.
  void once(std::string beginning, std::function<void()> event) {
    screen_.onProcessPendingEvents = [this, beginning = std::move(beginning),
                                      event = std::move(event)] {
      if (!happened_ && status().starts_with(beginning)) {
        happened_ = true;
        event();
      }
    };
  }
  // Runs a check with one message, during which the user stops and starts forwarding and then
  // `then` runs. Earlier boxes are discarded.
  void startWhileAStoppedCheckRuns(std::function<void()> then = [] {}) {
    oneAddress();
    (void)program();
    deliver("lunch");
    switchOn();
    once("Checking unread", [this, then = std::move(then)] {
      click("frmRelaybird", "cmdStop");
      dialogs_.boxes.clear();
      click("frmRelaybird", "cmdStart");
      then();
    });
    schedule().ForwardTrigger();
  }
  void TearDown() override { EXPECT_TRUE(happened_); }

  CheckSchedule& schedule() { return main().engine().schedule(); }

  bool happened_ = false;
};

TEST_F(InterruptionTest, TheProgramEndsWhileAStartOpensTheSession) {
  oneAddress();
  (void)program();
  once("Performing Outlook Email Logon...", [this] { program().shutDown(); });
  click("frmRelaybird", "cmdStart");
  EXPECT_EQ(text("txtStatus"), "Stopped");
  EXPECT_EQ(main().engine().session().application(), nullptr);
}

TEST_F(InterruptionTest, TheProgramEndsWhileASynchronisationIsStarted) {
  oneAddress();
  (void)program();
  once("Outlook performing send/receive...", [this] { program().shutDown(); });
  schedule().ForwardTrigger();
  EXPECT_EQ(store_.syncStarts(), 0U);
}

TEST_F(InterruptionTest, AProgramThatEndsStartsNothingElse) {
  oneAddress();
  (void)program();
  deliver("lunch");
  switchOn();
  program().shutDown();
  happened_ = true;
  letPass(minutes{60});
  EXPECT_EQ(store_.outboxCount(), 0U);
}

TEST_F(InterruptionTest, AStopInACheckOfTheTimerLeavesNoMinutesBehind) {
  oneAddress("mdblFwdToFrequency=5\n");
  (void)program();
  switchOn();
  deliver("lunch");
  once("Checking unread", [this] { click("frmRelaybird", "cmdStop"); });
  letPass(minutes{5});
  EXPECT_EQ(text("txtStatus"), "Stopped");
  EXPECT_EQ(text("txtMinToNextFwd"), "--");
}

TEST_F(InterruptionTest, AStopDuringTheSynchronisationBeforeACheckDropsTheCheck) {
  oneAddress();
  (void)program();
  switchOn();
  deliver("lunch");
  main().engine().session().release();
  schedule().ForwardTrigger();
  ASSERT_TRUE(state().syncBusy);
  click("frmRelaybird", "cmdStop");
  happened_ = true;
  events_.runUntilIdle();
  EXPECT_THAT(sentSubjects(), IsEmpty());
  EXPECT_FALSE(state().syncBusy);
  switchOn();
  letPass(minutes{15});
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: lunch"));
}

TEST_F(InterruptionTest, AStopDuringASynchronisationThatNeverEndsDropsTheCheckToo) {
  oneAddress();
  (void)program();
  switchOn();
  deliver("lunch");
  store_.setSyncEndsByItself(false);
  main().engine().session().release();
  schedule().ForwardTrigger();
  click("frmRelaybird", "cmdStop");
  happened_ = true;
  letPass(seconds{1000});
  EXPECT_THAT(sentSubjects(), IsEmpty());
}

// The synchronisation blocked the second start's check, although its own check had been dropped.
TEST_F(InterruptionTest, AStopAndAStartDuringTheSynchronisationKeepItsCheck) {
  oneAddress("mbolFwdUponStart=1\n");
  (void)program();
  switchOn();
  deliver("lunch");
  store_.setSyncEndsByItself(false);
  store_.quitApplication();
  schedule().ForwardTrigger();
  ASSERT_TRUE(state().syncBusy);
  click("frmRelaybird", "cmdStop");
  switchOn();
  happened_ = true;
  EXPECT_EQ(text("txtStatus"), "Running");
  store_.endSyncs();
  events_.runUntilIdle();
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: lunch"));
}

TEST_F(InterruptionTest, AStartWhileAStoppedCheckFinishesWaitsForItsEndAndThenAsks) {
  oneAddress();
  (void)program();
  deliver("lunch");
  deliver("supper");
  switchOn();
  once("Checking unread item 2", [this] {
    click("frmRelaybird", "cmdStop");
    dialogs_.boxes.clear();
    click("frmRelaybird", "cmdStart");
    EXPECT_THAT(dialogs_.boxes, IsEmpty());
    EXPECT_EQ(status(), "Forwarding will be started when the running check has ended...");
  });
  schedule().ForwardTrigger();
  EXPECT_EQ(text("txtStatus"), "Stopped");
  EXPECT_FALSE(program().idle());
  dialogs_.answer(BoxAnswer::kYes);
  letPass(seconds{1});
  ASSERT_EQ(dialogs_.boxes.size(), 1U);
  EXPECT_EQ(dialogs_.boxes[0].title, "Please Confirm:");
  EXPECT_EQ(text("txtStatus"), "Running");
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: supper"));
  letPass(seconds{10});
  EXPECT_EQ(dialogs_.boxes.size(), 1U);
}

TEST_F(InterruptionTest, AStartThatWaitsIsForgottenWhereTheUserIsAskedBeforeItsTurn) {
  startWhileAStoppedCheckRuns();
  dialogs_.answer(BoxAnswer::kNo);
  click("frmRelaybird", "cmdStart");
  letPass(seconds{10});
  EXPECT_EQ(dialogs_.boxes.size(), 1U);
  EXPECT_EQ(text("txtStatus"), "Stopped");
}

TEST_F(InterruptionTest, AStartThatWaitsIsForgottenByAStop) {
  startWhileAStoppedCheckRuns([this] { main().StopForwarding(); });
  letPass(seconds{10});
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
  EXPECT_TRUE(program().idle());
}

TEST_F(InterruptionTest, AStartThatWaitsDoesNotAskInAProgramThatEnds) {
  startWhileAStoppedCheckRuns([this] { program().shutDown(); });
  letPass(seconds{10});
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
  EXPECT_FALSE(main().startWaits());
}

// The start would have stored half-typed text of the settings dialog.
TEST_F(InterruptionTest, AStartThatWaitsDoesNotAskBeforeTheSettingsAreClosed) {
  startWhileAStoppedCheckRuns([this] { click("frmRelaybird", "cmdPrefs"); });
  letPass(seconds{60});
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
  click("frmPrefs", "cmdCancel");
  dialogs_.answer(BoxAnswer::kYes);
  letPass(seconds{1});
  EXPECT_EQ(text("txtStatus"), "Running");
}

// The inner end cleared the flags of the outer one; fifteen minutes later an unrequested check ran.
TEST_F(InterruptionTest, AnotherSynchronisationEndsInThePassOfTheFirst) {
  oneAddress();
  (void)program();
  deliver("lunch");
  once("Checking unread", [this] { schedule().m_sync_SyncEnd(); });
  schedule().ForwardTrigger();
  events_.runPending();
  EXPECT_TRUE(state().syncBusy);
  EXPECT_TRUE(state().sendSync);
  events_.runUntilIdle();
  EXPECT_FALSE(state().syncBusy);
  EXPECT_FALSE(schedule().tmrSync().enabled());
  deliver("late");
  letPass(seconds{1000});
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: lunch"));
}

TEST_F(InterruptionTest, ATestInsideAStoppedCheckDoesNotClaimToHaveChecked) {
  oneAddress("mbolFwdUponStart=1\n");
  (void)program();
  deliver("lunch");
  once("Checking unread", [this] {
    click("frmRelaybird", "cmdStop");
    dialogs_.answer(BoxAnswer::kOk);
    dialogs_.answer(BoxAnswer::kYes);
    click("frmRelaybird", "cmdForwardNow");
  });
  switchOn();
  events_.runUntilIdle();
  EXPECT_NE(dialogs_.boxes.back().title, "Test Complete");
  EXPECT_TRUE(main().cmdForwardNow.enabled());
}

TEST_F(InterruptionTest, ATestThatEndsWhileForwardingIsOnLeavesItsCommandOff) {
  oneAddress("mbolFwdUponStart=1\n");
  (void)program();
  state().syncBusy = true;
  state().testCycle = true;
  happened_ = true;
  switchOn();
  EXPECT_FALSE(main().cmdForwardNow.enabled());
  EXPECT_EQ(status(), "Outlook performing send/receive...");
}

TEST_F(InterruptionTest, AddressesThatChangeUnderTheQuestionAreAskedForAgain) {
  oneAddress();
  (void)program();
  dialogs_.onBox = [this](const AnswerBox& box) {
    if (box.title == "Please Confirm:" && !std::exchange(happened_, true)) {
      preferences("mstrFwdToAddress_num=1\nmstrFwdToAddress_1=other@b.example\n");
      program().readPreferencesAgain();
    }
  };
  dialogs_.answer(BoxAnswer::kYes);
  dialogs_.answer(BoxAnswer::kNo);
  click("frmRelaybird", "cmdStart");
  ASSERT_EQ(dialogs_.boxes.size(), 2U);
  EXPECT_NE(dialogs_.boxes[1].text.find("other@b.example"), std::string::npos);
  EXPECT_EQ(text("txtStatus"), "Stopped");
}

// Filling the dialog opened the box about the two options, and lost the stored one.
TEST_F(InterruptionTest, CancellingSwappedStartUpOptionsKeepsTheStoredOne) {
  oneAddress("mbolFwdUponStart=1\n");
  (void)program();
  happened_ = true;
  click("frmRelaybird", "cmdPrefs");
  click("frmPrefs", "chkForwardStart");
  click("frmPrefs", "chkForwardingOnAtStartup");
  click("frmPrefs", "cmdCancel");
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
  EXPECT_EQ(control("frmPrefs", "chkForwardStart").value(), 1);
  switchOn();
  EXPECT_TRUE(main().prf().bolFwdOnActivateForwarding());
}

TEST_F(InterruptionTest, AddressesEnteredAtTheStartAreShown) {
  dialogs_.enter("me@home.example");
  (void)program();
  happened_ = true;
  switchOn();
  EXPECT_EQ(text("txtStatusFwdTo"), "me@home.example");
}

}  // namespace
}  // namespace relaybird
