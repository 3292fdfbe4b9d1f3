// SPDX-License-Identifier: MIT
// A mailbox behind links, one that is replaced while it is in use, and the end of a program that
// was killed: a child process takes the lock and dies.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "app/instance_lock_fixture.h"

namespace relaybird {
namespace {

namespace fs = std::filesystem;

TEST_F(InstanceLockTest, AFolderIsTheSameByEveryName) {
  fs::create_directory_symlink(mailbox, temp.path("Link"));
  const auto first = program();
  ASSERT_TRUE(first->takeFolder(mailbox));
  EXPECT_FALSE(program()->takeFolder(temp.path("Link")));
  EXPECT_FALSE(program()->takeFolder(temp.path("./Maildir/../Maildir")));
}

TEST_F(InstanceLockTest, AFolderPutInThePlaceOfTheLockedOneIsTakenAnew) {
  const auto first = program();
  ASSERT_TRUE(first->takeFolder(mailbox));
  fs::rename(mailbox, temp.path("Old"));
  fs::create_directory(mailbox);
  EXPECT_TRUE(first->takeFolder(mailbox));
  EXPECT_FALSE(program()->takeFolder(mailbox));
  EXPECT_TRUE(program()->takeFolder(temp.path("Old")));
}

// The program that had the old folder removed the note of the one that has the new one, and nobody
// could be told who that is.
TEST_F(InstanceLockTest, TheNoteOfAReplacedFoldersNewHolderStays) {
  auto first = program("first");
  ASSERT_TRUE(first->takeFolder(mailbox));
  fs::rename(mailbox, temp.path("Old"));
  fs::create_directory(mailbox);
  const auto second = program("second");
  ASSERT_TRUE(second->takeFolder(mailbox));
  EXPECT_FALSE(first->takeFolder(mailbox));
  ASSERT_TRUE(first->refusedBy());
  EXPECT_EQ(first->refusedBy()->program, "second");
  first.reset();
  const auto third = program();
  EXPECT_FALSE(third->takeFolder(mailbox));
  ASSERT_TRUE(third->refusedBy());
  EXPECT_EQ(third->refusedBy()->program, "second");
}

TEST_F(InstanceLockTest, AKilledOneBlocksNobody) {
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    const auto lock = program("child");
    const bool held = takeName(*lock, "/a") && lock->takeFolder(mailbox);
    [[maybe_unused]] const auto told = ::write(ready[1], held ? "y" : "n", 1);
    ::pause();
    ::_exit(0);
  }
  char held = 0;
  ASSERT_EQ(::read(ready[0], &held, 1), 1);
  EXPECT_EQ(held, 'y');
  const auto parent = program("parent");
  EXPECT_FALSE(takeName(*parent, "/a"));
  EXPECT_FALSE(parent->takeFolder(mailbox));
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  EXPECT_TRUE(takeName(*parent, "/a"));
  EXPECT_TRUE(parent->takeFolder(mailbox));
  const auto third = program();
  ASSERT_FALSE(third->takeFolder(mailbox));
  ASSERT_TRUE(third->refusedBy());
  EXPECT_EQ(third->refusedBy()->program, "parent") << "not whom the killed one's note names";
  ::close(ready[0]);
  ::close(ready[1]);
}

}  // namespace
}  // namespace relaybird
