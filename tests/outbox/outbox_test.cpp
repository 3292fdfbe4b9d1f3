// SPDX-License-Identifier: MIT
// The outbox while everything works: folders, the order of the steps of a send, waiting messages,
// claims, deliveries and refusals. outbox_fault_test.cpp and outbox_crash_test.cpp have the
// failures.
#include "outbox/outbox.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
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

// A power cut could take the name back, and the retry would forward the message a second time.
TEST_F(OutboxTest, AMessageIsNotClaimedBeforeItsPlaceIsDurable) {
  const auto outbox = world.open();
  int moments = 0;
  world.files.onEveryStep([&](const std::string& step) {
    if (step == "syncFolder " + world.folder + "/new") {
      ++moments;
      ASSERT_THAT(world.names("new"), SizeIs(1));
      EXPECT_FALSE(outbox->claim(world.names("new")[0]));
      EXPECT_THAT(outbox->waiting().value(), IsEmpty());
    }
  });
  ASSERT_TRUE(outbox->send("entry", "id1", writes("x")));
  EXPECT_EQ(moments, 1);
  EXPECT_TRUE(outbox->claim(world.names("new")[0]));
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

TEST_F(OutboxTest, WaitingMessagesComeOldestFirstAndNothingElseDoes) {
  const auto outbox = world.open();
  ASSERT_TRUE(outbox->send("a", "id1", writes("1")));
  ASSERT_TRUE(outbox->send("b", "id2", writes("2")));
  world.put("new", ".hidden", "x");
  ASSERT_EQ(::mkfifo((world.folder + "/new/pipe").c_str(), 0600), 0);
  ASSERT_TRUE(world.disk.createFolder(world.folder + "/new/folder"));
  ASSERT_EQ(::symlink("/etc/passwd", (world.folder + "/new/link").c_str()), 0);
  const auto waiting = outbox->waiting();
  ASSERT_TRUE(waiting);
  ASSERT_THAT(*waiting, SizeIs(2));
  EXPECT_EQ(world.bytesOf("new", (*waiting)[0].name), "1");
  EXPECT_EQ(world.bytesOf("new", (*waiting)[1].name), "2");
}

TEST_F(OutboxTest, ArrivalsAreToldOnceTheFolderWasListed) {
  const auto outbox = world.open();
  ASSERT_TRUE(outbox->send("a", "id1", writes("1")));
  EXPECT_FALSE(outbox->takeArrivals());
  ASSERT_THAT(*outbox->waiting(), SizeIs(1));
  EXPECT_THAT(*outbox->takeArrivals(), IsEmpty());
  ASSERT_TRUE(outbox->send("b", "id2", writes("2")));
  const auto arrivals = outbox->takeArrivals();
  ASSERT_THAT(*arrivals, SizeIs(1));
  EXPECT_EQ(world.bytesOf("new", (*arrivals)[0].name), "2");
  EXPECT_THAT(*outbox->takeArrivals(), IsEmpty());
}

TEST_F(OutboxTest, AMessageIsClaimedByOneAtATime) {
  const auto outbox = world.open();
  ASSERT_TRUE(outbox->send("a", "id1", writes("1")));
  const std::string name = world.names("new")[0];
  {
    const auto claim = outbox->claim(name);
    ASSERT_TRUE(claim);
    EXPECT_FALSE(outbox->claim(name));
    EXPECT_THAT(*outbox->waiting(), IsEmpty());
  }
  EXPECT_TRUE(outbox->claim(name));
}

TEST_F(OutboxTest, ADeliveryIsOnTheMediumBeforeTheFileGoes) {
  const auto outbox = world.open();
  ASSERT_TRUE(outbox->send("a", "id1", writes("1")));
  ASSERT_TRUE(outbox->send("b", "id2", writes("2")));
  const std::string name = world.names("new")[0];
  world.files.reset();
  const auto claim = outbox->claim(name);
  ASSERT_TRUE(outbox->delivered({&*claim}));
  EXPECT_THAT(world.files.record(), ElementsAre(StartsWith("write " + world.journal)));
  ASSERT_TRUE(outbox->removeDelivered());
  EXPECT_THAT(world.files.record(),
              ElementsAre(StartsWith("write " + world.journal), "sync " + world.journal,
                          "remove " + world.folder + "/new/" + name));
  ASSERT_TRUE(outbox->finishDeliveries());
  EXPECT_EQ(world.files.record()[3], "syncFolder " + world.folder + "/new");
  EXPECT_TRUE(outbox->alreadySent("a"));
}

TEST_F(OutboxTest, WhatWasDeliveredIsNotHandedOutAgainWhateverFails) {
  for (std::size_t step = 1; step <= 3; ++step) {
    OutboxWorld fresh;
    const auto outbox = fresh.open();
    ASSERT_TRUE(outbox->send("a", "id1", writes("1")));
    ASSERT_TRUE(outbox->send("b", "id2", writes("2")));
    const std::string name = fresh.names("new")[0];
    fresh.files.reset();
    fresh.files.failFromStep(step, EIO);
    {
      const auto claim = outbox->claim(name);
      EXPECT_EQ(static_cast<bool>(outbox->delivered({&*claim})), step > 1);
    }
    EXPECT_FALSE(outbox->removeDelivered());
    fresh.files.reset();
    EXPECT_FALSE(outbox->claim(name));
    EXPECT_THAT(*outbox->waiting(), SizeIs(1));
  }
}

TEST_F(OutboxTest, WhatIsRecordedOfAMessageIsForgottenWhenItsFileHasGone) {
  auto outbox = world.open();
  for (const std::string entry : {"one", "two"}) {
    ASSERT_TRUE(outbox->send(entry, entry + "@id", writes("text")));
  }
  const auto waiting = outbox->waiting().value();
  for (const WaitingMessage& message : waiting) {
    const auto claim = outbox->claim(message.name);
    ASSERT_TRUE(outbox->unanswered(*claim));
    ASSERT_TRUE(outbox->deliveredTo(*claim, {"bob@example.org"}));
  }
  outbox.reset();
  ASSERT_TRUE(world.disk.remove(world.folder + "/new/" + waiting[0].name));
  outbox = world.open();
  EXPECT_FALSE(outbox->unansweredSince(waiting[0].name));
  EXPECT_THAT(outbox->settledFor(*outbox->claim(waiting[0].name)), IsEmpty());
  EXPECT_TRUE(outbox->unansweredSince(waiting[1].name));
  EXPECT_THAT(outbox->settledFor(*outbox->claim(waiting[1].name)), SizeIs(1));
}

TEST_F(OutboxTest, ARefusedMessageMovesAsideWithTheWordsBesideIt) {
  const auto outbox = world.open();
  ASSERT_TRUE(outbox->send("a", "id1", writes("message")));
  const std::string name = world.names("new")[0];
  {
    const auto claim = outbox->claim(name);
    ASSERT_TRUE(outbox->refuse(*claim, "550 no such user"));
  }
  EXPECT_THAT(world.names("new"), IsEmpty());
  EXPECT_THAT(world.names("failed"), ElementsAre(name, name + ".txt"));
  EXPECT_EQ(world.bytesOf("failed", name), "message");
  EXPECT_EQ(world.bytesOf("failed", name + ".txt"), "550 no such user\n");
  EXPECT_TRUE(outbox->alreadySent("a"));
}

TEST_F(OutboxTest, ARefusalTakesItsSyncsInAnOrderThatSurvivesACrash) {
  const auto outbox = world.open();
  ASSERT_TRUE(outbox->send("a", "id1", writes("message")));
  const std::string name = world.names("new")[0];
  const std::string failed = world.folder + "/failed";
  world.files.reset();
  const auto claim = outbox->claim(name);
  ASSERT_TRUE(outbox->refuse(*claim, "550 no"));
  const std::string note = failed + '/' + name + ".txt";
  EXPECT_THAT(world.files.record(),
              ElementsAre("create " + note + ".1.tmp", StartsWith("write " + note + ".1.tmp"),
                          "sync " + note + ".1.tmp", "close " + note + ".1.tmp",
                          "rename " + note + ".1.tmp " + note, "syncFolder " + failed,
                          "rename " + world.folder + "/new/" + name + ' ' + failed + '/' + name,
                          "syncFolder " + failed, "syncFolder " + world.folder + "/new"));
}

TEST_F(OutboxTest, ARefusalThatCouldNotBeMovedAsideIsNotReportedAsDoneAndOneThatWasIs) {
  constexpr std::size_t kMove = 7;  // as above
  for (std::size_t step = 1; step <= 9; ++step) {
    SCOPED_TRACE(step);
    OutboxWorld fresh;
    const auto outbox = fresh.open();
    ASSERT_TRUE(outbox->send("a", "id1", writes("message")));
    const std::string name = fresh.names("new")[0];
    fresh.files.reset();
    fresh.files.failStep(step, EIO);
    const auto claim = outbox->claim(name);
    const auto refused = outbox->refuse(*claim, "550 no");
    EXPECT_EQ(static_cast<bool>(refused), step != kMove);
    EXPECT_EQ(fresh.names("new").size(), refused ? 0u : 1u);
    const auto failed = fresh.names("failed");
    EXPECT_EQ(std::count(failed.begin(), failed.end(), name), refused ? 1 : 0);
    EXPECT_EQ(std::count(failed.begin(), failed.end(), name + ".txt"), step > 5 ? 1 : 0);
  }
}

}  // namespace
}  // namespace relaybird
