// SPDX-License-Identifier: MIT
// Icons in a notification area that the test plays.
#include "platform/win32/notify_icon.h"

#include <gtest/gtest.h>

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
      }
      return can && !(command == NIM_ADD && answersTooLate);
    };
  }

  bool accepts = true;
  bool answersTooLate = false;  // when an icon is added
  bool there = false;
  std::wstring tip;
  std::vector<DWORD> commands;
};

NOTIFYICONDATAW recordWith(wchar_t tip) {
  NOTIFYICONDATAW record = {};
  record.szTip[0] = tip;
  return record;
}

TEST(NotifyIcon, OneThatIsNotThereIsAdded) {
  Area area;
  auto record = recordWith(L'a');
  EXPECT_TRUE(showNotifyIcon(area.call(), record));
  EXPECT_EQ(area.commands, (std::vector<DWORD>{NIM_ADD}));
  EXPECT_TRUE(area.there);
}

// It counted as lost: ten seconds later it was removed, and the hidden window came up.
TEST(NotifyIcon, OneThatIsThereAlreadyIsShown) {
  Area area;
  auto record = recordWith(L'a');
  ASSERT_TRUE(showNotifyIcon(area.call(), record));
  record = recordWith(L'b');
  EXPECT_TRUE(showNotifyIcon(area.call(), record));
  EXPECT_EQ(area.tip, L"b");
}

TEST(NotifyIcon, OneIsShownThatATaskBarHasAddedWhichAnswersTooLate) {
  Area area;
  area.answersTooLate = true;
  auto record = recordWith(L'a');
  EXPECT_TRUE(showNotifyIcon(area.call(), record));
  EXPECT_TRUE(area.there);
}

TEST(NotifyIcon, OneThatTheSystemRefusesIsNotShown) {
  Area area;
  area.accepts = false;
  auto record = recordWith(L'a');
  EXPECT_FALSE(showNotifyIcon(area.call(), record));
}

}  // namespace
}  // namespace relaybird
