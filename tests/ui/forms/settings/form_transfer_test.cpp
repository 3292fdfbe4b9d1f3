// SPDX-License-Identifier: MIT
// Settings between the preference object and the dialog. The whole program over the world in
// memory, with its real dialog: what is refused, what is stored, and what a filled dialog shows.
#include <gmock/gmock.h>

#include <limits>
#include <map>

#include "prefs/pref_forms.h"
#include "ui/forms/main/program_fixture.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class TransferTest : public ProgramTest {
 protected:
  clsPref& prf() { return main().prf(); }
  Control& at(const char* name) { return control("frmPrefs", name); }
  // The result of a transfer after one field was filled in.
  int transfer(const char* name, const std::string& text) {
    at(name).setText(text);
    return prf().FormToClass();
  }
  void expectRefused(const std::string& message) {
    const std::int32_t maximum = prf().fields().mlngMaxToForward;
    const double minutes = prf().fields().mdblFwdToFrequency;
    EXPECT_EQ(prf().FormToClass(), -1);
    EXPECT_EQ(prf().mstrErrDesc, message);
    EXPECT_EQ(prf().fields().mlngMaxToForward, maximum);
    EXPECT_EQ(prf().fields().mdblFwdToFrequency, minutes);
  }
};

TEST_F(TransferTest, RefusesMinutesThatAreNone) {
  for (const char* bad : {"0", "-3", "abc", "", "1e999"}) {
    at("txtMinutes").setText(bad);
    expectRefused("Invalid value for how often to forward mail.");
    EXPECT_EQ(at("txtMinutes").text(), bad);
  }
}

TEST_F(TransferTest, RefusesFewerThanTwoMinutesAndPutsTwoIntoTheField) {
  at("txtMinutes").setText("1.9");
  expectRefused("Not allowed to check mail more often than 2 minutes.");
  EXPECT_EQ(at("txtMinutes").text(), "2");
}

TEST_F(TransferTest, TakesTwoMinutesAndFractionsAboveThem) {
  EXPECT_EQ(transfer("txtMinutes", "2"), 1);
  EXPECT_EQ(prf().GetMinLeft(), 2);
  EXPECT_EQ(transfer("txtMinutes", "2.5"), 1);
  EXPECT_EQ(prf().GetMinLeft(), 2.5);
}

TEST_F(TransferTest, RefusesASizeOfZeroOrNone) {
  at("chkLimitFileSize").setValue(1);
  for (const char* bad : {"0", "", "big", "1e999"}) {
    at("txtMaxFileSize").setText(bad);
    expectRefused("Invalid maximum message size entered.");
  }
}

TEST_F(TransferTest, TakesANegativeSize) {
  at("chkLimitFileSize").setValue(1);
  EXPECT_EQ(transfer("txtMaxFileSize", "-1"), 1);
  EXPECT_EQ(prf().GetFwdSizeLimit(), -1);
}

TEST_F(TransferTest, ASwitchedOffLimitIsNotReadAndKeepsTheStoredSize) {
  EXPECT_EQ(transfer("txtMaxFileSize", "nonsense"), 1);
  EXPECT_EQ(prf().GetFwdSizeLimit(), 1.0);
  EXPECT_FALSE(prf().LimitFwdSize());
}

TEST_F(TransferTest, AGrayedBoxCountsAsNotSet) {
  at("chkLimitFileSize").setValue(2);
  at("chkBcc").setValue(2);
  EXPECT_EQ(transfer("txtMaxFileSize", "0"), 1);
  EXPECT_FALSE(prf().LimitFwdSize());
  EXPECT_FALSE(prf().bolBccForward());
}

TEST_F(TransferTest, RefusesListsThatAreTooLong) {
  std::string many;
  for (int i = 0; i <= std::numeric_limits<std::int16_t>::max(); ++i) {
    many += "x;";
  }
  at("txtWordMatch").setText(many);
  expectRefused("Error parsing out list of subject/body keywords from form.");
  at("txtAddress").setText(many);
  expectRefused("Error parsing out forwarding Email addresses from form.");
}

TEST_F(TransferTest, RefusesAMaximumThatIsNotAboveZero) {
  for (const char* bad : {"0", "-5", "abc", "0.4", "0.5"}) {
    at("txtMaxToForward").setText(bad);
    expectRefused("Entry for maximum emails to forward must be greater than zero.");
  }
}

