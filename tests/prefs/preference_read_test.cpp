// SPDX-License-Identifier: MIT
// Reading the preference file through recorded profile strings. Every key with good, missing, empty
// and bad values, and the order in which they are asked for.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "prefs/pref_bench.h"

namespace relaybird {
namespace {

// The fields of one load as texts, so that a difference names its key.
std::map<std::string, std::string> described(const PreferenceFields& fields) {
  const auto list = [](const StringList& entries) {
    std::string text;
    for (const std::string& entry : entries) {
      text += "<" + entry + ">";
    }
    return text;
  };
  return {{"mdblFwdToFrequency", std::to_string(fields.mdblFwdToFrequency)},
          {"mbolFwdUponStart", std::to_string(fields.mbolFwdUponStart)},
          {"mbolBcc", std::to_string(fields.mbolBcc)},
          {"mbolIgnoreExistingUnread", std::to_string(fields.mbolIgnoreExistingUnread)},
          {"mbolIncludeAttachments", std::to_string(fields.mbolIncludeAttachments)},
          {"mbolMaxFwdSize", std::to_string(fields.mbolMaxFwdSize)},
          {"mdblMaxFwdSize", std::to_string(fields.mdblMaxFwdSize)},
          {"mlngMaxToForward", std::to_string(fields.mlngMaxToForward)},
          {"mintSenderFilter", std::to_string(fields.mintSenderFilter)},
          {"mbolFilterText", std::to_string(fields.mbolFilterText)},
          {"mintTextToCheck", std::to_string(fields.mintTextToCheck)},
          {"mintMatchType", std::to_string(fields.mintMatchType)},
          {"mbolUseWinLogon", std::to_string(fields.mbolUseWinLogon)},
          {"mstrUsername", fields.mstrUsername},
          {"mstrPassword", fields.mstrPassword},
          {"mbolTurnOnFwdOnStartup", std::to_string(fields.mbolTurnOnFwdOnStartup)},
          {"mbolFormatForCellPhone", std::to_string(fields.mbolFormatForCellPhone)},
          {"mcolSenderList", list(fields.mcolSenderList)},
          {"mstrFwdToAddress", list(fields.mstrFwdToAddress)},
          {"mstrTextToMatch", list(fields.mstrTextToMatch)}};
}

std::map<std::string, std::string> defaults() {
  return {{"mdblFwdToFrequency", "15.000000"},
          {"mbolFwdUponStart", "0"},
          {"mbolBcc", "0"},
          {"mbolIgnoreExistingUnread", "0"},
          {"mbolIncludeAttachments", "1"},
          {"mbolMaxFwdSize", "0"},
          {"mdblMaxFwdSize", "1.000000"},
          {"mlngMaxToForward", "1000"},
          {"mintSenderFilter", "500"},
          {"mbolFilterText", "0"},
          {"mintTextToCheck", "100"},
          {"mintMatchType", "200"},
          {"mbolUseWinLogon", "1"},
          {"mstrUsername", ""},
          {"mstrPassword", ""},
          {"mbolTurnOnFwdOnStartup", "0"},
          {"mbolFormatForCellPhone", "0"},
          {"mcolSenderList", "<>"},
          {"mstrFwdToAddress", "<>"},
          {"mstrTextToMatch", "<>"}};
}

TEST(ReadIniPref, AFileWithoutKeysGivesTheDefaults) {
  PrefBench bench;
  EXPECT_EQ(bench.prefs.ReadIniPref(), 1);
  EXPECT_EQ(described(bench.prefs.fields()), defaults());
  EXPECT_TRUE(bench.verbose.empty());
}

TEST(ReadIniPref, EveryEmptyValueStandsForItsOwnDefault) {
  PrefBench bench;
  for (const PreferenceField& field : kPreferenceFields) {
    bench.profiles[std::string(field.name)] = "";
  }
  for (const char* count : {"mcolSenderList_num", "mstrFwdToAddress_num", "mstrTextToMatch_num"}) {
    bench.profiles[count] = "";
  }
  bench.prefs.ReadIniPref();
  std::map<std::string, std::string> expected = defaults();
  expected["mbolBcc"] = "1";
  expected["mbolMaxFwdSize"] = "1";
  expected["mintMatchType"] = "201";
  EXPECT_EQ(described(bench.prefs.fields()), expected);
}

TEST(ReadIniPref, TakesEveryValueOfTheFile) {
  PrefBench bench;
  const std::map<std::string, std::string> values = {{"mdblFwdToFrequency", "2.5"},
                                                     {"mbolFwdUponStart", "1"},
                                                     {"mbolBcc", "True"},
                                                     {"mbolIgnoreExistingUnread", "TRUE"},
                                                     {"mbolIncludeAttachments", "0"},
                                                     {"mbolMaxFwdSize", "1"},
                                                     {"mdblMaxFwdSize", "0.25"},
                                                     {"mlngMaxToForward", "70000"},
                                                     {"mintSenderFilter", "502"},
                                                     {"mbolFilterText", "true"},
                                                     {"mintTextToCheck", "102"},
                                                     {"mintMatchType", "201"},
                                                     {"mbolTurnOnFwdOnStartup", "1"},
                                                     {"mbolFormatForCellPhone", "1"},
                                                     {"mcolSenderList_num", "1"},
                                                     {"mcolSenderList_1", "boss"},
                                                     {"mstrFwdToAddress_num", "2"},
                                                     {"mstrFwdToAddress_1", "a@x.org"},
                                                     {"mstrFwdToAddress_2", "b@x.org"},
                                                     {"mstrTextToMatch_num", "1"},
                                                     {"mstrTextToMatch_1", "urgent"}};
  for (const auto& [key, value] : values) {
    bench.profiles[key] = value;
  }
  bench.prefs.ReadIniPref();
  const std::map<std::string, std::string> expected = {{"mdblFwdToFrequency", "2.500000"},
                                                       {"mbolFwdUponStart", "1"},
                                                       {"mbolBcc", "1"},
                                                       {"mbolIgnoreExistingUnread", "1"},
                                                       {"mbolIncludeAttachments", "0"},
                                                       {"mbolMaxFwdSize", "1"},
                                                       {"mdblMaxFwdSize", "0.250000"},
                                                       {"mlngMaxToForward", "70000"},
                                                       {"mintSenderFilter", "502"},
                                                       {"mbolFilterText", "1"},
                                                       {"mintTextToCheck", "102"},
                                                       {"mintMatchType", "201"},
                                                       {"mbolUseWinLogon", "1"},
                                                       {"mstrUsername", ""},
                                                       {"mstrPassword", ""},
                                                       {"mbolTurnOnFwdOnStartup", "1"},
                                                       {"mbolFormatForCellPhone", "1"},
                                                       {"mcolSenderList", "<boss>"},
                                                       {"mstrFwdToAddress", "<a@x.org><b@x.org>"},
                                                       {"mstrTextToMatch", "<urgent>"}};
  EXPECT_EQ(described(bench.prefs.fields()), expected);
}

TEST(ReadIniPref, AccessorsAnswerFromTheFields) {
  PrefBench bench;
  bench.prefs.ReadIniPref();
  EXPECT_EQ(bench.prefs.GetMinLeft(), 15.0);
  EXPECT_EQ(bench.prefs.GetFwdSizeLimit(), 1.0);
  EXPECT_EQ(bench.prefs.GetMaxNumToForward(), 1000);
  EXPECT_TRUE(bench.prefs.IncludeAttachments());
  const auto yesOrNo = [&] {
    const clsPref& p = bench.prefs;
    return std::vector<bool>{
        p.bolFwdOnActivateForwarding(), p.bolBccForward(), p.bolIgnoreExistingMsg(),
        p.IncludeAttachments(),         p.LimitFwdSize(),  p.bolTurnOnFwdOnStartup(),
        p.bolFormatForCellPhone()};
  };
  bool PreferenceFields::*members[] = {
      &PreferenceFields::mbolFwdUponStart,         &PreferenceFields::mbolBcc,
      &PreferenceFields::mbolIgnoreExistingUnread, &PreferenceFields::mbolIncludeAttachments,
      &PreferenceFields::mbolMaxFwdSize,           &PreferenceFields::mbolTurnOnFwdOnStartup,
      &PreferenceFields::mbolFormatForCellPhone};
  for (auto member : members) {
    bench.prefs.fields().*member = false;
  }
  for (std::size_t i = 0; i < std::size(members); ++i) {
    bench.prefs.fields().*members[i] = true;
    std::vector<bool> expected(std::size(members));
    expected[i] = true;
    EXPECT_EQ(yesOrNo(), expected) << i;
    bench.prefs.fields().*members[i] = false;
  }
}

TEST(ReadIniPref, NeverTakesCredentialsThoughItReadsTheirKeys) {
  PrefBench bench;
  bench.profiles["mbolUseWinLogon"] = "0";
  bench.profiles["mstrUsername"] = "ann";
  bench.profiles["mstrPassword"] = "rst";
  bench.prefs.ReadIniPref();
  EXPECT_TRUE(bench.prefs.fields().mbolUseWinLogon);
  EXPECT_EQ(bench.prefs.fields().mstrUsername, "");
  EXPECT_EQ(bench.prefs.fields().mstrPassword, "");
  for (const char* key : {"mbolUseWinLogon", "mstrUsername", "mstrPassword"}) {
    const auto& keys = bench.profiles.keysRead;
    EXPECT_EQ(std::count(keys.begin(), keys.end(), key), 1) << key;
  }
}

TEST(ReadIniPref, ReadsEveryKeyOnceThroughOneReaderInTheOrderOfReading) {
  PrefBench bench;
  bench.profiles["mstrFwdToAddress_num"] = "2";
  bench.prefs.ReadIniPref();
  EXPECT_EQ(bench.profiles.readFiles, std::vector<std::string>{kCurrentFile});
  EXPECT_EQ(bench.profiles.keysRead, (std::vector<std::string>{"strHelpFileLocation",
                                                               "mdblFwdToFrequency",
                                                               "mbolFwdUponStart",
                                                               "mbolBcc",
                                                               "mbolIgnoreExistingUnread",
                                                               "mbolIncludeAttachments",
                                                               "mbolMaxFwdSize",
                                                               "mdblMaxFwdSize",
                                                               "mlngMaxToForward",
                                                               "mintSenderFilter",
                                                               "mbolFilterText",
                                                               "mintTextToCheck",
                                                               "mintMatchType",
                                                               "mbolUseWinLogon",
                                                               "mstrUsername",
                                                               "mstrPassword",
                                                               "mbolTurnOnFwdOnStartup",
                                                               "mbolFormatForCellPhone",
                                                               "mcolSenderList_num",
                                                               "mstrFwdToAddress_num",
                                                               "mstrFwdToAddress_1",
                                                               "mstrFwdToAddress_2",
                                                               "mstrTextToMatch_num"}));
}

TEST(ReadIniPref, BooleansThatAreNeitherOneNorTrueAreFalse) {
  PrefBench bench;
  bench.profiles["mbolBcc"] = "-1";
  bench.profiles["mbolIncludeAttachments"] = "yes";
  bench.prefs.ReadIniPref();
  EXPECT_FALSE(bench.prefs.bolBccForward());
  EXPECT_FALSE(bench.prefs.IncludeAttachments());
}

TEST(ReadIniPref, ANumberThatDoesNotFitIsZeroAndIsNamedInTheVerboseLog) {
  PrefBench bench;
  bench.profiles["mintSenderFilter"] = "40000";
  bench.profiles["mlngMaxToForward"] = "2147483648";
  bench.profiles["mintMatchType"] = "-1e300";
  bench.prefs.ReadIniPref();
  EXPECT_EQ(bench.prefs.fields().mintSenderFilter, 0);
  EXPECT_EQ(bench.prefs.GetMaxNumToForward(), 0);
  EXPECT_EQ(bench.prefs.fields().mintMatchType, 0);
  EXPECT_EQ(bench.verbose, (std::vector<std::string>{
                               "ReadIniPref-->mlngMaxToForward is out of range and read as 0",
                               "ReadIniPref-->mintSenderFilter is out of range and read as 0",
                               "ReadIniPref-->mintMatchType is out of range and read as 0"}));
}

TEST(ReadIniPref, DecimalNumbersAreReadUpToWhatIsNoNumber) {
  for (const auto& [text, value] : std::map<std::string, double>{{"15.0", 15},
                                                                 {"2.5 minutes", 2.5},
                                                                 {"-3", -3},
                                                                 {".5", 0.5},
                                                                 {"1,5", 1},
                                                                 {"1e3", 1000},
                                                                 {"nan", 0},
                                                                 {"inf", 0},
                                                                 {"-", 0},
                                                                 {"1e400", 0}}) {
    PrefBench bench;
    bench.profiles["mdblFwdToFrequency"] = text;
    bench.prefs.ReadIniPref();
    EXPECT_EQ(bench.prefs.GetMinLeft(), value) << text;
  }
}

TEST(ReadIniPref, WordsForNumbersAreZeroWithoutAMessage) {
  PrefBench bench;
  bench.profiles["mdblFwdToFrequency"] = "often";
  bench.profiles["mlngMaxToForward"] = "all";
  bench.prefs.ReadIniPref();
  EXPECT_EQ(bench.prefs.GetMinLeft(), 0);
  EXPECT_EQ(bench.prefs.GetMaxNumToForward(), 0);
  EXPECT_TRUE(bench.verbose.empty());
}

TEST(ReadIniPref, AnEmptyEntryDropsOutOfItsList) {
  PrefBench bench;
  bench.profiles["mstrTextToMatch_num"] = "3";
  bench.profiles["mstrTextToMatch_1"] = "one";
  bench.profiles["mstrTextToMatch_2"] = "";
  bench.profiles["mstrTextToMatch_3"] = "three";
  bench.prefs.ReadIniPref();
  EXPECT_EQ(bench.prefs.fields().mstrTextToMatch, (StringList{"one", "three"}));
}

TEST(ReadIniPref, AListOfEmptyEntriesIsOneEmptyEntry) {
  PrefBench bench;
  bench.profiles["mcolSenderList_num"] = "2";
  bench.profiles["mcolSenderList_1"] = "";
  bench.profiles["mcolSenderList_2"] = "";
  bench.prefs.ReadIniPref();
  EXPECT_EQ(bench.prefs.fields().mcolSenderList, StringList{""});
}

TEST(ReadIniPref, AMissingEntryReadsAsZero) {
  PrefBench bench;
  bench.profiles["mstrFwdToAddress_num"] = "2";
  bench.profiles["mstrFwdToAddress_1"] = "a@x.org";
  bench.prefs.ReadIniPref();
  EXPECT_EQ(bench.prefs.fields().mstrFwdToAddress, (StringList{"a@x.org", "0"}));
}

TEST(ReadIniPref, CountsAreWholeNumbersOfSixteenBits) {
  const std::map<std::string, StringList> cases = {
      {"0", {""}},   {"-5", {""}},       {"x", {""}},     {"2.5", {"a", "b"}},  {"1.5", {"a", "b"}},
      {"0.5", {""}}, {"1 entry", {"a"}}, {"40000", {""}}, {"99999999999", {""}}};
  for (const auto& [count, expected] : cases) {
    PrefBench bench;
    bench.profiles["mcolSenderList_num"] = count;
    bench.profiles["mcolSenderList_1"] = "a";
    bench.profiles["mcolSenderList_2"] = "b";
    bench.profiles["mcolSenderList_3"] = "c";
    bench.prefs.ReadIniPref();
    EXPECT_EQ(bench.prefs.fields().mcolSenderList, expected) << count;
  }
}

TEST(ReadIniPref, ACountThatDoesNotFitIsNamedInTheVerboseLog) {
  PrefBench bench;
  bench.profiles["mstrFwdToAddress_num"] = "32768";
  bench.prefs.ReadIniPref();
  EXPECT_EQ(bench.verbose, std::vector<std::string>{
                               "ReadIniPref-->mstrFwdToAddress_num is out of range and read as 0"});
}

TEST(ReadIniPref, CutsValuesAt254CharactersNotBytes) {
  const auto repeated = [](std::string_view character, int count) {
    std::string text;
    while (count-- > 0) {
      text += character;
    }
    return text;
  };
  for (const std::string_view character : {"a", "\xC3\xA4", "\xE6\x97\xA5", "\xF0\x9F\x98\x80"}) {
    PrefBench bench;
    bench.profiles["mcolSenderList_num"] = "3";
    bench.profiles["mcolSenderList_1"] = repeated(character, 300);
    bench.profiles["mcolSenderList_2"] = repeated(character, 254);
    bench.profiles["mcolSenderList_3"] = "a" + repeated(character, 254);
    bench.prefs.ReadIniPref();
    EXPECT_EQ(bench.prefs.fields().mcolSenderList,
              (StringList{repeated(character, 254), repeated(character, 254),
                          "a" + repeated(character, 253)}));
  }
}

TEST(ReadIniPref, AValueJustBelowItsCutStaysWhole) {
  for (const std::string end : {"a", "\xC3\xA4", "\xC3"}) {
    PrefBench bench;
    const std::string text = std::string(252, 'a') + end;
    bench.profiles["mcolSenderList_num"] = "2";
    bench.profiles["mcolSenderList_1"] = text;
    bench.profiles["mcolSenderList_2"] = "a" + text;
    bench.prefs.ReadIniPref();
    EXPECT_EQ(bench.prefs.fields().mcolSenderList, (StringList{text, "a" + text}));
  }
}

TEST(ReadIniPref, ReadsTheSectionThatItIsGiven) {
  PrefBench bench;
  bench.profiles["mintSenderFilter"] = "501";
  bench.profiles.values[{"other", "mintSenderFilter"}] = "502";
  bench.prefs.ReadIniPref("other");
  EXPECT_EQ(bench.prefs.fields().mintSenderFilter, 502);
}

TEST(ReadIniPref, DropsWhatEarlierLoadsAndEditsLeft) {
  PrefBench bench;
  bench.prefs.fields().mstrFwdToAddress = {"old@x.org", "older@x.org"};
  bench.prefs.fields().mbolFilterText = true;
  bench.prefs.ReadIniPref();
  EXPECT_EQ(described(bench.prefs.fields()), defaults());
}

TEST(HelpFile, IsTakenFromTheDefaultSectionWhateverSectionIsRead) {
  PrefBench bench;
  bench.files.addFile("/opt/rbx.chm", "help");
  bench.profiles["strHelpFileLocation"] = " /opt/rbx.chm; ";
  bench.profiles.values[{"other", "strHelpFileLocation"}] = "/opt/other.chm";
  bench.prefs.ReadIniPref("other");
  EXPECT_EQ(bench.helpFiles, std::vector<std::string>{"/opt/rbx.chm"});
}

TEST(HelpFile, MayEndInChmOfAnyCase) {
  PrefBench bench;
  bench.files.addFile("/opt/RBX.cHm", "help");
  bench.profiles["strHelpFileLocation"] = "/opt/RBX.cHm";
  bench.prefs.ReadIniPref();
  EXPECT_EQ(bench.helpFiles, std::vector<std::string>{"/opt/RBX.cHm"});
}

TEST(HelpFile, MayBeALinkToAFile) {
  PrefBench bench;
  bench.files.addFile("/opt/manual.chm", "help");
  bench.files.addLink("/opt/link.chm", "/opt/manual.chm");
  bench.profiles["strHelpFileLocation"] = "/opt/link.chm";
  bench.prefs.ReadIniPref();
  EXPECT_EQ(bench.helpFiles, std::vector<std::string>{"/opt/link.chm"});
}

TEST(HelpFile, IsNotALinkThatLeadsNowhereOrToAFolder) {
  PrefBench bench;
  bench.files.addFolder("/opt/folder");
  bench.files.addLink("/opt/dangling.chm", "/opt/missing.chm");
  bench.files.addLink("/opt/folder.chm", "/opt/folder");
  for (const char* path : {"/opt/dangling.chm", "/opt/folder.chm"}) {
    bench.profiles["strHelpFileLocation"] = path;
    bench.prefs.ReadIniPref();
    EXPECT_TRUE(bench.helpFiles.empty()) << path;
  }
}

TEST(HelpFile, StaysAsItIsWhenTheNamedOneIsNone) {
  PrefBench bench;
  bench.files.addFile("/opt/rbx.txt", "help");
  bench.files.addFolder("/opt/folder.chm");
  for (const char* path : {"", "hm", "/opt/rbx.txt", "/opt/missing.chm", "/opt/folder.chm"}) {
    bench.profiles["strHelpFileLocation"] = path;
    bench.prefs.ReadIniPref();
    EXPECT_TRUE(bench.helpFiles.empty()) << path;
  }
}

}  // namespace
}  // namespace relaybird
