// SPDX-License-Identifier: MIT
// One check on demand while forwarding is off.
#include <gmock/gmock.h>

#include "ui/forms/main/program_fixture.h"

namespace relaybird {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char* kExplanation =
    "Test Explanation:|This will run through one cycle of checking/forwarding your inbox messages. "
    " Running through this cycle is a good way to check for possible problems (especially with "
    "your Outlook configuration) .  As the checking cycle proceeds, and your inbox messages are "
    "checked, you will see the red status message on the main Relaybird dialog box change.  You "
    "will receive a message box telling you when the checking cycle is done.  If you don't receive "
    "any error messages before that then no problems were found.\r\n\r\nClick on OK to continue "
    "with the test and CANCEL to not run the test|none|OK Cancel";

constexpr const char* kConfirmation =
    "Please Confirm:|Please confirm that you would like Relaybird to forward your messages to the "
    "following  1 address : \r\n\r\n( 1) 5550100@sms.example.net\r\n\r\nPlease click the YES "
    "button to forward your messages once.|none|Yes No";

class TestCycleTest : public ProgramTest {
 protected:
  void runTest() { click("frmRelaybird", "cmdForwardNow"); }
  void agree() {
    dialogs_.answer(BoxAnswer::kOk);
    dialogs_.answer(BoxAnswer::kYes);
  }
  void verbose() { control("frmLog", "chkVerboseLog").setValue(1); }
  std::vector<std::string> boxLines() const {
    std::vector<std::string> lines;
    for (const AnswerBox& box : dialogs_.boxes) {
      lines.push_back(boxLine(box));
    }
    return lines;
  }
  // The verbose lines of the test cycle itself, without their time and mark.
  std::vector<std::string> steps() {
    std::vector<std::string> found;
    for (const std::string& line : log()) {
      const std::size_t mark = line.find("[v]-->cmdFordardNow-->");
      if (mark != std::string::npos) {
        found.push_back(line.substr(mark + 22));
      }
    }
    return found;
  }
  void expectOver() {
    EXPECT_TRUE(main().cmdForwardNow.enabled());
    EXPECT_EQ(text("txtStatus"), "Stopped");
    EXPECT_FALSE(state().m_bBusyFwd);
    EXPECT_FALSE(state().testCycle);
  }
};

TEST_F(TestCycleTest, ExplainsConfirmsForwardsAndSaysWhenItIsOver) {
  oneAddress();
  (void)program();
  deliver("lunch");
  agree();
  runTest();
  EXPECT_THAT(boxLines(), ElementsAre(kExplanation, kConfirmation));
  events_.runUntilIdle();
  ASSERT_EQ(dialogs_.boxes.size(), 3U);
  EXPECT_EQ(boxLine(dialogs_.boxes[2]),
            "Test Complete|The checking cycle is done: 1 unread message was looked at and 1 was "
            "forwarded.\r\n\r\nNo problems were found.|none|OK");
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: lunch"));
  EXPECT_EQ(status(), "Current Status - Automatic forwarding turned off");
  expectOver();
  EXPECT_THAT(log(), Not(Contains(HasSubstr("cmdFordardNow"))));
}

TEST_F(TestCycleTest, TheStoreLearnsThatTheUserAsksBeforeItIsOpened) {
  oneAddress();
  (void)program();
  agree();
  int asksAtFirst = -1;
  store_.setHook(
      [&](std::string_view) { asksAtFirst = asksAtFirst < 0 ? outgoing_.asks : asksAtFirst; });
  runTest();
  EXPECT_EQ(asksAtFirst, 1);
}

TEST_F(TestCycleTest, TheVerboseLogBracketsEveryStep) {
  oneAddress();
  (void)program();
  verbose();
  agree();
  runTest();
  EXPECT_THAT(steps(),
              ElementsAre("ResetIgnoreList_pre", "ResetIgnoreList_post", "GetForwardAddress_pre",
                          "GetForwardAddress_post", "prf.GetFwdConfirmMessage_pre",
                          "prf.GetFwdConfirmMessage_post", "m_bBusyFwd",
                          "ResetOlkObj(False, False, True)_pre",
                          "ResetOlkObj(False, False, True)_post", "CheckOlkVer_pre",
                          "CheckOlkVer_post", "ForwardTrigger_pre", "ForwardTrigger_post"));
  EXPECT_THAT(log().front(), HasSubstr(" [v]-->CmdForwardNow Entered"));
}

TEST_F(TestCycleTest, WhileRunningItOnlySaysThatItCannotContinue) {
  oneAddress();
  (void)program();
  switchOn();
  dialogs_.boxes.clear();
  main().testCycle();
  EXPECT_THAT(boxLines(),
              ElementsAre("Can not Continue|Email forwarding is currently activated.  Please click "
                          "the 'Stop' button to deactivate to turn off automatic forwarding before "
                          "running this test|exclamation|OK"));
  EXPECT_FALSE(main().cmdForwardNow.enabled());
  EXPECT_EQ(text("txtStatus"), "Running");
  EXPECT_TRUE(main().tmrMinute.enabled());
  events_.runUntilIdle();
  EXPECT_EQ(dialogs_.boxes.size(), 1U);
}

TEST_F(TestCycleTest, CancellingTheExplanationIsLoggedVerboselyAndNothingElseHappens) {
  oneAddress();
  (void)program();
  verbose();
  dialogs_.answer(BoxAnswer::kCancel);
  runTest();
  EXPECT_THAT(log(), ElementsAre(HasSubstr("[v]-->CmdForwardNow Entered"),
                                 HasSubstr("[v]-->CmdForwardNow Cancelled")));
  EXPECT_EQ(state().activationTime, kNoDate);
  expectOver();
  events_.runUntilIdle();
  EXPECT_EQ(dialogs_.boxes.size(), 1U);
}

TEST_F(TestCycleTest, CancellingTheAddressEndsIt) {
  (void)program();
  verbose();
  dialogs_.answer(BoxAnswer::kOk);
  dialogs_.enter("");
  runTest();
  EXPECT_THAT(steps(),
              ElementsAre("ResetIgnoreList_pre", "ResetIgnoreList_post", "GetForwardAddress_pre",
                          "GetForwardAddress_post", "GetValidEmail_pre", "GetValidEmail_post",
                          "SetStatusToPreset_pre", "SetStatusToPreset_post"));
  expectOver();
}

// The address goes into the dialog; only the dialog's own buttons and a start store it.
TEST_F(TestCycleTest, AnEnteredAddressGoesIntoTheDialog) {
  (void)program();
  verbose();
  dialogs_.answer(BoxAnswer::kOk);
  dialogs_.enter("me@home.example");
  runTest();
  EXPECT_EQ(control("frmPrefs", "txtAddress").text(), "me@home.example");
  EXPECT_THAT(steps(), Contains("frmPrefs.txtAddress_post"));
  EXPECT_EQ(boxLine(dialogs_.boxes.back()),
            "Problem|No valid Email addresses listed for forwarding.  In the preferences dialog "
            "box please enter at least one valid email address to forward your messages "
            "to.|critical|OK");
  expectOver();
}

TEST_F(TestCycleTest, TheSettingsOpenWithTheTypedAddressForItToBeStored) {
  (void)program();
  control("frmPrefs", "tabPrefs").setValue(2);
  dialogs_.answer(BoxAnswer::kOk);
  dialogs_.enter("me@home.example");
  bool openAtTheBox = true;
  dialogs_.onBox = [&](const AnswerBox& box) {
    if (box.title == "Problem") {
      openAtTheBox = program().settings().visible();
    }
  };
  runTest();
  EXPECT_FALSE(openAtTheBox);
  EXPECT_TRUE(program().settings().visible());
  EXPECT_EQ(control("frmPrefs", "tabPrefs").value(), 0);
  EXPECT_EQ(control("frmPrefs", "txtAddress").text(), "me@home.example");
  click("frmPrefs", "cmdOK");
  EXPECT_EQ(main().prf().GetForwardAddress(), "me@home.example; ");
  dialogs_.onBox = {};
  dialogs_.answer(BoxAnswer::kOk);
  dialogs_.answer(BoxAnswer::kYes);
  deliver("lunch");
  runTest();
  EXPECT_EQ(store_.outboxCount(), 1U);
}

TEST_F(TestCycleTest, NotConfirmingOpensNoSettings) {
  oneAddress();
  (void)program();
  dialogs_.answer(BoxAnswer::kOk);
  dialogs_.answer(BoxAnswer::kNo);
  runTest();
  EXPECT_FALSE(program().settings().visible());
}

TEST_F(TestCycleTest, NotConfirmingEndsIt) {
  oneAddress();
  (void)program();
  deliver("lunch");
  dialogs_.answer(BoxAnswer::kOk);
  dialogs_.answer(BoxAnswer::kNo);
  runTest();
  EXPECT_EQ(store_.outboxCount(), 0U);
  EXPECT_EQ(status(), "Current Status - Automatic forwarding turned off");
  expectOver();
}

TEST_F(TestCycleTest, ABusyProgramEndsItWithoutAPass) {
  oneAddress();
  (void)program();
  deliver("lunch");
  agree();
  state().m_bBusyFwd = true;
  runTest();
  EXPECT_EQ(store_.outboxCount(), 0U);
  EXPECT_TRUE(state().m_bBusyFwd);
  EXPECT_TRUE(main().cmdForwardNow.enabled());
}

// The user had answered two questions, and no result was shown.
TEST_F(TestCycleTest, ATestThatABusyProgramDoesNotRunSaysWhy) {
  oneAddress();
  (void)program();
  agree();
  state().passRunning = true;
  EXPECT_FALSE(main().testCycle());
  EXPECT_EQ(boxLine(dialogs_.boxes.back()),
            "Can not Continue|A check is still under way.  Please run the test when it has "
            "ended.|exclamation|OK");
}

// The second test showed the result and the counts of the first one.
TEST_F(TestCycleTest, ASecondTestWhileForwardsAreBeingSentLeavesTheFirstItsClosingBox) {
  oneAddress();
  (void)program();
  deliver("lunch");
  store_.setSyncEndsByItself(false);
  agree();
  runTest();
  events_.runUntilIdle();
  ASSERT_TRUE(main().cmdForwardNow.enabled());
  dialogs_.boxes.clear();
  runTest();
  EXPECT_THAT(boxLines(),
              ElementsAre("Can not Continue|The forwards of the last test are still being sent.  "
                          "You will receive its message box when that is done.  Please run the "
                          "next test after that.|exclamation|OK"));
  EXPECT_TRUE(main().cmdForwardNow.enabled());
  store_.endSyncs();
  events_.runUntilIdle();
  letPass(std::chrono::seconds{1});
  ASSERT_EQ(dialogs_.boxes.size(), 2U);
  EXPECT_THAT(dialogs_.boxes[1].text,
              HasSubstr("1 unread message was looked at and 1 was forwarded."));
  agree();
  runTest();
  EXPECT_EQ(dialogs_.boxes[2].title, "Test Explanation:");
}

TEST_F(TestCycleTest, AnApplicationThatCannotBeOpenedIsTold) {
  oneAddress();
  (void)program();
  store_.removeComponent(prog_id::kApplication);
  std::string shown;
  dialogs_.onBox = [&](const AnswerBox& box) {
    if (box.title == "Error") {
      shown = status();
    }
  };
  agree();
  runTest();
  EXPECT_EQ(boxLine(dialogs_.boxes.back()),
            "Error|Could not start up Microsoft Outlook (please verify that MS-Outlook is "
            "installed and configured correctly on this PC).|critical|OK");
  EXPECT_EQ(shown, "Error activating Outlook");
  EXPECT_EQ(status(), "Current Status - Automatic forwarding turned off");
  expectOver();
}

TEST_F(TestCycleTest, AnOldApplicationIsTold) {
  oneAddress();
  store_.setVersion("9.0.0.1");
  (void)program();
  agree();
  runTest();
  EXPECT_EQ(boxLine(dialogs_.boxes.back()),
            "Problem|Can not continue.  You must have Outlook version 2002 or later.|critical|OK");
  expectOver();
}

// The application is asked twice: once by the version check, once before the pass.
TEST_F(TestCycleTest, WaitsForASynchronisationWhenTheApplicationWentAway) {
  oneAddress();
  (void)program();
  deliver("lunch");
  store_.setSyncEndsByItself(false);
  int asked = 0;
  store_.setHook([&](std::string_view operation) {
    if (operation == "Application.Version" && ++asked == 2) {
      throw MailStoreError("busy");
    }
  });
  agree();
  runTest();
  EXPECT_FALSE(main().cmdForwardNow.enabled());
  EXPECT_EQ(status(), "Outlook performing send/receive...");
  store_.endSyncs();
  events_.runUntilIdle();
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: lunch"));
  EXPECT_TRUE(main().cmdForwardNow.enabled());
  // The forward is being sent.
  EXPECT_NE(dialogs_.boxes.back().title, "Test Complete");
  store_.endSyncs();
  events_.runUntilIdle();
  letPass(std::chrono::seconds{1});
  EXPECT_EQ(dialogs_.boxes.back().title, "Test Complete");
}

TEST_F(TestCycleTest, AFailedForwardIsAProblem) {
  oneAddress();
  (void)program();
  deliver("lunch");
  deliver("dinner");
  store_.setUnresolvable("5550100@sms.example.net");
  agree();
  runTest();
  events_.runUntilIdle();
  EXPECT_EQ(dialogs_.boxes.back().text,
            "The checking cycle is done: 2 unread messages were looked at and 0 were "
            "forwarded.\r\n\r\nThere was a problem; please see the log.");
}

TEST_F(TestCycleTest, AFaultInThePassIsAProblem) {
  oneAddress();
  (void)program();
  store_.setHook([](std::string_view operation) {
    if (operation == "ItemCollection.Restrict") {
      throw MailStoreError("the disk is gone");
    }
  });
  agree();
  runTest();
  events_.runUntilIdle();
  EXPECT_THAT(dialogs_.boxes.back().text, HasSubstr("There was a problem"));
  expectOver();
}

TEST_F(TestCycleTest, TheOffLineReportsTheTimeOfTheTest) {
  oneAddress();
  (void)program();
  agree();
  runTest();
  clock_.advance(std::chrono::minutes{5});
  main().StopForwarding();
  EXPECT_EQ(log().back(), "--- Forwarding turned OFF at 2026-11-20 09:00:00 ---");
}

}  // namespace
}  // namespace relaybird
