// SPDX-License-Identifier: MIT
// The transfer to and from the settings dialog, step by step. The dialog consists of values only
// and records every access (RecordingForms), so that the order of reading and writing is checked
// too.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "prefs/pref_bench.h"
#include "prefs/recording_forms.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

template <class Member>
bool sameMember(const Member& member, const PreferenceFields& a, const PreferenceFields& b) {
  if constexpr (std::is_same_v<Member, ShiftedText>) {
    return a.*member.member == b.*member.member;
  } else {
    return a.*member == b.*member;
  }
}

// The names of the members that differ, in the order of the table.
std::vector<std::string> changedMembers(const PreferenceFields& before,
                                        const PreferenceFields& after) {
  std::vector<std::string> names;
  for (const PreferenceField& field : kPreferenceFields) {
    const auto same = [&](const auto& member) { return sameMember(member, before, after); };
    if (!std::visit(same, field.member)) {
      names.emplace_back(field.name);
    }
  }
  return names;
}

class FormStepsTest : public testing::Test {
 protected:
  FormStepsTest() {
    prefs().connectForms(forms_);
    prefs().ReadIniPref();
    prefs().fields().mstrFwdToAddress = {"a@b.example"};
    prefs().ClassToForm();
    forms_.writes.clear();
  }
  clsPref& prefs() { return bench_.prefs; }

  // Every setting of the dialog gets another value than the stored one.
  void editEverything() {
    forms_.texts = {{"txtMinutes", "7"},           {"txtMaxFileSize", "2.5"},
                    {"txtMaxToForward", "12"},     {"txtAddress", "c@d.example;e@f.example"},
                    {"txtAddresses", "carol;dan"}, {"txtWordMatch", "urgent"}};
    forms_.values = {
        {"chkIgnoreExistingMsg", 1},     {"chkForwardStart", 1},  {"chkBcc", 1},
        {"chkIncludeAttachments", 0},    {"chkLimitFileSize", 1}, {"opbFwdOnly", 1},
        {"chkContentFilter", 1},         {"cmbTextToCheck", 1},   {"cmbTypeOfMatch", 1},
        {"chkForwardingOnAtStartup", 1}, {"opbRegCellPhone", 1}};
  }

  PrefBench bench_;
  RecordingForms forms_;
};

TEST_F(FormStepsTest, TheDialogIsFilledInOneOrder) {
  PreferenceFields& fields = prefs().fields();
  fields.mdblFwdToFrequency = 2.5;
  fields.mstrTextToMatch = {"urgent", "now"};
  fields.mbolFormatForCellPhone = true;
  EXPECT_EQ(prefs().ClassToForm(), 1);
  EXPECT_THAT(
      forms_.writes,
      ElementsAre("chkForwardStart=0", "chkForwardingOnAtStartup=0", "txtMinutes=2.5",
                  "chkForwardStart=0", "chkIgnoreExistingMsg=0", "chkIncludeAttachments=1",
                  "chkLimitFileSize=0", "chkBcc=0", "txtMaxFileSize=1", "txtMaxToForward=1000",
                  "opbFwdAll=1", "opbFwdOnly=0", "opbFwdAllBut=0",
                  "txtAddresses=", "chkContentFilter=0", "cmbTextToCheck=0", "cmbTypeOfMatch=0",
                  "txtWordMatch=urgent; now; ", "txtAddress=a@b.example; ",
                  "chkForwardingOnAtStartup=0", "SetCellPrefs=true", "SetMainFrmCellPref=true"));
}

TEST_F(FormStepsTest, ATransferStoresEverySettingOfTheDialogAndTellsTheMainWindow) {
  const PreferenceFields before = prefs().fields();
  editEverything();
  EXPECT_EQ(prefs().FormToClass(), 1);
  EXPECT_EQ(changedMembers(before, prefs().fields()).size(), 17U);
  EXPECT_THAT(forms_.writes, ElementsAre("SetMainFrmCellPref=true"));
  EXPECT_EQ(prefs().mstrErrDesc, "");
}

TEST_F(FormStepsTest, WhatWasFilledInIsTakenBackUnchanged) {
  editEverything();
  ASSERT_EQ(prefs().FormToClass(), 1);
  const PreferenceFields before = prefs().fields();
  ASSERT_EQ(prefs().ClassToForm(), 1);
  EXPECT_EQ(prefs().FormToClass(), 1);
  EXPECT_THAT(changedMembers(before, prefs().fields()), IsEmpty());
}

TEST_F(FormStepsTest, EveryRefusalLeavesEveryMemberAsItWas) {
  struct Case {
    const char* control;
    const char* text;
    const char* message;
  };
  const Case cases[] = {
      {"txtMinutes", "-1", "Invalid value for how often to forward mail."},
      {"txtMinutes", "1.9", "Not allowed to check mail more often than 2 minutes."},
      {"txtMaxFileSize", "0", "Invalid maximum message size entered."},
      {"txtMaxToForward", "0", "Entry for maximum emails to forward must be greater than zero."},
      {"txtMaxToForward", "-2147483649", "Invalid entry for maximum emails to forward"},
      {"txtMaxToForward", "-1e999", "Invalid entry for maximum emails to forward"},
  };
  const PreferenceFields before = prefs().fields();
  for (const Case& refused : cases) {
    SCOPED_TRACE(refused.message);
    editEverything();
    forms_.texts[refused.control] = refused.text;
    EXPECT_EQ(prefs().FormToClass(), -1);
    EXPECT_EQ(prefs().mstrErrDesc, refused.message);
    EXPECT_THAT(changedMembers(before, prefs().fields()), IsEmpty());
  }
  EXPECT_THAT(forms_.writes, ElementsAre("txtMinutes=2"));
}

