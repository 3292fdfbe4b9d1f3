// SPDX-License-Identifier: MIT
// The main window in the notification area.
#include <gmock/gmock.h>

#include "ui/forms/main/program_fixture.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Records whether the window was minimised when it was last told to change.
class MinimiseObserver : public FormObserver {
 public:
  void controlChanged(const Control&, Change) override {}
  void formChanged(const Form&, FormChange what) override {
    minimised = what == FormChange::kMinimised || (minimised && what != FormChange::kShown);
  }
  bool minimised = false;
};

class NotificationAreaTest : public ProgramTest {
 protected:
  ~NotificationAreaTest() override { main().setObserver(nullptr); }

  void toTray() {
    main().setObserver(&window_);
    dialogs_.answer(BoxAnswer::kYes);
    click("frmRelaybird", "cmdToSysTray");
  }
  std::intptr_t send(std::uint32_t message, std::intptr_t low) {
    return tray_.procedure({4711, message, 0, low});
  }
  // The area disappears; nothing happens without a listener.
  void loseTray() {
    if (const std::function<void()> listener = tray_.lost) {
      listener();
    }
  }

  MinimiseObserver window_;
};

TEST_F(NotificationAreaTest, AsksFirst) {
  dialogs_.answer(BoxAnswer::kCancel);
  click("frmRelaybird", "cmdToSysTray");
  ASSERT_EQ(dialogs_.boxes.size(), 1U);
  EXPECT_EQ(boxLine(dialogs_.boxes[0]),
            "Minimize to System Tray|This option will place Relaybird in the Windows System Tray, "
            "and will allow Relaybird to continue operating in the background.  By default, the "
            "System Tray is located at the bottom right of your screen.  "
            "\r\n\r\n***************************\r\n\r\n"
            "To restore Relaybird, RIGHT-CLICK on the Relaybird icon in the System Tray and select "
            "'Restore' in the popup menu that appears."
            "\r\n\r\n***************************\r\n\r\n"
            "Click 'Yes' to place Relaybird in the System Tray now.|none|Yes No Cancel");
  EXPECT_TRUE(main().visible());
  EXPECT_FALSE(tray_.icon.has_value());
  dialogs_.answer(BoxAnswer::kNo);
  click("frmRelaybird", "cmdToSysTray");
  EXPECT_TRUE(main().visible());
}

TEST_F(NotificationAreaTest, HidesTheWindowBehindItsIcon) {
  toTray();
  EXPECT_FALSE(main().visible());
  ASSERT_TRUE(tray_.icon.has_value());
  EXPECT_EQ(tray_.icon->size, 88U);
  EXPECT_EQ(tray_.icon->flags, 7U);
  EXPECT_EQ(tray_.icon->callbackMessage, 517U);
  EXPECT_EQ(tray_.icon->window, 4711U);
  EXPECT_EQ(tray_.icon->icon, 12U);
  EXPECT_EQ(tray_.icon->tipText(), "Relaybird (Automation Status: Not Running)");
}

TEST_F(NotificationAreaTest, TheTipTellsOfRunningAndKeepsItsText) {
  oneAddress();
  (void)program();
  switchOn();
  toTray();
  EXPECT_EQ(tray_.icon->tipText(), "Relaybird (Automation Status: Running)");
  main().StopForwarding();
  EXPECT_EQ(tray_.icon->tipText(), "Relaybird (Automation Status: Running)");
}

TEST_F(NotificationAreaTest, AStatusInCapitalsIsKeptAsItIs) {
  (void)program();
  main().txtStatus.setText("RUNNING");
  toTray();
  EXPECT_EQ(tray_.icon->tipText(), "Relaybird (Automation Status: RUNNING)");
}

TEST_F(NotificationAreaTest, TheRightButtonOpensTheMenuAndNothingElseDoes) {
  toTray();
  EXPECT_EQ(send(517, 0x201), 1);
  EXPECT_EQ(send(517, 0x203), 1);
  EXPECT_EQ(send(518, 0x204), 1);
  EXPECT_THAT(dialogs_.menus, IsEmpty());
  EXPECT_EQ(send(517, 0x204), -1);
  EXPECT_THAT(dialogs_.menus, ElementsAre(&main().RcPopup));
  EXPECT_EQ(tray_.foreground, 4711U);
}

