// SPDX-License-Identifier: MIT
// Where the preference file is, and how an older release's file is moved there. On a disk in
// memory, on which every step can fail: whatever fails, the settings in use are complete.
#include "prefs/preference_location.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "prefs/pref_bench.h"

namespace relaybird {
namespace {

OsVersionInfo windows95Family(std::uint32_t minorVersion) {
  OsVersionInfo info;
  info.majorVersion = 4;
  info.minorVersion = minorVersion;
  info.platformId = kPlatformWindows95Family;
  return info;
}

class PreferenceLocation : public testing::Test {
 protected:
  PreferenceLocation() { bench.folders.windows = "/windows"; }
  void addCurrent() {
    bench.files.addFolder("/home/ann/.config/rbx");
    bench.files.addFile(kCurrentFile, "current");
  }
  PrefBench bench;
};

TEST_F(PreferenceLocation, FormerFileLiesInTheTemplatesFolder) {
  EXPECT_EQ(bench.prefs.GetOldPrefIniFname(), kFormerFile);
}

TEST_F(PreferenceLocation, FormerFileLiesInTheWindowsFolderOnTheOldestSystems) {
  for (const std::uint32_t minorVersion : {0u, 10u, 90u}) {
    bench.osVersion.info = windows95Family(minorVersion);
    EXPECT_EQ(bench.prefs.GetOldPrefIniFname(), "/windows/rbx.ini") << minorVersion;
  }
  bench.osVersion.info.reset();
  bench.osVersion.version = 0x0A03;  // 3.10
  EXPECT_EQ(bench.prefs.GetOldPrefIniFname(), "/windows/rbx.ini");
}

TEST_F(PreferenceLocation, FormerFileLiesInTheWindowsFolderWhereThereAreNoTemplates) {
  bench.folders.templates.clear();
  EXPECT_EQ(bench.prefs.GetOldPrefIniFname(), "/windows/rbx.ini");
}

TEST_F(PreferenceLocation, ASeparatorIsAddedOnlyWhereItIsMissing) {
  bench.folders.templates = "/";
  EXPECT_EQ(bench.prefs.GetOldPrefIniFname(), "/rbx.ini");
}

TEST_F(PreferenceLocation, WithNoFileAnywhereOnlyTheFolderIsMade) {
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), kCurrentFile);
  EXPECT_EQ(bench.files.changes, std::vector<std::string>{"createFolder /home/ann/.config/rbx"});
  EXPECT_TRUE(bench.files.entries["/home/ann/.config/rbx"].ownerOnly);
}

TEST_F(PreferenceLocation, MakesEveryMissingFolder) {
  bench.folders.appData = "/home/ann/a/b";
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), "/home/ann/a/b/rbx/rbx_prefs.ini");
  EXPECT_TRUE(bench.files.has("/home/ann/a/b/rbx"));
  EXPECT_FALSE(bench.files.has("/home/ann/a/b/rbx/rbx_prefs.ini"));
}

TEST_F(PreferenceLocation, AFormerFileIsMovedIntoPlace) {
  bench.files.addFile(kFormerFile, "former");
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), kCurrentFile);
  EXPECT_EQ(bench.files.bytes(kCurrentFile), "former");
  EXPECT_FALSE(bench.files.has(kFormerFile));
}

TEST_F(PreferenceLocation, AFormerFileWinsOverTheCurrentOne) {
  addCurrent();
  bench.files.addFile(kFormerFile, "former");
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), kCurrentFile);
  EXPECT_EQ(bench.files.bytes(kCurrentFile), "former");
  EXPECT_FALSE(bench.files.has(kFormerFile));
}

TEST_F(PreferenceLocation, ACurrentFileAloneIsLeftAlone) {
  addCurrent();
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), kCurrentFile);
  EXPECT_EQ(bench.files.bytes(kCurrentFile), "current");
  EXPECT_TRUE(bench.files.changes.empty());
}

TEST_F(PreferenceLocation, AMovedFileIsItsOwnersAlone) {
  bench.files.addFile(kFormerFile, "former");
  bench.prefs.GetPrefIniFname();
  EXPECT_TRUE(bench.files.entries[kCurrentFile].ownerOnly);
  bench.files.otherFileSystem = "/home/ann/Templates";
  bench.files.addFile(kFormerFile, "former again");
  bench.prefs.GetPrefIniFname();
  EXPECT_EQ(bench.files.bytes(kCurrentFile), "former again");
  EXPECT_TRUE(bench.files.entries[kCurrentFile].ownerOnly);
}

TEST_F(PreferenceLocation, WhereTheFolderCannotBeMadeTheFormerPathIsUsed) {
  bench.files.addFile(kFormerFile, "former");
  bench.files.failCallsWith("createFolder", EACCES);
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), kFormerFile);
  EXPECT_EQ(bench.files.bytes(kFormerFile), "former");
}

TEST_F(PreferenceLocation, WithoutAnApplicationDataFolderTheFormerPathIsUsed) {
  bench.folders.appData.clear();
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), kFormerFile);
  EXPECT_TRUE(bench.files.changes.empty());
}