TEST_F(FormStepsTest, TheUserIsAskedAfterTheListsAndBeforeTheMaximum) {
  prefs().mbolHaveCheckedAd = true;
  editEverything();
  forms_.texts["txtMaxFileSize"] = "0";
  EXPECT_EQ(prefs().FormToClass(), -1);
  EXPECT_THAT(forms_.questions, IsEmpty());
  forms_.texts["txtMaxFileSize"] = "1";
  forms_.texts["txtMaxToForward"] = "0";
  EXPECT_EQ(prefs().FormToClass(), -1);
  EXPECT_EQ(forms_.questions.size(), 1U);
  forms_.answer = false;
  const PreferenceFields before = prefs().fields();
  forms_.texts["txtMaxToForward"] = "5";
  EXPECT_EQ(prefs().FormToClass(), 0);
  EXPECT_TRUE(prefs().mbolDontExit);
  EXPECT_THAT(changedMembers(before, prefs().fields()), IsEmpty());
}

// Only the dialog sets the marks of the address check.
TEST_F(FormStepsTest, ATransferLeavesTheMarksOfTheAddressCheckAlone) {
  prefs().mbolChangedFwdAd = prefs().mbolHaveCheckedAd = prefs().mbolAdAreOk = true;
  editEverything();
  ASSERT_EQ(prefs().FormToClass(), 1);
  ASSERT_EQ(prefs().ClassToForm(), 1);
  EXPECT_TRUE(prefs().mbolChangedFwdAd && prefs().mbolHaveCheckedAd && prefs().mbolAdAreOk);
}

TEST_F(FormStepsTest, AFailureKeepsWhatWasStoredBeforeIt) {
  struct Case {
    const char* failing;
    std::size_t stored;
  };
  const Case cases[] = {{"txtMinutes", 0},
                        {"txtMaxToForward", 0},
                        {"chkIgnoreExistingMsg", 1},
                        {"chkForwardStart", 2},
                        {"chkBcc", 3},
                        {"chkIncludeAttachments", 5},
                        {"opbFwdAll", 8},
                        {"opbFwdOnly", 8},
                        {"chkContentFilter", 9},
                        {"cmbTextToCheck", 10},
                        {"cmbTypeOfMatch", 11},
                        {"txtAddresses", 12},
                        {"chkForwardingOnAtStartup", 15},
                        {"opbRegCellPhone", 16},
                        {"SetMainFrmCellPref", 17}};
  const PreferenceFields before = prefs().fields();
  editEverything();
  for (const Case& step : cases) {
    SCOPED_TRACE(step.failing);
    prefs().fields() = before;
    bench_.verbose.clear();
    forms_.failing = step.failing;
    EXPECT_EQ(prefs().FormToClass(), -1000);
    EXPECT_EQ(changedMembers(before, prefs().fields()).size(), step.stored);
    EXPECT_THAT(bench_.verbose, ElementsAre(std::string("FormToClass-->no ") + step.failing));
  }
}

TEST_F(FormStepsTest, ADialogShowsWhatIsStoredUntilOneOfItsSettingsIsEdited) {
  EXPECT_TRUE(prefs().formShowsStored());
  EXPECT_THAT(forms_.writes, IsEmpty());
  const auto texts = forms_.texts;
  for (const auto& [control, text] : texts) {
    forms_.texts[control] = text + "1";
    EXPECT_FALSE(prefs().formShowsStored()) << control;
    forms_.texts[control] = text;
  }
  const auto values = forms_.values;
  for (const auto& [control, value] : values) {
    forms_.values[control] = 1 - value;
    EXPECT_FALSE(prefs().formShowsStored()) << control;
    forms_.values[control] = value;
  }
  EXPECT_TRUE(prefs().formShowsStored());
}

TEST_F(FormStepsTest, ADialogThatCannotBeReadIsNotTakenForOneThatShowsWhatIsStored) {
  forms_.failing = "cmbTextToCheck";
  EXPECT_FALSE(prefs().formShowsStored());
  EXPECT_THAT(bench_.verbose, ElementsAre("formShowsStored-->no cmbTextToCheck"));
}

TEST_F(FormStepsTest, WithoutADialogEveryTransferFails) {
  PrefBench alone;
  EXPECT_EQ(alone.prefs.FormToClass(), -1000);
  EXPECT_EQ(alone.prefs.ClassToForm(), -1);
  EXPECT_FALSE(alone.prefs.formShowsStored());
  alone.prefs.UpdateEmailAddrOnMainForm();
  EXPECT_EQ(alone.verbose.size(), 3U);
}

TEST_F(FormStepsTest, TheMainWindowIsToldTheAddressesAndTheirNumber) {
  const std::pair<StringList, const char*> cases[] = {{{}, "|0"},
                                                      {{""}, "|0"},
                                                      {{"a@b.example"}, "a@b.example|1"},
                                                      {{"a@b.example", "c"}, "a@b.example; c|2"},
                                                      {{"", "c"}, "; c|2"}};
  for (const auto& [addresses, told] : cases) {
    prefs().fields().mstrFwdToAddress = addresses;
    forms_.writes.clear();
    prefs().UpdateEmailAddrOnMainForm();
    EXPECT_THAT(forms_.writes, ElementsAre(std::string("SetMainFormFwdToAddresses=") + told));
  }
}

}  // namespace
}  // namespace relaybird