TEST_F(NotificationAreaTest, RestoreBringsTheWindowBackAndTakesTheIconAway) {
  toTray();
  dialogs_.onMenu = [this](Control&) { main().mnuRestore.click(); };
  send(517, 0x204);
  EXPECT_TRUE(main().visible());
  EXPECT_FALSE(tray_.icon.has_value());
  EXPECT_FALSE(program().tray().hooked());
  EXPECT_EQ(send(517, 0x204), 1);
}

TEST_F(NotificationAreaTest, ForwardingGoesOnInTheNotificationArea) {
  oneAddress();
  (void)program();
  switchOn();
  toTray();
  deliver("lunch");
  letPass(std::chrono::minutes{15});
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: lunch"));
}

TEST_F(NotificationAreaTest, WithoutOneTheWindowIsMinimisedAndSaysSo) {
  tray_.present = false;
  toTray();
  EXPECT_TRUE(main().visible());
  EXPECT_TRUE(window_.minimised);
  ASSERT_EQ(dialogs_.boxes.size(), 2U);
  EXPECT_EQ(dialogs_.boxes[1].title, "Minimize to System Tray");
  EXPECT_FALSE(program().tray().hooked());
  EXPECT_FALSE(tray_.lost);
}

TEST_F(NotificationAreaTest, WhenItIsLostTheWindowIsBackMinimisedAndTheLogSaysWhy) {
  toTray();
  loseTray();
  EXPECT_TRUE(main().visible());
  EXPECT_TRUE(window_.minimised);
  EXPECT_FALSE(tray_.icon.has_value());
  EXPECT_FALSE(program().tray().hooked());
  EXPECT_EQ(send(517, 0x204), 1);
  EXPECT_THAT(log(),
              ElementsAre(clock_.toText(kNine) +
                          "--> The System Tray has gone away, so Relaybird is back as a minimized "
                          "window.  It continues operating."));
  // No box: nobody may be there to answer it.
  EXPECT_EQ(dialogs_.boxes.size(), 1U);
}

TEST_F(NotificationAreaTest, ABoxSaidThatAWindowWasMinimisedWhichCannotBe) {
  tray_.present = false;
  screen_.minimises = false;
  toTray();
  EXPECT_TRUE(main().visible());
  ASSERT_EQ(dialogs_.boxes.size(), 2U);
  EXPECT_EQ(boxLine(dialogs_.boxes[1]),
            "Minimize to System Tray|There is no System Tray here, so Relaybird keeps its window.  "
            "It continues operating.|none|OK");
}

TEST_F(NotificationAreaTest, TheLogSaidThatAWindowWasMinimisedWhichCannotBe) {
  toTray();
  screen_.minimises = false;
  loseTray();
  EXPECT_TRUE(main().visible());
  EXPECT_THAT(log(), ElementsAre(clock_.toText(kNine) +
                                 "--> The System Tray has gone away, so Relaybird has its window "
                                 "back.  It continues operating."));
}

TEST_F(NotificationAreaTest, ItIsLostOnlyOnce) {
  toTray();
  const std::function<void()> listener = tray_.lost;
  ASSERT_TRUE(listener);
  listener();
  EXPECT_FALSE(tray_.lost);
  main().show();
  loseTray();
  EXPECT_FALSE(window_.minimised);
  EXPECT_EQ(log().size(), 1U);
}

TEST_F(NotificationAreaTest, ItsLossAfterRestoreIsNothing) {
  toTray();
  main().mnuRestore.click();
  loseTray();
  EXPECT_TRUE(main().visible());
  EXPECT_FALSE(window_.minimised);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(NotificationAreaTest, ItsLossWhileTheProgramEndsIsNothing) {
  toTray();
  ASSERT_TRUE(tray_.lost);
  state().ending = true;
  loseTray();
  EXPECT_FALSE(main().visible());
  EXPECT_FALSE(window_.minimised);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(NotificationAreaTest, CanBeUsedAgainAfterItWasLost) {
  toTray();
  loseTray();
  main().show();
  toTray();
  EXPECT_FALSE(main().visible());
  ASSERT_TRUE(tray_.icon.has_value());
  loseTray();
  EXPECT_TRUE(window_.minimised);
  EXPECT_EQ(log().size(), 2U);
}

TEST_F(NotificationAreaTest, ForwardingGoesOnAfterItWasLost) {
  oneAddress();
  (void)program();
  switchOn();
  toTray();
  loseTray();
  deliver("lunch");
  letPass(std::chrono::minutes{15});
  EXPECT_EQ(text("txtStatus"), "Running");
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: lunch"));
}

}  // namespace
}  // namespace relaybird
