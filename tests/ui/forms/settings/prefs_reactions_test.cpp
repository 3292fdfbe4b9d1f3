// SPDX-License-Identifier: MIT
// How the settings dialog's controls react when the user or the program changes them. The whole
// program over the world in memory.
#include <gmock/gmock.h>

#include "ui/forms/main/program_fixture.h"

namespace relaybird {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* kRuleBox =
    "Invalid Option Combination|You are not allowed to simultaneously have selected the "
    "'Automatically turn on Email Forwarding when program starts' and 'Forward Email once "
    "immediately upon turning on forwarding' options.  \r\n\r\nThis rule is just to ensure that "
    "you will always have time to turn off Email Forwarding before the program starts processing "
    "any emails.|none|OK";

class ReactionsTest : public ProgramTest {
 protected:
  ReactionsTest() { click("frmRelaybird", "cmdPrefs"); }
  frmPrefs& dialog() { return program().settings(); }
  void user(const char* control) { click("frmPrefs", control); }
  static void expectApplies(const Control& field, bool applies) {
    EXPECT_EQ(field.backColor(), applies ? kWindowBackground : kButtonFace) << field.name();
    EXPECT_EQ(field.foreColor(), applies ? kWindowText : kGrayText) << field.name();
    EXPECT_TRUE(field.enabled()) << field.name();
  }
};

TEST_F(ReactionsTest, TheTextFilterGraysItsFields) {
  user("chkContentFilter");
  for (const Control* field :
       {&dialog().cmbTypeOfMatch, &dialog().cmbTextToCheck, &dialog().txtWordMatch}) {
    expectApplies(*field, true);
  }
  user("chkContentFilter");
  for (const Control* field :
       {&dialog().cmbTypeOfMatch, &dialog().cmbTextToCheck, &dialog().txtWordMatch}) {
    expectApplies(*field, false);
  }
}

TEST_F(ReactionsTest, TheSizeLimitGraysItsField) {
  user("chkLimitFileSize");
  expectApplies(dialog().txtMaxFileSize, true);
  dialog().chkLimitFileSize.setValue(0);
  expectApplies(dialog().txtMaxFileSize, false);
}

TEST_F(ReactionsTest, TheSenderRuleGraysItsList) {
  expectApplies(dialog().txtAddresses, false);
  user("opbFwdOnly");
  expectApplies(dialog().txtAddresses, true);
  user("opbFwdAll");
  expectApplies(dialog().txtAddresses, false);
  user("opbFwdAllBut");
  expectApplies(dialog().txtAddresses, true);
}

TEST_F(ReactionsTest, MinutesShowAsHours) {
  const std::pair<const char*, const char*> cases[] = {
      {"90", "(1.5 hours)"}, {"100", "(1.67 hours)"}, {"60", "(1 hours)"},
      {"abc", "(0 hours)"},  {"", "(0 hours)"},       {"2.5", "(0.04 hours)"},
      {"-60", "(-1 hours)"}, {"1e999", "(0 hours)"},  {"1440", "(24 hours)"},
  };
  for (const auto& [minutes, hours] : cases) {
    dialog().txtMinutes.setText(minutes);
    EXPECT_EQ(dialog().lblHours.text(), hours) << minutes;
  }
}

TEST_F(ReactionsTest, EditingTheAddressesForgetsTheirCheck) {
  clsPref& prf = main().prf();
  prf.mbolChangedFwdAd = false;
  prf.mbolHaveCheckedAd = true;
  prf.mbolAdAreOk = false;
  dialog().txtAddress.setText("x@y.example");
  EXPECT_TRUE(prf.mbolChangedFwdAd);
  EXPECT_FALSE(prf.mbolHaveCheckedAd);
  EXPECT_TRUE(prf.mbolAdAreOk);
}

TEST_F(ReactionsTest, FillingTheDialogForgetsTheCheckToo) {
  main().prf().mbolHaveCheckedAd = true;
  main().prf().ClassToForm();
  EXPECT_FALSE(main().prf().mbolHaveCheckedAd);
}

TEST_F(ReactionsTest, TheStartUpOptionsExcludeEachOther) {
  user("chkForwardingOnAtStartup");
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
  user("chkForwardStart");
  ASSERT_EQ(dialogs_.boxes.size(), 1U);
  EXPECT_EQ(boxLine(dialogs_.boxes[0]), kRuleBox);
  EXPECT_EQ(dialog().chkForwardingOnAtStartup.value(), 1);
  EXPECT_EQ(dialog().chkForwardStart.value(), 0);
}

TEST_F(ReactionsTest, TheStartUpOptionsExcludeEachOtherTheOtherWayRound) {
  user("chkForwardStart");
  user("chkForwardingOnAtStartup");
  EXPECT_EQ(dialogs_.boxes.size(), 1U);
  EXPECT_EQ(dialog().chkForwardStart.value(), 1);
  EXPECT_EQ(dialog().chkForwardingOnAtStartup.value(), 0);
}

TEST_F(ReactionsTest, AGrayedStartUpOptionIsNotSet) {
  dialog().chkForwardStart.setValue(2);
  user("chkForwardingOnAtStartup");
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
}

TEST_F(ReactionsTest, EveryPartOfTheFormatChoiceChoosesIt) {
  for (const char* part : {"opbFormatForCellPhone", "lblFormatForCellTitle", "lblFormatForCellDesc",
                           "opbRegCellPhone"}) {
    dialog().SetCellPrefs(false);
    user(part);
    EXPECT_EQ(dialog().opbRegCellPhone.value(), 1) << part;
    EXPECT_EQ(dialog().opbRegEmail.value(), 0) << part;
    EXPECT_EQ(dialog().lblWhichCellOptionSelected.text(),
              "Emails to be formatted to be received by cell phones");
    EXPECT_EQ(dialog().opbFormatForCellPhone.picture(), dialog().picStoreCellEnabled.picture());
    EXPECT_EQ(dialog().opbFormatForEmail.picture(), dialog().picStorePcDisabled.picture());
    EXPECT_EQ(dialog().lblFormatForCellTitle.foreColor(), kButtonText);
    EXPECT_EQ(dialog().lblFormatForCellDesc.foreColor(), kButtonText);
    EXPECT_EQ(dialog().lblFormatForEmailTitle.foreColor(), kGrayText);
    EXPECT_EQ(dialog().lblFormatForEmailDesc.foreColor(), kGrayText);
  }
  for (const char* part :
       {"opbFormatForEmail", "lblFormatForEmailTitle", "lblFormatForEmailDesc", "opbRegEmail"}) {
    dialog().SetCellPrefs(true);
    user(part);
    EXPECT_EQ(dialog().opbRegEmail.value(), 1) << part;
    EXPECT_EQ(dialog().opbRegCellPhone.value(), 0) << part;
    EXPECT_EQ(dialog().lblWhichCellOptionSelected.text(),
              "Emails to be forwarded using standard formatting");
    EXPECT_EQ(dialog().opbFormatForCellPhone.picture(), dialog().picStoreCellDisabled.picture());
    EXPECT_EQ(dialog().opbFormatForEmail.picture(), dialog().picStorePcEnabled.picture());
    EXPECT_EQ(dialog().lblFormatForEmailTitle.foreColor(), kButtonText);
    EXPECT_EQ(dialog().lblFormatForCellTitle.foreColor(), kGrayText);
  }
}

TEST_F(ReactionsTest, TheGlobalAddressListButtonDoesNothingAndSaysWhy) {
  EXPECT_THAT(dialog().cmdGetSenderName.tip(), HasSubstr("no Global Address List"));
  user("cmdGetSenderName");
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
  EXPECT_EQ(dialog().txtAddresses.text(), "");
}

TEST_F(ReactionsTest, PreparingShowsTheFirstTab) {
  dialog().tabPrefs.setValue(3);
  dialog().cmdValidateAd.setText("busy");
  dialog().prepare();
  EXPECT_EQ(dialog().tabPrefs.value(), 0);
  EXPECT_EQ(dialog().cmdValidateAd.text(), "Check validity of addresses");
}

}  // namespace
}  // namespace relaybird
