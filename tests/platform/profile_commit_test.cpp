// SPDX-License-Identifier: MIT
// The file after a commit that fails, and two writers at the same time. Real files: every step of a
// commit fails or is the last one before a kill, and child processes are the second writer.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <iostream>

#include "platform/posix/posix_clock.h"
#include "platform/posix/posix_file_system.h"
#include "platform/profile/profile_file.h"
#include "support/fake_clock.h"
#include "support/faulty_file_system.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

namespace fs = std::filesystem;

const std::string kOld = "; settings\r\n[default]\r\na=1\r\nb=2\r\n";
const std::string kNew = "; settings\r\n[default]\r\na=1\r\nb=three\r\nc=4\r\n";

class ProfileCommit : public testing::Test {
 protected:
  void SetUp() override { writeBytes(file, kOld); }

  std::unique_ptr<ProfileWriter> change() {
    auto writer = profiles.write(file);
    EXPECT_TRUE(writer->set("default", "b", "three"));
    EXPECT_TRUE(writer->set("default", "c", "4"));
    return writer;
  }
  std::size_t stepsOfACommit() {
    EXPECT_TRUE(change()->commit());
    const std::size_t steps = files.steps();
    writeBytes(file, kOld);
    files.reset();
    return steps;
  }
  std::size_t filesInFolder() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(temp.path()), fs::directory_iterator()));
  }

  FakeClock clock;
  RecordingSleeper sleeper{clock};
  PosixFileSystem disk{sleeper};
  FaultyFileSystem files{disk};
  ProfileFile profiles{files};
  TempFolder temp;
  std::string file = temp.path("rbx_prefs.ini");
};

TEST_F(ProfileCommit, WritesBesideSyncsRenamesAndSyncsTheFolder) {
  EXPECT_TRUE(change()->commit());
  const std::string part = file + ".1.tmp";
  EXPECT_EQ(
      files.record(),
      (std::vector<std::string>{
          "create " + part, "write " + part + " " + std::to_string(kNew.size()), "sync " + part,
          "close " + part, "rename " + part + ' ' + file, "syncFolder " + temp.path()}));
  EXPECT_EQ(readBytes(file), kNew);
}

TEST_F(ProfileCommit, AFailureOfAnyStepLeavesAWholeFileAndATriedAgainCommitWorks) {
  const std::size_t steps = stepsOfACommit();
  std::size_t points = 0;
  for (const int code : {ENOSPC, EIO, EACCES}) {
    for (const bool lasting : {false, true}) {
      for (const bool tear : {false, true}) {
        for (std::size_t step = 1; step <= steps; ++step, ++points) {
          writeBytes(file, kOld);
          files.reset();
          files.tearFailingWrites(tear);
          lasting ? files.failFromStep(step, code) : files.failStep(step, code);
          const auto writer = change();
          EXPECT_FALSE(writer->commit()) << step;
          EXPECT_NE(writer->error(), "");
          EXPECT_EQ(readBytes(file), step == steps ? kNew : kOld) << step;
          if (!lasting) {
            EXPECT_EQ(filesInFolder(), 1u) << step;
          }
          files.reset();
          EXPECT_TRUE(writer->commit()) << writer->error();
          EXPECT_EQ(readBytes(file), kNew);
          EXPECT_EQ(filesInFolder(), 1u) << step;
        }
      }
    }
  }
  RecordProperty("fault points", static_cast<int>(points));
  std::cout << points << " fault points covered (" << steps << " steps)\n";
}

TEST_F(ProfileCommit, AKillBeforeAnyStepLeavesTheOldOrTheNewFile) {
  const std::size_t steps = stepsOfACommit();
  std::size_t points = 0;
  for (const bool tear : {false, true}) {
    for (std::size_t step = 1; step <= steps; ++step, ++points) {
      writeBytes(file, kOld);
      files.reset();
      const pid_t child = ::fork();
      ASSERT_GE(child, 0);
      if (child == 0) {
        files.hookBefore(
            step, [] { ::raise(SIGKILL); }, tear);
        (void)change()->commit();
        ::_exit(0);
      }
      int status = 0;
      ASSERT_EQ(::waitpid(child, &status, 0), child);
      ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << step;
      EXPECT_EQ(readBytes(file), step == steps ? kNew : kOld) << step;
      // The next commit is not disturbed by the leftovers, and removes them.
      const auto writer = change();
      EXPECT_TRUE(writer->commit()) << writer->error();
      EXPECT_TRUE(change()->commit());
      EXPECT_EQ(readBytes(file), kNew);
      EXPECT_EQ(filesInFolder(), 1u) << step;
    }
  }
  RecordProperty("kill points", static_cast<int>(points));
  std::cout << points << " kill points covered (" << steps << " steps)\n";
}

