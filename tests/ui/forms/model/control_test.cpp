// SPDX-License-Identifier: MIT
// A control's values and reactions: what an observer is told, and which changes by program or user
// run a reaction.
#include "ui/forms/model/control.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "support/fake_timers.h"
#include "ui/forms/model/form.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Kind = ControlKind;

class SampleForm : public Form {
 public:
  SampleForm() : Form("frmSample", "Sample") {}
  Control txt{*this, Kind::kTextBox, "txt", "first"};
  Control chk{*this, Kind::kCheckBox, "chk", "Check"};
  Control opbA{*this, Kind::kOptionButton, "opbA"};
  Control opbB{*this, Kind::kOptionButton, "opbB"};
  Control opbOther{*this, Kind::kOptionButton, "opbOther"};
  Control cmb{*this, Kind::kComboBox, "cmb"};
  Control lst{*this, Kind::kListBox, "lst"};
  Control cmd{*this, Kind::kButton, "cmd", "&Press"};
  Control lbl{*this, Kind::kLabel, "lbl"};
  Control tmr{*this, Kind::kTimer, "tmr"};
};

class Recorder : public FormObserver {
 public:
  void controlChanged(const Control& control, Change what) override {
    changes.emplace_back(control.name(), what);
  }
  void formChanged(const Form&, FormChange what) override { formChanges.push_back(what); }
  std::vector<std::pair<std::string, Change>> changes;
  std::vector<FormChange> formChanges;
};

class ControlTest : public testing::Test {
 protected:
  ControlTest() { form_.setObserver(&recorder_); }
  SampleForm form_;
  Recorder recorder_;
};

TEST_F(ControlTest, EveryAssignmentOfTextRaisesItsReactionAlsoOfTheSameText) {
  int changes = 0;
  form_.txt.onChange([&] { ++changes; });
  form_.txt.setText("second");
  form_.txt.setText("second");
  EXPECT_EQ(changes, 2);
  EXPECT_EQ(form_.txt.text(), "second");
  EXPECT_THAT(recorder_.changes,
              ElementsAre(std::pair("txt", Change::kText), std::pair("txt", Change::kText)));
}

TEST_F(ControlTest, ACheckBoxReactsWhenItsValueChangesAndOnlyThen) {
  int clicks = 0;
  form_.chk.onClick([&] { ++clicks; });
  form_.chk.setValue(1);
  form_.chk.setValue(1);
  EXPECT_EQ(clicks, 1);
  form_.chk.click();
  EXPECT_EQ(clicks, 2);
  EXPECT_EQ(form_.chk.value(), 0);
}

TEST_F(ControlTest, AGrayedCheckBoxIsNotChecked) {
  form_.chk.setValue(2);
  EXPECT_FALSE(form_.chk.checked());
  form_.chk.click();
  EXPECT_EQ(form_.chk.value(), 0);
  form_.chk.click();
  EXPECT_TRUE(form_.chk.checked());
}

TEST_F(ControlTest, ASelectedOptionUnselectsTheOthersOfItsGroupSilently) {
  form_.opbA.setGroup("one");
  form_.opbB.setGroup("one");
  form_.opbOther.setGroup("two");
  std::vector<std::string> clicks;
  for (Control* option : {&form_.opbA, &form_.opbB, &form_.opbOther}) {
    option->onClick([&clicks, option] { clicks.push_back(option->name()); });
  }
  form_.opbOther.click();
  form_.opbA.click();
  form_.opbB.click();
  form_.opbB.click();
  EXPECT_THAT(clicks, ElementsAre("opbOther", "opbA", "opbB"));
  EXPECT_EQ(form_.opbA.value(), 0);
  EXPECT_EQ(form_.opbB.value(), 1);
  EXPECT_EQ(form_.opbOther.value(), 1);
}

TEST_F(ControlTest, AListStartsWithoutAChoiceAndKeepsAPositionOutsideIt) {
  form_.cmb.addItem("only");
  EXPECT_EQ(form_.cmb.value(), -1);
  form_.cmb.setValue(3);
  EXPECT_EQ(form_.cmb.value(), 3);
}

TEST_F(ControlTest, ClearingAListDropsItsSelectionToo) {
  form_.lst.addItem("a");
  form_.lst.addItem("b");
  form_.lst.setSelection({0, 1, 7});
  EXPECT_THAT(form_.lst.selection(), ElementsAre(0, 1));
  form_.lst.clearList();
  EXPECT_THAT(form_.lst.list(), IsEmpty());
  EXPECT_THAT(form_.lst.selection(), IsEmpty());
}

