// SPDX-License-Identifier: MIT
// The preference file as bytes on a disk: what is written, and how bad files are read. The disk is
// in memory and can fail.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/profile/profile_file.h"
#include "prefs/pref_bench.h"

namespace relaybird {
namespace {

struct DiskBench {
  DiskBench() {
    for (const char* path : {"/home", "/home/ann", "/home/ann/.config", "/home/ann/.config/rbx"}) {
      files.addFolder(path);
    }
  }
  void load(const std::string& bytes) {
    files.addFile(kCurrentFile, bytes);
    EXPECT_EQ(prefs.ReadIniPref(), 1);
  }
  const PreferenceFields& fields() const { return prefs.fields(); }

  FakeFiles files;
  ProfileFile profiles{files};
  HomeFolders folders;
  FakeOsVersion osVersion;
  NoObjects noObjects;
  std::vector<std::string> verbose;
  std::vector<std::string> log;
  clsPref prefs{
      PrefWorld{.files = files,
                .profiles = profiles,
                .folders = folders,
                .osVersion = osVersion,
                .objects = noObjects,
                .logVerbose = [this](const std::string& line) { verbose.push_back(line); },
                .log = [this](const std::string& words) { log.push_back(words); }}};
};

void expectDefaults(const PreferenceFields& fields) {
  EXPECT_EQ(fields.mdblFwdToFrequency, 15);
  EXPECT_TRUE(fields.mbolIncludeAttachments);
  EXPECT_FALSE(fields.mbolBcc || fields.mbolMaxFwdSize || fields.mbolFilterText);
  EXPECT_EQ(fields.mlngMaxToForward, 1000);
  EXPECT_EQ(fields.mintSenderFilter, 500);
  EXPECT_EQ(fields.mstrFwdToAddress, StringList{""});
}

TEST(PreferenceDisk, EmptyValuesTurnBlindCopiesAndAnyMatchOn) {
  DiskBench bench;
  bench.load("[default]\r\nmbolBcc=\r\nmintMatchType=\r\n");
  EXPECT_TRUE(bench.fields().mbolBcc);
  EXPECT_EQ(bench.fields().mintMatchType, kMatchAny);
}

TEST(PreferenceDisk, AListLosesItsEmptyEntryAndGainsZeroForAMissingOne) {
  DiskBench bench;
  bench.load(
      "[default]\nmstrTextToMatch_num=3\nmstrTextToMatch_1=one\nmstrTextToMatch_2=\n"
      "mstrTextToMatch_3=three\nmstrFwdToAddress_num=2\nmstrFwdToAddress_1=a@x.org\n");
  EXPECT_EQ(bench.fields().mstrTextToMatch, (StringList{"one", "three"}));
  EXPECT_EQ(bench.fields().mstrFwdToAddress, (StringList{"a@x.org", "0"}));
}

TEST(PreferenceDisk, BadFilesGiveTheDefaults) {
  std::string noise;
  for (int i = 0; i < 5000; ++i) {
    noise += static_cast<char>(i * i * 7 + i / 3);
  }
  for (const std::string& bytes :
       {std::string(), std::string("\0\0\0", 3), noise, std::string("[default"),
        std::string("mbolBcc=1"), std::string("[other]\nmbolBcc=1\n"), std::string(70000, '[')}) {
    DiskBench bench;
    bench.load(bytes);
    expectDefaults(bench.fields());
  }
}

TEST(PreferenceDisk, AMissingFileGivesTheDefaults) {
  DiskBench bench;
  EXPECT_EQ(bench.prefs.ReadIniPref(), 1);
  expectDefaults(bench.fields());
}

TEST(PreferenceDisk, AFolderInTheFilesPlaceGivesTheDefaultsAndRefusesASave) {
  DiskBench bench;
  bench.files.addFolder(kCurrentFile);
  EXPECT_EQ(bench.prefs.ReadIniPref(), 1);
  expectDefaults(bench.fields());
  EXPECT_EQ(bench.prefs.WriteTofile(), -1);
  EXPECT_EQ(bench.prefs.mstrErrDesc, "Error writing preferences to disk");
  EXPECT_FALSE(bench.log.empty());
}

TEST(PreferenceDisk, TheGreatestCountReadsThatManyMissingEntries) {
  DiskBench bench;
  bench.load("[default]\nmstrFwdToAddress_num=32767\n");
  EXPECT_EQ(bench.fields().mstrFwdToAddress, StringList(32767, "0"));
}

TEST(PreferenceDisk, CountsThatAreNoneGiveAnEmptyList) {
  for (const char* count : {"-1", "32768", "999999999999999999999", "many", "", "0.5", "1e99"}) {
    DiskBench bench;
    bench.load("[default]\nmcolSenderList_num=" + std::string(count) + "\nmcolSenderList_1=a\n");
    EXPECT_EQ(bench.fields().mcolSenderList, StringList{""}) << count;
  }
}

TEST(PreferenceDisk, AFractionalCountIsRoundedToEven) {
  DiskBench bench;
  bench.load("[default]\nmcolSenderList_num=1.5\nmcolSenderList_1=a\nmcolSenderList_2=b\n");
  EXPECT_EQ(bench.fields().mcolSenderList, (StringList{"a", "b"}));
}

TEST(PreferenceDisk, ASavedFileIsPrivateAndReadsBack) {
  DiskBench bench;
  bench.prefs.ReadIniPref();
  bench.prefs.fields().mstrFwdToAddress = {"a@x.org", "b@x.org"};
  bench.prefs.fields().mdblFwdToFrequency = 2.5;
  ASSERT_EQ(bench.prefs.WriteTofile(), 1);
  EXPECT_TRUE(bench.files.entries[kCurrentFile].ownerOnly);
  EXPECT_NE(bench.files.bytes(kCurrentFile).find("mstrFwdToAddress_2=b@x.org"), std::string::npos);
  bench.prefs.fields() = PreferenceFields();
  bench.prefs.ReadIniPref();
  EXPECT_EQ(bench.fields().mstrFwdToAddress, (StringList{"a@x.org", "b@x.org"}));
  EXPECT_EQ(bench.fields().mdblFwdToFrequency, 2.5);
}

TEST(PreferenceDisk, ASaveLeavesOtherSectionsAlone) {
  DiskBench bench;
  bench.load("[mail]\nstore=maildir\n[default]\nmbolBcc=0\n; a note\n");
  bench.prefs.fields().mbolBcc = true;
  ASSERT_EQ(bench.prefs.WriteTofile(), 1);
  const std::string bytes = bench.files.bytes(kCurrentFile);
  EXPECT_NE(bytes.find("[mail]\nstore=maildir\n"), std::string::npos);
  EXPECT_NE(bytes.find("; a note\n"), std::string::npos);
  EXPECT_NE(bytes.find("mbolBcc=1"), std::string::npos);
}

TEST(PreferenceDisk, ALineBreakTypedIntoAValueAddsNoKey) {
  DiskBench bench;
  bench.prefs.ReadIniPref();
  bench.prefs.fields().mintSenderFilter = 502;
  bench.prefs.fields().mcolSenderList = {"x\r\nmbolBcc=1"};
  EXPECT_EQ(bench.prefs.WriteTofile(), -1);
  bench.prefs.ReadIniPref();
  EXPECT_FALSE(bench.fields().mbolBcc);
  EXPECT_EQ(bench.fields().mintSenderFilter, 502);  // set before the refused value
}

TEST(PreferenceDisk, AFullDiskLeavesTheOldFileWhole) {
  DiskBench bench;
  bench.load("[default]\nmbolBcc=1\n");
  bench.prefs.fields().mbolBcc = false;
  bench.files.failCallsWith("write ", ENOSPC);
  EXPECT_EQ(bench.prefs.WriteTofile(), -1);
  EXPECT_EQ(bench.files.bytes(kCurrentFile), "[default]\nmbolBcc=1\n");
}

}  // namespace
}  // namespace relaybird