TEST_F(ProfileCommit, AWriterSeesWhatOthersHaveWrittenSince) {
  const auto first = profiles.write(file);
  const auto second = profiles.write(file);
  EXPECT_TRUE(first->set("default", "a", "first"));
  EXPECT_TRUE(second->set("default", "b", "second"));
  EXPECT_TRUE(first->commit());
  EXPECT_TRUE(second->commit());
  EXPECT_EQ(readBytes(file), "; settings\r\n[default]\r\na=first\r\nb=second\r\n");
}

TEST_F(ProfileCommit, TwoProcessesLoseNoKeysOfEachOther) {
  constexpr int kKeys = 60;
  const auto writeKeys = [&](const std::string& name) {
    PosixSleeper real;
    PosixFileSystem ownDisk(real);
    ProfileFile own(ownDisk);
    for (int i = 0; i < kKeys; ++i) {
      const auto writer = own.write(file);
      if (!writer->set("default", name + std::to_string(i), std::to_string(i))) {
        return false;
      }
      if (!writer->commit()) {
        return false;
      }
    }
    return true;
  };
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    ::_exit(writeKeys("child") ? 0 : 1);
  }
  const bool done = writeKeys("parent");
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(done);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  const auto reader = profiles.read(file);
  for (int i = 0; i < kKeys; ++i) {
    EXPECT_EQ(reader->get("default", "child" + std::to_string(i), "lost"), std::to_string(i));
    EXPECT_EQ(reader->get("default", "parent" + std::to_string(i), "lost"), std::to_string(i));
  }
  EXPECT_EQ(filesInFolder(), 1u);
}

TEST_F(ProfileCommit, ALockedFolderIsAnErrorAfterTheWait) {
  const auto lock = disk.lockFolder(temp.path());
  ASSERT_TRUE(lock);
  const auto writer = change();
  EXPECT_FALSE(writer->commit());
  EXPECT_NE(writer->error().find(temp.path()), std::string::npos) << writer->error();
  EXPECT_EQ(clock.elapsed(), kFolderLockPatience);
  EXPECT_EQ(readBytes(file), kOld);
}

class ProfileObstacle : public ProfileCommit {
 protected:
  void expectRefused(const std::string& path) {
    const auto writer = profiles.write(path);
    EXPECT_TRUE(writer->set("default", "a", "1"));
    EXPECT_FALSE(writer->commit());
    EXPECT_NE(writer->error().find(path), std::string::npos) << writer->error();
    EXPECT_EQ(profiles.read(path)->get("default", "a", "none"), "none");
    EXPECT_EQ(files.steps(), 0u);
  }
};

TEST_F(ProfileObstacle, AFolderOfTheName) {
  fs::create_directory(temp.path("folder"));
  expectRefused(temp.path("folder"));
}

TEST_F(ProfileObstacle, APipeOfTheNameDoesNotBlock) {
  ASSERT_EQ(::mkfifo(temp.path("pipe").c_str(), 0600), 0);
  expectRefused(temp.path("pipe"));
}

TEST_F(ProfileObstacle, ALinkStaysAndTheFileItLeadsToIsReadAndReplaced) {
  writeBytes(temp.path("elsewhere"), "[default]\r\na=0\r\n");
  fs::create_symlink("elsewhere", temp.path("link"));
  EXPECT_EQ(profiles.read(temp.path("link"))->get("default", "a", "none"), "0");
  const auto writer = profiles.write(temp.path("link"));
  EXPECT_TRUE(writer->set("default", "a", "1"));
  EXPECT_TRUE(writer->commit());
  EXPECT_TRUE(fs::is_symlink(temp.path("link")));
  EXPECT_EQ(readBytes(temp.path("elsewhere")), "[default]\r\na=1\r\n");
}