TEST_F(TransferTest, RefusesAMaximumThatCannotBeRead) {
  for (const char* bad : {"2147483648", "1e999"}) {
    at("txtMaxToForward").setText(bad);
    expectRefused("Invalid entry for maximum emails to forward");
  }
}

TEST_F(TransferTest, RoundsTheMaximumHalfToEven) {
  const std::pair<const char*, int> cases[] = {
      {"0.6", 1}, {"2.5", 2}, {"3.5", 4}, {"2147483647", 2147483647}};
  for (const auto& [text, stored] : cases) {
    EXPECT_EQ(transfer("txtMaxToForward", text), 1) << text;
    EXPECT_EQ(prf().GetMaxNumToForward(), stored) << text;
  }
}

TEST_F(TransferTest, ReportsTheFirstFaultOfSeveral) {
  at("chkLimitFileSize").setValue(1);
  at("txtMaxToForward").setText("0");
  at("txtMaxFileSize").setText("0");
  at("txtMinutes").setText("0");
  expectRefused("Invalid value for how often to forward mail.");
  at("txtMinutes").setText("5");
  expectRefused("Invalid maximum message size entered.");
  at("txtMaxFileSize").setText("1");
  expectRefused("Entry for maximum emails to forward must be greater than zero.");
}

TEST_F(TransferTest, AfterAFailedCheckTheUserMustAgree) {
  at("txtMinutes").setText("30");
  prf().mbolHaveCheckedAd = true;
  prf().mbolAdAreOk = false;
  dialogs_.answer(BoxAnswer::kNo);
  EXPECT_EQ(prf().FormToClass(), 0);
  EXPECT_TRUE(prf().mbolDontExit);
  EXPECT_EQ(prf().GetMinLeft(), 15);
  ASSERT_EQ(dialogs_.boxes.size(), 1U);
  EXPECT_EQ(boxLine(dialogs_.boxes[0]),
            "Warning: |Do you want to apply the current preferences even though Outlook found "
            "problems with at least one of the email addresses that you have set to have your "
            "messages forwarded to?|none|Yes No");
  dialogs_.answer(BoxAnswer::kYes);
  EXPECT_EQ(prf().FormToClass(), 1);
  EXPECT_FALSE(prf().mbolDontExit);
  EXPECT_EQ(prf().GetMinLeft(), 30);
}

TEST_F(TransferTest, AgreeingGoesOnWithTheRemainingChecks) {
  prf().mbolHaveCheckedAd = true;
  prf().mbolAdAreOk = false;
  at("txtMaxToForward").setText("0");
  dialogs_.answer(BoxAnswer::kYes);
  EXPECT_EQ(prf().FormToClass(), -1);
}

TEST_F(TransferTest, WithoutACheckOrAfterAGoodOneNobodyIsAsked) {
  prf().mbolHaveCheckedAd = false;
  prf().mbolAdAreOk = false;
  EXPECT_EQ(prf().FormToClass(), 1);
  prf().mbolHaveCheckedAd = true;
  prf().mbolAdAreOk = true;
  EXPECT_EQ(prf().FormToClass(), 1);
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
}

