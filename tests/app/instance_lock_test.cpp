// SPDX-License-Identifier: MIT
// One mailbox is used by one program at a time, whatever names and state folders lead to it.
// Several locks of this process play the programs, over real folders.
#include "app/instance_lock.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "app/instance_lock_fixture.h"

namespace relaybird {
namespace {

namespace fs = std::filesystem;

TEST_F(InstanceLockTest, ASecondOneIsToldWhoHoldsIt) {
  const auto first = program("relaybird");
  ASSERT_TRUE(takeName(*first, "/home/ann/Maildir"));
  const auto second = program();
  const auto refused = takeName(*second, "/home/ann/Maildir");
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().code, EWOULDBLOCK);
  EXPECT_EQ(refused.error().text,
            "The mailbox /home/ann/Maildir is in use by relaybird (process 42, since today)");
  ASSERT_TRUE(second->refusedBy());
  EXPECT_EQ(second->refusedBy()->process, 42);
}

TEST_F(InstanceLockTest, TwoStateFoldersDoNotMakeTwoMailboxesOfOne) {
  const auto first = program("relaybird");
  ASSERT_TRUE(first->takeName(temp.path("state"), {"maildir", mailbox}));
  ASSERT_TRUE(first->takeFolder(mailbox));
  const auto second = program();
  EXPECT_TRUE(second->takeName(temp.path("other-state"), {"maildir", mailbox}));
  const auto refused = second->takeFolder(mailbox);
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().code, EWOULDBLOCK);
  EXPECT_EQ(refused.error().text,
            "The mailbox " + mailbox + " is in use by relaybird (process 42, since today)");
  ASSERT_TRUE(second->refusedBy());
  EXPECT_EQ(second->refusedBy()->process, 42);
}

TEST_F(InstanceLockTest, AFolderThatIsHeldCanBeAskedForAgain) {
  const auto lock = program();
  ASSERT_TRUE(lock->takeFolder(mailbox));
  EXPECT_TRUE(lock->takeFolder(mailbox));
  EXPECT_FALSE(program()->takeFolder(mailbox));
  EXPECT_TRUE(fs::exists(note));
}

TEST_F(InstanceLockTest, AFolderThatIsMissingIsNotInUse) {
  const auto taken = program()->takeFolder(temp.path("missing"));
  ASSERT_FALSE(taken);
  EXPECT_EQ(taken.error().code, ENOENT);
}

TEST_F(InstanceLockTest, AnEndedOneLeavesTheFolderFreeAndClean) {
  ASSERT_TRUE(program()->takeFolder(mailbox));
  EXPECT_TRUE(fs::is_empty(mailbox));
  EXPECT_TRUE(program()->takeFolder(mailbox));
}

TEST_F(InstanceLockTest, AFolderThatCannotBeWrittenToIsLockedAllTheSame) {
  // A folder in the place of the note: permissions would not stop the superuser.
  fs::create_directory(note);
  const auto first = program();
  ASSERT_TRUE(first->takeFolder(mailbox));
  const auto second = program();
  const auto refused = second->takeFolder(mailbox);
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().text, "The mailbox " + mailbox + " is in use by another program");
  EXPECT_FALSE(second->refusedBy());
}

// A disk on which the notes of others cannot be read.
class NotesOfOthers : public SystemFiles {
 public:
  using SystemFiles::SystemFiles;
  Result<std::unique_ptr<InputFile>> open(const std::string& path) override {
    return Error{EACCES, "Cannot open " + path};
  }
};

TEST_F(InstanceLockTest, ANoteThatIsForAnotherUserSaysThatMuch) {
  const auto first = program();
  ASSERT_TRUE(first->takeFolder(mailbox));
  NotesOfOthers disk(sleeper);
  InstanceLock second(disk, {"relaybird", 43, "now"});
  const auto refused = second.takeFolder(mailbox);
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().text,
            "The mailbox " + mailbox + " is in use by a program of another user");
}

TEST_F(InstanceLockTest, DoesNotWaitWhereItIsTold) {
  const auto first = program();
  ASSERT_TRUE(takeName(*first, "/a"));
  ASSERT_TRUE(first->takeFolder(mailbox));
  const auto second = program();
  EXPECT_FALSE(second->takeName(temp.path("state"), {"maildir", "/a"}, InstanceLock::Wait::kNone));
  EXPECT_FALSE(second->takeFolder(mailbox, InstanceLock::Wait::kNone));
  EXPECT_EQ(clock.elapsed(), std::chrono::milliseconds{0});
}

TEST_F(InstanceLockTest, OtherMailboxesAreFree) {
  const auto first = program();
  const auto second = program();
  const auto third = program();
  EXPECT_TRUE(takeName(*first, "/a"));
  EXPECT_TRUE(takeName(*second, "/b"));
  EXPECT_TRUE(takeName(*third, "/a", "account"));
}

TEST_F(InstanceLockTest, AnEndedOneLeavesNothingInTheWay) {
  EXPECT_TRUE(takeName(*program(), "/a"));  // gone with its line
  EXPECT_TRUE(takeName(*program(), "/a"));
}

TEST_F(InstanceLockTest, AHolderWithoutANoteIsAnotherProgram) {
  const auto first = program();
  ASSERT_TRUE(takeName(*first, "/a"));
  for (const auto& entry : fs::recursive_directory_iterator(temp.path("state/rbx/locks"))) {
    if (entry.path().filename() == "holder") {
      writeBytes(entry.path().string(), "torn");
    }
  }
  const auto second = takeName(*program(), "/a");
  ASSERT_FALSE(second);
  EXPECT_EQ(second.error().text, "The mailbox /a is in use by another program");
}

TEST_F(InstanceLockTest, AFolderThatCannotBeMadeIsAnError) {
  writeBytes(temp.path("state"), "a file in its place");
  const auto taken = takeName(*program(), "/a");
  ASSERT_FALSE(taken);
  EXPECT_NE(taken.error().text.find(temp.path("state")), std::string::npos);
}

}  // namespace
}  // namespace relaybird
