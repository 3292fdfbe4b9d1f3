// SPDX-License-Identifier: MIT
// What the system is asked to show, by a notification area that the test plays.
#include "platform/win32/balloon.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/win32/win32_text.h"

namespace relaybird {
namespace {

class BalloonTest : public testing::Test {
 protected:
  void show(const std::string& cause, const std::string& title, const std::string& text) {
    balloon.show({window, WM_APP + 9, icon}, cause, title, text);
  }
  std::vector<DWORD> commands() const {
    std::vector<DWORD> all;
    for (const auto& [command, record] : calls) {
      all.push_back(command);
    }
    return all;
  }

  // Only numbers here: nothing is done with them.
  HWND window = reinterpret_cast<HWND>(4711);
  HICON icon = reinterpret_cast<HICON>(12);
  bool accepts = true;
  bool answersTooLate = false;
  std::vector<std::pair<DWORD, NOTIFYICONDATAW>> calls;
  Balloon balloon{[this](DWORD command, NOTIFYICONDATAW& record) {
    calls.emplace_back(command, record);
    return accepts && !(answersTooLate && command == NIM_ADD);
  }};
};

TEST_F(BalloonTest, AWarningIsShownWithAnIconOfItsOwn) {
  show("check", "J\u00f6rg", "It failed.\r\nTwice.");
  ASSERT_EQ(commands(), (std::vector<DWORD>{NIM_ADD}));
  const NOTIFYICONDATAW& record = calls[0].second;
  EXPECT_EQ(record.cbSize, sizeof(NOTIFYICONDATAW));
  EXPECT_EQ(record.hWnd, window);
  EXPECT_EQ(record.hIcon, icon);
  EXPECT_EQ(record.uCallbackMessage, static_cast<UINT>(WM_APP + 9));
  EXPECT_EQ(record.uFlags, static_cast<UINT>(NIF_MESSAGE | NIF_ICON | NIF_TIP | NIF_INFO));
  EXPECT_EQ(record.dwInfoFlags, static_cast<DWORD>(NIIF_WARNING));
  EXPECT_EQ(fromWide(record.szTip), "J\u00f6rg");
  EXPECT_EQ(fromWide(record.szInfoTitle), "J\u00f6rg");
  EXPECT_EQ(fromWide(record.szInfo), "It failed.\r\nTwice.");
  EXPECT_EQ(balloon.shown(), "check");
}

TEST_F(BalloonTest, ALongTextIsCutBetweenCharacters) {
  show("check", std::string(100, 't'), std::string(300, 'x'));
  EXPECT_EQ(fromWide(calls[0].second.szInfoTitle), std::string(63, 't'));
  EXPECT_EQ(fromWide(calls[0].second.szInfo), std::string(255, 'x'));
  show("check", "t", std::string(254, 'x') + "\U0001F426 and more");
  EXPECT_EQ(fromWide(calls.back().second.szInfo), std::string(254, 'x'));
  show("check", "t", std::string(253, 'x') + "\U0001F426");
  EXPECT_EQ(fromWide(calls.back().second.szInfo), std::string(253, 'x') + "\U0001F426");
}

TEST_F(BalloonTest, ANewerOneReplacesTheOneThatIsShown) {
  show("one", "1", "1");
  show("two", "2", "2");
  EXPECT_EQ(commands(), (std::vector<DWORD>{NIM_ADD, NIM_DELETE, NIM_ADD}));
  EXPECT_EQ(calls[1].second.hWnd, window);
  EXPECT_EQ(calls[1].second.uID, calls[0].second.uID);
  EXPECT_EQ(balloon.shown(), "two");
  balloon.remove();
  balloon.remove();
  EXPECT_EQ(commands().size(), 4u) << "removed twice";
  EXPECT_EQ(balloon.shown(), "");
}

TEST_F(BalloonTest, OneThatTheSystemRefusesIsNotThere) {
  accepts = false;
  show("one", "1", "1");
  EXPECT_EQ(balloon.shown(), "");
  balloon.remove();
  EXPECT_EQ(commands(), (std::vector<DWORD>{NIM_ADD, NIM_MODIFY}));
}

// Its icon stayed until the program ended.
TEST_F(BalloonTest, OneThatATaskBarHasAddedWhichAnswersTooLateIsRemovedAfterwards) {
  answersTooLate = true;
  show("one", "1", "1");
  EXPECT_EQ(balloon.shown(), "one");
  balloon.remove();
  EXPECT_EQ(commands(), (std::vector<DWORD>{NIM_ADD, NIM_MODIFY, NIM_DELETE}));
}

TEST_F(BalloonTest, AClickRemovesItAndIsTold) {
  for (const UINT event : {UINT{NIN_BALLOONUSERCLICK}, UINT{WM_LBUTTONUP}}) {
    show("one", "1", "1");
    EXPECT_TRUE(balloon.clickedBy(event));
    EXPECT_EQ(balloon.shown(), "");
  }
}

TEST_F(BalloonTest, OneThatHasEndedIsRemovedAndNoOtherEventIs) {
  for (const UINT event : {UINT{NIN_BALLOONTIMEOUT}, UINT{NIN_BALLOONHIDE}}) {
    show("one", "1", "1");
    EXPECT_FALSE(balloon.clickedBy(NIN_BALLOONSHOW));
    EXPECT_FALSE(balloon.clickedBy(WM_MOUSEMOVE));
    EXPECT_EQ(balloon.shown(), "one");
    EXPECT_FALSE(balloon.clickedBy(event));
    EXPECT_EQ(balloon.shown(), "");
  }
}

}  // namespace
}  // namespace relaybird