TEST_F(PreferenceLocation, WithoutAnyFolderThereIsNoPath) {
  bench.folders.appData.clear();
  bench.folders.templates.clear();
  bench.folders.windows.clear();
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), "");
  EXPECT_TRUE(bench.files.changes.empty());
}

TEST_F(PreferenceLocation, ARefusedMoveLosesNothing) {
  addCurrent();
  bench.files.addFile(kFormerFile, "former");
  bench.files.failCallsWith("rename /home/ann/Templates", EACCES);
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), kFormerFile);
  EXPECT_EQ(bench.files.bytes(kFormerFile), "former");
  EXPECT_EQ(bench.files.bytes(kCurrentFile), "current");
}

TEST_F(PreferenceLocation, AFolderInTheCurrentFilesPlaceLosesNothing) {
  bench.files.addFolder("/home/ann/.config/rbx");
  bench.files.addFolder(kCurrentFile);
  bench.files.addFile(kFormerFile, "former");
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), kFormerFile);
  EXPECT_EQ(bench.files.bytes(kFormerFile), "former");
}

TEST_F(PreferenceLocation, AFolderOfTheFormerNameIsNoFormerFile) {
  addCurrent();
  bench.files.addFolder(kFormerFile);
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), kCurrentFile);
  EXPECT_EQ(bench.files.bytes(kCurrentFile), "current");
}

TEST_F(PreferenceLocation, TheHelpProgramsMemoryIsNoFormerFile) {
  bench.folders.templates.clear();
  bench.files.addFolder("/windows");
  bench.files.addFile("/windows/rbx.ini", "memory");
  bench.profiles["strHelpFileLocation"] = "/opt/rbx.chm";
  addCurrent();
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), kCurrentFile);
  EXPECT_EQ(bench.files.bytes(kCurrentFile), "current");
  EXPECT_EQ(bench.files.bytes("/windows/rbx.ini"), "memory");
}

// The help program keeps a file of that name in the Windows folder only.
TEST_F(PreferenceLocation, AFormerFileWithTheHelpKeyAloneIsMovedLikeAnyOther) {
  addCurrent();
  bench.files.addFile(kFormerFile, "former");
  bench.profiles["strHelpFileLocation"] = "/opt/rbx.chm";
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), kCurrentFile);
  EXPECT_EQ(bench.files.bytes(kCurrentFile), "former");
  EXPECT_FALSE(bench.files.has(kFormerFile));
}

TEST_F(PreferenceLocation, AFormerFileThatIsALinkIsMovedToo) {
  for (const bool replaces : {false, true}) {
    PrefBench other;
    if (replaces) {
      other.files.addFolder("/home/ann/.config/rbx");
      other.files.addFile(kCurrentFile, "current");
    }
    other.files.addFile("/home/ann/dotfiles", "former");
    other.files.addLink(kFormerFile, "/home/ann/dotfiles");
    EXPECT_EQ(other.prefs.GetPrefIniFname(), kCurrentFile);
    EXPECT_EQ(other.files.bytes(kCurrentFile), "former");
    EXPECT_TRUE(other.files.entries[kCurrentFile].ownerOnly);
    EXPECT_FALSE(other.files.has(kFormerFile));
    EXPECT_EQ(other.files.bytes("/home/ann/dotfiles"), "former");
  }
}

TEST_F(PreferenceLocation, ALinkToTheCurrentFileGoesAndTheFileStays) {
  addCurrent();
  bench.files.addLink(kFormerFile, kCurrentFile);
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), kCurrentFile);
  EXPECT_EQ(bench.files.bytes(kCurrentFile), "current");
  EXPECT_FALSE(bench.files.has(kFormerFile));
}

TEST_F(PreferenceLocation, ALinkToNothingOrToAFolderIsNoFormerFile) {
  addCurrent();
  for (const char* nowhere : {"/home/ann/gone", "/home/ann"}) {
    bench.files.addLink(kFormerFile, nowhere);
    EXPECT_EQ(bench.prefs.GetPrefIniFname(), kCurrentFile);
    EXPECT_EQ(bench.files.bytes(kCurrentFile), "current");
    EXPECT_TRUE(bench.files.has(kFormerFile));
  }
}

TEST_F(PreferenceLocation, ALinkThatCannotBeRemovedStaysInUseAndTheCurrentFileComesBack) {
  addCurrent();
  bench.files.addFile("/home/ann/dotfiles", "former");
  bench.files.addLink(kFormerFile, "/home/ann/dotfiles");
  bench.files.failCallsWith(std::string("remove ") + kFormerFile, EROFS);
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), kFormerFile);
  EXPECT_EQ(bench.files.bytes(kCurrentFile), "current");
}

TEST_F(PreferenceLocation, AReadOnlyCurrentFileIsNotReplacedByAFormerOneAndTheLogSaysSoOnce) {
  addCurrent();
  bench.files.entries[kCurrentFile].readOnly = true;
  bench.files.addFile(kFormerFile, "former");
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), kFormerFile);
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), kFormerFile);
  EXPECT_EQ(bench.files.bytes(kCurrentFile), "current");
  EXPECT_EQ(bench.files.bytes(kFormerFile), "former");
  EXPECT_EQ(bench.log,
            std::vector<std::string>{std::string("The preferences are kept in ") + kFormerFile +
                                     ", because " + kCurrentFile + " cannot take their place"});
}