TEST_F(ProfileObstacle, ALinkThatLeadsNowhereIsReportedAndKept) {
  fs::create_symlink("nowhere", temp.path("link"));
  EXPECT_EQ(profiles.read(temp.path("link"))->get("default", "a", "none"), "none");
  const auto writer = profiles.write(temp.path("link"));
  EXPECT_TRUE(writer->set("default", "a", "1"));
  EXPECT_FALSE(writer->commit());
  EXPECT_NE(writer->error(), "");
  EXPECT_TRUE(fs::is_symlink(temp.path("link")));
}

TEST_F(ProfileObstacle, AMissingFolder) {
  const auto writer = profiles.write(temp.path("missing/rbx.ini"));
  EXPECT_TRUE(writer->set("default", "a", "1"));
  EXPECT_FALSE(writer->commit());
  EXPECT_NE(writer->error().find("missing"), std::string::npos);
}

TEST_F(ProfileObstacle, AFileThatCannotBeReadIsNotTakenForAnEmptyOne) {
  fs::permissions(file, fs::perms::none);
  if (::geteuid() == 0) {
    // Root ignores mode bits: read as another user, in a child process.
    fs::permissions(temp.path(), fs::perms::all);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      if (::setuid(65534) != 0) {
        ::_exit(2);
      }
      ::_exit(change()->commit() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
  } else {
    EXPECT_FALSE(change()->commit());
  }
  fs::permissions(file, fs::perms::owner_all);
  EXPECT_EQ(readBytes(file), kOld);
}

TEST_F(ProfileObstacle, AHugeFileIsRefused) {
  fs::resize_file(file, kProfileFileLimit + 1);
  expectRefused(file);
  EXPECT_EQ(fs::file_size(file), kProfileFileLimit + 1);
}

TEST_F(ProfileObstacle, AFileIsNotGrownBeyondTheLimit) {
  const std::string full = kOld + ';' + std::string(kProfileFileLimit - kOld.size() - 1, 'x');
  writeBytes(file, full);
  EXPECT_FALSE(change()->commit());
  EXPECT_EQ(readBytes(file) == full, true);
}

TEST_F(ProfileObstacle, BinaryNoiseIsKept) {
  std::string noise;
  unsigned state = 1;
  for (int i = 0; i < 100000; ++i) {
    state = state * 1664525u + 1013904223u;
    noise += static_cast<char>(state >> 24);
  }
  noise += "\n";
  writeBytes(file, noise);
  EXPECT_TRUE(change()->commit());
  EXPECT_TRUE(readBytes(file).starts_with(noise));
  EXPECT_EQ(profiles.read(file)->get("default", "b", "none"), "three");
}

TEST_F(ProfileCommit, ALargeFileWithManyKeysIsReadOnceAndAsked) {
  constexpr int kKeys = 30000;
  std::string text = "[default]\n";
  for (int i = 0; text.size() < 10u << 20; ++i) {
    text += "a rather long name that many keys have in common " + std::to_string(i) + "=v" +
            std::to_string(i) + '\n';
  }
  writeBytes(file, text);
  const auto reader = profiles.read(file);
  const auto writer = profiles.write(file);
  for (int i = 0; i < kKeys; ++i) {
    const std::string key = "A rather long name that many keys have in common " + std::to_string(i);
    ASSERT_EQ(reader->get("default", key, ""), 'v' + std::to_string(i));
    ASSERT_EQ(reader->get("default", "no " + key, "none"), "none");
    ASSERT_TRUE(writer->set("default", key, "w"));
    ASSERT_TRUE(writer->set("other", key, "new"));
  }
  ASSERT_TRUE(writer->commit()) << writer->error();
  // Look-ups that searched the whole file each time would take hours and exceed the time limit.
  EXPECT_EQ(
      profiles.read(file)->get("other", "A RATHER LONG NAME THAT MANY KEYS HAVE IN COMMON 7", ""),
      "new");
}

}  // namespace
}  // namespace relaybird
