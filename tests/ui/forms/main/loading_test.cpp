// SPDX-License-Identifier: MIT
// Start-up, shut-down and what the main window opens.
#include <gmock/gmock.h>

#include "ui/forms/main/program_fixture.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class LoadingTest : public ProgramTest {};

TEST_F(LoadingTest, ShowsTheWindowWithVersionStateAddressesAndFormat) {
  preferences(
      "mstrFwdToAddress_num=2\nmstrFwdToAddress_1=a@b.example\nmstrFwdToAddress_2=c@d.example\n"
      "mbolFormatForCellPhone=1\n");
  EXPECT_TRUE(main().visible());
  EXPECT_TRUE(started_);
  EXPECT_EQ(main().caption(), "Relaybird v3.12");
  EXPECT_EQ(text("txtStatusFwdTo"), "a@b.example; c@d.example");
  EXPECT_EQ(text("lblStatusFwdTo"), "Forwards to [2 addresses]:");
  EXPECT_EQ(status(), "Current Status - Automatic forwarding turned off");
  EXPECT_EQ(text("txtMinToNextFwd"), "--");
  EXPECT_TRUE(main().picTextFwdToCell.visible());
  EXPECT_TRUE(main().picDestCellPhone.visible());
  EXPECT_FALSE(main().picTextToEmail.visible());
  EXPECT_FALSE(main().picDestPc.visible());
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
}

TEST_F(LoadingTest, TheRevisionFollowsTheMinorNumberDirectly) {
  makeProgram({2, 0, 15});
  program_->start();
  EXPECT_EQ(program_->main().caption(), "Relaybird v2.015");
}

TEST_F(LoadingTest, WithoutAPreferenceFileTheDefaultsAreShown) {
  EXPECT_EQ(text("lblStatusFwdTo"), "Forwards to [0 addresses]:");
  EXPECT_EQ(text("txtStatusFwdTo"), "");
  EXPECT_EQ(control("frmPrefs", "txtMinutes").text(), "15");
  EXPECT_TRUE(main().picTextToEmail.visible());
}

TEST_F(LoadingTest, CountersStandOnTheWindowsOwnColour) {
  EXPECT_EQ(main().txtMinToNextFwd.backColor(), kButtonFace);
  EXPECT_EQ(main().txtNumberForwarded.backColor(), kButtonFace);
}

TEST_F(LoadingTest, WithoutTheSafeItemLibraryTheWindowIsShownAfterOneBox) {
  store_.removeComponent(prog_id::kUtility);
  EXPECT_TRUE(main().visible());
  ASSERT_EQ(dialogs_.boxes.size(), 1U);
  EXPECT_EQ(boxLine(dialogs_.boxes[0]), "Relaybird|Could not create MAPIUtils object...|none|OK");
}

TEST_F(LoadingTest, WithoutTheDictionaryTheProgramEndsAfterOneBoxAndNothingIsWritten) {
  store_.removeComponent(prog_id::kDictionary);
  EXPECT_FALSE(main().visible());
  EXPECT_FALSE(started_);
  ASSERT_EQ(dialogs_.boxes.size(), 1U);
  EXPECT_EQ(boxLine(dialogs_.boxes[0]),
            "ERROR|You are missing a necessary component on your PC.  You need to have the "
            "Microsoft Scripting Runtime component installed for Relaybird to work "
            "properly.|critical|OK");
  EXPECT_FALSE(files_.has(kPrefFile));
}

TEST_F(LoadingTest, TheLabelKeepsItsDesignTextUntilTheFirstUpdate) {
  makeProgram();
  EXPECT_EQ(program_->main().lblStatusFwdTo.text(), "Forward to [0 addresses]:");
  EXPECT_EQ(program_->main().caption(), "Relaybird");
}

TEST_F(LoadingTest, SwitchesOnByItselfWithoutQuestionAndWithoutAFirstCheck) {
  oneAddress("mbolTurnOnFwdOnStartup=1\n");
  deliver("early");
  EXPECT_EQ(text("txtStatus"), "Running");
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
  EXPECT_EQ(store_.outboxCount(), 0U);
  EXPECT_EQ(status(), "Currently Idle - Waiting for next inbox check...");
}

// A file edited by hand can hold both start-up options. Nobody may be there to answer.
TEST_F(LoadingTest, BothStartUpOptionsInTheFileAreToldOnceForwardingIsOn) {
  oneAddress("mbolTurnOnFwdOnStartup=1\nmbolFwdUponStart=1\n");
  deliver("early");
  std::string statusAtTheBox;
  dialogs_.onBox = [&](const AnswerBox&) { statusAtTheBox = text("txtStatus"); };
  (void)program();
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
  EXPECT_EQ(text("txtStatus"), "Running");
  EXPECT_EQ(store_.outboxCount(), 0U);
  events_.runUntilIdle();
  ASSERT_EQ(dialogs_.boxes.size(), 1U);
  EXPECT_EQ(dialogs_.boxes[0].title, "Invalid Option Combination");
  EXPECT_EQ(statusAtTheBox, "Running");
}

