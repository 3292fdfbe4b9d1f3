// SPDX-License-Identifier: MIT
// The log window's form: lines and their widths, copying, searching, and failures of screen and
// clipboard, which must not disturb the program. log_saving_test.cpp has the file.
#include "ui/forms/log/frm_log.h"

#include "ui/forms/log/frm_log_fixture.h"

namespace relaybird {
namespace {

TEST_F(FrmLog, HasItsControlsInTheirInitialState) {
  EXPECT_EQ(log_.name(), "frmLog");
  EXPECT_FALSE(log_.visible());
  EXPECT_EQ(
      log_.controls(),
      (std::vector<Control*>{&log_.lblFind, &log_.txtFind, &log_.cmdFindPrevious, &log_.cmdFindNext,
                             &log_.lblFound, &log_.lstLog, &log_.chkVerboseLog, &log_.cmdCopyToClip,
                             &log_.cmdSaveAs, &log_.cmdClose, &log_.mnuLog, &log_.mnuCopy,
                             &log_.mnuCopyAll, &log_.mnuSaveAs}));
  EXPECT_EQ(log_.lstLog.contextMenu(), &log_.mnuLog);
  for (const Control* entry : {&log_.mnuCopy, &log_.mnuCopyAll, &log_.mnuSaveAs}) {
    EXPECT_EQ(entry->parent(), &log_.mnuLog);
  }
  EXPECT_EQ(log_.lstLog.name(), "lstLog");
  EXPECT_EQ(log_.lstLog.kind(), ControlKind::kListBox);
  EXPECT_TRUE(log_.lstLog.list().empty());
  EXPECT_EQ(log_.lstLog.horizontalExtent(), 0);
  EXPECT_EQ(log_.chkVerboseLog.name(), "chkVerboseLog");
  EXPECT_EQ(log_.chkVerboseLog.kind(), ControlKind::kCheckBox);
  EXPECT_EQ(log_.chkVerboseLog.value(), 0);
  EXPECT_FALSE(log_.chkVerboseLog.visible());
  EXPECT_EQ(log_.cmdCopyToClip.name(), "cmdCopyToClip");
  EXPECT_EQ(log_.cmdCopyToClip.kind(), ControlKind::kButton);
  EXPECT_EQ(log_.cmdClose.kind(), ControlKind::kButton);
  EXPECT_EQ(log_.lstLog.horizontalExtent(), 0);
}

TEST_F(FrmLog, LinesAreListedInTheOrderInWhichTheyCame) {
  log_.AddToLog("first");
  log_.AddToLog("second");
  EXPECT_EQ(lines(), (std::vector<std::string>{"first", "second"}));
}

TEST_F(FrmLog, LinesAreListedWhileTheWindowIsHidden) {
  log_.show();
  log_.AddToLog("seen");
  log_.hide();
  log_.AddToLog("unseen");
  EXPECT_EQ(lines(), (std::vector<std::string>{"seen", "unseen"}));
}

TEST_F(FrmLog, ALineLosesItsLeadingAndTrailingBlanksOnly) {
  log_.AddToLog("  two  words ");
  log_.AddToLog("\tindented\t");
  EXPECT_EQ(lines(), (std::vector<std::string>{"two  words", "\tindented\t"}));
}

TEST_F(FrmLog, ATextOfBlanksAloneAddsAnEmptyLine) {
  log_.AddToLog("   ");
  log_.AddToLog("");
  EXPECT_EQ(lines(), (std::vector<std::string>{"", ""}));
}

TEST_F(FrmLog, TheWidestLineIsMeasuredWithTwoBlanks) {
  log_.AddToLog(" abc ");
  EXPECT_EQ(log_.lstLog.horizontalExtent(), 35);
}

TEST_F(FrmLog, ANarrowerLineLeavesTheExtentUnchanged) {
  log_.AddToLog("a long line");
  log_.AddToLog("short");
  EXPECT_EQ(log_.lstLog.horizontalExtent(), 91);
}

TEST_F(FrmLog, TheExtentIsSentForEveryLine) {
  log_.setObserver(&observer_);
  log_.AddToLog("a long line");
  log_.AddToLog("short");
  EXPECT_EQ(observer_.listChanges,
            (std::vector<Change>{Change::kListEntryAdded, Change::kListExtent,
                                 Change::kListEntryAdded, Change::kListExtent}));
  log_.setObserver(nullptr);
}

TEST_F(FrmLog, TwipsAreTurnedIntoPixels) {
  screen_.perPixel = 15;
  log_.AddToLog(std::string(13, 'x'));  // 105 twips with the blanks
  EXPECT_EQ(log_.lstLog.horizontalExtent(), 7);
  log_.AddToLog(std::string(14, 'x'));  // 112 twips: 7.47 pixels
  EXPECT_EQ(log_.lstLog.horizontalExtent(), 7);
  log_.AddToLog(std::string(15, 'x'));  // 119 twips: 7.93 pixels
  EXPECT_EQ(log_.lstLog.horizontalExtent(), 8);
}

TEST_F(FrmLog, ALineNarrowerInTwipsIsNotTakenForTheWidestInPixels) {
  screen_.perPixel = 15;
  log_.AddToLog(std::string(98, 'x'));
  log_.AddToLog(std::string(20, 'x'));
  EXPECT_EQ(log_.lstLog.horizontalExtent(), 47);  // 700 twips
}

TEST_F(FrmLog, AfterClearingTheNextLineSetsTheExtentAfresh) {
  log_.AddToLog("a long line");
  log_.ClearLog();
  EXPECT_EQ(log_.lstLog.horizontalExtent(), 0);
  EXPECT_TRUE(lines().empty());
  log_.AddToLog("x");
  EXPECT_EQ(log_.lstLog.horizontalExtent(), 21);
}

TEST_F(FrmLog, EachLineIsMeasuredOnce) {
  for (int i = 0; i < 1000; ++i) {
    log_.AddToLog("line");
  }
  EXPECT_EQ(screen_.measured, 1000);
}

TEST_F(FrmLog, VerboseLinesAreDroppedWhileTheSwitchIsOff) {
  log_.AddToLogV("step");
  reveal();
  log_.AddToLogV("step");
  EXPECT_TRUE(lines().empty());
  EXPECT_FALSE(log_.verbose());
}

TEST_F(FrmLog, VerboseLinesCarryTheTimeAndTheirMark) {
  reveal();
  log_.chkVerboseLog.click();
  EXPECT_TRUE(log_.verbose());
  log_.AddToLogV("step ");
  EXPECT_EQ(lines(), std::vector<std::string>{"2026-11-20 15:04:05 [v]-->step"});
  log_.chkVerboseLog.click();
  log_.AddToLogV("step");
  EXPECT_EQ(lines().size(), 1u);
}

TEST_F(FrmLog, TheSwitchIsPassedOnToThoseWhoReportAProtocol) {
  reveal();
  log_.chkVerboseLog.click();
  EXPECT_TRUE(world_.verbose->load());
  log_.chkVerboseLog.click();
  EXPECT_FALSE(world_.verbose->load());
}

TEST_F(FrmLog, AGrayedSwitchIsNotOn) {
  log_.chkVerboseLog.setValue(2);
  log_.AddToLogV("step");
  EXPECT_TRUE(lines().empty());
}

TEST_F(FrmLog, OnlyShiftCtrlAltVInTheListShowsTheVerboseSwitch) {
  for (int shift = 0; shift < 16; ++shift) {
    if (shift != 7) {
      log_.lstLog.keyDown(kKeyV, shift);
    }
    log_.chkVerboseLog.keyDown(kKeyV, shift);
    log_.cmdCopyToClip.keyDown(kKeyV, shift);
    log_.cmdClose.keyDown(kKeyV, shift);
  }
  log_.lstLog.keyDown(kKeyV - 1, 7);
  log_.lstLog.keyDown(kKeyV + 1, 7);
  log_.lstLog.keyDown('v', 7);
  log_.lstLog.click();
  EXPECT_FALSE(log_.chkVerboseLog.visible());
  reveal();
  EXPECT_TRUE(log_.chkVerboseLog.visible());
  EXPECT_EQ(log_.chkVerboseLog.value(), 0);
  reveal();
  EXPECT_TRUE(log_.chkVerboseLog.visible());
}

TEST_F(FrmLog, AScreenThatFailsDisturbsNobodyAndLosesNoLine) {
  screen_.broken = true;
  log_.chkVerboseLog.setValue(1);
  EXPECT_NO_THROW(log_.AddToLog("kept"));
  EXPECT_NO_THROW(log_.AddToLogV("kept too"));
  EXPECT_EQ(lines().size(), 2u);
  EXPECT_THROW(log_.AddLine("kept as well"), std::runtime_error);
  EXPECT_EQ(lines().size(), 3u);
}

TEST_F(FrmLog, AFrontEndThatFailsDisturbsNobodyAndLosesNoLine) {
  observer_.broken = true;
  log_.setObserver(&observer_);
  EXPECT_NO_THROW(log_.AddToLog("kept"));
  log_.setObserver(nullptr);
  EXPECT_EQ(lines(), std::vector<std::string>{"kept"});
}

TEST_F(FrmLog, WithNothingSelectedEveryLineIsCopied) {
  addLines();
  log_.cmdCopyToClip.click();
  EXPECT_EQ(clipboard_.texts, std::vector<std::string>{"one\r\ntwo\r\nthree\r\n"});
  EXPECT_TRUE(dialogs_.boxes.empty());
}

TEST_F(FrmLog, OnlySelectedLinesAreCopiedWhenThereAreAny) {
  addLines();
  log_.lstLog.setSelection({2, 0});
  log_.cmdCopyToClip.click();
  EXPECT_EQ(clipboard_.texts, std::vector<std::string>{"one\r\nthree\r\n"});
}

TEST_F(FrmLog, AnEmptyLogEmptiesTheClipboard) {
  log_.cmdCopyToClip.click();
  EXPECT_EQ(clipboard_.texts, std::vector<std::string>{""});
}

TEST_F(FrmLog, AnEmptyLineIsCopiedAsALine) {
  log_.AddToLog(" ");
  log_.cmdCopyToClip.click();
  EXPECT_EQ(clipboard_.texts, std::vector<std::string>{"\r\n"});
}

TEST_F(FrmLog, AClipboardThatFailsIsTold) {
  addLines();
  clipboard_.broken = true;
  log_.cmdCopyToClip.click();
  ASSERT_EQ(dialogs_.boxes.size(), 1u);
  EXPECT_EQ(boxLine(dialogs_.boxes[0]),
            "Error|The log could not be copied.\r\n\r\nNo desktop answers.|exclamation|OK");
  EXPECT_EQ(lines().size(), 3u);
}

TEST_F(FrmLog, TheCloseButtonHidesTheWindow) {
  for (int times = 0; times < 2; ++times) {
    log_.show();
    log_.AddToLog("line");
    log_.cmdClose.click();
    EXPECT_FALSE(log_.visible());
  }
  EXPECT_EQ(lines().size(), 2u);
}

TEST_F(FrmLog, TheCloseBoxHidesTheWindowAndKeepsItsLines) {
  log_.setObserver(&observer_);
  log_.show();
  addLines();
  log_.closeBox();
  EXPECT_FALSE(log_.visible());
  EXPECT_EQ(lines().size(), 3u);
  EXPECT_EQ(observer_.formChanges,
            (std::vector<FormChange>{FormChange::kShown, FormChange::kHidden}));
  log_.setObserver(nullptr);
}

// Finding.

TEST_F(FrmLog, WhatIsTypedGoesToTheFirstLineThatHasIt) {
  addLines();
  type("T");
  EXPECT_EQ(selected(), std::set<std::size_t>{1});
  EXPECT_EQ(found(), "Line 2 of 3");
  type("Th");
  EXPECT_EQ(selected(), std::set<std::size_t>{2});
  EXPECT_EQ(found(), "Line 3 of 3");
}

TEST_F(FrmLog, WhatIsNotThereIsSaidAndLeavesTheSelection) {
  addLines();
  type("tx");
  EXPECT_EQ(found(), "Nothing found");
  EXPECT_EQ(selected(), std::set<std::size_t>{1});
  log_.cmdFindNext.click();
  EXPECT_EQ(found(), "Nothing found");
  EXPECT_TRUE(log_.lblFound.visible());
  log_.txtFind.setText("");
  EXPECT_EQ(found(), "");
  EXPECT_FALSE(log_.lblFound.visible());
}

TEST_F(FrmLog, TheButtonsGoFromHitToHitAndSayWhenTheyGoAround) {
  addLines();
  type("e");
  EXPECT_EQ(found(), "Line 1 of 3");
  log_.cmdFindNext.click();
  EXPECT_EQ(found(), "Line 3 of 3");
  log_.cmdFindNext.click();
  EXPECT_EQ(found(), "Line 1 of 3, from the top again");
  log_.cmdFindPrevious.click();
  EXPECT_EQ(found(), "Line 3 of 3, from the end again");
  log_.cmdFindPrevious.click();
  EXPECT_EQ(found(), "Line 1 of 3");
  EXPECT_EQ(selected(), std::set<std::size_t>{0});
}

TEST_F(FrmLog, TheButtonsDoNothingWithoutAText) {
  addLines();
  log_.cmdFindNext.click();
  log_.cmdFindPrevious.click();
  EXPECT_EQ(found(), "");
  EXPECT_TRUE(selected().empty());
}

TEST_F(FrmLog, ALineThatIsFoundIsShownAgainThoughItIsSelectedAlready) {
  addLines();
  type("two");
  log_.setObserver(&observer_);
  log_.cmdFindNext.click();
  log_.setObserver(nullptr);
  EXPECT_EQ(observer_.listChanges, std::vector<Change>{Change::kListSelection});
}

TEST_F(FrmLog, AClearedLogHasNoHitsAndFindsWhatComesThen) {
  addLines();
  type("three");
  log_.ClearLog();
  EXPECT_EQ(found(), "");
  log_.cmdFindNext.click();
  log_.AddToLog("three again");
  type("three");
  EXPECT_EQ(found(), "Line 1 of 1");
}

}  // namespace
}  // namespace relaybird
