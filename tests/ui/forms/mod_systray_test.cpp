// SPDX-License-Identifier: MIT
// The icon in the notification area and the window procedure that it replaces. FakeTray is the
// window and the area; some tests change them from within a call.
#include "ui/forms/mod_systray.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace relaybird {
namespace {

constexpr WindowHandle kWindow = 0xBEEF;
constexpr IconHandle kIcon = 0x1C0;
constexpr std::intptr_t kOwnAnswer = 77;

// A window whose own procedure returns 77, and a notification area that records calls.
class FakeTray : public TrayPlatform {
 public:
  bool available() override { return true; }
  WindowHandle mainWindow() override { return kWindow; }
  IconHandle mainIcon() override { return kIcon; }
  void addIcon(const NotifyIconRecord& record) override { added.push_back(record); }
  void deleteIcon(const NotifyIconRecord& record) override { deleted.push_back(record); }
  WindowProcedure replaceProcedure(WindowHandle window, WindowProcedure replacement) override {
    replacedOf.push_back(window);
    return std::exchange(procedure, std::move(replacement));
  }
  void setForegroundWindow(WindowHandle) override {}
  void onIconLost(std::function<void()> listener) override { lost = std::move(listener); }

  std::intptr_t send(std::uint32_t message, std::intptr_t low) {
    const WindowProcedure running = procedure;  // it may be replaced while it runs
    return running({kWindow, message, 5, low});
  }

  std::vector<NotifyIconRecord> added;
  std::vector<NotifyIconRecord> deleted;
  std::vector<WindowHandle> replacedOf;
  std::vector<WindowMessage> passedOn;
  std::function<void()> lost;
  WindowProcedure procedure = [this](const WindowMessage& message) {
    passedOn.push_back(message);
    return kOwnAnswer;
  };
};

class ModSystray : public testing::Test {
 protected:
  FakeTray platform_;
  // The area disappears; nothing happens without a listener.
  void lose() {
    if (const std::function<void()> listener = platform_.lost) {
      listener();
    }
  }