TEST_F(TransferTest, StoresEverySetting) {
  at("txtMinutes").setText("7");
  at("txtMaxToForward").setText("12");
  at("txtMaxFileSize").setText("2.5");
  at("txtAddress").setText("a@b.example; c@d.example");
  at("txtAddresses").setText("carol; dave");
  at("txtWordMatch").setText("urgent");
  for (const char* box : {"chkIgnoreExistingMsg", "chkBcc", "chkForwardStart", "chkLimitFileSize",
                          "chkContentFilter"}) {
    at(box).setValue(1);
  }
  at("chkIncludeAttachments").setValue(0);
  at("opbFwdOnly").setValue(1);
  at("cmbTextToCheck").setValue(2);
  at("cmbTypeOfMatch").setValue(1);
  at("opbRegCellPhone").setValue(1);
  ASSERT_EQ(prf().FormToClass(), 1);
  const PreferenceFields& fields = prf().fields();
  EXPECT_EQ(fields.mdblFwdToFrequency, 7);
  EXPECT_EQ(fields.mlngMaxToForward, 12);
  EXPECT_EQ(fields.mdblMaxFwdSize, 2.5);
  EXPECT_THAT(fields.mstrFwdToAddress, ElementsAre("a@b.example", "c@d.example"));
  EXPECT_THAT(fields.mcolSenderList, ElementsAre("carol", "dave"));
  EXPECT_THAT(fields.mstrTextToMatch, ElementsAre("urgent"));
  EXPECT_TRUE(fields.mbolIgnoreExistingUnread);
  EXPECT_TRUE(fields.mbolBcc);
  EXPECT_TRUE(fields.mbolFwdUponStart);
  EXPECT_TRUE(fields.mbolMaxFwdSize);
  EXPECT_TRUE(fields.mbolFilterText);
  EXPECT_FALSE(fields.mbolIncludeAttachments);
  EXPECT_FALSE(fields.mbolTurnOnFwdOnStartup);
  EXPECT_EQ(fields.mintSenderFilter, 501);
  EXPECT_EQ(fields.mintTextToCheck, 102);
  EXPECT_EQ(fields.mintMatchType, 201);
  EXPECT_TRUE(fields.mbolFormatForCellPhone);
  EXPECT_TRUE(main().picDestCellPhone.visible());
}

TEST_F(TransferTest, ListPositionsAndOptionsBecomeCodes) {
  const int places[][2] = {{0, 100}, {1, 101}, {2, 102}, {-1, 102}, {9, 102}};
  for (const auto& [position, code] : places) {
    at("cmbTextToCheck").setValue(position);
    ASSERT_EQ(prf().FormToClass(), 1);
    EXPECT_EQ(prf().fields().mintTextToCheck, code);
  }
  const int matches[][2] = {{0, 200}, {1, 201}, {-1, 201}};
  for (const auto& [position, code] : matches) {
    at("cmbTypeOfMatch").setValue(position);
    ASSERT_EQ(prf().FormToClass(), 1);
    EXPECT_EQ(prf().fields().mintMatchType, code);
  }
  const std::pair<const char*, int> senders[] = {
      {"opbFwdAll", 500}, {"opbFwdOnly", 501}, {"opbFwdAllBut", 502}};
  for (const auto& [option, code] : senders) {
    at(option).setValue(1);
    ASSERT_EQ(prf().FormToClass(), 1);
    EXPECT_EQ(prf().fields().mintSenderFilter, code);
  }
}

TEST_F(TransferTest, FillsTheDialogFromTheStoredSettings) {
  PreferenceFields& fields = prf().fields();
  fields.mdblFwdToFrequency = 2.5;
  fields.mdblMaxFwdSize = 5;
  fields.mbolMaxFwdSize = fields.mbolBcc = fields.mbolFilterText = true;
  fields.mlngMaxToForward = 77;
  fields.mintSenderFilter = 502;
  fields.mintTextToCheck = 101;
  fields.mintMatchType = 201;
  fields.mcolSenderList = {"carol"};
  fields.mstrTextToMatch = {"urgent", "now"};
  fields.mstrFwdToAddress = {"a@b.example"};
  fields.mbolTurnOnFwdOnStartup = true;
  fields.mbolFormatForCellPhone = true;
  EXPECT_EQ(prf().ClassToForm(), 1);
  EXPECT_EQ(at("txtMinutes").text(), "2.5");
  EXPECT_EQ(at("txtMaxFileSize").text(), "5");
  EXPECT_EQ(at("txtMaxToForward").text(), "77");
  EXPECT_EQ(at("chkLimitFileSize").value(), 1);
  EXPECT_EQ(at("chkBcc").value(), 1);
  EXPECT_EQ(at("chkContentFilter").value(), 1);
  EXPECT_EQ(at("chkForwardStart").value(), 0);
  EXPECT_EQ(at("chkIgnoreExistingMsg").value(), 0);
  EXPECT_EQ(at("chkIncludeAttachments").value(), 1);
  EXPECT_EQ(at("opbFwdAllBut").value(), 1);
  EXPECT_EQ(at("opbFwdAll").value(), 0);
  EXPECT_EQ(at("cmbTextToCheck").value(), 1);
  EXPECT_EQ(at("cmbTypeOfMatch").value(), 1);
  EXPECT_EQ(at("txtAddresses").text(), "carol; ");
  EXPECT_EQ(at("txtWordMatch").text(), "urgent; now; ");
  EXPECT_EQ(at("txtAddress").text(), "a@b.example; ");
  EXPECT_EQ(at("chkForwardingOnAtStartup").value(), 1);
  EXPECT_EQ(at("opbRegCellPhone").value(), 1);
  EXPECT_TRUE(main().picTextFwdToCell.visible());
}

