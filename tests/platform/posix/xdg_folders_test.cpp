// SPDX-License-Identifier: MIT
// The folders for settings, state and templates, by environment variables that the test sets in a
// map and a file user-dirs.dirs in a scratch folder.
#include "platform/posix/xdg_folders.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <map>

#include "platform/posix/posix_file_system.h"
#include "support/fake_clock.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

class XdgFoldersTest : public testing::Test {
 protected:
  XdgFoldersTest() { std::filesystem::create_directory(temp.path(".config")); }

  std::string templatesFrom(const std::string& text) {
    writeBytes(temp.path(".config/user-dirs.dirs"), text);
    return folders.templatesFolder();
  }

  FakeClock clock;
  RecordingSleeper sleeper{clock};
  PosixFileSystem files{sleeper};
  TempFolder temp;
  std::map<std::string, std::string> variables{{"HOME", temp.path()}};
  std::string databaseHome = "/home/from-database";
  XdgFolders folders{files,
                     [this](const std::string& name) -> std::optional<std::string> {
                       const auto found = variables.find(name);
                       if (found == variables.end()) {
                         return std::nullopt;
                       }
                       return found->second;
                     },
                     [this] { return databaseHome; }};
};

TEST_F(XdgFoldersTest, DefaultsLieBelowTheHomeFolder) {
  EXPECT_EQ(folders.GetAppDataFolder(), temp.path(".config"));
  EXPECT_EQ(folders.windowsFolder(), temp.path(".config"));
  EXPECT_EQ(folders.stateFolder(), temp.path(".local/state"));
}

TEST_F(XdgFoldersTest, OnlyTheApplicationDataFolderHasANumber) {
  EXPECT_EQ(folders.GetSpecialFolderPath(26), temp.path(".config"));
  for (const int number : {-1, 0, 5, 25, 27, 1000}) {
    EXPECT_EQ(folders.GetSpecialFolderPath(number), "");
  }
}

TEST_F(XdgFoldersTest, AbsoluteVariablesCount) {
  variables["XDG_CONFIG_HOME"] = "/etc/me/";
  variables["XDG_STATE_HOME"] = "/var/me";
  EXPECT_EQ(folders.GetAppDataFolder(), "/etc/me");
  EXPECT_EQ(folders.stateFolder(), "/var/me");
}

TEST_F(XdgFoldersTest, EmptyAndRelativeVariablesDoNotCount) {
  for (const char* value : {"", "conf", "./conf", "~/conf", " /conf"}) {
    variables["XDG_CONFIG_HOME"] = value;
    variables["XDG_STATE_HOME"] = value;
    EXPECT_EQ(folders.GetAppDataFolder(), temp.path(".config")) << value;
    EXPECT_EQ(folders.stateFolder(), temp.path(".local/state")) << value;
  }
}

TEST_F(XdgFoldersTest, WithoutHomeTheUserDatabaseCounts) {
  for (const char* home : {"", "relative"}) {
    variables["HOME"] = home;
    EXPECT_EQ(folders.GetAppDataFolder(), "/home/from-database/.config");
  }
  variables.erase("HOME");
  EXPECT_EQ(folders.stateFolder(), "/home/from-database/.local/state");
  databaseHome.clear();
  EXPECT_EQ(folders.GetAppDataFolder(), "");
  EXPECT_EQ(folders.windowsFolder(), "");
  EXPECT_EQ(folders.stateFolder(), "");
  EXPECT_EQ(folders.templatesFolder(), "");
}

TEST_F(XdgFoldersTest, TemplatesComeFromTheUserDirsFile) {
  EXPECT_EQ(folders.templatesFolder(), "");  // no such file
  EXPECT_EQ(templatesFrom("XDG_TEMPLATES_DIR=\"$HOME/Vorlagen\"\n"), temp.path("Vorlagen"));
  EXPECT_EQ(templatesFrom("# comment\nXDG_DESKTOP_DIR=\"$HOME/x\"\n  XDG_TEMPLATES_DIR = "
                          "\"/srv/my templates/\"  \nXDG_MUSIC_DIR=\"$HOME/y\""),
            "/srv/my templates");
  EXPECT_EQ(templatesFrom("XDG_TEMPLATES_DIR=\"$HOME/a \\\"b\\\" \\\\c\""),
            temp.path("a \"b\" \\c"));
  EXPECT_EQ(templatesFrom("XDG_TEMPLATES_DIR=\"/one\"\nXDG_TEMPLATES_DIR=\"/two\"\n"), "/two");
}

TEST_F(XdgFoldersTest, WhatIsNoTemplatesFolderIsNone) {
  for (const char* text :
       {"", "XDG_TEMPLATES_DIR=\"$HOME/\"", "XDG_TEMPLATES_DIR=\"$HOME\"",
        "XDG_TEMPLATES_DIR=\"relative\"", "XDG_TEMPLATES_DIR=/unquoted",
        "#XDG_TEMPLATES_DIR=\"/a\"", "XDG_TEMPLATES_DIRS=\"/a\"", "XDG_TEMPLATES_DIR=\"$HOMEX/a\"",
        "XDG_TEMPLATES_DIR=\"$OTHER/a\"", "XDG_TEMPLATES_DIR=\"\""}) {
    EXPECT_EQ(templatesFrom(text), "") << text;
  }
}

TEST_F(XdgFoldersTest, AUserDirsFileThatIsAPipeDoesNotBlock) {
  ASSERT_EQ(::mkfifo(temp.path(".config/user-dirs.dirs").c_str(), 0600), 0);
  EXPECT_EQ(folders.templatesFolder(), "");
}

TEST(UserDatabase, GivesAnAbsoluteHomeOrNone) {
  const std::string home = homeFromUserDatabase();
  EXPECT_TRUE(home.empty() || home.front() == '/') << home;
}

TEST(ProcessEnvironment, TellsUnsetFromEmpty) {
  const auto environment = processEnvironment();
  ::setenv("RELAYBIRD_TEST_EMPTY", "", 1);
  EXPECT_EQ(environment("RELAYBIRD_TEST_EMPTY"), "");
  ::unsetenv("RELAYBIRD_TEST_EMPTY");
  EXPECT_EQ(environment("RELAYBIRD_TEST_EMPTY"), std::nullopt);
}

}  // namespace
}  // namespace relaybird
