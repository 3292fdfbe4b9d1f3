// SPDX-License-Identifier: MIT
// Forms: finding controls, showing and hiding, which of them take input; and the answers of boxes.
#include "ui/forms/model/form.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "ui/forms/model/dialogs.h"

namespace relaybird {
namespace {

using testing::ElementsAre;

class SampleForm : public Form {
 public:
  explicit SampleForm(std::string name) : Form(std::move(name), "Sample") {}
  Control fra{*this, ControlKind::kFrame, "fra"};
  Control cmdGo{*this, ControlKind::kButton, "cmdGo"};
};

class Recorder : public FormObserver {
 public:
  void controlChanged(const Control&, Change) override {}
  void formChanged(const Form&, FormChange what) override { changes.push_back(what); }
  std::vector<FormChange> changes;
};

TEST(FormTest, FindsControlsByNameWithoutRegardToCase) {
  SampleForm form("frmSample");
  EXPECT_EQ(form.find("cmdGo"), &form.cmdGo);
  EXPECT_EQ(form.find("CMDGO"), &form.cmdGo);
  EXPECT_EQ(form.find("cmdG"), nullptr);
  EXPECT_THAT(form.controls(), ElementsAre(&form.fra, &form.cmdGo));
}

TEST(FormTest, TellsItsObserverWhatHappens) {
  SampleForm form("frmSample");
  Recorder recorder;
  form.setObserver(&recorder);
  form.show();
  form.setCaption("Other");
  form.minimise();
  form.show();
  form.closeBox();
  form.hide();
  EXPECT_THAT(recorder.changes,
              ElementsAre(FormChange::kShown, FormChange::kCaption, FormChange::kMinimised,
                          FormChange::kShown, FormChange::kHidden));
  EXPECT_EQ(form.caption(), "Other");
}

TEST(FormTest, AFormBehindAModalOneTakesNoInput) {
  SampleForm owner("frmOwner");
  SampleForm dialog("frmDialog");
  owner.show();
  EXPECT_EQ(whyNoInput(owner.cmdGo), "");
  EXPECT_EQ(whyNoInput(dialog.cmdGo), "frmDialog is not open");
  dialog.showModal(owner);
  EXPECT_EQ(whyNoInput(owner.cmdGo), "frmDialog is open in front of frmOwner");
  EXPECT_EQ(whyNoInput(dialog.cmdGo), "");
  dialog.hide();
  EXPECT_EQ(whyNoInput(owner.cmdGo), "");
  EXPECT_EQ(owner.modal(), nullptr);
}

TEST(FormTest, HiddenAndDisabledControlsTakeNoInput) {
  SampleForm form("frmSample");
  form.show();
  form.cmdGo.setEnabled(false);
  EXPECT_EQ(whyNoInput(form.cmdGo), "frmSample.cmdGo is disabled");
  form.cmdGo.setVisible(false);
  EXPECT_EQ(whyNoInput(form.cmdGo), "frmSample.cmdGo is hidden");
}

TEST(FormTest, WhatIsInAHiddenFrameIsHidden) {
  SampleForm form("frmSample");
  form.show();
  form.cmdGo.setParent(form.fra);
  form.fra.setVisible(false);
  EXPECT_EQ(whyNoInput(form.cmdGo), "frmSample.cmdGo is hidden");
}

TEST(Boxes, OfferTheAnswersOfTheirButtons) {
  EXPECT_THAT(answersOf(BoxButtons::kOk), ElementsAre(BoxAnswer::kOk));
  EXPECT_THAT(answersOf(BoxButtons::kOkCancel), ElementsAre(BoxAnswer::kOk, BoxAnswer::kCancel));
  EXPECT_THAT(answersOf(BoxButtons::kYesNo), ElementsAre(BoxAnswer::kYes, BoxAnswer::kNo));
  EXPECT_THAT(answersOf(BoxButtons::kYesNoCancel),
              ElementsAre(BoxAnswer::kYes, BoxAnswer::kNo, BoxAnswer::kCancel));
}

TEST(Boxes, TheSafeAnswerChangesNothing) {
  EXPECT_EQ(safeAnswer(BoxButtons::kOk), BoxAnswer::kOk);
  EXPECT_EQ(safeAnswer(BoxButtons::kOkCancel), BoxAnswer::kCancel);
  EXPECT_EQ(safeAnswer(BoxButtons::kYesNo), BoxAnswer::kNo);
  EXPECT_EQ(safeAnswer(BoxButtons::kYesNoCancel), BoxAnswer::kCancel);
}

TEST(Boxes, AnswersHaveTexts) {
  EXPECT_EQ(answerText(BoxAnswer::kOk), "OK");
  EXPECT_EQ(answerText(BoxAnswer::kCancel), "Cancel");
  EXPECT_EQ(answerText(BoxAnswer::kYes), "Yes");
  EXPECT_EQ(answerText(BoxAnswer::kNo), "No");
}

}  // namespace
}  // namespace relaybird
