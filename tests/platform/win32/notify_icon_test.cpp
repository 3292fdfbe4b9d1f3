// SPDX-License-Identifier: MIT
// Icons in a notification area that the test plays.
#include "platform/win32/notify_icon.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace relaybird {
namespace {

// One place for an icon.
struct Area {
  NotifyIconCall call() {
    return [this](DWORD command, NOTIFYICONDATAW& record) {
      commands.push_back(command);
      const bool can = there ? command != NIM_ADD : command == NIM_ADD && accepts;
      if (can) {
        there = command != NIM_DELETE;
        tip = record.szTip;
        picture = record.hIcon;
      }
      return can && !(command == NIM_ADD && answersTooLate);
    };
  }

  bool accepts = true;
  bool answersTooLate = false;  // when an icon is added
  bool there = false;
  std::wstring tip;
  HICON picture = nullptr;
  std::vector<DWORD> commands;
};

NOTIFYICONDATAW recordWith(wchar_t tip) {
  NOTIFYICONDATAW record = {};
  record.szTip[0] = tip;
  return record;
}

// Only a number here: nothing is drawn.
HICON numbered(std::intptr_t number) {
  return reinterpret_cast<HICON>(number);
}

HICON anyPicture() {
  return numbered(1);
}

TEST(NotifyIcon, OneThatIsNotThereIsAdded) {
  Area area;
  auto record = recordWith(L'a');
  EXPECT_TRUE(showNotifyIcon(area.call(), anyPicture, record));
  EXPECT_EQ(area.commands, (std::vector<DWORD>{NIM_ADD}));
  EXPECT_TRUE(area.there);
}

// It counted as lost: ten seconds later it was removed, and the hidden window came up.
TEST(NotifyIcon, OneThatIsThereAlreadyIsShown) {
  Area area;
  auto record = recordWith(L'a');
  ASSERT_TRUE(showNotifyIcon(area.call(), anyPicture, record));
  record = recordWith(L'b');
  EXPECT_TRUE(showNotifyIcon(area.call(), anyPicture, record));
  EXPECT_EQ(area.tip, L"b");
}

TEST(NotifyIcon, OneIsShownThatATaskBarHasAddedWhichAnswersTooLate) {
  Area area;
  area.answersTooLate = true;
  auto record = recordWith(L'a');
  EXPECT_TRUE(showNotifyIcon(area.call(), anyPicture, record));
  EXPECT_TRUE(area.there);
}

TEST(NotifyIcon, OneThatTheSystemRefusesIsNotShown) {
  Area area;
  area.accepts = false;
  auto record = recordWith(L'a');
  EXPECT_FALSE(showNotifyIcon(area.call(), anyPicture, record));
}

// After the scale of the screen had changed the icon was drawn from the picture of the old size.
TEST(NotifyIcon, OneThatIsAddedAgainHasThePictureOfThatTime) {
  Area area;
  auto record = recordWith(L'a');
  ASSERT_TRUE(showNotifyIcon(
      area.call(), [] { return numbered(16); }, record));
  EXPECT_TRUE(showNotifyIcon(
      area.call(), [] { return numbered(24); }, record));
  EXPECT_EQ(area.picture, numbered(24)) << "it was still there";
  area.there = false;
  EXPECT_TRUE(showNotifyIcon(
      area.call(), [] { return numbered(32); }, record));
  EXPECT_EQ(area.picture, numbered(32)) << "it was lost";
}

TEST(NotifyIcon, ItsSizeIsThatOfTheScale) {
  EXPECT_EQ(smallIconSize(96), 16);
  EXPECT_EQ(smallIconSize(144), 24);
  EXPECT_EQ(smallIconSize(0), GetSystemMetrics(SM_CXSMICON)) << "where no scale is known";
  EXPECT_GE(notifyIconSize(), 16);
}

int widthOf(HICON icon) {
  ICONINFO parts = {};
  BITMAP mask = {};
  GetIconInfo(icon, &parts);
  GetObjectW(parts.hbmMask, sizeof mask, &mask);
  DeleteObject(parts.hbmMask);
  DeleteObject(parts.hbmColor);
  return static_cast<int>(mask.bmWidth);
}

// The same picture was given for both, in the size of the first.
TEST(NotifyIcon, APictureIsLoadedInTheSizeThatIsAskedFor) {
  constexpr const wchar_t* kSomePicture = L"#1";
  const HMODULE library = LoadLibraryW(L"shell32.dll");
  IconResource resource(library);
  const HICON small = resource.get(kSomePicture, 16);
  ASSERT_NE(small, nullptr);
  EXPECT_EQ(widthOf(small), 16);
  EXPECT_EQ(resource.get(kSomePicture, 16), small);
  EXPECT_EQ(widthOf(resource.get(kSomePicture, 20)), 20);
  EXPECT_EQ(resource.get(L"NoSuchPicture", 20), nullptr);
  FreeLibrary(library);
}

// The sign was always that of a box, which the task bar had to make smaller.
TEST(NotifyIcon, TheWarningSignHasTheSizeThatIsAskedForToo) {
  IconResource resource;
  for (const int size : {16, 20, 24}) {
    const HICON sign = resource.warningSign(size);
    ASSERT_NE(sign, nullptr) << size;
    EXPECT_EQ(widthOf(sign), size);
    EXPECT_EQ(resource.warningSign(size), sign);
  }
}

}  // namespace
}  // namespace relaybird
