// SPDX-License-Identifier: MIT
// The calls that consist of several steps of a disk: making the folders of a path, and whether a
// file exists. Over real folders, some of them changed by another process meanwhile.
#include "platform/file_system.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <map>

#include "support/fake_clock.h"
#include "support/faulty_file_system.h"
#include "support/no_disk.h"
#include "support/system_files.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

namespace fs = std::filesystem;

class FolderCheck : public testing::Test {
 protected:
  FakeClock clock;
  RecordingSleeper sleeper{clock};
  SystemFiles disk{sleeper};
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
  for (const char* path : {"", "file.ini", "/", "/file.ini"}) {
    EXPECT_FALSE(MakeFolderPath(files, path)) << path;
  }
  EXPECT_FALSE(MakeFolderPath(files, "c:\\file.ini", PathStyle::kPosix));
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

TEST_F(FolderCheck, AnEndlessPathIsFalseAtOnce) {
  std::string path = temp.path();
  for (int i = 0; i < 200000; ++i) {
    path += "/a";
  }
  EXPECT_FALSE(MakeFolderPath(files, path));
  EXPECT_TRUE(fs::is_empty(temp.path()));
}

// A disk on which a name and the name with "\\." behind it are the same: Windows drops the point
// before it opens anything.
class DiskWithJunctions : public NoFiles {
 public:
  Result<FileInfo> inspect(const std::string& path) override {
    const std::string name = path.ends_with("\\.") ? path.substr(0, path.size() - 2) : path;
    const auto found = entries.find(name);
    if (found == entries.end()) {
      return NoFiles::inspect(name);
    }
    FileInfo info;
    info.type = found->second.empty() ? FileType::kFolder : FileType::kLink;
    return info;
  }
  Result<std::string> resolve(const std::string& path) override {
    const auto found = entries.find(path);
    const bool leads = found != entries.end() && entries.contains(found->second);
    return leads ? found->second : path;
  }

  std::map<std::string, std::string> entries;  // where they lead; empty: a folder
};

// The settings behind a junction were ignored.
TEST(FolderCheckOnWindows, AJunctionIsTheFolderThatItLeadsTo) {
  DiskWithJunctions files;
  files.entries = {
      {"D:\\kept", ""}, {"C:\\Roaming\\rbx", "D:\\kept"}, {"C:\\Roaming\\broken", "E:\\gone"}};
  EXPECT_TRUE(MakeFolderPath(files, "C:\\Roaming\\rbx\\rbx_prefs.ini", PathStyle::kWindows));
  EXPECT_FALSE(MakeFolderPath(files, "C:\\Roaming\\broken\\file", PathStyle::kWindows));
}

class FileExistsTest : public testing::Test {
 protected:
  bool exists(const std::string& name) { return FileExists(files_, temp_.path(name)); }

  FakeClock clock_;
  RecordingSleeper sleeper_{clock_};
  SystemFiles files_{sleeper_};
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

TEST_F(FileExistsTest, AnEmptyNameAndOneThatHoldsANulAreNoFiles) {
  writeBytes(temp_.path("file"), "x");
  EXPECT_FALSE(FileExists(files_, ""));
  EXPECT_FALSE(exists(std::string("file\0tail", 9)));
}

}  // namespace
}  // namespace relaybird
