// SPDX-License-Identifier: MIT
// The check box in the File menu, and the entry in the desktop's autostart folder behind it.
#include "ui/forms/autostart/desktop_entry_autostart.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ui/forms/main/program_fixture.h"

namespace relaybird {
namespace {

using testing::HasSubstr;

using AutostartMenuTest = ProgramTest;

TEST_F(AutostartMenuTest, TheMarkShowsWhatIsSoAtTheStart) {
  autostart_.on = true;
  EXPECT_TRUE(control("frmRelaybird", "mnuAutostart").checked());
}

TEST_F(AutostartMenuTest, AClickSwitchesItOnAndAnotherOff) {
  click("frmRelaybird", "mnuAutostart");
  EXPECT_TRUE(autostart_.on);
  EXPECT_TRUE(main().mnuAutostart.checked());
  click("frmRelaybird", "mnuAutostart");
  EXPECT_FALSE(autostart_.on);
  EXPECT_FALSE(main().mnuAutostart.checked());
}

TEST_F(AutostartMenuTest, WhatCannotBeChangedIsToldAndTheMarkGoesBack) {
  autostart_.broken = true;
  program();
  click("frmRelaybird", "mnuAutostart");
  EXPECT_FALSE(main().mnuAutostart.checked());
  ASSERT_THAT(dialogs_.boxes, testing::SizeIs(1));
  EXPECT_THAT(dialogs_.boxes[0].text, HasSubstr("Read-only file system"));
}

class DesktopEntryAutostartTest : public testing::Test {
 protected:
  DesktopEntryAutostartTest() { files_.addFolder("/home/ann/.config"); }

  static constexpr const char* kFile =
      "/home/ann/.config/autostart/org.relaybird.Relaybird.desktop";

  FakeFiles files_;
  DesktopEntryAutostart autostart_{files_, "/home/ann/.config", "/usr/bin/relaybird"};
};

TEST_F(DesktopEntryAutostartTest, WithoutAnEntryItIsOff) {
  EXPECT_FALSE(autostart_.enabled());
}

TEST_F(DesktopEntryAutostartTest, SwitchedOnItWritesAnEntryThatStartsTheProgram) {
  ASSERT_TRUE(autostart_.setEnabled(true));
  EXPECT_TRUE(autostart_.enabled());
  const std::string entry = *readFile(files_, kFile, 4096);
  EXPECT_TRUE(entry.starts_with("[Desktop Entry]\nType=Application\n"));
  EXPECT_THAT(entry, HasSubstr("\nExec=\"/usr/bin/relaybird\"\nTryExec=/usr/bin/relaybird\n"));
}

TEST_F(DesktopEntryAutostartTest, SwitchedOffTheEntryIsGone) {
  ASSERT_TRUE(autostart_.setEnabled(true));
  ASSERT_TRUE(autostart_.setEnabled(false));
  EXPECT_FALSE(autostart_.enabled());
  EXPECT_FALSE(readFile(files_, kFile, 4096));
}

TEST_F(DesktopEntryAutostartTest, SwitchingOffWhatIsOffIsNoError) {
  EXPECT_TRUE(autostart_.setEnabled(false));
}

TEST_F(DesktopEntryAutostartTest, AnEntryThatTheDesktopSwitchedOffDoesNotCount) {
  for (const char* line : {"Hidden=true", "X-GNOME-Autostart-enabled=false", "Hidden = True\r"}) {
    files_.addFolder("/home/ann/.config/autostart");
    files_.addFile(kFile, std::string("[Desktop Entry]\nExec=relaybird\n") + line + "\n");
    EXPECT_FALSE(autostart_.enabled()) << line;
  }
}

TEST_F(DesktopEntryAutostartTest, AKeyOfAnotherGroupDoesNotSwitchItOff) {
  files_.addFolder("/home/ann/.config/autostart");
  files_.addFile(kFile, "[Desktop Entry]\nExec=relaybird\n[Desktop Action x]\nHidden=true\n");
  EXPECT_TRUE(autostart_.enabled());
}

TEST_F(DesktopEntryAutostartTest, AFolderThatCannotBeMadeIsAnError) {
  DesktopEntryAutostart nowhere(files_, "/home/ann/.config/autostart.txt/sub",
                                "/usr/bin/relaybird");
  files_.addFile("/home/ann/.config/autostart.txt", "a file");
  const auto done = nowhere.setEnabled(true);
  ASSERT_FALSE(done);
  EXPECT_THAT(done.error().text, HasSubstr("autostart"));
}

TEST(DesktopEntryWord, QuotesWhatTheExecKeyGivesAMeaningTo) {
  EXPECT_EQ(desktopEntryWord("/usr/bin/relaybird"), "\"/usr/bin/relaybird\"");
  EXPECT_EQ(desktopEntryWord("/a b"), "\"/a b\"");
  EXPECT_EQ(desktopEntryWord("/100%"), "\"/100%%\"");
  EXPECT_EQ(desktopEntryWord("/a$b`c\"d"), R"("/a\\$b\\`c\\"d")");
  EXPECT_EQ(desktopEntryWord("/a\\b"), R"("/a\\\\b")");
  EXPECT_EQ(desktopEntryWord("/a\nb"), R"("/a\nb")");
}

}  // namespace
}  // namespace relaybird
