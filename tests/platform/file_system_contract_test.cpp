// SPDX-License-Identifier: MIT
// What every implementation of the disk promises, over real files. What only one kind of system has
// (links, pipes, the rights of others, sharing) is tested with that system's implementation.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <vector>

#include "platform/file_system.h"
#include "support/fake_clock.h"
#include "support/faulty_file_system.h"
#include "support/system_files.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

class FileSystemContract : public testing::Test {
 protected:
  FakeClock clock;
  RecordingSleeper sleeper{clock};
  SystemFiles files{sleeper};
  TempFolder temp;
};

template <class T>
int codeOf(const Result<T>& result) {
  return result ? 0 : result.error().code;
}

TEST_F(FileSystemContract, InspectTellsTypeSizeTimeAndIdentity) {
  writeBytes(temp.path("file"), "12345");
  writeBytes(temp.path("other"), "");
  const auto before = std::chrono::system_clock::now();
  const auto file = files.inspect(temp.path("file"));
  ASSERT_TRUE(file);
  EXPECT_EQ(file->type, FileType::kRegular);
  EXPECT_EQ(file->size, 5u);
  EXPECT_LT(std::chrono::abs(file->modified - before), std::chrono::minutes(1));
  EXPECT_NE(file->inode, 0u);
  EXPECT_NE(file->inode, files.inspect(temp.path("other"))->inode);
  EXPECT_EQ(file->device, files.inspect(temp.path("other"))->device);
  ASSERT_TRUE(files.rename(temp.path("file"), temp.path("moved")));
  EXPECT_EQ(files.inspect(temp.path("moved"))->inode, file->inode);
  EXPECT_EQ(files.inspect(temp.path())->type, FileType::kFolder);
  EXPECT_EQ(codeOf(files.inspect(temp.path("missing"))), ENOENT);
  EXPECT_EQ(codeOf(files.inspect(temp.path("missing/file"))), ENOENT);
}

TEST_F(FileSystemContract, ErrorsNameTheFileAndGiveAReason) {
  const auto missing = files.open(temp.path("missing"));
  ASSERT_FALSE(missing);
  const std::string beginning = "Cannot open " + temp.path("missing") + ": ";
  EXPECT_EQ(missing.error().text.substr(0, beginning.size()), beginning);
  const std::string words = missing.error().text.substr(beginning.size());
  EXPECT_GT(words.size(), 5u);
  EXPECT_EQ(words.find_first_of("\r\n"), std::string::npos);
  EXPECT_NE(words.back(), '.');
}

TEST_F(FileSystemContract, ListsNamesWithTheirTypes) {
  writeBytes(temp.path("file"), "");
  writeBytes(temp.path(".hidden"), "");
  fs::create_directory(temp.path("folder"));
  writeBytes(temp.path("folder/inner"), "");
  auto entries = files.list(temp.path());
  ASSERT_TRUE(entries);
  std::sort(entries->begin(), entries->end(),
            [](const auto& left, const auto& right) { return left.name < right.name; });
  std::vector<std::pair<std::string, FileType>> seen;
  for (const auto& entry : *entries) {
    seen.emplace_back(entry.name, entry.type);
  }
  EXPECT_EQ(seen, (std::vector<std::pair<std::string, FileType>>{{".hidden", FileType::kRegular},
                                                                 {"file", FileType::kRegular},
                                                                 {"folder", FileType::kFolder}}));
  ASSERT_TRUE(files.createFolder(temp.path("empty")));
  EXPECT_TRUE(files.list(temp.path("empty"))->empty());
  EXPECT_EQ(codeOf(files.list(temp.path("file"))), ENOTDIR);
  EXPECT_EQ(codeOf(files.list(temp.path("missing"))), ENOENT);
}

TEST_F(FileSystemContract, NamesOfAnyCharactersComeBackAsTheyWere) {
  for (const std::string name :
       {"J\u00f6rg \u20ac.txt", "\u4e2d\u6587", "\U0001F426 bird", "a b"}) {
    const std::string path = temp.path(name);
    ASSERT_TRUE(replaceFile(files, path, name)) << name;
    EXPECT_EQ(*readFile(files, path, 100), name);
    const auto entries = files.list(temp.path());
    ASSERT_TRUE(entries);
    ASSERT_EQ(entries->size(), 1u);
    EXPECT_EQ(entries->front().name, name);
    EXPECT_TRUE(files.remove(path));
  }
}