// The start stores what the dialog shows: an option that the rule had unticked there was off at the
// next start.
TEST_F(LoadingTest, AnUnattendedStartWithBothStartUpOptionsStartsTheNextTimeToo) {
  oneAddress("mbolTurnOnFwdOnStartup=1\nmbolFwdUponStart=1\n");
  for (int start = 1; start <= 3; ++start) {
    makeProgram();
    EXPECT_TRUE(program_->start());
    events_.runUntilIdle();
    EXPECT_EQ(text("txtStatus"), "Running") << start;
    EXPECT_TRUE(main().prf().bolTurnOnFwdOnStartup());
    EXPECT_TRUE(main().prf().bolFwdOnActivateForwarding());
    EXPECT_EQ(dialogs_.boxes.size(), static_cast<std::size_t>(start));
    program_.reset();
  }
}

TEST_F(LoadingTest, ReadingBothStartUpOptionsAgainOpensNoBox) {
  oneAddress();
  (void)program();
  oneAddress("mbolTurnOnFwdOnStartup=1\nmbolFwdUponStart=1\n");
  program().readPreferencesAgain();
  events_.runUntilIdle();
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
}

TEST_F(LoadingTest, WithoutAddressesTheFirstStartSaysForwardsToNoAddresses) {
  EXPECT_EQ(text("lblStatusFwdTo"), "Forwards to [0 addresses]:");
  EXPECT_EQ(text("txtStatusFwdTo"), "");
}

TEST_F(LoadingTest, AFileThatCountsNoAddressesSaysForwardsToNoAddresses) {
  preferences("mstrFwdToAddress_num=2\nmstrFwdToAddress_1=\nmstrFwdToAddress_2=\n");
  EXPECT_EQ(text("lblStatusFwdTo"), "Forwards to [0 addresses]:");
}

TEST_F(LoadingTest, PicturesOpenTheDialogAtTheCellPhoneTab) {
  for (const char* picture : {"picTextToEmail", "picDestPc"}) {
    control("frmPrefs", "tabPrefs").setValue(2);
    click("frmRelaybird", picture);
    EXPECT_TRUE(program().settings().visible()) << picture;
    EXPECT_EQ(control("frmPrefs", "tabPrefs").value(), 4) << picture;
    click("frmPrefs", "cmdCancel");
  }
  for (const char* picture : {"picTextFwdToCell", "picDestCellPhone"}) {
    main().SetMainFrmCellPref(true);
    control("frmPrefs", "tabPrefs").setValue(2);
    click("frmRelaybird", picture);
    EXPECT_EQ(control("frmPrefs", "tabPrefs").value(), 4) << picture;
    click("frmPrefs", "cmdCancel");
  }
}

TEST_F(LoadingTest, TheAddressesOpenTheDialogAtTheFirstTab) {
  control("frmPrefs", "tabPrefs").setValue(3);
  click("frmRelaybird", "txtStatusFwdTo");
  EXPECT_TRUE(program().settings().visible());
  EXPECT_EQ(control("frmPrefs", "tabPrefs").value(), 0);
}

TEST_F(LoadingTest, SettingsOpenFilledFromWhatIsStored) {
  oneAddress();
  control("frmPrefs", "txtMinutes").setText("99");
  for (const char* command : {"cmdPrefs", "mnuPreferences"}) {
    click("frmRelaybird", command);
    EXPECT_EQ(control("frmPrefs", "txtMinutes").text(), "15") << command;
    EXPECT_EQ(control("frmPrefs", "txtAddress").text(), "5550100@sms.example.net; ");
    EXPECT_EQ(whyNoInput(main().cmdStart), "frmPrefs is open in front of frmRelaybird");
    click("frmPrefs", "cmdCancel");
  }
}

TEST_F(LoadingTest, TheLogIsShownBesideTheWindow) {
  click("frmRelaybird", "cmdViewLog");
  EXPECT_TRUE(program().log().visible());
  EXPECT_EQ(whyNoInput(main().cmdStart), "");
}

TEST_F(LoadingTest, HelpOpensTheFileThatIsThere) {
  files_.addFolder("/opt");
  files_.addFile("/opt/rbx.chm", "help");
  click("frmRelaybird", "mnuIndex");
  EXPECT_THAT(helpViewer_.shown, ElementsAre("/opt/rbx.chm"));
}

