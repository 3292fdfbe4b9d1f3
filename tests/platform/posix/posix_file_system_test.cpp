// SPDX-License-Identifier: MIT
// The disk by system calls, over real files: types, permissions, links, pipes, locks, a full disk
// (/dev/full). The end of the file replaces files while single steps fail.
#include "platform/posix/posix_file_system.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "support/fake_clock.h"
#include "support/faulty_file_system.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

class PosixFiles : public testing::Test {
 protected:
  FakeClock clock;
  RecordingSleeper sleeper{clock};
  PosixFileSystem files{sleeper};
  TempFolder temp;
};

template <class T>
int codeOf(const Result<T>& result) {
  return result ? 0 : result.error().code;
}

TEST_F(PosixFiles, InspectTellsTypeSizeAndTimeAndDoesNotFollowLinks) {
  writeBytes(temp.path("file"), "12345");
  fs::create_symlink("file", temp.path("link"));
  const auto file = files.inspect(temp.path("file"));
  ASSERT_TRUE(file);
  EXPECT_EQ(file->type, FileType::kRegular);
  EXPECT_EQ(file->size, 5u);
  EXPECT_NE(file->inode, 0u);
  const timespec when[2] = {{1000000000, 0}, {1000000000, 123456789}};
  ASSERT_EQ(::utimensat(AT_FDCWD, temp.path("file").c_str(), when, 0), 0);
  EXPECT_EQ(files.inspect(temp.path("file"))->modified,
            makeTime(2001, 9, 9, 1, 46, 40) + std::chrono::microseconds(123456));
  EXPECT_EQ(files.inspect(temp.path("link"))->type, FileType::kLink);
  EXPECT_EQ(files.inspect(temp.path())->type, FileType::kFolder);
  EXPECT_EQ(files.inspect("/dev/null")->type, FileType::kOther);
  EXPECT_EQ(codeOf(files.inspect(temp.path("missing"))), ENOENT);
}

TEST_F(PosixFiles, AFileWithoutTheRightToWriteMayNotBeChangedEvenByTheSuperuser) {
  writeBytes(temp.path("file"), "12345");
  fs::create_symlink("file", temp.path("link"));
  EXPECT_TRUE(files.mayWrite(temp.path("file")));
  EXPECT_TRUE(files.mayWrite(temp.path("link")));
  ASSERT_EQ(::chmod(temp.path("file").c_str(), 0444), 0);
  EXPECT_EQ(codeOf(files.mayWrite(temp.path("file"))), EACCES);
  EXPECT_EQ(codeOf(files.mayWrite(temp.path("link"))), EACCES);
  EXPECT_EQ(codeOf(files.mayWrite(temp.path("missing"))), ENOENT);
  EXPECT_EQ(codeOf(files.mayWrite("a\0b"s)), EINVAL);
}

TEST_F(PosixFiles, ErrorsNameTheFileAndTheReason) {
  const auto missing = files.open(temp.path("missing"));
  ASSERT_FALSE(missing);
  EXPECT_EQ(missing.error().text,
            "Cannot open " + temp.path("missing") + ": " + std::strerror(ENOENT));
}

TEST_F(PosixFiles, ListsNamesWithTheirTypes) {
  writeBytes(temp.path("file"), "");
  writeBytes(temp.path(".hidden"), "");
  fs::create_directory(temp.path("folder"));
  fs::create_symlink("nowhere", temp.path("link"));
  ASSERT_EQ(::mkfifo(temp.path("pipe").c_str(), 0600), 0);
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
                                                                 {"folder", FileType::kFolder},
                                                                 {"link", FileType::kLink},
                                                                 {"pipe", FileType::kOther}}));
  EXPECT_EQ(codeOf(files.list(temp.path("file"))), ENOTDIR);
  EXPECT_EQ(codeOf(files.list(temp.path("missing"))), ENOENT);
}