TEST_F(FileSystemContract, OpensRegularFilesOnly) {
  writeBytes(temp.path("file"), "x");
  EXPECT_TRUE(files.open(temp.path("file")));
  EXPECT_EQ(codeOf(files.open(temp.path())), EISDIR);
  EXPECT_EQ(codeOf(files.append(temp.path())), EISDIR);
  EXPECT_EQ(codeOf(files.open(temp.path("missing"))), ENOENT);
  EXPECT_EQ(codeOf(files.append(temp.path("missing/file"))), ENOENT);
}

TEST_F(FileSystemContract, ReadsAnyPartOfAFile) {
  writeBytes(temp.path("file"), "0123456789");
  auto file = files.open(temp.path("file"));
  ASSERT_TRUE(file);
  EXPECT_EQ((*file)->info().size, 10u);
  char buffer[8] = {};
  EXPECT_EQ(*(*file)->readAt(4, buffer, 4), 4u);
  EXPECT_EQ(std::string(buffer, 4), "4567");
  EXPECT_EQ(*(*file)->readAt(8, buffer, 8), 2u);
  EXPECT_EQ(*(*file)->readAt(10, buffer, 8), 0u);
  EXPECT_EQ(*(*file)->readAt(1000, buffer, 8), 0u);
  EXPECT_EQ(*(*file)->readAt(~std::uint64_t{0}, buffer, 8), 0u);
  EXPECT_EQ(*(*file)->readAt(0, buffer, 1), 1u);
  EXPECT_EQ(buffer[0], '0');
}

TEST_F(FileSystemContract, CreateWantsAFreeName) {
  auto file = files.create(temp.path("file"));
  ASSERT_TRUE(file);
  EXPECT_TRUE((*file)->write("one\n"));
  EXPECT_TRUE((*file)->write(""));
  EXPECT_TRUE((*file)->write("two"));
  EXPECT_TRUE((*file)->sync());
  EXPECT_TRUE((*file)->close());
  EXPECT_EQ(readBytes(temp.path("file")), "one\ntwo");
  EXPECT_EQ(codeOf((*file)->write("late")), EBADF);
  EXPECT_EQ(codeOf((*file)->sync()), EBADF);
  EXPECT_EQ(codeOf(files.create(temp.path("file"))), EEXIST);
  EXPECT_EQ(readBytes(temp.path("file")), "one\ntwo");
  ASSERT_TRUE(files.createFolder(temp.path("folder")));
  EXPECT_EQ(codeOf(files.create(temp.path("folder"))), EEXIST);
  EXPECT_EQ(codeOf(files.create(temp.path("missing/file"))), ENOENT);
}

TEST_F(FileSystemContract, AppendAddsAtTheEndWhoeverElseWrites) {
  auto first = files.append(temp.path("file"));
  auto second = files.append(temp.path("file"));
  ASSERT_TRUE(first && second);
  EXPECT_TRUE((*first)->write("a"));
  EXPECT_TRUE((*second)->write("b"));
  EXPECT_TRUE((*first)->write("c"));
  EXPECT_TRUE((*first)->sync());
  EXPECT_EQ(readBytes(temp.path("file")), "abc");
}

TEST_F(FileSystemContract, AFileThatIsOpenCanBeMovedAndRemoved) {
  writeBytes(temp.path("file"), "old");
  const auto open = files.open(temp.path("file"));
  ASSERT_TRUE(open);
  EXPECT_TRUE(files.rename(temp.path("file"), temp.path("moved")));
  EXPECT_TRUE(files.remove(temp.path("moved")));
  char buffer[8] = {};
  EXPECT_EQ(*(*open)->readAt(0, buffer, 8), 3u);
}

TEST_F(FileSystemContract, RenameReplacesAFile) {
  writeBytes(temp.path("old"), "new text");
  writeBytes(temp.path("file"), "old text");
  EXPECT_TRUE(files.rename(temp.path("old"), temp.path("file")));
  EXPECT_EQ(readBytes(temp.path("file")), "new text");
  EXPECT_EQ(codeOf(files.inspect(temp.path("old"))), ENOENT);
  EXPECT_EQ(codeOf(files.rename(temp.path("missing"), temp.path("file"))), ENOENT);
  EXPECT_EQ(codeOf(files.rename(temp.path("file"), temp.path("missing/file"))), ENOENT);
  EXPECT_EQ(readBytes(temp.path("file")), "new text");
}