TEST_F(ControlTest, StateTellsTheObserverWhenItChanges) {
  form_.cmd.setEnabled(true);
  form_.cmd.setEnabled(false);
  form_.cmd.setVisible(false);
  form_.cmd.setForeColor(kGrayText);
  form_.cmd.setBackColor(kGrayText);
  form_.cmd.setBackColor(kGrayText);
  form_.cmd.setToolTip("tip");
  form_.cmd.setPicture("image");
  form_.lst.setHorizontalExtent(70);
  EXPECT_THAT(recorder_.changes,
              ElementsAre(std::pair("cmd", Change::kEnabled), std::pair("cmd", Change::kVisible),
                          std::pair("cmd", Change::kColours), std::pair("cmd", Change::kColours),
                          std::pair("cmd", Change::kToolTip), std::pair("cmd", Change::kPicture),
                          std::pair("lst", Change::kListExtent)));
  EXPECT_EQ(form_.cmd.toolTip(), "tip");
  EXPECT_EQ(form_.cmd.picture(), "image");
  EXPECT_EQ(form_.lst.horizontalExtent(), 70);
}

TEST_F(ControlTest, FieldsStandOnTheWindowsColoursAndTheRestOnTheButtonFace) {
  EXPECT_EQ(form_.txt.backColor(), kWindowBackground);
  EXPECT_EQ(form_.lst.foreColor(), kWindowText);
  EXPECT_EQ(form_.cmd.backColor(), kButtonFace);
  EXPECT_EQ(form_.lbl.foreColor(), kButtonText);
}

TEST_F(ControlTest, ATimerShowsTheStateOfTheRealOne) {
  FakeClock clock;
  FakeTimers timers(clock);
  const auto timer = timers.makeTimer(std::chrono::seconds{1}, [] {});
  form_.tmr.follow(*timer);
  EXPECT_FALSE(form_.tmr.enabled());
  timer->setEnabled(true);
  EXPECT_TRUE(form_.tmr.enabled());
}

TEST_F(ControlTest, KeysReachTheirReaction) {
  std::vector<std::pair<int, int>> keys;
  form_.lst.keyDown(86, 7);
  form_.lst.onKeyDown([&](int code, int shift) { keys.emplace_back(code, shift); });
  form_.lst.keyDown(86, 7);
  EXPECT_THAT(keys, ElementsAre(std::pair(86, 7)));
}

TEST_F(ControlTest, OnlyWhatReactsTakesClicks) {
  EXPECT_FALSE(form_.lbl.takesClicks());
  form_.lbl.onClick([] {});
  EXPECT_TRUE(form_.lbl.takesClicks());
  EXPECT_TRUE(form_.chk.takesClicks());
  EXPECT_TRUE(form_.cmd.takesClicks());
  EXPECT_FALSE(form_.txt.takesClicks());
}

TEST_F(ControlTest, TypingGoesThroughTheFieldsOwnRule) {
  form_.txt.setText("old");
  EXPECT_EQ(form_.txt.type({"new", 1}).text, "new");
  EXPECT_EQ(form_.txt.text(), "new");
  form_.txt.onTyping([](const std::string& before, const TypedText& typed) {
    return TypedText{before + "+" + typed.text, typed.caret + 4};
  });
  const TypedText shown = form_.txt.type({"x", 1});
  EXPECT_EQ(shown.text, "new+x");
  EXPECT_EQ(shown.caret, 5u);
  EXPECT_EQ(form_.txt.text(), "new+x");
  form_.txt.setText("by the program");
  EXPECT_EQ(form_.txt.text(), "by the program");
}

TEST_F(ControlTest, WhatStandsForAnotherDoesWhatThatDoesAndIsEnabledWithIt) {
  int clicks = 0;
  form_.cmd.onClick([&] { ++clicks; });
  form_.cmd.setAsks();
  form_.lbl.makeAliasOf(form_.cmd);
  EXPECT_TRUE(form_.lbl.takesClicks());
  EXPECT_TRUE(form_.lbl.asks());
  form_.lbl.click();
  EXPECT_EQ(clicks, 1);
  recorder_.changes.clear();
  form_.cmd.setEnabled(false);
  EXPECT_FALSE(form_.lbl.enabled());
  EXPECT_THAT(recorder_.changes, ElementsAre(std::pair(std::string("cmd"), Change::kEnabled),
                                             std::pair(std::string("lbl"), Change::kEnabled)));
}

TEST(Captions, TheAmpersandMarksTheAccessKey) {
  EXPECT_EQ(plainCaption("S&top"), "Stop");
  EXPECT_EQ(plainCaption("Salt && &Pepper"), "Salt & Pepper");
  EXPECT_EQ(plainCaption("Last&"), "Last&");
  EXPECT_EQ(plainCaption(""), "");
}

TEST(ControlKinds, HaveNames) {
  EXPECT_EQ(kindName(Kind::kLabel), "label");
  EXPECT_EQ(kindName(Kind::kFileDialog), "file dialog");
  EXPECT_EQ(kindName(Kind::kLink), "link");
  EXPECT_EQ(kindName(Kind::kPictureOption), "picture option");
}

}  // namespace
}  // namespace relaybird
