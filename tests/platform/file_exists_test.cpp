// SPDX-License-Identifier: MIT
#include "platform/system/file_exists.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "platform/posix/posix_file_system.h"
#include "support/fake_clock.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

class FileExistsTest : public testing::Test {
 protected:
  bool exists(const std::string& name) { return FileExists(files_, temp_.path(name)); }
  void link(const std::string& target, const std::string& name) {
    std::filesystem::create_symlink(target, temp_.path(name));
  }

  FakeClock clock_;
  RecordingSleeper sleeper_{clock_};
  PosixFileSystem files_{sleeper_};
  TempFolder temp_;
};

TEST_F(FileExistsTest, ARegularFileExists) {
  writeBytes(temp_.path("rbx.chm"), "");
  EXPECT_TRUE(exists("rbx.chm"));
  EXPECT_FALSE(exists("other.chm"));
}

TEST_F(FileExistsTest, AFolderIsNoFile) {
  std::filesystem::create_directory(temp_.path("rbx.chm"));
  EXPECT_FALSE(exists("rbx.chm"));
}

TEST_F(FileExistsTest, ALinkIsWhatItLeadsTo) {
  writeBytes(temp_.path("file"), "x");
  link("file", "link");
  link("link", "link to a link");
  link(temp_.path(), "to a folder");
  link("gone", "to nothing");
  link("circle", "circle");
  EXPECT_TRUE(exists("link"));
  EXPECT_TRUE(exists("link to a link"));
  EXPECT_FALSE(exists("to a folder"));
  EXPECT_FALSE(exists("to nothing"));
  EXPECT_FALSE(exists("circle"));
}

TEST_F(FileExistsTest, AnEmptyNameAndOneThatHoldsANulAreNoFiles) {
  writeBytes(temp_.path("file"), "x");
  EXPECT_FALSE(FileExists(files_, ""));
  EXPECT_FALSE(exists(std::string("file\0tail", 9)));
}

}  // namespace
}  // namespace relaybird