TEST_F(FileSystemContract, RemoveTakesFilesOnly) {
  writeBytes(temp.path("file"), "");
  EXPECT_TRUE(files.remove(temp.path("file")));
  EXPECT_EQ(codeOf(files.remove(temp.path("file"))), ENOENT);
  ASSERT_TRUE(files.createFolder(temp.path("folder")));
  EXPECT_EQ(codeOf(files.remove(temp.path("folder"))), EISDIR);
  EXPECT_EQ(files.inspect(temp.path("folder"))->type, FileType::kFolder);
}

TEST_F(FileSystemContract, AFolderIsMadeOnceAndInAnExistingFolder) {
  EXPECT_TRUE(files.createFolder(temp.path("folder")));
  EXPECT_EQ(codeOf(files.createFolder(temp.path("folder"))), EEXIST);
  writeBytes(temp.path("file"), "");
  EXPECT_EQ(codeOf(files.createFolder(temp.path("file"))), EEXIST);
  EXPECT_EQ(codeOf(files.createFolder(temp.path("missing/folder"))), ENOENT);
  EXPECT_TRUE(files.syncFolder(temp.path("folder")));
  EXPECT_EQ(codeOf(files.syncFolder(temp.path("missing"))), ENOENT);
  EXPECT_EQ(codeOf(files.syncFolder(temp.path("file"))), ENOTDIR);
}

TEST_F(FileSystemContract, ANulInAPathIsRefused) {
  writeBytes(temp.path("file"), "kept");
  const std::string bad = temp.path("file") + "\0.tmp"s;
  EXPECT_EQ(codeOf(files.inspect(bad)), EINVAL);
  EXPECT_EQ(codeOf(files.resolve(bad)), EINVAL);
  EXPECT_EQ(codeOf(files.inspectTarget(bad)), EINVAL);
  EXPECT_EQ(codeOf(files.mayWrite(bad)), EINVAL);
  EXPECT_EQ(codeOf(files.list(bad)), EINVAL);
  EXPECT_EQ(codeOf(files.open(bad)), EINVAL);
  EXPECT_EQ(codeOf(files.create(bad)), EINVAL);
  EXPECT_EQ(codeOf(files.append(bad)), EINVAL);
  EXPECT_EQ(codeOf(files.remove(bad)), EINVAL);
  EXPECT_EQ(codeOf(files.rename(temp.path("file"), bad)), EINVAL);
  EXPECT_EQ(codeOf(files.rename(bad, temp.path("file"))), EINVAL);
  EXPECT_EQ(codeOf(files.createFolder(bad)), EINVAL);
  EXPECT_EQ(codeOf(files.syncFolder(bad)), EINVAL);
  EXPECT_EQ(codeOf(files.lockFolder(bad)), EINVAL);
  EXPECT_EQ(readBytes(temp.path("file")), "kept");
}

TEST_F(FileSystemContract, AReadOnlyFileMayNotBeChangedEvenByWhoCould) {
  writeBytes(temp.path("file"), "12345");
  EXPECT_TRUE(files.mayWrite(temp.path("file")));
  fs::permissions(temp.path("file"), fs::perms::owner_read);
  EXPECT_EQ(codeOf(files.mayWrite(temp.path("file"))), EACCES);
  EXPECT_EQ(codeOf(files.mayWrite(temp.path("missing"))), ENOENT);
  fs::permissions(temp.path("file"), fs::perms::owner_all);
}

TEST_F(FileSystemContract, AMissingNameStandsForItself) {
  EXPECT_EQ(*files.resolve(temp.path("missing")), temp.path("missing"));
  writeBytes(temp.path("file"), "");
  const auto found = files.resolve(temp.path("file"));
  ASSERT_TRUE(found);
  EXPECT_EQ(files.inspect(*found)->inode, files.inspect(temp.path("file"))->inode);
}