  int menus_ = 0;
  modSystray tray_{platform_, [this] { ++menus_; }};
};

TEST_F(ModSystray, TheRecordIsThatOfTheFirstNotifyIconData) {
  const NotifyIconRecord record;
  EXPECT_EQ(record.size, 88u);
  EXPECT_EQ(record.flags, 7u);
  EXPECT_EQ(record.callbackMessage, 517u);
  EXPECT_EQ(record.callbackMessage, 0x205u);
  EXPECT_EQ(record.tip.size(), 64u);
}

TEST_F(ModSystray, TheIconIsAddedWithTheMainWindowItsIconAndTheTip) {
  tray_.addIcon("Relaybird (Automation Status: Running)");
  ASSERT_EQ(platform_.added.size(), 1u);
  const NotifyIconRecord& record = platform_.added.front();
  EXPECT_EQ(record.window, kWindow);
  EXPECT_EQ(record.icon, kIcon);
  EXPECT_EQ(record.size, 88u);
  EXPECT_EQ(record.flags, 7u);
  EXPECT_EQ(record.callbackMessage, 517u);
  EXPECT_EQ(record.tipText(), "Relaybird (Automation Status: Running)");
}

TEST_F(ModSystray, TheIconIsDeletedWithTheRecordThatItWasAddedWith) {
  tray_.addIcon("tip");
  tray_.deleteIcon();
  ASSERT_EQ(platform_.deleted.size(), 1u);
  const NotifyIconRecord& added = platform_.added.front();
  const NotifyIconRecord& deleted = platform_.deleted.front();
  EXPECT_EQ(deleted.window, added.window);
  EXPECT_EQ(deleted.id, added.id);
  EXPECT_EQ(deleted.icon, added.icon);
  EXPECT_EQ(deleted.tip, added.tip);
}

TEST(NotifyIconRecordTip, IsPaddedToItsWidth) {
  NotifyIconRecord record;
  record.setTip(std::string(40, 'x'));
  record.setTip("short");
  EXPECT_EQ(record.tipText(), "short");
  EXPECT_EQ(std::string(record.tip.begin() + 5, record.tip.end()), std::string(59, '\0'));
}

TEST(NotifyIconRecordTip, OfMoreThan63BytesIsCutAndStillEnds) {
  NotifyIconRecord record;
  record.setTip(std::string(63, 'x'));
  EXPECT_EQ(record.tipText(), std::string(63, 'x'));
  record.setTip(std::string(64, 'x'));
  EXPECT_EQ(record.tipText(), std::string(63, 'x'));
  EXPECT_EQ(record.tip.back(), '\0');
}

TEST(NotifyIconRecordTip, IsCutBetweenCharacters) {
  NotifyIconRecord record;
  record.setTip(std::string(62, 'x') + "\u00e9");
  EXPECT_EQ(record.tipText(), std::string(62, 'x'));
  record.setTip(std::string(61, 'x') + "\u00e9");
  EXPECT_EQ(record.tipText(), std::string(61, 'x') + "\u00e9");
}

TEST_F(ModSystray, HookingTwiceInstallsTheProcedureOnce) {
  tray_.hook();
  tray_.hook();
  EXPECT_TRUE(tray_.hooked());
  EXPECT_EQ(platform_.replacedOf, std::vector<WindowHandle>{kWindow});
}

TEST_F(ModSystray, UnhookingWhenNotHookedDoesNothing) {
  tray_.unhook();
  EXPECT_FALSE(tray_.hooked());
  EXPECT_TRUE(platform_.replacedOf.empty());
}

TEST_F(ModSystray, UnhookingPutsThePreviousProcedureBack) {
  tray_.hook();
  tray_.unhook();
  EXPECT_FALSE(tray_.hooked());
  EXPECT_EQ(platform_.send(kTrayCallbackMessage, kRightButtonDown), kOwnAnswer);
  EXPECT_EQ(menus_, 0);
}

TEST_F(ModSystray, CanBeHookedAgainAfterUnhooking) {
  tray_.hook();
  tray_.unhook();
  tray_.hook();
  EXPECT_EQ(platform_.send(517, 0x204), -1);
  EXPECT_EQ(menus_, 1);
}

TEST_F(ModSystray, TheRightButtonOverTheIconOpensTheMenu) {
  tray_.hook();
  EXPECT_EQ(platform_.send(517, 0x204), -1);
  EXPECT_EQ(menus_, 1);
  EXPECT_TRUE(platform_.passedOn.empty());
}

TEST_F(ModSystray, OtherMouseEventsOverTheIconArePassedOn) {
  tray_.hook();
  for (const std::intptr_t event : {0x200, 0x201, 0x202, 0x203, 0x205, 0x206, 0}) {
    EXPECT_EQ(platform_.send(517, event), kOwnAnswer) << event;
  }
  EXPECT_EQ(platform_.passedOn.size(), 7u);
  EXPECT_EQ(menus_, 0);
}

TEST_F(ModSystray, OtherMessagesArePassedOnWhole) {
  tray_.hook();
  EXPECT_EQ(platform_.send(516, 0x204), kOwnAnswer);
  ASSERT_EQ(platform_.passedOn.size(), 1u);
  EXPECT_EQ(platform_.passedOn[0].window, kWindow);
  EXPECT_EQ(platform_.passedOn[0].message, 516u);
  EXPECT_EQ(platform_.passedOn[0].high, 5u);
  EXPECT_EQ(platform_.passedOn[0].low, 0x204);
}

TEST_F(ModSystray, WhileNotHookedTheReplacementAnswersNothing) {
  EXPECT_EQ(tray_.replacementProcedure({kWindow, 517, 0, 0x204}), 0);
  EXPECT_EQ(tray_.replacementProcedure({kWindow, 15, 0, 0}), 0);
  EXPECT_EQ(menus_, 0);
  EXPECT_TRUE(platform_.passedOn.empty());
}

TEST_F(ModSystray, AMessageOnTheWayOfAWindowWithoutAProcedureIsAnsweredWithNothing) {
  platform_.procedure = nullptr;
  tray_.hook();
  EXPECT_EQ(platform_.send(15, 0), 0);
}

TEST_F(ModSystray, TheMenuMayUnhook) {
  modSystray* hooked = nullptr;
  modSystray tray(platform_, [&] { hooked->unhook(); });
  hooked = &tray;
  tray.hook();
  EXPECT_EQ(platform_.send(517, 0x204), -1);
  EXPECT_EQ(platform_.send(517, 0x204), kOwnAnswer);
}

TEST_F(ModSystray, TheWindowsOwnProcedureMayUnhook) {
  platform_.procedure = [this](const WindowMessage&) {
    tray_.unhook();
    return kOwnAnswer;
  };
  tray_.hook();
  EXPECT_EQ(platform_.send(15, 0), kOwnAnswer);
  EXPECT_FALSE(tray_.hooked());
}

TEST_F(ModSystray, ALossIsToldOnlyWhileHooked) {
  int losses = 0;
  tray_.onLost([&] { ++losses; });
  lose();
  EXPECT_EQ(losses, 0);
  tray_.hook();
  lose();
  EXPECT_EQ(losses, 1);
  tray_.unhook();
  lose();
  EXPECT_EQ(losses, 1);
  tray_.hook();
  lose();
  EXPECT_EQ(losses, 2);
}

TEST_F(ModSystray, ALossThatNobodyWantsToKnowOfIsNothing) {
  tray_.hook();
  ASSERT_TRUE(platform_.lost);
  lose();
  EXPECT_TRUE(tray_.hooked());
}

TEST_F(ModSystray, WhoIsToldOfALossMayBeChangedWhileHooked) {
  std::string told;
  tray_.onLost([&] { told += "first "; });
  tray_.hook();
  tray_.onLost([&] { told += "second "; });
  lose();
  EXPECT_EQ(told, "second ");
}

TEST_F(ModSystray, WhoIsToldOfALossMayUnhookAndSetAnother) {
  std::string told;
  tray_.onLost([this, &told, words = std::string(40, 'x')] {
    tray_.onLost([&told] { told += "other"; });
    tray_.unhook();
    told += words;
  });
  tray_.hook();
  lose();
  lose();
  EXPECT_EQ(told, std::string(40, 'x'));
  EXPECT_FALSE(tray_.hooked());
}

TEST_F(ModSystray, NobodyIsToldOfALossAfterItsEnd) {
  int losses = 0;
  {
    modSystray tray(platform_, [] {});
    tray.onLost([&] { ++losses; });
    tray.hook();
  }
  lose();
  EXPECT_EQ(losses, 0);
}

TEST_F(ModSystray, ItsEndGivesTheWindowItsProcedureBack) {
  {
    modSystray tray(platform_, [] {});
    tray.hook();
  }
  EXPECT_EQ(platform_.send(517, 0x204), kOwnAnswer);
  EXPECT_FALSE(std::is_copy_constructible_v<modSystray>);
}

}  // namespace
}  // namespace relaybird
