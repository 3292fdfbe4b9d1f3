// SPDX-License-Identifier: MIT
// The outbox while everything works: folders, the order of the steps of a send, what is on record
// of an entry. outbox_fault_test.cpp and outbox_crash_test.cpp have the failures,
// delivery_queue_test.cpp what waits.
#include "outbox/outbox.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>

#include "outbox/outbox_world.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using testing::UnorderedElementsAre;

class OutboxTest : public testing::Test {
 protected:
  OutboxWorld world;
};

TEST_F(OutboxTest, MakesItsFoldersForTheUserAlone) {
  const auto outbox = world.open();
  for (const char* part : {"", "/tmp", "/new", "/cur", "/failed"}) {
    struct stat status {};
    ASSERT_EQ(::stat((world.folder + part).c_str(), &status), 0) << part;
    EXPECT_EQ(status.st_mode & 0777u, 0700u) << part;
  }
}

TEST_F(OutboxTest, AMessageSentLiesInNewWholeAndTmpIsEmpty) {
  const auto outbox = world.open();
  ASSERT_TRUE(outbox->send("entry", "id@example", writes("Subject: a\n\nb\n")));
  ASSERT_THAT(world.names("new"), SizeIs(1));
  EXPECT_EQ(world.bytesOf("new", world.names("new")[0]), "Subject: a\n\nb\n");
  EXPECT_THAT(world.names("tmp"), IsEmpty());
  EXPECT_TRUE(outbox->alreadySent("entry"));
  EXPECT_EQ(outbox->intendedMessageId("entry"), "id@example");
}

TEST_F(OutboxTest, OneSendTakesThreeSyncsInAnOrderThatSurvivesACrash) {
  const auto outbox = world.open();
  ASSERT_TRUE(outbox->send("first", "id1", writes("x")));
  world.files.reset();
  ASSERT_TRUE(outbox->send("second", "id2", writes("x")));
  const std::vector<std::string>& steps = world.files.record();
  const std::string tmp = world.folder + "/tmp/";
  const std::string fresh = world.folder + "/new";
  EXPECT_THAT(steps, ElementsAre(StartsWith("create " + tmp), StartsWith("write " + tmp),
                                 StartsWith("sync " + tmp), StartsWith("close " + tmp),
                                 StartsWith("write " + world.journal), "sync " + world.journal,
                                 StartsWith("rename " + tmp), "syncFolder " + fresh,
                                 StartsWith("write " + world.journal)));
}

TEST_F(OutboxTest, AnEntryIsSentOnceUntilItIsSettled) {
  const auto outbox = world.open();
  ASSERT_TRUE(outbox->send("entry", "id1", writes("x")));
  ASSERT_TRUE(outbox->send("entry", "id2", writes("x")));
  EXPECT_THAT(world.names("new"), SizeIs(1));
  ASSERT_TRUE(outbox->settle("entry"));
  EXPECT_FALSE(outbox->alreadySent("entry"));
  EXPECT_EQ(outbox->intendedMessageId("entry"), std::nullopt);
  ASSERT_TRUE(outbox->send("entry", "id3", writes("x")));
  EXPECT_THAT(world.names("new"), SizeIs(2));
}

TEST_F(OutboxTest, UnsettledEntriesAreKnownToTheNextRun) {
  {
    const auto outbox = world.open();
    ASSERT_TRUE(outbox->send("one", "id1", writes("x")));
    ASSERT_TRUE(outbox->send("two\n", "id2", writes("x")));
    ASSERT_TRUE(outbox->send("three", "id3", writes("x")));
    ASSERT_TRUE(outbox->settle("three"));
    ASSERT_TRUE(outbox->settle("never heard of"));
  }
  const auto outbox = world.open();
  EXPECT_THAT(outbox->alreadySent(), UnorderedElementsAre("one", "two\n"));
}

TEST_F(OutboxTest, AMessageThatAnswersToNoItemLeavesNoRecord) {
  const auto outbox = world.open();
  ASSERT_TRUE(outbox->send("", "id1", writes("x")));
  ASSERT_TRUE(outbox->send("", "id2", writes("x")));
  EXPECT_THAT(world.names("new"), SizeIs(2));
  EXPECT_THAT(outbox->alreadySent(), IsEmpty());
}

TEST_F(OutboxTest, IsLockedForASecondProgram) {
  const auto outbox = world.open();
  const auto second = world.tryOpen();
  ASSERT_FALSE(second);
  EXPECT_EQ(second.error().code, EWOULDBLOCK);
}

}  // namespace
}  // namespace relaybird