TEST_F(TransferTest, StoredCodesOutOfRangeGoIntoTheDialogAsTheyAre) {
  prf().fields().mintTextToCheck = 103;
  prf().fields().mintMatchType = 199;
  prf().fields().mintSenderFilter = 499;
  EXPECT_EQ(prf().ClassToForm(), 1);
  EXPECT_EQ(at("cmbTextToCheck").value(), 3);
  EXPECT_EQ(at("cmbTypeOfMatch").value(), -1);
  for (const char* option : {"opbFwdAll", "opbFwdOnly", "opbFwdAllBut"}) {
    EXPECT_EQ(at(option).value(), 0) << option;
  }
}

TEST_F(TransferTest, AnUnknownSenderCodeStaysUntilAChoiceIsMade) {
  for (const std::int16_t code : {std::int16_t{499}, std::int16_t{503}, std::int16_t{0}}) {
    prf().fields().mintSenderFilter = code;
    ASSERT_EQ(prf().ClassToForm(), 1);
    EXPECT_EQ(prf().FormToClass(), 1);
    EXPECT_EQ(prf().fields().mintSenderFilter, code);
    EXPECT_TRUE(prf().formShowsStored());
    at("opbFwdOnly").click();
    EXPECT_EQ(prf().FormToClass(), 1);
    EXPECT_EQ(prf().fields().mintSenderFilter, 501);
  }
}

TEST_F(TransferTest, WithoutAChoiceWhereTheStoredCodeHasOneItIsAllExceptTheList) {
  prf().fields().mintSenderFilter = 499;
  ASSERT_EQ(prf().ClassToForm(), 1);
  prf().fields().mintSenderFilter = 501;
  EXPECT_EQ(prf().FormToClass(), 1);
  EXPECT_EQ(prf().fields().mintSenderFilter, 502);
}

TEST_F(TransferTest, AnUnknownSenderCodeOutlivesAStartAndItsFile) {
  oneAddress("mintSenderFilter=499\n");
  (void)program();
  switchOn();
  EXPECT_EQ(main().prf().fields().mintSenderFilter, 499);
  EXPECT_THAT(files_.bytes(kPrefFile), HasSubstr("mintSenderFilter=499\n"));
}

class CommaTest : public TransferTest {
 protected:
  CommaTest() { decimalSeparator_ = ","; }
};

TEST_F(CommaTest, NumbersAreReadByTheUsersLocaleAndKeptWithAPoint) {
  oneAddress();
  click("frmRelaybird", "cmdPrefs");
  at("txtMinutes").setText("7,5");
  EXPECT_EQ(at("lblHours").text(), "(0.12 hours)");
  at("chkLimitFileSize").setValue(1);
  at("txtMaxFileSize").setText("0,25");
  at("txtMaxToForward").setText("10,6");
  click("frmPrefs", "cmdApply");
  EXPECT_EQ(prf().GetMinLeft(), 7.5);
  EXPECT_EQ(prf().GetFwdSizeLimit(), 0.25);
  EXPECT_EQ(prf().GetMaxNumToForward(), 11);
  EXPECT_THAT(files_.bytes(kPrefFile), HasSubstr("mdblFwdToFrequency=7.5"));
  EXPECT_EQ(at("txtMinutes").text(), "7.5");
}

TEST_F(CommaTest, APointIsNoMarkOfThousands) {
  at("chkLimitFileSize").setValue(1);
  EXPECT_EQ(transfer("txtMaxFileSize", "1.000"), 1);
  EXPECT_EQ(prf().GetFwdSizeLimit(), 1);
  at("txtMinutes").setText("1.999");
  expectRefused("Not allowed to check mail more often than 2 minutes.");
}

