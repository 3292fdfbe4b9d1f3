// SPDX-License-Identifier: MIT
#include "ui/forms/log/frm_log.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <set>
#include <stdexcept>
#include <vector>

#include "prefs/fake_files.h"
#include "support/fake_clock.h"
#include "support/scripted_dialogs.h"

namespace relaybird {
namespace {

constexpr int kKeyV = 86;

/// Every character is 7 units wide.
class FakeScreen : public Screen {
 public:
  void repaint() override {}
  void processPendingEvents() override {}
  void endProgram() override {}
  std::int32_t textWidth(const std::string& text) const override {
    ++measured;
    if (broken) throw std::runtime_error("the window is gone");
    return 7 * static_cast<std::int32_t>(text.size());
  }
  std::int32_t twipsPerPixel() const override { return perPixel; }

  mutable int measured = 0;
  bool broken = false;
  std::int32_t perPixel = 1;
};

class FakeClipboard : public Clipboard {
 public:
  Result<void> setText(const std::string& text) override {
    if (broken) return Error{0, "No desktop answers."};
    texts.push_back(text);
    return {};
  }

  std::vector<std::string> texts;
  bool broken = false;
};

class RecordingObserver : public FormObserver {
 public:
  void controlChanged(const Control& control, Change what) override {
    if (broken) throw std::runtime_error("the window is gone");
    if (control.name() == "lstLog") listChanges.push_back(what);
  }
  void formChanged(const Form&, FormChange what) override { formChanges.push_back(what); }

  std::vector<Change> listChanges;
  std::vector<FormChange> formChanges;
  bool broken = false;
};

class FrmLog : public testing::Test {
 protected:
  std::vector<std::string> lines() const { return log_.lstLog.list(); }
  void addLines() {
    for (const char* line : {"one", "two", "three"}) log_.AddToLog(line);
  }
  void reveal() { log_.lstLog.keyDown(kKeyV, 7); }

  FakeClock clock_;
  FakeScreen screen_;
  FakeClipboard clipboard_;
  ScriptedDialogs dialogs_;
  RecordingObserver observer_;
  /// What the user types, letter by letter.
  void type(const std::string& text) {
    for (std::size_t length = 1; length <= text.size(); ++length) {
      log_.txtFind.setText(text.substr(0, length));
    }
  }
  std::set<std::size_t> selected() const { return log_.lstLog.selection(); }
  std::string found() const { return log_.lblFound.text(); }
  void saveAs(const std::string& path) {
    dialogs_.choose(path);
    log_.cmdSaveAs.click();
  }

