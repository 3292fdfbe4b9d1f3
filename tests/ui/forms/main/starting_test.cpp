// SPDX-License-Identifier: MIT
// Switching forwarding on and off.
#include <gmock/gmock.h>

#include "ui/forms/main/program_fixture.h"

namespace relaybird {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr const char* kOff = "Current Status - Automatic forwarding turned off";

class StartingTest : public ProgramTest {
 protected:
  void start() { click("frmRelaybird", "cmdStart"); }
  void expectStopped() {
    EXPECT_EQ(text("txtStatus"), "Stopped");
    EXPECT_EQ(text("txtRunningSince"), "-");
    EXPECT_TRUE(main().cmdStart.enabled());
    EXPECT_FALSE(main().cmdStop.enabled());
    EXPECT_FALSE(main().tmrMinute.enabled());
    EXPECT_EQ(status(), kOff);
    EXPECT_FALSE(state().m_bBusyFwd);
    EXPECT_FALSE(state().forwardingOn);
  }
  std::vector<std::string> boxLines() const {
    std::vector<std::string> lines;
    for (const AnswerBox& box : dialogs_.boxes) {
      lines.push_back(boxLine(box));
    }
    return lines;
  }
};

TEST_F(StartingTest, AsksToConfirmTheAddressesAndRuns) {
  oneAddress();
  (void)program();
  switchOn();
  EXPECT_THAT(boxLines(),
              ElementsAre("Please Confirm:|Please confirm that you would like Relaybird to forward "
                          "your messages to the following  1 address : \r\n\r\n"
                          "( 1) 5550100@sms.example.net\r\n\r\nPlease click the YES button to "
                          "start automatically forwarding your messages.|none|Yes No"));
  EXPECT_EQ(text("txtStatus"), "Running");
  EXPECT_EQ(main().txtStatus.backColor(), rgb(0, 255, 0));
  EXPECT_EQ(text("txtRunningSince"), "2026-11-20 09:00:00");
  EXPECT_EQ(text("txtNumberForwarded"), "0");
  EXPECT_EQ(text("txtMinToNextFwd"), "15");
  EXPECT_EQ(main().txtMinToNextFwd.backColor(), rgb(192, 255, 192));
  EXPECT_EQ(main().txtNumberForwarded.backColor(), rgb(192, 255, 192));
  EXPECT_TRUE(main().cmdStop.enabled());
  EXPECT_TRUE(main().mnuStop.enabled());
  EXPECT_FALSE(main().cmdStart.enabled());
  EXPECT_FALSE(main().mnuStart.enabled());
  EXPECT_FALSE(main().cmdForwardNow.enabled());
  EXPECT_TRUE(main().tmrMinute.enabled());
  EXPECT_EQ(status(), "Currently Idle - Waiting for next inbox check...");
  EXPECT_THAT(log(), ElementsAre("--- Forwarding turned ON at 2026-11-20 09:00:00 ---"));
  EXPECT_THAT(trace_.lines, ElementsAre("StartForwarding Entered"));
}

TEST_F(StartingTest, TheStoreLearnsOfEachMinuteOfTheCountdown) {
  oneAddress();
  (void)program();
  switchOn();
  const int before = outgoing_.minutes;
  letPass(std::chrono::minutes{3});
  EXPECT_EQ(outgoing_.minutes, before + 3);
  click("frmRelaybird", "cmdStop");
  const int stopped = outgoing_.minutes;
  letPass(std::chrono::minutes{3});
  EXPECT_EQ(outgoing_.minutes, stopped);
}

TEST_F(StartingTest, TheStoreLearnsWhetherForwardingIsOn) {
  oneAddress();
  (void)program();
  EXPECT_THAT(outgoing_.switched, IsEmpty());
  switchOn();
  EXPECT_THAT(outgoing_.switched, ElementsAre(true));
  click("frmRelaybird", "cmdStop");
  EXPECT_THAT(outgoing_.switched, ElementsAre(true, false));
}

TEST_F(StartingTest, TheMenuStartsAndStopsToo) {
  oneAddress();
  dialogs_.answer(BoxAnswer::kYes);
  click("frmRelaybird", "mnuStart");
  EXPECT_EQ(text("txtStatus"), "Running");
  click("frmRelaybird", "mnuStop");
  EXPECT_EQ(text("txtStatus"), "Stopped");
}

TEST_F(StartingTest, AnythingButYesLeavesItOff) {
  oneAddress();
  dialogs_.answer(BoxAnswer::kNo);
  start();
  expectStopped();
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(StartingTest, ABusyProgramIgnoresAStart) {
  oneAddress();
  (void)program();
  state().m_bBusyFwd = true;
  start();
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
  EXPECT_EQ(text("txtStatus"), "Stopped");
  EXPECT_TRUE(state().m_bBusyFwd);
}

TEST_F(StartingTest, TellsWhyTheMailApplicationCannotBeOpened) {
  oneAddress();
  (void)program();
  std::vector<std::string> statuses;
  store_.setHook([](std::string_view operation) {
    if (operation == "Namespace.GetDefaultInbox") {
      throw MailStoreError("the folder /home/ann/Maildir does not exist");
    }
  });
  dialogs_.onBox = [&](const AnswerBox&) { statuses.push_back(status()); };
  start();
  EXPECT_THAT(boxLines(), ElementsAre("Error|Could not retrieve Outlook inbox|critical|OK"));
  EXPECT_THAT(statuses, ElementsAre("Error activating Outlook"));
  EXPECT_THAT(log(), ElementsAre("2026-11-20 09:00:00--> the folder /home/ann/Maildir does not "
                                 "exist"));
  expectStopped();
}

TEST_F(StartingTest, CanBeTriedAgainAfterAFailure) {
  oneAddress();
  (void)program();
  store_.removeComponent(prog_id::kApplication);
  start();
  EXPECT_EQ(dialogs_.boxes.back().title, "Error");
  store_.restoreComponents();
  switchOn();
  EXPECT_EQ(text("txtStatus"), "Running");
}

// A password that was corrected was not tried before an hour had passed.
TEST_F(StartingTest, TheStoreLearnsThatTheUserAsksBeforeItIsOpened) {
  oneAddress();
  (void)program();
  int asksAtFirst = -1;
  store_.setHook(
      [&](std::string_view) { asksAtFirst = asksAtFirst < 0 ? outgoing_.asks : asksAtFirst; });
  switchOn();
  EXPECT_EQ(asksAtFirst, 1);
  EXPECT_EQ(outgoing_.asks, 1);
}

// A wrong password that is repeated at each check locks the account.
TEST_F(StartingTest, NeitherAStartWithTheDesktopNorACheckOfTheScheduleIsTheUsersWish) {
  oneAddress();
  (void)program();
  main().StartForwarding(true);
  EXPECT_EQ(text("txtStatus"), "Running");
  letPass(std::chrono::minutes(16));
  EXPECT_THAT(log(), Contains(StartsWith("Completed Email Check")));
  EXPECT_EQ(outgoing_.asks, 0);
}

TEST_F(StartingTest, AnOldMailApplicationIsRefused) {
  oneAddress();
  store_.setVersion("9.0.0.1");
  start();
  EXPECT_THAT(boxLines(),
              ElementsAre("Problem|Can not continue.  You must have Outlook version 2002 or "
                          "later.|critical|OK"));
  expectStopped();
}

TEST_F(StartingTest, AnApplicationThatLosesItsVersionIsRefusedAndTheLogSaysWhy) {
  oneAddress();
  (void)program();
  store_.setHook([](std::string_view operation) {
    if (operation == "Application.Version") {
      throw MailStoreError("gone away");
    }
  });
  start();
  EXPECT_EQ(dialogs_.boxes.back().title, "Problem");
  EXPECT_THAT(log(), ElementsAre("2026-11-20 09:00:00--> gone away"));
  expectStopped();
}

TEST_F(StartingTest, WithoutAnAddressItAsksForOneAndStoresIt) {
  dialogs_.enter("me@home.example");
  (void)program();
  switchOn();
  ASSERT_EQ(dialogs_.inputs.size(), 1U);
  EXPECT_EQ(dialogs_.inputs[0].title, "Invalid Email Address");
  EXPECT_EQ(dialogs_.inputs[0].prompt,
            "You don't seem to have a valid Email address set in the preferences for your mail to "
            "be forwarded to.  Please enter a valid forwarding Email address:");
  EXPECT_EQ(text("txtStatus"), "Running");
  EXPECT_THAT(files_.bytes(kPrefFile), testing::HasSubstr("mstrFwdToAddress_1=me@home.example"));
}

TEST_F(StartingTest, AsksUntilTheAddressIsValid) {
  dialogs_.enter("ab");
  dialogs_.enter("a@bc");
  dialogs_.enter("a@b.c");
  (void)program();
  switchOn();
  ASSERT_EQ(dialogs_.inputs.size(), 3U);
  EXPECT_EQ(dialogs_.inputs[1].prompt,
            "ab is not a valid Email address.   Please enter a valid Email address to continue,  "
            "or press cancel");
  EXPECT_EQ(dialogs_.inputs[2].prompt.substr(0, 4), "a@bc");
  EXPECT_EQ(text("txtStatus"), "Running");
}

TEST_F(StartingTest, CancellingTheAddressLeavesItOff) {
  dialogs_.enter("");
  start();
  expectStopped();
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
  EXPECT_FALSE(files_.has(kPrefFile));
}

TEST_F(StartingTest, ARefusedSettingIsTold) {
  oneAddress();
  control("frmPrefs", "txtMinutes").setText("1");
  start();
  EXPECT_THAT(boxLines(),
              ElementsAre("Relaybird|Error occured:\r\nNot allowed to check mail more often than 2 "
                          "minutes.|none|OK"));
  expectStopped();
}

TEST_F(StartingTest, AFullDiskIsTold) {
  oneAddress();
  (void)program();
  files_.failCallsWith("create ", ENOSPC);
  start();
  EXPECT_THAT(boxLines(), ElementsAre("Relaybird|Error occured:\r\nError writing preferences to "
                                      "disk|none|OK"));
  expectStopped();
}

// When the transfer from the dialog fails completely, the transfer itself reports it.
TEST_F(StartingTest, AListWithoutAddressesIsTold) {
  oneAddress();
  control("frmPrefs", "txtAddress").setText(" ; ");
  start();
  EXPECT_THAT(boxLines(),
              ElementsAre("Problem|No valid Email addresses listed for forwarding.  In the "
                          "Settings dialog box please enter at least one valid email address to "
                          "forward your messages to.|critical|OK"));
  expectStopped();
}

TEST_F(StartingTest, ChecksAtOnceWhenTheUserWantsThat) {
  oneAddress("mbolFwdUponStart=1\n");
  (void)program();
  deliver("lunch");
  switchOn();
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: lunch"));
  EXPECT_EQ(text("txtNumberForwarded"), "1");
  EXPECT_EQ(text("txtMinToNextFwd"), "15");
}

TEST_F(StartingTest, AtStartUpItNeverChecksAtOnce) {
  oneAddress("mbolFwdUponStart=1\n");
  (void)program();
  deliver("lunch");
  main().StartForwarding(true);
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
  EXPECT_EQ(text("txtStatus"), "Running");
  EXPECT_EQ(store_.outboxCount(), 0U);
}

TEST_F(StartingTest, ItemsUnreadBeforeSwitchingOnAreLeftWhenTheUserWantsThat) {
  oneAddress("mbolFwdUponStart=1\nmbolIgnoreExistingUnread=1\n");
  (void)program();
  deliver("old");
  switchOn();
  EXPECT_EQ(store_.outboxCount(), 0U);
}

TEST_F(StartingTest, StoppingShowsTheStoppedStateAndLogsTheTimeOfSwitchingOn) {
  oneAddress();
  (void)program();
  switchOn();
  clock_.advance(std::chrono::minutes{10});
  trace_.lines.clear();
  click("frmRelaybird", "cmdStop");
  expectStopped();
  EXPECT_EQ(main().txtStatus.backColor(), rgb(255, 0, 0));
  EXPECT_EQ(main().txtMinToNextFwd.backColor(), kButtonFace);
  EXPECT_EQ(main().txtNumberForwarded.backColor(), kButtonFace);
  EXPECT_TRUE(main().cmdForwardNow.enabled());
  EXPECT_TRUE(main().mnuStart.enabled());
  EXPECT_FALSE(main().mnuStop.enabled());
  EXPECT_EQ(text("txtMinToNextFwd"), "--");
  EXPECT_EQ(log().back(), "--- Forwarding turned OFF at 2026-11-20 09:00:00 ---");
  EXPECT_THAT(trace_.lines, ElementsAre("StartForwarding Entered before busy check",
                                        "StartForwarding Entered after busy check"));
}

TEST_F(StartingTest, StoppingTwiceLogsTwoLinesWithTheSameTime) {
  oneAddress();
  (void)program();
  switchOn();
  main().StopForwarding();
  clock_.advance(std::chrono::minutes{10});
  main().StopForwarding();
  ASSERT_EQ(log().size(), 3U);
  EXPECT_EQ(log()[1], log()[2]);
}

TEST_F(StartingTest, StoppingInAPassLeavesTheItemsToCome) {
  oneAddress();
  (void)program();
  deliver("one");
  deliver("two");
  switchOn();
  screen_.onProcessPendingEvents = [this] {
    if (status() == "Checking unread item 2 of 2") {
      click("frmRelaybird", "cmdStop");
    }
  };
  main().engine().schedule().ForwardTrigger();
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: two"));
  EXPECT_TRUE(store_.isUnread(0));
  EXPECT_FALSE(state().m_bBusyFwd);
}

TEST_F(StartingTest, OneAddressIsAnAddressAndNoneAreAddresses) {
  (void)program();
  main().SetMainFormFwdToAddresses("", 0);
  EXPECT_EQ(text("lblStatusFwdTo"), "Forwards to [0 addresses]:");
  main().SetMainFormFwdToAddresses("a@b.c", 1);
  EXPECT_EQ(text("lblStatusFwdTo"), "Forwards to [1 address]:");
  EXPECT_EQ(text("txtStatusFwdTo"), "a@b.c");
}

// Cancelled edits used to be stored by the next start, which reads the dialog.
TEST_F(StartingTest, DoesNotStoreWhatWasCancelledInTheDialog) {
  oneAddress();
  click("frmRelaybird", "cmdPrefs");
  control("frmPrefs", "txtMinutes").setText("44");
  click("frmPrefs", "cmdCancel");
  switchOn();
  EXPECT_EQ(main().prf().GetMinLeft(), 15);
  EXPECT_THAT(log(), Not(Contains(StartsWith("An Error"))));
}

}  // namespace
}  // namespace relaybird