TEST_F(PreferenceLocation, AReadOnlyFormerFileIsMovedAsItIs) {
  bench.files.addFile(kFormerFile, "former");
  bench.files.entries[kFormerFile].readOnly = true;
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), kCurrentFile);
  EXPECT_TRUE(bench.files.entries[kCurrentFile].readOnly);
  EXPECT_EQ(bench.files.bytes(kCurrentFile), "former");
}

TEST_F(PreferenceLocation, SettingsInTheWindowsFolderAreAFormerFile) {
  for (const char* key : std::vector<const char*>{"mbolBcc", "mstrFwdToAddress_num", nullptr}) {
    PrefBench other;
    other.folders.templates.clear();
    other.folders.windows = "/windows";
    other.files.addFolder("/windows");
    other.files.addFile("/windows/rbx.ini", "former");
    if (key != nullptr) {
      other.profiles["strHelpFileLocation"] = "/opt/rbx.chm";
      other.profiles[key] = "";
    }
    EXPECT_EQ(other.prefs.GetPrefIniFname(), kCurrentFile);
    EXPECT_EQ(other.files.bytes(kCurrentFile), "former");
    EXPECT_FALSE(other.files.has("/windows/rbx.ini"));
  }
}

TEST_F(PreferenceLocation, AnotherFileSystemIsCrossedByCopyingThenRemoving) {
  addCurrent();
  bench.files.otherFileSystem = "/home/ann/Templates";
  bench.files.addFile(kFormerFile, "former");
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), kCurrentFile);
  EXPECT_EQ(bench.files.bytes(kCurrentFile), "former");
  EXPECT_FALSE(bench.files.has(kFormerFile));
  EXPECT_EQ(bench.files.changes.back(), std::string("remove ") + kFormerFile);
}

TEST_F(PreferenceLocation, AFileTooLargeToBeSettingsIsNotCopied) {
  bench.files.otherFileSystem = "/home/ann/Templates";
  bench.files.addFile(kFormerFile, std::string((16 << 20) + 1, 'x'));
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), kFormerFile);
  EXPECT_FALSE(bench.files.has(kCurrentFile));
  bench.files.addFile(kFormerFile, std::string(16 << 20, 'x'));
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), kCurrentFile);
}

// Whichever single call fails during the move, the settings that are used afterwards are complete.
TEST_F(PreferenceLocation, AFaultInAnyCallOnTheWayAcrossLosesNothing) {
  bool lastCallReached = false;
  int faults = 0;
  for (int failing = 1; !lastCallReached && failing < 100; ++failing) {
    PrefBench other;
    other.files.addFolder("/home/ann/.config/rbx");
    other.files.addFile(kCurrentFile, "current");
    other.files.addFile(kFormerFile, "former");
    other.files.otherFileSystem = "/home/ann/Templates";
    int calls = 0;
    bool failed = false;
    std::string failedCall;
    other.files.fault = [&](const std::string& call) {
      if (++calls != failing) {
        return 0;
      }
      failed = true;
      failedCall = call;
      return EIO;
    };
    const std::string path = other.prefs.GetPrefIniFname();
    lastCallReached = !failed;
    faults += failed ? 1 : 0;
    EXPECT_TRUE(other.files.has(path)) << failedCall;
    if (path == kCurrentFile && !other.files.has(kFormerFile)) {
      EXPECT_EQ(other.files.bytes(kCurrentFile), "former") << failedCall;
    } else {
      EXPECT_EQ(other.files.bytes(kFormerFile), "former") << failedCall;
    }
  }
  EXPECT_TRUE(lastCallReached);
  EXPECT_GE(faults, 6);
}

TEST_F(PreferenceLocation, AFormerFileThatCannotBeRemovedStaysInUseAndTheCurrentOneComesBack) {
  addCurrent();
  bench.files.otherFileSystem = "/home/ann/Templates";
  bench.files.addFile(kFormerFile, "former");
  bench.files.failCallsWith(std::string("remove ") + kFormerFile, EROFS);
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), kFormerFile);
  EXPECT_EQ(bench.files.bytes(kCurrentFile), "current");
  EXPECT_EQ(bench.files.bytes(kFormerFile), "former");
}

TEST_F(PreferenceLocation, ACopyWithNothingBeforeItIsTakenBackWhenTheFormerFileStays) {
  bench.files.otherFileSystem = "/home/ann/Templates";
  bench.files.addFile(kFormerFile, "former");
  bench.files.failCallsWith(std::string("remove ") + kFormerFile, EROFS);
  EXPECT_EQ(bench.prefs.GetPrefIniFname(), kFormerFile);
  EXPECT_FALSE(bench.files.has(kCurrentFile));
}

}  // namespace
}  // namespace relaybird