TEST_F(FileSystemContract, WhatIsNoLinkIsItsOwnTarget) {
  writeBytes(temp.path("file"), "12345");
  EXPECT_EQ(files.inspectTarget(temp.path("file"))->size, 5u);
  EXPECT_EQ(files.inspectTarget(temp.path("file"))->inode, files.inspect(temp.path("file"))->inode);
  EXPECT_EQ(files.inspectTarget(temp.path())->type, FileType::kFolder);
  EXPECT_EQ(codeOf(files.inspectTarget(temp.path("missing"))), ENOENT);
}

TEST_F(FileSystemContract, AFolderLockExcludesOthersUntilItGoes) {
  auto lock = files.lockFolder(temp.path());
  ASSERT_TRUE(lock);
  EXPECT_EQ(codeOf(files.lockFolder(temp.path())), EWOULDBLOCK);
  EXPECT_EQ(clock.elapsed(), kFolderLockPatience);
  EXPECT_EQ(codeOf(files.tryLockFolder(temp.path())), EWOULDBLOCK);
  EXPECT_EQ(clock.elapsed(), kFolderLockPatience);
  lock->reset();
  EXPECT_TRUE(files.lockFolder(temp.path()));
  EXPECT_TRUE(fs::is_empty(temp.path()));
  EXPECT_EQ(codeOf(files.lockFolder(temp.path("missing"))), ENOENT);
  writeBytes(temp.path("file"), "");
  EXPECT_EQ(codeOf(files.lockFolder(temp.path("file"))), ENOTDIR);
}

TEST_F(FileSystemContract, AFolderLockWaitsForTheOtherHolder) {
  class LettingGo : public Sleeper {
   public:
    void sleep(std::chrono::milliseconds) override {
      if (++naps == 3) {
        lock.reset();
      }
    }
    int naps = 0;
    std::unique_ptr<FolderLock> lock;
  } lettingGo;
  lettingGo.lock = std::move(*files.lockFolder(temp.path()));
  SystemFiles other(lettingGo);
  EXPECT_TRUE(other.lockFolder(temp.path()));
  EXPECT_EQ(lettingGo.naps, 3);
}

TEST_F(FileSystemContract, ReadFileStopsAtTheLimit) {
  const std::string text(200000, 'x');
  writeBytes(temp.path("file"), text);
  EXPECT_EQ(*readFile(files, temp.path("file"), 1u << 20), text);
  EXPECT_EQ(readFile(files, temp.path("file"), 100)->size(), 100u);
  EXPECT_EQ(*readFile(files, temp.path("file"), 0), "");
  EXPECT_EQ(codeOf(readFile(files, temp.path("missing"), 10)), ENOENT);
}

TEST_F(FileSystemContract, ReplaceFileCopesWithNamesThatACrashLeft) {
  writeBytes(temp.path("file"), "old");
  writeBytes(temporaryName(temp.path("file"), 1), "left behind");
  fs::create_directory(temporaryName(temp.path("file"), 2));
  EXPECT_TRUE(replaceFile(files, temp.path("file"), "new"));
  EXPECT_EQ(readBytes(temp.path("file")), "new");
  EXPECT_EQ(readBytes(temporaryName(temp.path("file"), 1)), "left behind");
  EXPECT_FALSE(fs::exists(temporaryName(temp.path("file"), 3)));
}

TEST_F(FileSystemContract, ReplaceFileCleansUpAfterEveryFailure) {
  FaultyFileSystem faulty(files);
  for (std::size_t step = 1; step <= 5; ++step) {
    writeBytes(temp.path("file"), "old");
    faulty.reset();
    faulty.failStep(step, ENOSPC);
    EXPECT_EQ(codeOf(replaceFile(faulty, temp.path("file"), "new")), ENOSPC) << step;
    EXPECT_EQ(readBytes(temp.path("file")), "old");
    EXPECT_FALSE(fs::exists(temporaryName(temp.path("file"), 1))) << step;
  }
  EXPECT_FALSE(replaceFile(files, temp.path(), "new"));  // a folder has the name
  EXPECT_EQ(fs::exists(temp.path() + ".1.tmp"), false);
  EXPECT_EQ(clock.elapsed(), std::chrono::milliseconds(0)) << "a folder does not go away";
}

}  // namespace
}  // namespace relaybird
