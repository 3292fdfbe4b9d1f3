// SPDX-License-Identifier: MIT
// Writing the preference file through recorded profile strings. Every key and its text, their
// order, and what happens when one is refused.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "prefs/pref_bench.h"

namespace relaybird {
namespace {

using Sets = std::vector<std::pair<std::string, std::string>>;

void fill(PreferenceFields& fields) {
  fields.mdblFwdToFrequency = 15;
  fields.mbolFwdUponStart = true;
  fields.mbolIgnoreExistingUnread = true;
  fields.mdblMaxFwdSize = 2.5;
  fields.mlngMaxToForward = 1000;
  fields.mintSenderFilter = 501;
  fields.mcolSenderList = {"boss", "@work.example"};
  fields.mintTextToCheck = 102;
  fields.mintMatchType = 201;
  fields.mstrTextToMatch = {""};
  fields.mbolUseWinLogon = true;
  fields.mstrPassword = "abc";
  fields.mbolFormatForCellPhone = true;
  fields.mstrFwdToAddress = {"a@x.org"};
}

const Sets kFilled = {{"mdblFwdToFrequency", "15"},
                      {"mbolFwdUponStart", "1"},
                      {"mbolBcc", "0"},
                      {"mbolIgnoreExistingUnread", "1"},
                      {"mbolIncludeAttachments", "0"},
                      {"mbolMaxFwdSize", "0"},
                      {"mdblMaxFwdSize", "2.5"},
                      {"mintSenderFilter", "501"},
                      {"mbolFilterText", "0"},
                      {"mintTextToCheck", "102"},
                      {"mintMatchType", "201"},
                      {"mbolUseWinLogon", "1"},
                      {"mcolSenderList_num", "2"},
                      {"mcolSenderList_1", "boss"},
                      {"mcolSenderList_2", "@work.example"},
                      {"mstrFwdToAddress_num", "1"},
                      {"mstrFwdToAddress_1", "a@x.org"},
                      {"mstrTextToMatch_num", "0"},
                      {"mstrUsername", ""},
                      {"mstrPassword", "rst"},
                      {"mlngMaxToForward", "1000"},
                      {"mbolTurnOnFwdOnStartup", "0"},
                      {"mbolFormatForCellPhone", "1"}};

TEST(WriteTofile, WritesEveryKeyInItsOrderThroughOneWriter) {
  PrefBench bench;
  fill(bench.prefs.fields());
  EXPECT_EQ(bench.prefs.WriteTofile(), 1);
  EXPECT_EQ(bench.profiles.sets, kFilled);
  EXPECT_EQ(bench.profiles.writtenFiles, std::vector<std::string>{kCurrentFile});
  EXPECT_EQ(bench.profiles.commits, 1u);
  EXPECT_EQ(bench.prefs.mstrErrDesc, "");
}

TEST(WriteTofile, StopsAtEachKeyThatIsRefusedAndKeepsTheOnesBefore) {
  for (std::size_t refused = 1; refused <= kFilled.size(); ++refused) {
    PrefBench bench;
    fill(bench.prefs.fields());
    bench.profiles.refuseSetNumber = refused;
    EXPECT_EQ(bench.prefs.WriteTofile(), -1);
    EXPECT_EQ(bench.prefs.mstrErrDesc, "Error writing preferences to disk");
    EXPECT_EQ(bench.profiles.sets, Sets(kFilled.data(), kFilled.data() + (refused - 1)));
    EXPECT_EQ(bench.profiles.commits, 1u);
    EXPECT_EQ(bench.profiles.values.size(), refused - 1);
    EXPECT_EQ(bench.log, std::vector<std::string>{"The preferences could not be saved: refused " +
                                                  kFilled[refused - 1].first});
  }
}

TEST(WriteTofile, AFailedCommitIsAFailedSave) {
  PrefBench bench;
  fill(bench.prefs.fields());
  bench.profiles.refuseCommit = true;
  EXPECT_EQ(bench.prefs.WriteTofile(), -1);
  EXPECT_EQ(bench.prefs.mstrErrDesc, "Error writing preferences to disk");
  EXPECT_EQ(bench.log, std::vector<std::string>{"The preferences could not be saved: disk full"});
}

TEST(WriteTofile, ALineBreakInAValueIsAFailedSave) {
  PrefBench bench;
  fill(bench.prefs.fields());
  bench.prefs.fields().mstrFwdToAddress = {"a@x.org", "b@x.org\r\nmbolBcc=1"};
  EXPECT_EQ(bench.prefs.WriteTofile(), -1);
  EXPECT_EQ(bench.profiles.sets.back(),
            (std::pair<std::string, std::string>("mstrFwdToAddress_1", "a@x.org")));
}

TEST(WriteTofile, AListWithoutEntriesHasTheCountZero) {
  for (const StringList& list : {StringList{}, StringList{""}}) {
    PrefBench bench;
    bench.prefs.fields().mcolSenderList = list;
    EXPECT_EQ(bench.prefs.WriteTofile(), 1);
    EXPECT_EQ(bench.profiles["mcolSenderList_num"], "0");
    EXPECT_EQ(bench.profiles.values.count({"default", "mcolSenderList_1"}), 0u);
  }
}

TEST(WriteTofile, AListLongerThanItsCountCanSayIsAFailedSave) {
  PrefBench bench;
  bench.prefs.fields().mcolSenderList.assign(32767, "a");
  EXPECT_EQ(bench.prefs.WriteTofile(), 1);
  bench.prefs.fields().mcolSenderList.emplace_back("b");
  EXPECT_EQ(bench.prefs.WriteTofile(), -1);
  EXPECT_EQ(bench.profiles["mcolSenderList_num"], "32767");
}

TEST(WriteTofile, LeavesTheEntriesOfALongerListWhichReadingPassesOver) {
  PrefBench bench;
  bench.prefs.fields().mstrFwdToAddress = {"a@x.org", "b@x.org"};
  bench.prefs.WriteTofile();
  bench.prefs.fields().mstrFwdToAddress = {"c@x.org"};
  bench.prefs.WriteTofile();
  EXPECT_EQ(bench.profiles["mstrFwdToAddress_2"], "b@x.org");
  bench.prefs.ReadIniPref();
  EXPECT_EQ(bench.prefs.fields().mstrFwdToAddress, StringList{"c@x.org"});
}

TEST(WriteTofile, WritesTheSectionThatItIsGiven) {
  PrefBench bench;
  fill(bench.prefs.fields());
  EXPECT_EQ(bench.prefs.WriteTofile("other"), 1);
  for (const auto& [key, value] : bench.profiles.values) {
    EXPECT_EQ(key.first, "other");
  }
}

TEST(WriteTofile, WhatIsWrittenReadsBack) {
  PrefBench bench;
  fill(bench.prefs.fields());
  bench.prefs.fields().mdblFwdToFrequency = 1.0 / 3;
  bench.prefs.fields().mlngMaxToForward = -2147483647 - 1;
  bench.prefs.fields().mintSenderFilter = -32768;
  bench.prefs.WriteTofile();
  bench.prefs.fields() = PreferenceFields();
  bench.prefs.ReadIniPref();
  const PreferenceFields& fields = bench.prefs.fields();
  EXPECT_EQ(fields.mdblFwdToFrequency, 1.0 / 3);
  EXPECT_EQ(fields.mlngMaxToForward, -2147483647 - 1);
  EXPECT_EQ(fields.mintSenderFilter, -32768);
  EXPECT_EQ(fields.mcolSenderList, (StringList{"boss", "@work.example"}));
  EXPECT_EQ(fields.mstrFwdToAddress, StringList{"a@x.org"});
  EXPECT_EQ(fields.mstrTextToMatch, StringList{""});
  EXPECT_TRUE(fields.mbolFwdUponStart && fields.mbolFormatForCellPhone);
  EXPECT_FALSE(fields.mbolBcc || fields.mbolIncludeAttachments);
}

}  // namespace
}  // namespace relaybird