TEST_F(PosixFiles, OpensRegularFilesOnlyAndNeverWaits) {
  writeBytes(temp.path("file"), "x");
  fs::create_symlink("file", temp.path("link"));
  ASSERT_EQ(::mkfifo(temp.path("pipe").c_str(), 0600), 0);
  EXPECT_TRUE(files.open(temp.path("file")));
  EXPECT_EQ(codeOf(files.open(temp.path("link"))), ELOOP);
  EXPECT_EQ(codeOf(files.open(temp.path())), EISDIR);
  EXPECT_EQ(codeOf(files.open(temp.path("pipe"))), EINVAL);
  EXPECT_EQ(codeOf(files.open("/dev/zero")), EINVAL);
  EXPECT_EQ(codeOf(files.append(temp.path("link"))), ELOOP);
  EXPECT_EQ(codeOf(files.append(temp.path())), EISDIR);
  EXPECT_EQ(codeOf(files.append(temp.path("pipe"))), ENXIO);
  EXPECT_EQ(codeOf(files.append("/dev/null")), EINVAL);
}

TEST_F(PosixFiles, CreateWantsAFreeName) {
  auto file = files.create(temp.path("file"));
  ASSERT_TRUE(file);
  EXPECT_TRUE((*file)->write("one "));
  EXPECT_TRUE((*file)->write(""));
  EXPECT_TRUE((*file)->write("two"));
  EXPECT_TRUE((*file)->sync());
  EXPECT_TRUE((*file)->close());
  EXPECT_EQ(readBytes(temp.path("file")), "one two");
  EXPECT_EQ(codeOf((*file)->write("late")), EBADF);
  EXPECT_EQ(codeOf(files.create(temp.path("file"))), EEXIST);
  fs::create_symlink("nowhere", temp.path("link"));
  EXPECT_EQ(codeOf(files.create(temp.path("link"))), EEXIST);
  EXPECT_FALSE(fs::exists(temp.path("nowhere")));
}

