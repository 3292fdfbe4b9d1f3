// SPDX-License-Identifier: MIT
#include "app/instance_lock.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix/posix_file_system.h"
#include "support/fake_clock.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

class InstanceLockTest : public testing::Test {
 protected:
  auto take(const std::string& store, const std::string& place, const std::string& program) {
    return InstanceLock::take(files, temp.path("state"), {store, place}, {program, 42, "today"});
  }

  TempFolder temp;
  FakeClock clock;
  RecordingSleeper sleeper{clock};
  PosixFileSystem files{sleeper};
};

TEST_F(InstanceLockTest, ASecondOneIsToldWhoHoldsIt) {
  const auto first = take("maildir", "/home/ann/Maildir", "relaybird");
  ASSERT_TRUE(first) << first.error().text;
  const auto second = take("maildir", "/home/ann/Maildir", "relaybird-console");
  ASSERT_FALSE(second);
  EXPECT_EQ(second.error().code, EWOULDBLOCK);
  EXPECT_EQ(second.error().text,
            "The mailbox /home/ann/Maildir is in use by relaybird (process 42, since today)");
}

TEST_F(InstanceLockTest, TellsTheHoldersProcess) {
  const Mailbox mailbox{"maildir", "/a"};
  EXPECT_FALSE(InstanceLock::holder(files, temp.path("state"), mailbox));
  const auto lock = take("maildir", "/a", "relaybird");
  const auto holder = InstanceLock::holder(files, temp.path("state"), mailbox);
  ASSERT_TRUE(holder);
  EXPECT_EQ(holder->process, 42);
}

TEST_F(InstanceLockTest, DoesNotWaitWhereItIsTold) {
  const auto first = take("maildir", "/a", "one");
  EXPECT_FALSE(InstanceLock::take(files, temp.path("state"), {"maildir", "/a"}, {"two", 43, ""},
                                  InstanceLock::Wait::kNone));
  EXPECT_EQ(clock.elapsed(), std::chrono::milliseconds{0});
}

TEST_F(InstanceLockTest, OtherMailboxesAreFree) {
  const auto first = take("maildir", "/a", "one");
  EXPECT_TRUE(first);
  EXPECT_TRUE(take("maildir", "/b", "two"));
  EXPECT_TRUE(take("account", "/a", "three"));
}

TEST_F(InstanceLockTest, AnEndedOneLeavesNothingInTheWay) {
  EXPECT_TRUE(take("maildir", "/a", "one"));  // gone with its line
  EXPECT_TRUE(take("maildir", "/a", "two"));
}

TEST_F(InstanceLockTest, AKilledOneBlocksNobody) {
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    const auto lock = take("maildir", "/a", "child");
    [[maybe_unused]] const auto told = ::write(ready[1], lock ? "y" : "n", 1);
    ::pause();
    ::_exit(0);
  }
  char held = 0;
  ASSERT_EQ(::read(ready[0], &held, 1), 1);
  EXPECT_EQ(held, 'y');
  EXPECT_FALSE(take("maildir", "/a", "parent"));
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  EXPECT_TRUE(take("maildir", "/a", "parent"));
  ::close(ready[0]);
  ::close(ready[1]);
}

TEST_F(InstanceLockTest, AHolderWithoutANoteIsAnotherProgram) {
  const auto first = take("maildir", "/a", "one");
  for (const auto& entry :
       std::filesystem::recursive_directory_iterator(temp.path("state/rbx/locks"))) {
    if (entry.path().filename() == "holder") writeBytes(entry.path().string(), "torn");
  }
  const auto second = take("maildir", "/a", "two");
  ASSERT_FALSE(second);
  EXPECT_EQ(second.error().text, "The mailbox /a is in use by another program");
}

TEST_F(InstanceLockTest, AFolderThatCannotBeMadeIsAnError) {
  writeBytes(temp.path("state"), "a file in its place");
  const auto lock = take("maildir", "/a", "one");
  ASSERT_FALSE(lock);
  EXPECT_NE(lock.error().text.find(temp.path("state")), std::string::npos);
}

}  // namespace
}  // namespace relaybird