TEST_F(CommaTest, TheFileKeepsThePoint) {
  oneAddress("mdblFwdToFrequency=7,5\n");
  (void)program();
  EXPECT_EQ(prf().GetMinLeft(), 7);
}

TEST_F(TransferTest, WhereNumbersHaveAPointACommaEndsThem) {
  EXPECT_EQ(transfer("txtMinutes", "7,5"), 1);
  EXPECT_EQ(prf().GetMinLeft(), 7);
}

TEST_F(TransferTest, AnEmptyListOfAddressesCountsNone) {
  prf().fields().mstrFwdToAddress = {""};
  prf().UpdateEmailAddrOnMainForm();
  EXPECT_EQ(text("txtStatusFwdTo"), "");
  EXPECT_EQ(text("lblStatusFwdTo"), "Forwards to [0 addresses]:");
}

TEST_F(TransferTest, TheMainWindowShowsTheAddressesWithoutAnEndingSemicolon) {
  prf().fields().mstrFwdToAddress = {"a@b.example", "c@d.example"};
  prf().UpdateEmailAddrOnMainForm();
  EXPECT_EQ(text("txtStatusFwdTo"), "a@b.example; c@d.example");
  EXPECT_EQ(text("lblStatusFwdTo"), "Forwards to [2 addresses]:");
  prf().fields().mstrFwdToAddress = {};
  prf().UpdateEmailAddrOnMainForm();
  EXPECT_EQ(text("txtStatusFwdTo"), "");
  EXPECT_EQ(text("lblStatusFwdTo"), "Forwards to [0 addresses]:");
}

// Forms that misbehave.
class FakeForms : public PrefForms {
 public:
  std::string text(std::string_view control) const override {
    if (control == failing) {
      throw std::runtime_error("the window is gone");
    }
    const auto found = texts.find(std::string(control));
    return found == texts.end() ? "5" : found->second;
  }
  void setText(std::string_view control, const std::string& text) override {
    if (control == failing) {
      throw std::runtime_error("the window is gone");
    }
    texts[std::string(control)] = text;
  }
  int value(std::string_view) const override { return 1; }
  void setValue(std::string_view, int) override {}
  void SetCellPrefs(bool) override {}
  void SetMainFrmCellPref(bool) override {}
  void SetMainFormFwdToAddresses(const std::string&, int) override {}
  bool confirm(const std::string&, const std::string&) override {
    texts["txtMaxFileSize"] = "1e999";
    return true;
  }
  std::map<std::string, std::string> texts;
  std::string failing;
};

class MisbehavingFormsTest : public TransferTest {
 protected:
  MisbehavingFormsTest() {
    (void)program();
    control("frmLog", "chkVerboseLog").setValue(1);
    prf().connectForms(forms_);
  }
  FakeForms forms_;
};

TEST_F(MisbehavingFormsTest, ASizeThatBecomesUnreadableDuringTheQuestionIsRefused) {
  prf().mbolHaveCheckedAd = true;
  prf().mbolAdAreOk = false;
  EXPECT_EQ(prf().FormToClass(), -1);
  EXPECT_EQ(prf().mstrErrDesc, "Invalid maximum email size to forward given");
}

TEST_F(MisbehavingFormsTest, AFailureWhileStoringKeepsWhatWasStoredBefore) {
  forms_.failing = "txtAddresses";
  EXPECT_EQ(prf().FormToClass(), -1000);
  EXPECT_EQ(prf().GetMinLeft(), 5);
  EXPECT_THAT(log().back(), HasSubstr("[v]-->FormToClass-->the window is gone"));
}

TEST_F(MisbehavingFormsTest, AFailureWhileFillingIsReported) {
  forms_.failing = "txtWordMatch";
  EXPECT_EQ(prf().ClassToForm(), -1);
  EXPECT_THAT(log().back(), HasSubstr("[v]-->ClassToForm-->the window is gone"));
}

TEST_F(TransferTest, WithoutFormsNothingCanBeTransferred) {
  clsPref alone({files_, profiles_, folders_, osVersion_, store_.factory(), {}});
  EXPECT_EQ(alone.FormToClass(), -1000);
  EXPECT_EQ(alone.ClassToForm(), -1);
  alone.UpdateEmailAddrOnMainForm();
}

}  // namespace
}  // namespace relaybird