TEST_F(PosixFiles, WhatIsMadeIsTheOwnersAloneWhateverTheUmask) {
  for (const mode_t mask : {0u, 0077u, 0777u}) {
    const mode_t before = ::umask(mask);
    const std::string name = temp.path("m" + std::to_string(mask));
    EXPECT_TRUE(files.create(name + "c"));
    EXPECT_TRUE(files.append(name + "a"));
    EXPECT_TRUE(files.createFolder(name + "f"));
    ::umask(before);
    const auto ownerFile = fs::perms::owner_read | fs::perms::owner_write;
    EXPECT_EQ(fs::status(name + "c").permissions(), ownerFile);
    EXPECT_EQ(fs::status(name + "a").permissions(), ownerFile);
    EXPECT_EQ(fs::status(name + "f").permissions(), fs::perms::owner_all);
  }
  EXPECT_TRUE(replaceFile(files, temp.path("replaced"), "x"));
  EXPECT_EQ(fs::status(temp.path("replaced")).permissions(),
            fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(codeOf(files.createFolder(temp.path("m0f"))), EEXIST);
}

TEST_F(PosixFiles, AFullDiskIsAnErrorOfTheWrite) {
  struct sigaction ignore {};
  struct sigaction before {};
  ignore.sa_handler = SIG_IGN;
  ::sigaction(SIGXFSZ, &ignore, &before);
  rlimit old{};
  ::getrlimit(RLIMIT_FSIZE, &old);
  const rlimit small{1000, old.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  auto file = files.create(temp.path("file"));
  const auto written = (*file)->write(std::string(2000, 'x'));
  ::setrlimit(RLIMIT_FSIZE, &old);
  ::sigaction(SIGXFSZ, &before, nullptr);
  EXPECT_EQ(codeOf(written), EFBIG);
  // The first, short write has filled the disk.
  EXPECT_EQ(fs::file_size(temp.path("file")), 1000u);
}

TEST_F(PosixFiles, AFolderLockExcludesOtherProcessesAndDiesWithThem) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    const auto held = files.lockFolder(temp.path());
    (void)!::write(ends[1], held ? "y" : "n", 1);
    ::pause();
    ::_exit(0);
  }
  char answer = 0;
  ASSERT_EQ(::read(ends[0], &answer, 1), 1);
  EXPECT_EQ(answer, 'y');
  EXPECT_EQ(codeOf(files.lockFolder(temp.path())), EWOULDBLOCK);
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  EXPECT_TRUE(files.lockFolder(temp.path()));
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST_F(PosixFiles, FoldersAreSyncedAndLockedThroughALinkToo) {
  fs::create_directory(temp.path("real"));
  fs::create_symlink("real", temp.path("link"));
  EXPECT_TRUE(files.syncFolder(temp.path("link")));
  EXPECT_TRUE(files.lockFolder(temp.path("link")));
  EXPECT_EQ(codeOf(files.list(temp.path("link"))), ENOTDIR);
  EXPECT_EQ(codeOf(files.syncFolder(temp.path("missing"))), ENOENT);
}

TEST_F(PosixFiles, NoCallLeaksADescriptor) {
  const auto openDescriptors = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  writeBytes(temp.path("file"), "x");
  ASSERT_EQ(::mkfifo(temp.path("pipe").c_str(), 0600), 0);
  const auto before = openDescriptors();
  for (int i = 0; i < 20; ++i) {
    (void)files.list(temp.path());
    (void)files.open(temp.path());
    (void)files.open(temp.path("pipe"));
    (void)files.open(temp.path("file"));
    (void)files.append(temp.path("file"));
    (void)files.lockFolder(temp.path());
    (void)files.syncFolder(temp.path());
    (void)replaceFile(files, temp.path("file"), "y");
  }
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(PosixFiles, AFileThatClaimsToBeEmptyIsReadToItsEnd) {
  EXPECT_EQ(files.inspect("/proc/self/status")->size, 0u);
  EXPECT_FALSE(readFile(files, "/proc/self/status", 1u << 20)->empty());
}

TEST_F(PosixFiles, ReplaceFileCopesWithNamesThatACrashLeft) {
  writeBytes(temp.path("file"), "old");
  writeBytes(temporaryName(temp.path("file"), 1), "left behind");
  fs::create_symlink("nowhere", temporaryName(temp.path("file"), 2));
  EXPECT_TRUE(replaceFile(files, temp.path("file"), "new"));
  EXPECT_EQ(readBytes(temp.path("file")), "new");
  EXPECT_EQ(readBytes(temporaryName(temp.path("file"), 1)), "left behind");
  EXPECT_FALSE(fs::exists(temporaryName(temp.path("file"), 3)));
}

TEST_F(PosixFiles, FoldersAreMadeThroughLinksToFolders) {
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

TEST_F(PosixFiles, ALinkIsLookedAtOrWhatItLeadsTo) {
  fs::create_directory(temp.path("real"));
  fs::create_symlink("real", temp.path("link"));
  fs::create_symlink("link", temp.path("link to a link"));
  fs::create_symlink("nowhere", temp.path("broken"));
  EXPECT_EQ(files.inspect(temp.path("link"))->type, FileType::kLink);
  EXPECT_EQ(files.inspectTarget(temp.path("link"))->type, FileType::kFolder);
  EXPECT_EQ(files.inspectTarget(temp.path("link to a link"))->type, FileType::kFolder);
  EXPECT_EQ(files.inspectTarget(temp.path("broken"))->type, FileType::kLink);
}

TEST_F(PosixFiles, FoldersOfAPathAreTheOwnersAloneWhateverTheUmask) {
  for (const mode_t mask : {0u, 0022u, 0777u}) {
    const mode_t before = ::umask(mask);
    const std::string folder = temp.path("umask" + std::to_string(mask));
    EXPECT_TRUE(MakeFolderPath(files, folder + "/file"));
    ::umask(before);
    EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all);
  }
}

TEST_F(PosixFiles, ALinkExistsAsWhatItLeadsTo) {
  const auto exists = [&](const char* name) { return FileExists(files, temp.path(name)); };
  const auto link = [&](const std::string& to, const char* name) {
    fs::create_symlink(to, temp.path(name));
  };
  writeBytes(temp.path("file"), "x");
  link("file", "link");
  link("link", "link to a link");
  link(temp.path(), "to a folder");
  link("gone", "to nothing");
  link("circle", "circle");
  EXPECT_TRUE(exists("link"));
  EXPECT_TRUE(exists("link to a link"));
  EXPECT_FALSE(exists("to a folder"));
  EXPECT_FALSE(exists("to nothing"));
  EXPECT_FALSE(exists("circle"));
}

}  // namespace
}  // namespace relaybird
