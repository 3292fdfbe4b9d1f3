// SPDX-License-Identifier: MIT
// Apply, OK and Cancel of the settings dialog. The whole program over the world in memory; the
// preference file is on a disk that can be full.
#include <gmock/gmock.h>

#include "prefs/pref_forms.h"
#include "ui/forms/main/program_fixture.h"

namespace relaybird {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

class ButtonsTest : public ProgramTest {
 protected:
  void open() { click("frmRelaybird", "cmdPrefs"); }
  void press(const char* button) { click("frmPrefs", button); }
  Control& at(const char* name) { return control("frmPrefs", name); }
  bool isOpen() { return program().settings().visible(); }
  void expectOneBox(const std::string& text) {
    ASSERT_EQ(dialogs_.boxes.size(), 1U);
    EXPECT_EQ(boxLine(dialogs_.boxes[0]), "Relaybird|" + text + "|none|OK");
  }
};

TEST_F(ButtonsTest, ApplyStoresShowsAndStaysOpen) {
  open();
  at("txtMinutes").setText("7");
  at("txtAddress").setText("a@b.example;c@d.example");
  press("cmdApply");
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
  EXPECT_TRUE(isOpen());
  EXPECT_THAT(files_.bytes(kPrefFile), HasSubstr("mdblFwdToFrequency=7"));
  EXPECT_EQ(at("txtAddress").text(), "a@b.example; c@d.example; ");
  EXPECT_EQ(text("lblStatusFwdTo"), "Forwards to [2 addresses]:");
}

TEST_F(ButtonsTest, OkStoresAndCloses) {
  open();
  at("txtMinutes").setText("7");
  press("cmdOK");
  EXPECT_FALSE(isOpen());
  EXPECT_EQ(main().prf().GetMinLeft(), 7);
}

TEST_F(ButtonsTest, CancelClosesAndStoresNothing) {
  open();
  at("txtMinutes").setText("7");
  press("cmdCancel");
  EXPECT_FALSE(isOpen());
  EXPECT_EQ(main().prf().GetMinLeft(), 15);
  EXPECT_FALSE(files_.has(kPrefFile));
  open();
  EXPECT_EQ(at("txtMinutes").text(), "15");
}

TEST_F(ButtonsTest, CancelledEditsAreNotStoredByALaterStart) {
  oneAddress();
  open();
  at("txtMinutes").setText("7");
  at("opbFwdOnly").click();
  at("opbRegCellPhone").click();
  press("cmdCancel");
  switchOn();
  EXPECT_EQ(main().prf().GetMinLeft(), 15);
  EXPECT_EQ(main().prf().fields().mintSenderFilter, 500);
  EXPECT_FALSE(main().prf().bolFormatForCellPhone());
}

// After a check that found bad addresses the user is asked before they are used, also after Cancel.
TEST_F(ButtonsTest, CancelWithoutEditsKeepsWhatTheAddressCheckFound) {
  preferences("mstrFwdToAddress_num=1\nmstrFwdToAddress_1=Nobody\n");
  open();
  press("cmdValidateAd");
  ASSERT_EQ(dialogs_.boxes.size(), 1U);
  press("cmdCancel");
  EXPECT_TRUE(main().prf().mbolHaveCheckedAd);
  EXPECT_FALSE(main().prf().mbolAdAreOk);
  dialogs_.answer(BoxAnswer::kNo);
  click("frmRelaybird", "cmdStart");
  ASSERT_GE(dialogs_.boxes.size(), 2U);
  EXPECT_EQ(dialogs_.boxes[1].title, "Warning: ");
}

TEST_F(ButtonsTest, CancelShowsPreferencesThatWereReadAgainMeanwhile) {
  oneAddress();
  open();
  oneAddress("mdblFwdToFrequency=20\n");
  program().readPreferencesAgain();
  EXPECT_EQ(at("txtMinutes").text(), "15");
  press("cmdCancel");
  EXPECT_EQ(at("txtMinutes").text(), "20");
}

TEST_F(ButtonsTest, TheCloseBoxIsCancel) {
  open();
  at("txtMinutes").setText("7");
  program().settings().closeBox();
  EXPECT_FALSE(isOpen());
  EXPECT_EQ(at("txtMinutes").text(), "15");
}

TEST_F(ButtonsTest, ARefusedValueIsToldAndOkStillCloses) {
  open();
  at("txtMinutes").setText("1.9");
  press("cmdOK");
  expectOneBox("Problem - Not allowed to check mail more often than 2 minutes.");
  EXPECT_FALSE(isOpen());
  EXPECT_EQ(at("txtMinutes").text(), "2");
  EXPECT_EQ(main().prf().GetMinLeft(), 15);
  EXPECT_FALSE(files_.has(kPrefFile));
}

TEST_F(ButtonsTest, DecliningTheWarningKeepsTheDialogOpenWithTheStoredValues) {
  oneAddress("mdblFwdToFrequency=20\n");
  open();
  at("txtMinutes").setText("7");
  main().prf().mbolHaveCheckedAd = true;
  main().prf().mbolAdAreOk = false;
  dialogs_.answer(BoxAnswer::kNo);
  press("cmdOK");
  EXPECT_TRUE(isOpen());
  EXPECT_EQ(at("txtMinutes").text(), "20");
  EXPECT_THAT(files_.bytes(kPrefFile), HasSubstr("mdblFwdToFrequency=20"));
}

TEST_F(ButtonsTest, AFullDiskIsTold) {
  open();
  at("txtMinutes").setText("7");
  files_.failCallsWith("create ", ENOSPC);
  press("cmdApply");
  expectOneBox("Error writing preferences to file");
}

// A dialog that cannot be read, or not be filled.
class BrokenForms : public PrefForms {
 public:
  std::string text(std::string_view) const override {
    if (readingFails) {
      throw std::runtime_error("no");
    }
    return "5";
  }
  void setText(std::string_view, const std::string&) override { throw std::runtime_error("no"); }
  int value(std::string_view) const override { return 0; }
  void setValue(std::string_view, int) override {}
  void SetCellPrefs(bool) override {}
  void SetMainFrmCellPref(bool) override {}
  void SetMainFormFwdToAddresses(const std::string&, int) override {}
  bool confirm(const std::string&, const std::string&) override { return true; }
  bool readingFails = false;
};

TEST_F(ButtonsTest, AnUnexpectedFailureIsTold) {
  open();
  BrokenForms forms;
  forms.readingFails = true;
  main().prf().connectForms(forms);
  press("cmdApply");
  expectOneBox("Error occurred - Prefs not saved.");
}

TEST_F(ButtonsTest, ADialogThatCannotBeFilledIsTold) {
  open();
  BrokenForms forms;
  main().prf().connectForms(forms);
  press("cmdApply");
  expectOneBox("Error populating form with new preferences");
}

TEST_F(ButtonsTest, GrayFieldsStillTakeInputAndAreStored) {
  open();
  at("txtWordMatch").setText("kept");
  at("txtAddresses").setText("also kept");
  press("cmdOK");
  EXPECT_EQ(main().prf().fields().mstrTextToMatch, StringList{"kept"});
  EXPECT_EQ(main().prf().fields().mcolSenderList, StringList{"also kept"});
}

TEST_F(ButtonsTest, StoredStartUpOptionsThatExcludeEachOtherAreToldAtEveryOpening) {
  preferences("mbolTurnOnFwdOnStartup=0\nmbolFwdUponStart=1\n");
  (void)program();
  main().prf().fields().mbolTurnOnFwdOnStartup = true;
  open();
  ASSERT_EQ(dialogs_.boxes.size(), 1U);
  EXPECT_EQ(dialogs_.boxes[0].title, "Invalid Option Combination");
}

TEST_F(ButtonsTest, CancelOpensNoBoxWhereBothStartUpOptionsAreStored) {
  oneAddress("mbolTurnOnFwdOnStartup=1\nmbolFwdUponStart=1\n");
  (void)program();
  events_.runUntilIdle();
  main().StopForwarding();
  open();
  EXPECT_FALSE(at("chkForwardingOnAtStartup").checked());
  const std::size_t boxes = dialogs_.boxes.size();
  press("cmdCancel");
  EXPECT_EQ(dialogs_.boxes.size(), boxes);
  // The rule holds again for a user.
  open();
  EXPECT_EQ(dialogs_.boxes.size(), boxes + 1);
  // A later start does not store what was cancelled.
  press("cmdCancel");
  switchOn();
  EXPECT_TRUE(main().prf().bolTurnOnFwdOnStartup());
  EXPECT_TRUE(main().prf().bolFwdOnActivateForwarding());
}

TEST_F(ButtonsTest, AReadOnlyFileIsToldAndKeptAsItIs) {
  oneAddress("mdblFwdToFrequency=15\n");
  open();
  const std::string before = files_.bytes(kPrefFile);
  files_.entries[kPrefFile].readOnly = true;
  at("txtMinutes").setText("30");
  press("cmdApply");
  expectOneBox("Error writing preferences to file");
  EXPECT_EQ(files_.bytes(kPrefFile), before);
  EXPECT_THAT(log(), testing::Contains(testing::HasSubstr(std::string("Cannot write to ") +
                                                          kPrefFile + ": it is read-only")));
}

}  // namespace
}  // namespace relaybird
