// SPDX-License-Identifier: MIT
#include "prefs/preference_fields.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace relaybird {
namespace {

TEST(PreferenceFields, AreZeroAndEmptyWhenMade) {
  const PreferenceFields fields;
  EXPECT_EQ(fields.mdblFwdToFrequency, 0);
  EXPECT_EQ(fields.mdblMaxFwdSize, 0);
  EXPECT_EQ(fields.mlngMaxToForward, 0);
  EXPECT_EQ(fields.mintSenderFilter, 0);
  EXPECT_EQ(fields.mintTextToCheck, 0);
  EXPECT_EQ(fields.mintMatchType, 0);
  EXPECT_FALSE(fields.mbolFwdUponStart || fields.mbolBcc || fields.mbolIgnoreExistingUnread ||
               fields.mbolIncludeAttachments || fields.mbolMaxFwdSize || fields.mbolFilterText ||
               fields.mbolUseWinLogon || fields.mbolTurnOnFwdOnStartup ||
               fields.mbolFormatForCellPhone);
  EXPECT_EQ(fields.mstrUsername + fields.mstrPassword, "");
  EXPECT_TRUE(fields.mcolSenderList.empty());
  EXPECT_TRUE(fields.mstrTextToMatch.empty());
  EXPECT_TRUE(fields.mstrFwdToAddress.empty());
}

TEST(PreferenceFields, AreReadInTheOrderOfTheTable) {
  std::vector<std::string> names;
  for (const PreferenceField& field : kPreferenceFields) {
    names.emplace_back(field.name);
  }
  EXPECT_EQ(names, (std::vector<std::string>{
                       "mdblFwdToFrequency",       "mbolFwdUponStart",       "mbolBcc",
                       "mbolIgnoreExistingUnread", "mbolIncludeAttachments", "mbolMaxFwdSize",
                       "mdblMaxFwdSize",           "mlngMaxToForward",       "mintSenderFilter",
                       "mbolFilterText",           "mintTextToCheck",        "mintMatchType",
                       "mbolUseWinLogon",          "mstrUsername",           "mstrPassword",
                       "mbolTurnOnFwdOnStartup",   "mbolFormatForCellPhone", "mcolSenderList",
                       "mstrFwdToAddress",         "mstrTextToMatch"}));
}

TEST(PreferenceFields, AreWrittenInAnotherOrder) {
  std::vector<std::string> names;
  for (const PreferenceField* field : preferenceFieldsBy(&PreferenceField::writtenAs)) {
    names.emplace_back(field->name);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"mdblFwdToFrequency",
                                             "mbolFwdUponStart",
                                             "mbolBcc",
                                             "mbolIgnoreExistingUnread",
                                             "mbolIncludeAttachments",
                                             "mbolMaxFwdSize",
                                             "mdblMaxFwdSize",
                                             "mintSenderFilter",
                                             "mbolFilterText",
                                             "mintTextToCheck",
                                             "mintMatchType",
                                             "mbolUseWinLogon",
                                             "mcolSenderList",
                                             "mstrFwdToAddress",
                                             "mstrTextToMatch",
                                             "mstrUsername",
                                             "mstrPassword",
                                             "mlngMaxToForward",
                                             "mbolTurnOnFwdOnStartup",
                                             "mbolFormatForCellPhone"}));
}

TEST(PreferenceFields, HaveTheTextsThatStandForAMissingKey) {
  std::vector<std::string> texts;
  for (const PreferenceField& field : kPreferenceFields) {
    texts.emplace_back(field.absentText);
  }
  EXPECT_EQ(texts, (std::vector<std::string>{"15.0",  "False", "False", "False",    "True",
                                             "False", "1.0",   "1000",  "500",      "false",
                                             "100",   "200",   "true",  "Username", "",
                                             "False", "False", "",      "",         ""}));
}

}  // namespace
}  // namespace relaybird
