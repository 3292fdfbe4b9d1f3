// SPDX-License-Identifier: MIT
// The file that keeps the places of windows, over a disk in memory: kept, read again, broken, full.
#include "ui/forms/window_places.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "platform/profile/profile_file.h"
#include "prefs/fake_files.h"

namespace relaybird {
namespace {

constexpr const char* kFile = "/state/windows.ini";
constexpr WindowPlace kPlace{120, 80, 720, 420, false};

class WindowPlacesTest : public testing::Test {
 protected:
  WindowPlacesTest() { files_.addFolder("/state"); }
  // A program that has just started.
  WindowPlaces program() { return {profiles_, kFile}; }
  std::optional<WindowPlace> foundIn(const std::string& value) {
    files_.addFile(kFile, "[frmLog]\nplace=" + value + "\n");
    return program().find("frmLog");
  }

  FakeFiles files_;
  ProfileFile profiles_{files_};
};

TEST_F(WindowPlacesTest, WhatWasKeptIsFoundByTheNextRun) {
  WindowPlaces first = program();
  EXPECT_EQ(first.find("frmLog"), std::nullopt);
  first.keep("frmLog", kPlace);
  first.keep("frmRelaybird", {-900, 0, 600, 500, true});
  EXPECT_EQ(first.find("frmLog"), kPlace);
  first.write();
  WindowPlaces next = program();
  EXPECT_EQ(next.find("frmLog"), kPlace);
  EXPECT_EQ(next.find("frmRelaybird"), (WindowPlace{-900, 0, 600, 500, true}));
  EXPECT_EQ(next.find("frmPrefs"), std::nullopt);
}

TEST_F(WindowPlacesTest, NothingIsWrittenWhereNothingHasMoved) {
  WindowPlaces first = program();
  first.write();
  EXPECT_TRUE(files_.changes.empty());
  first.keep("frmLog", kPlace);
  first.write();
  files_.changes.clear();
  WindowPlaces next = program();
  EXPECT_EQ(next.find("frmLog"), kPlace);
  next.keep("frmLog", kPlace);
  next.write();
  EXPECT_TRUE(files_.changes.empty());
}

TEST_F(WindowPlacesTest, WhatOtherWindowsHadStays) {
  files_.addFile(kFile, "[help]\nplace=1,2,300,400,0\n");
  WindowPlaces places = program();
  places.keep("frmLog", kPlace);
  places.write();
  EXPECT_EQ(program().find("help"), (WindowPlace{1, 2, 300, 400, false}));
}

TEST_F(WindowPlacesTest, ABrokenFileIsIgnored) {
  for (const char* broken : {"", "1", "1,2,3,4", "1,2,3,4,0,", "1,2,3,4,2", "1,2,0,4,0",
                             "1,2,3,-4,0", "a,b,c,d,e", "1;2;3;4;0", "1,2,99999,4,0",
                             "99999999999,2,3,4,0", "-40000,2,3,4,0", "1,2,3,4,-1", "1,,3,4,0"}) {
    EXPECT_EQ(foundIn(broken), std::nullopt) << broken;
  }
  EXPECT_EQ(foundIn("1,2,3,4,0"), (WindowPlace{1, 2, 3, 4, false}));
  files_.addFile(kFile, std::string("\0\xff[frmLog\nplace", 15));
  EXPECT_EQ(program().find("frmLog"), std::nullopt);
}

TEST_F(WindowPlacesTest, AFileThatCannotBeReadIsIgnored) {
  files_.addFile(kFile, "[frmLog]\nplace=1,2,3,4,0\n");
  files_.failCallsWith(kFile, EACCES);
  EXPECT_EQ(program().find("frmLog"), std::nullopt);
}

TEST_F(WindowPlacesTest, AFullDiskLeavesTheFileAndIsTriedAgain) {
  files_.addFile(kFile, "[frmLog]\nplace=1,2,3,4,0\n");
  WindowPlaces places = program();
  places.keep("frmLog", kPlace);
  files_.failCallsWith("write ", ENOSPC);
  places.write();
  EXPECT_EQ(program().find("frmLog"), (WindowPlace{1, 2, 3, 4, false}));
  EXPECT_EQ(places.find("frmLog"), kPlace);
  files_.fault = [](const std::string&) { return 0; };
  places.write();
  EXPECT_EQ(program().find("frmLog"), kPlace);
}

TEST(WindowPlace, IsLargeEnoughOnlyWhereBothSidesAre) {
  EXPECT_TRUE(isLargeEnough(kPlace, 720, 420));
  EXPECT_FALSE(isLargeEnough(kPlace, 721, 420));
  EXPECT_FALSE(isLargeEnough(kPlace, 720, 421));
}

TEST(WindowPlace, IsInSightOnlyOnAScreenThatStillExists) {
  const ScreenArea left{0, 30, 1280, 994};
  const ScreenArea right{1280, 0, 1920, 1080};
  EXPECT_TRUE(isInSight(kPlace, {left}));
  EXPECT_TRUE(isInSight({2000, 100, 700, 400, false}, {left, right}));
  EXPECT_FALSE(isInSight({2000, 100, 700, 400, false}, {left}));
  // The edge by which it is dragged: above the screen, below it, half of it beside it.
  EXPECT_FALSE(isInSight({100, 10, 700, 400, false}, {left}));
  EXPECT_FALSE(isInSight({100, 1024, 700, 400, false}, {left}));
  EXPECT_FALSE(isInSight({-400, 100, 700, 400, false}, {left}));
  EXPECT_TRUE(isInSight({-300, 100, 700, 400, false}, {left}));
  EXPECT_FALSE(isInSight(kPlace, {}));
}

}  // namespace
}  // namespace relaybird