  FakeFiles files_;
  frmLog log_{{clock_, screen_, clipboard_, dialogs_, files_}};
};

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
  EXPECT_EQ(log_.widestLine(), 0);
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
  EXPECT_EQ(log_.widestLine(), 35);
  EXPECT_EQ(log_.lstLog.horizontalExtent(), 35);
}

TEST_F(FrmLog, ANarrowerLineLeavesTheExtentUnchanged) {
  log_.AddToLog("a long line");
  log_.AddToLog("short");
  EXPECT_EQ(log_.widestLine(), 91);
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
  EXPECT_EQ(log_.widestLine(), 7);
  log_.AddToLog(std::string(14, 'x'));  // 112 twips: 7.47 pixels
  EXPECT_EQ(log_.widestLine(), 7);
  log_.AddToLog(std::string(15, 'x'));  // 119 twips: 7.93 pixels
  EXPECT_EQ(log_.widestLine(), 8);
  EXPECT_EQ(log_.lstLog.horizontalExtent(), 8);
}

TEST_F(FrmLog, ALineNarrowerInTwipsIsNotTakenForTheWidestInPixels) {
  screen_.perPixel = 15;
  log_.AddToLog(std::string(98, 'x'));
  log_.AddToLog(std::string(20, 'x'));
  EXPECT_EQ(log_.widestLine(), 47);  // 700 twips
}

TEST_F(FrmLog, AfterClearingTheNextLineSetsTheExtentAfresh) {
  log_.AddToLog("a long line");
  log_.ClearLog();
  EXPECT_EQ(log_.widestLine(), 0);
  EXPECT_EQ(log_.lstLog.horizontalExtent(), 0);
  EXPECT_TRUE(lines().empty());
  log_.AddToLog("x");
  EXPECT_EQ(log_.lstLog.horizontalExtent(), 21);
}

TEST_F(FrmLog, EachLineIsMeasuredOnce) {
  for (int i = 0; i < 1000; ++i) log_.AddToLog("line");
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

TEST_F(FrmLog, AGrayedSwitchIsNotOn) {
  log_.chkVerboseLog.setValue(2);
  log_.AddToLogV("step");
  EXPECT_TRUE(lines().empty());
}

TEST_F(FrmLog, OnlyShiftCtrlAltVInTheListShowsTheVerboseSwitch) {
  for (int shift = 0; shift < 16; ++shift) {
    if (shift != 7) log_.lstLog.keyDown(kKeyV, shift);
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

TEST_F(FrmLog, TheCloseButtonHidesTheWindowWithAndWithoutTheKeepFlag) {
  for (const bool keep : {true, false}) {
    log_.setKeep(keep);
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

TEST_F(FrmLog, WithoutTheKeepFlagTheCloseBoxUnloadsTheWindow) {
  log_.setKeep(false);
  log_.setObserver(&observer_);
  log_.show();
  addLines();
  reveal();
  log_.chkVerboseLog.click();
  log_.closeBox();
  EXPECT_FALSE(log_.visible());
  EXPECT_TRUE(lines().empty());
  EXPECT_EQ(log_.widestLine(), 0);
  EXPECT_FALSE(log_.verbose());
  EXPECT_FALSE(log_.chkVerboseLog.visible());
  EXPECT_EQ(observer_.formChanges, (std::vector<FormChange>{FormChange::kShown, FormChange::kHidden,
                                                            FormChange::kUnloaded}));
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

// The menu over the list, and saving.

TEST_F(FrmLog, TheMenuCopiesWhatIsSelectedOrAll) {
  addLines();
  log_.lstLog.setSelection({1});
  log_.mnuCopy.click();
  log_.mnuCopyAll.click();
  EXPECT_EQ(clipboard_.texts, (std::vector<std::string>{"two\r\n", "one\r\ntwo\r\nthree\r\n"}));
}

TEST_F(FrmLog, AllLinesAreSavedWhateverIsSelected) {
  addLines();
  log_.lstLog.setSelection({1});
  saveAs("/log.txt");
  EXPECT_EQ(files_.bytes("/log.txt"), "one\ntwo\nthree\n");
  EXPECT_TRUE(dialogs_.boxes.empty());
  ASSERT_EQ(dialogs_.saved.size(), 1u);
  EXPECT_EQ(dialogs_.saved[0].name, "relaybird-log.txt");
  dialogs_.choose("/other.txt");
  log_.mnuSaveAs.click();
  EXPECT_EQ(files_.bytes("/other.txt"), "one\ntwo\nthree\n");
}

TEST_F(FrmLog, ASubjectBreaksNoLineOfASavedLog) {
  log_.AddToLog("subject\r\nwith \x1b[2Jcodes");
  saveAs("/log.txt");
  const std::string text = files_.bytes("/log.txt");
  EXPECT_EQ(text.find('\n'), text.size() - 1);
  EXPECT_EQ(text.find('\x1b'), std::string::npos);
}

TEST_F(FrmLog, AUserWhoChoosesNoFileSavesNothing) {
  addLines();
  dialogs_.choose(std::nullopt);
  log_.cmdSaveAs.click();
  EXPECT_TRUE(files_.changes.empty());
  EXPECT_TRUE(dialogs_.boxes.empty());
}

TEST_F(FrmLog, AFileThatIsThereIsReplacedOnlyWhenTheUserSaysSo) {
  addLines();
  files_.addFile("/log.txt", "of yesterday");
  dialogs_.answer(BoxAnswer::kNo);
  saveAs("/log.txt");
  EXPECT_EQ(files_.bytes("/log.txt"), "of yesterday");
  dialogs_.answer(BoxAnswer::kYes);
  saveAs("/log.txt");
  EXPECT_EQ(files_.bytes("/log.txt"), "one\ntwo\nthree\n");
  ASSERT_EQ(dialogs_.boxes.size(), 2u);
  EXPECT_EQ(boxLine(dialogs_.boxes[0]),
            "Save the Activity Log|There is a file /log.txt already.\r\n\r\nDo you want to replace "
            "it?|exclamation|Yes No");
}

TEST_F(FrmLog, AFileThatALinkNamesIsReplacedAndTheLinkStays) {
  addLines();
  files_.addFile("/real.txt", "of yesterday");
  files_.addLink("/log.txt", "/real.txt");
  dialogs_.answer(BoxAnswer::kYes);
  saveAs("/log.txt");
  EXPECT_EQ(files_.bytes("/real.txt"), "one\ntwo\nthree\n");
  EXPECT_EQ(files_.entries.at("/log.txt").type, FileType::kLink);
}

TEST_F(FrmLog, AReadOnlyFileIsNotReplaced) {
  addLines();
  files_.addFile("/log.txt", "of yesterday");
  files_.entries.at("/log.txt").readOnly = true;
  dialogs_.answer(BoxAnswer::kYes);
  saveAs("/log.txt");
  EXPECT_EQ(files_.bytes("/log.txt"), "of yesterday");
  ASSERT_EQ(dialogs_.boxes.size(), 2u);
  EXPECT_EQ(dialogs_.boxes[1].title, "Error");
}

TEST_F(FrmLog, AFolderOrADeviceIsNotReplaced) {
  addLines();
  files_.addFolder("/folder");
  files_.entries["/pipe"] = {FileType::kOther, "", false, false};
  for (const char* path : {"/folder", "/pipe"}) {
    dialogs_.answer(BoxAnswer::kYes);
    saveAs(path);
    EXPECT_EQ(dialogs_.boxes.back().title, "Error") << path;
  }
  EXPECT_TRUE(files_.changes.empty());
}

TEST_F(FrmLog, ADiskThatIsFullIsToldAndLeavesWhatWasThere) {
  addLines();
  files_.addFile("/log.txt", "of yesterday");
  files_.failCallsWith("write ", ENOSPC);
  dialogs_.answer(BoxAnswer::kYes);
  saveAs("/log.txt");
  EXPECT_EQ(files_.bytes("/log.txt"), "of yesterday");
  const std::string words = dialogs_.boxes.back().text;
  EXPECT_TRUE(words.starts_with("The log could not be saved as /log.txt.\r\n\r\n")) << words;
}

TEST_F(FrmLog, AFolderThatCannotBeLookedIntoIsToldInTheBoxOfTheFailure) {
  addLines();
  files_.failCallsWith("/closed", EACCES);
  saveAs("/closed/log.txt");
  ASSERT_EQ(dialogs_.boxes.size(), 1u);
  EXPECT_EQ(dialogs_.boxes.back().title, "Error");
}

}  // namespace
}  // namespace relaybird