TEST_F(LoadingTest, ThePreferencesCanNameTheHelpFile) {
  files_.addFolder("/opt");
  files_.addFile("/opt/rbx.chm", "help");
  files_.addFile("/opt/other.chm", "help");
  preferences("strHelpFileLocation=/opt/other.chm\n");
  click("frmRelaybird", "mnuIndex");
  EXPECT_THAT(helpViewer_.shown, ElementsAre("/opt/other.chm"));
}

TEST_F(LoadingTest, AChosenHelpFileSurvivesARestart) {
  files_.addFolder("/media");
  files_.addFile("/media/rbx.chm", "help");
  dialogs_.answer(BoxAnswer::kOk);
  dialogs_.choose("/media/rbx.chm");
  click("frmRelaybird", "mnuIndex");
  makeProgram();
  program_->start();
  click("frmRelaybird", "mnuIndex");
  EXPECT_THAT(helpViewer_.shown, ElementsAre("/media/rbx.chm", "/media/rbx.chm"));
  EXPECT_EQ(dialogs_.boxes.size(), 1U);
}

TEST_F(LoadingTest, AboutTellsTheVersion) {
  click("frmRelaybird", "mnuAbout");
  EXPECT_EQ(control("frmAbout", "lblTitle").text(), "Relaybird  v3.1.2");
  click("frmAbout", "cmdSysInfo");
  EXPECT_THAT(systemInformation_.started, ElementsAre("/usr/bin/about-this-machine"));
  click("frmAbout", "cmdOk");
  EXPECT_FALSE(program().about().visible());
}

TEST_F(LoadingTest, EveryWayOutEndsTheProgram) {
  click("frmRelaybird", "cmdClose");
  click("frmRelaybird", "mnuExit");
  main().closeBox();
  program().shutDown();
  EXPECT_EQ(screen_.ends, 4);
}

TEST_F(LoadingTest, TheEndLetsGoOfTheMailApplication) {
  oneAddress();
  (void)program();
  switchOn();
  ASSERT_NE(main().engine().session().application(), nullptr);
  program().shutDown();
  EXPECT_EQ(main().engine().session().application(), nullptr);
}

TEST_F(LoadingTest, ClosingTheWindowDropsAnApplicationThatIsGone) {
  oneAddress();
  (void)program();
  switchOn();
  store_.quitApplication();
  click("frmRelaybird", "cmdClose");
  EXPECT_EQ(main().engine().session().application(), nullptr);
}

TEST_F(LoadingTest, ClosingTheWindowInAPassFinishesTheItemInHandAlone) {
  oneAddress();
  (void)program();
  deliver("one");
  deliver("two");
  switchOn();
  screen_.onProcessPendingEvents = [this] {
    if (status() == "Checking unread item 2 of 2") {
      main().closeBox();
    }
  };
  main().engine().schedule().ForwardTrigger();
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: two"));
  EXPECT_TRUE(store_.isUnread(0));
  EXPECT_EQ(screen_.ends, 1);
}

TEST_F(LoadingTest, ReadsThePreferencesAgain) {
  oneAddress();
  (void)program();
  preferences("mdblFwdToFrequency=7\nmbolFormatForCellPhone=1\n");
  program().readPreferencesAgain();
  EXPECT_EQ(control("frmPrefs", "txtMinutes").text(), "7");
  EXPECT_EQ(text("txtStatusFwdTo"), "");
  EXPECT_TRUE(main().picDestCellPhone.visible());
}

TEST_F(LoadingTest, ReadingAgainLeavesAnOpenDialogToItsUser) {
  oneAddress();
  click("frmRelaybird", "cmdPrefs");
  control("frmPrefs", "txtMinutes").setText("33");
  preferences("mdblFwdToFrequency=7\nmbolFormatForCellPhone=1\n");
  program().readPreferencesAgain();
  EXPECT_EQ(control("frmPrefs", "txtMinutes").text(), "33");
  EXPECT_TRUE(main().picDestCellPhone.visible());
  EXPECT_EQ(main().prf().GetMinLeft(), 7);
}

TEST_F(LoadingTest, FormsAreFoundByName) {
  EXPECT_EQ(program().find("frmrelaybird"), &main());
  EXPECT_EQ(program().find("frmPrefs"), &program().settings());
  EXPECT_EQ(program().find("frmLog"), &program().log());
  EXPECT_EQ(program().find("frmAbout"), &program().about());
  EXPECT_EQ(program().find("frmNone"), nullptr);
}

}  // namespace
}  // namespace relaybird
