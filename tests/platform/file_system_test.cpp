// SPDX-License-Identifier: MIT
// The calls that consist of several steps of a disk: making the folders of a path, and whether a
// file exists. Over real folders, some of them read-only, linked or changed by another process
// meanwhile.
#include "platform/file_system.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "platform/posix/posix_file_system.h"
#include "support/fake_clock.h"
#include "support/faulty_file_system.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

namespace fs = std::filesystem;

class FolderCheck : public testing::Test {
 protected:
  FakeClock clock;
  RecordingSleeper sleeper{clock};
  PosixFileSystem disk{sleeper};
  FaultyFileSystem files{disk};
  TempFolder temp;
};

TEST_F(FolderCheck, MakesEveryMissingLevelAndNothingNamedAfterTheFile) {
  fs::create_directory(temp.path("a"));
  EXPECT_TRUE(MakeFolderPath(files, temp.path("a/b/c/file.ini")));
  EXPECT_TRUE(fs::is_directory(temp.path("a/b/c")));
  EXPECT_TRUE(fs::is_empty(temp.path("a/b/c")));
  EXPECT_EQ(files.record(),
            (std::vector<std::string>{
                "createFolder " + temp.path("a/b"), "syncFolder " + temp.path("a"),
                "createFolder " + temp.path("a/b/c"), "syncFolder " + temp.path("a/b")}));
}

TEST_F(FolderCheck, AFolderThatIsThereIsEnough) {
  EXPECT_TRUE(MakeFolderPath(files, temp.path("file.ini")));
  EXPECT_EQ(files.steps(), 0u);
}

TEST_F(FolderCheck, APathWithoutASeparatorAfterItsFirstCharacterIsFalse) {
  for (const char* path : {"", "file.ini", "/", "/file.ini", "c:\\file.ini"}) {
    EXPECT_FALSE(MakeFolderPath(files, path)) << path;
  }
  EXPECT_FALSE(MakeFolderPath(files, "\\file.ini", PathStyle::kWindows));
  EXPECT_FALSE(MakeFolderPath(files, "c:file.ini", PathStyle::kWindows));
  EXPECT_EQ(files.steps(), 0u);
}

TEST_F(FolderCheck, DoubledAndClosingSeparatorsNameNothing) {
  EXPECT_TRUE(MakeFolderPath(files, temp.path("a//b///file")));
  EXPECT_TRUE(fs::is_directory(temp.path("a/b")));
  EXPECT_TRUE(MakeFolderPath(files, temp.path("c/d/")));
  EXPECT_TRUE(fs::is_directory(temp.path("c/d")));
}

TEST_F(FolderCheck, AnObstacleOnTheWayIsFalseAndChangesNothing) {
  writeBytes(temp.path("plain"), "kept");
  EXPECT_FALSE(MakeFolderPath(files, temp.path("plain/b/file")));
  EXPECT_FALSE(MakeFolderPath(files, temp.path("plain/file")));
  EXPECT_EQ(readBytes(temp.path("plain")), "kept");
  EXPECT_EQ(files.steps(), 0u);
}

TEST_F(FolderCheck, ALinkCountsAsWhatItPointsTo) {
  fs::create_directory(temp.path("real"));
  writeBytes(temp.path("plain"), "");
  fs::create_symlink("real", temp.path("folderLink"));
  fs::create_symlink("plain", temp.path("fileLink"));
  fs::create_symlink("nowhere", temp.path("brokenLink"));
  EXPECT_TRUE(MakeFolderPath(files, temp.path("folderLink/file")));
  EXPECT_TRUE(MakeFolderPath(files, temp.path("folderLink/deeper/file")));
  EXPECT_TRUE(fs::is_directory(temp.path("real/deeper")));
  EXPECT_FALSE(MakeFolderPath(files, temp.path("fileLink/file")));
  EXPECT_FALSE(MakeFolderPath(files, temp.path("brokenLink/file")));
}

TEST_F(FolderCheck, AFolderThatCannotBeMadeIsFalse) {
  files.failStep(1, EACCES);
  EXPECT_FALSE(MakeFolderPath(files, temp.path("a/b/file")));
  EXPECT_EQ(files.steps(), 1u);
  EXPECT_TRUE(fs::is_empty(temp.path()));
}

TEST_F(FolderCheck, AnotherProcessMayBeFaster) {
  files.hookBefore(1, [&] { fs::create_directories(temp.path("a/b")); });
  EXPECT_TRUE(MakeFolderPath(files, temp.path("a/b/file")));
}

TEST_F(FolderCheck, AnotherProcessMayPutAFileThere) {
  files.hookBefore(1, [&] { writeBytes(temp.path("a"), "in the way"); });
  EXPECT_FALSE(MakeFolderPath(files, temp.path("a/file")));
}

TEST_F(FolderCheck, AFailedSyncDoesNotMatter) {
  files.failStep(2, EIO);
  EXPECT_TRUE(MakeFolderPath(files, temp.path("a/file")));
}

TEST_F(FolderCheck, FoldersAreTheOwnersAloneWhateverTheUmask) {
  for (const mode_t mask : {0u, 0022u, 0777u}) {
    const mode_t before = ::umask(mask);
    const std::string folder = temp.path("umask" + std::to_string(mask));
    EXPECT_TRUE(MakeFolderPath(files, folder + "/file"));
    ::umask(before);
    EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all);
  }
}

TEST_F(FolderCheck, AnEndlessPathIsFalseAtOnce) {
  std::string path = temp.path();
  for (int i = 0; i < 200000; ++i) {
    path += "/a";
  }
  EXPECT_FALSE(MakeFolderPath(files, path));
  EXPECT_TRUE(fs::is_empty(temp.path()));
}

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
