// SPDX-License-Identifier: MIT
// The check box in the File menu, and the entry in the desktop's autostart folder behind it.
#include "platform/posix/desktop_entry_autostart.h"

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
  DesktopEntryAutostartTest() {
    files_.addFolder("/home/ann/.config");
    files_.addFile(kProgram, "a program");
  }

  void addEntry(const std::string& lines) {
    files_.addFolder("/home/ann/.config/autostart");
    files_.addFile(kFile, "[Desktop Entry]\n" + lines + "\n");
  }

  static constexpr const char* kFile =
      "/home/ann/.config/autostart/org.relaybird.Relaybird.desktop";
  static constexpr const char* kProgram = "/usr/bin/relaybird";

  FakeFiles files_;
  DesktopEntryAutostart autostart_{files_, "/home/ann/.config", kProgram};
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
    addEntry(std::string("Exec=relaybird\n") + line);
    EXPECT_FALSE(autostart_.enabled()) << line;
  }
}

TEST_F(DesktopEntryAutostartTest, AKeyOfAnotherGroupDoesNotSwitchItOff) {
  addEntry("Exec=relaybird\n[Desktop Action x]\nHidden=true");
  EXPECT_TRUE(autostart_.enabled());
}

TEST_F(DesktopEntryAutostartTest, AnEntryOfAProgramThatIsGoneDoesNotCount) {
  for (const char* lines :
       {"Exec=\"/usr/bin/relaybird\"\nTryExec=/home/ann/build/relaybird",
        "Exec=\"/home/ann/build/relaybird\"", "Exec=/home/ann/build/relaybird --option",
        "Exec=/usr/bin\nTryExec=/usr/bin/relaybird", "TryExec=/usr/bin/relaybird", "Exec="}) {
    addEntry(lines);
    EXPECT_FALSE(autostart_.enabled()) << lines;
  }
}

TEST_F(DesktopEntryAutostartTest, WhatTheDesktopLooksForByItselfCounts) {
  for (const char* lines : {"Exec=relaybird\nTryExec=relaybird", "Exec=env A=b /opt/relaybird",
                            "Exec=/usr/bin/relaybird %U\nTryExec="}) {
    addEntry(lines);
    EXPECT_TRUE(autostart_.enabled()) << lines;
  }
}

TEST_F(DesktopEntryAutostartTest, AnEntryOfAnotherCopyCountsUntilThatIsGone) {
  constexpr const char* kOther = "/opt/relaybird/relaybird";
  files_.addFile(kOther, "a program");
  ASSERT_TRUE(DesktopEntryAutostart(files_, "/home/ann/.config", kOther).setEnabled(true));
  EXPECT_TRUE(autostart_.enabled());
  ASSERT_TRUE(files_.remove(kOther));
  EXPECT_FALSE(autostart_.enabled());
}

TEST_F(DesktopEntryAutostartTest, SwitchedOffAndOnTheEntryOfAnotherCopyBecomesOurs) {
  addEntry("Exec=/opt/relaybird\nTryExec=/opt/relaybird");
  files_.addFile("/opt/relaybird", "a program");
  ASSERT_TRUE(autostart_.setEnabled(false));
  ASSERT_TRUE(autostart_.setEnabled(true));
  EXPECT_THAT(*readFile(files_, kFile, 4096), HasSubstr("\nTryExec=/usr/bin/relaybird\n"));
}

TEST_F(DesktopEntryAutostartTest, FindsAProgramOfAnyNameAgain) {
  for (const std::string name : {"/a b", "/100%", "/100%%f", "/a$b`c\"d'e", "/a\\b", "/a\\nb",
                                 "/a\\sb\\", "/a\nb", "/a=b;c"}) {
    DesktopEntryAutostart named(files_, "/home/ann/.config", name);
    ASSERT_TRUE(named.setEnabled(true));
    EXPECT_FALSE(named.enabled()) << name;
    files_.addFile(name, "a program");
    EXPECT_TRUE(named.enabled()) << name;
  }
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
