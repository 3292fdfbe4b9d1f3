// SPDX-License-Identifier: MIT
// What waits in an outbox: arrivals, claims, deliveries and refusals. held_message_test.cpp has the
// messages that the journal holds.
#include "outbox/delivery_queue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <optional>

#include "outbox/outbox_world.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

class DeliveryQueueTest : public testing::Test {
 protected:
  OutboxWorld world;
};

// A power cut could take the name back, and the retry would forward the message a second time.
TEST_F(DeliveryQueueTest, AMessageIsNotClaimedBeforeItsPlaceIsDurable) {
  const auto outbox = world.open();
  int moments = 0;
  world.files.onEveryStep([&](const std::string& step) {
    if (step == "syncFolder " + world.folder + "/new") {
      ++moments;
      ASSERT_THAT(world.names("new"), SizeIs(1));
      EXPECT_FALSE(outbox->queue().claim(world.names("new")[0]));
      EXPECT_THAT(outbox->queue().waiting().value(), IsEmpty());
    }
  });
  ASSERT_TRUE(outbox->send("entry", "id1", writes("x")));
  EXPECT_EQ(moments, 1);
  EXPECT_TRUE(outbox->queue().claim(world.names("new")[0]));
}

TEST_F(DeliveryQueueTest, WaitingMessagesComeOldestFirstAndNothingElseDoes) {
  const auto outbox = world.open();
  ASSERT_TRUE(outbox->send("a", "id1", writes("1")));
  ASSERT_TRUE(outbox->send("b", "id2", writes("2")));
  world.put("new", ".hidden", "x");
  ASSERT_EQ(::mkfifo((world.folder + "/new/pipe").c_str(), 0600), 0);
  ASSERT_TRUE(world.disk.createFolder(world.folder + "/new/folder"));
  ASSERT_EQ(::symlink("/etc/passwd", (world.folder + "/new/link").c_str()), 0);
  const auto waiting = outbox->queue().waiting();
  ASSERT_TRUE(waiting);
  ASSERT_THAT(*waiting, SizeIs(2));
  EXPECT_EQ(world.bytesOf("new", (*waiting)[0].name), "1");
  EXPECT_EQ(world.bytesOf("new", (*waiting)[1].name), "2");
}

TEST_F(DeliveryQueueTest, ArrivalsAreToldOnceTheFolderWasListed) {
  const auto outbox = world.open();
  ASSERT_TRUE(outbox->send("a", "id1", writes("1")));
  EXPECT_FALSE(outbox->queue().takeArrivals());
  ASSERT_THAT(*outbox->queue().waiting(), SizeIs(1));
  EXPECT_THAT(*outbox->queue().takeArrivals(), IsEmpty());
  ASSERT_TRUE(outbox->send("b", "id2", writes("2")));
  const auto arrivals = outbox->queue().takeArrivals();
  ASSERT_THAT(*arrivals, SizeIs(1));
  EXPECT_EQ(world.bytesOf("new", (*arrivals)[0].name), "2");
  EXPECT_THAT(*outbox->queue().takeArrivals(), IsEmpty());
}

TEST_F(DeliveryQueueTest, AMessageIsClaimedByOneAtATime) {
  const auto outbox = world.open();
  ASSERT_TRUE(outbox->send("a", "id1", writes("1")));
  const std::string name = world.names("new")[0];
  {
    const auto claim = outbox->queue().claim(name);
    ASSERT_TRUE(claim);
    EXPECT_FALSE(outbox->queue().claim(name));
    EXPECT_THAT(*outbox->queue().waiting(), IsEmpty());
  }
  EXPECT_TRUE(outbox->queue().claim(name));
}

// The delivery drops an arrival that it cannot claim, and would see the message again only when it
// lists the folder.
TEST_F(DeliveryQueueTest, WhatIsToldAsAnArrivalCanBeClaimedAtOnce) {
  const auto outbox = world.open();
  DeliveryQueue& queue = outbox->queue();
  ASSERT_THAT(*queue.waiting(), IsEmpty());
  DeliveryQueue::Arrival arrival(queue, "name");
  EXPECT_THAT(*queue.takeArrivals(), IsEmpty());
  EXPECT_FALSE(queue.claim("name"));
  arrival.arrived(DeliveryQueue::Place::kNew);
  ASSERT_THAT(*queue.takeArrivals(), SizeIs(1));
  const auto claim = queue.claim("name");
  ASSERT_TRUE(claim);
  EXPECT_FALSE(queue.claim("name"));
}

TEST_F(DeliveryQueueTest, AnArrivalThatEndsDoesNotEndTheClaimOnItsMessage) {
  const auto outbox = world.open();
  DeliveryQueue& queue = outbox->queue();
  std::optional<DeliveryQueue::Claim> claim;
  {
    DeliveryQueue::Arrival arrival(queue, "name");
    arrival.arrived(DeliveryQueue::Place::kNew);
    claim.emplace(*queue.claim("name"));
  }
  EXPECT_FALSE(queue.claim("name"));
}

TEST_F(DeliveryQueueTest, WhatDoesNotArriveIsNotToldAndItsNameIsFreeAgain) {
  const auto outbox = world.open();
  DeliveryQueue& queue = outbox->queue();
  ASSERT_THAT(*queue.waiting(), IsEmpty());
  { const DeliveryQueue::Arrival arrival(queue, "name"); }
  EXPECT_THAT(*queue.takeArrivals(), IsEmpty());
  EXPECT_TRUE(queue.claim("name"));
}

TEST_F(DeliveryQueueTest, AfterADoubtTheFolderIsToBeListed) {
  const auto outbox = world.open();
  DeliveryQueue& queue = outbox->queue();
  ASSERT_THAT(*queue.waiting(), IsEmpty());
  ASSERT_TRUE(queue.takeArrivals());
  queue.forgetWhatIsKnown();
  EXPECT_FALSE(queue.takeArrivals());
}

TEST_F(DeliveryQueueTest, WhatOthersDoIsCountedAfterASecondAndWhatIsOursAtOnce) {
  const auto outbox = world.open();
  DeliveryQueue& queue = outbox->queue();
  ASSERT_TRUE(outbox->send("a", "id1", writes("1")));
  EXPECT_EQ(queue.recentlyWaiting(), 1U);
  world.put("new", "of-others", "x");
  EXPECT_EQ(queue.recentlyWaiting(), 1U);
  ASSERT_TRUE(outbox->send("b", "id2", writes("2")));
  EXPECT_EQ(queue.recentlyWaiting(), 2U);
  world.clock.advance(std::chrono::seconds{1});
  EXPECT_EQ(queue.recentlyWaiting(), 3U);
  {
    const auto claim = queue.claim("of-others");
    ASSERT_TRUE(queue.delivered({&*claim}));
  }
  EXPECT_EQ(queue.recentlyWaiting(), 2U);
}

TEST_F(DeliveryQueueTest, TheJournalHoldsNothingWhereNobodyDelivers) {
  const auto outbox = world.open();
  EXPECT_EQ(outbox->queue().roomToHold(), 0U);
  outbox->queue().holdForDelivery(true);
  EXPECT_EQ(outbox->queue().roomToHold(), std::size_t{64} << 10);
  outbox->queue().holdForDelivery(false);
  EXPECT_EQ(outbox->queue().roomToHold(), 0U);
}

TEST_F(DeliveryQueueTest, ADeliveryIsOnTheMediumBeforeTheFileGoes) {
  const auto outbox = world.open();
  ASSERT_TRUE(outbox->send("a", "id1", writes("1")));
  ASSERT_TRUE(outbox->send("b", "id2", writes("2")));
  const std::string name = world.names("new")[0];
  world.files.reset();
  const auto claim = outbox->queue().claim(name);
  ASSERT_TRUE(outbox->queue().delivered({&*claim}));
  EXPECT_THAT(world.files.record(), ElementsAre(StartsWith("write " + world.journal)));
  ASSERT_TRUE(outbox->queue().removeDelivered());
  EXPECT_THAT(world.files.record(),
              ElementsAre(StartsWith("write " + world.journal), "sync " + world.journal,
                          "remove " + world.folder + "/new/" + name));
  ASSERT_TRUE(outbox->queue().finishDeliveries());
  EXPECT_EQ(world.files.record()[3], "syncFolder " + world.folder + "/new");
  EXPECT_TRUE(outbox->alreadySent("a"));
}

// It stayed in new/ until the next start, although it had left.
TEST_F(DeliveryQueueTest, AFileThatCouldNotBeRemovedOnceIsRemovedLater) {
  const auto outbox = world.open();
  ASSERT_TRUE(outbox->send("a", "id1", writes("1")));
  ASSERT_TRUE(outbox->send("b", "id2", writes("2")));
  {
    const auto claim = outbox->queue().claim(world.names("new")[0]);
    ASSERT_TRUE(outbox->queue().delivered({&*claim}));
  }
  world.files.refused = [](const std::string& step) { return step.starts_with("remove "); };
  EXPECT_FALSE(outbox->queue().finishDeliveries());
  EXPECT_THAT(world.names("new"), SizeIs(2));
  world.files.refused = nullptr;
  EXPECT_TRUE(outbox->queue().finishDeliveries());
  EXPECT_THAT(world.names("new"), SizeIs(1));
}

TEST_F(DeliveryQueueTest, WhatWasDeliveredIsNotHandedOutAgainWhateverFails) {
  for (std::size_t step = 1; step <= 3; ++step) {
    OutboxWorld fresh;
    const auto outbox = fresh.open();
    ASSERT_TRUE(outbox->send("a", "id1", writes("1")));
    ASSERT_TRUE(outbox->send("b", "id2", writes("2")));
    const std::string name = fresh.names("new")[0];
    fresh.files.reset();
    fresh.files.failFromStep(step, EIO);
    {
      const auto claim = outbox->queue().claim(name);
      EXPECT_EQ(static_cast<bool>(outbox->queue().delivered({&*claim})), step > 1);
    }
    EXPECT_FALSE(outbox->queue().removeDelivered());
    fresh.files.reset();
    EXPECT_FALSE(outbox->queue().claim(name));
    EXPECT_THAT(*outbox->queue().waiting(), SizeIs(1));
  }
}

TEST_F(DeliveryQueueTest, WhatIsRecordedOfAMessageIsForgottenWhenItsFileHasGone) {
  auto outbox = world.open();
  for (const std::string entry : {"one", "two"}) {
    ASSERT_TRUE(outbox->send(entry, entry + "@id", writes("text")));
  }
  const auto waiting = outbox->queue().waiting().value();
  for (const WaitingMessage& message : waiting) {
    const auto claim = outbox->queue().claim(message.name);
    ASSERT_TRUE(outbox->queue().unanswered(*claim, true));
    ASSERT_TRUE(outbox->queue().deliveredTo(*claim, {"bob@example.org"}));
  }
  outbox.reset();
  ASSERT_TRUE(world.disk.remove(world.folder + "/new/" + waiting[0].name));
  outbox = world.open();
  EXPECT_FALSE(outbox->queue().unansweredSince(waiting[0].name));
  EXPECT_THAT(outbox->queue().settledFor(*outbox->queue().claim(waiting[0].name)), IsEmpty());
  EXPECT_TRUE(outbox->queue().unansweredSince(waiting[1].name));
  EXPECT_THAT(outbox->queue().settledFor(*outbox->queue().claim(waiting[1].name)), SizeIs(1));
}

TEST_F(DeliveryQueueTest, ARefusedMessageMovesAsideWithTheWordsBesideIt) {
  const auto outbox = world.open();
  ASSERT_TRUE(outbox->send("a", "id1", writes("message")));
  const std::string name = world.names("new")[0];
  {
    const auto claim = outbox->queue().claim(name);
    ASSERT_TRUE(outbox->queue().refuse(*claim, "550 no such user"));
  }
  EXPECT_THAT(world.names("new"), IsEmpty());
  EXPECT_THAT(world.names("failed"), ElementsAre(name, name + ".txt"));
  EXPECT_EQ(world.bytesOf("failed", name), "message");
  EXPECT_EQ(world.bytesOf("failed", name + ".txt"), "550 no such user\n");
  EXPECT_TRUE(outbox->alreadySent("a"));
}

TEST_F(DeliveryQueueTest, ARefusalTakesItsSyncsInAnOrderThatSurvivesACrash) {
  const auto outbox = world.open();
  ASSERT_TRUE(outbox->send("a", "id1", writes("message")));
  const std::string name = world.names("new")[0];
  const std::string failed = world.folder + "/failed";
  world.files.reset();
  const auto claim = outbox->queue().claim(name);
  ASSERT_TRUE(outbox->queue().refuse(*claim, "550 no"));
  const std::string note = failed + '/' + name + ".txt";
  EXPECT_THAT(world.files.record(),
              ElementsAre("create " + note + ".1.tmp", StartsWith("write " + note + ".1.tmp"),
                          "sync " + note + ".1.tmp", "close " + note + ".1.tmp",
                          "rename " + note + ".1.tmp " + note, "syncFolder " + failed,
                          "rename " + world.folder + "/new/" + name + ' ' + failed + '/' + name,
                          "syncFolder " + failed, "syncFolder " + world.folder + "/new"));
}

TEST_F(DeliveryQueueTest, ARefusalThatCouldNotBeMovedAsideIsNotReportedAsDoneAndOneThatWasIs) {
  constexpr std::size_t kMove = 7;  // as above
  for (std::size_t step = 1; step <= 9; ++step) {
    SCOPED_TRACE(step);
    OutboxWorld fresh;
    const auto outbox = fresh.open();
    ASSERT_TRUE(outbox->send("a", "id1", writes("message")));
    const std::string name = fresh.names("new")[0];
    fresh.files.reset();
    fresh.files.failStep(step, EIO);
    const auto claim = outbox->queue().claim(name);
    const auto refused = outbox->queue().refuse(*claim, "550 no");
    EXPECT_EQ(static_cast<bool>(refused), step != kMove);
    EXPECT_EQ(fresh.names("new").size(), refused ? 0u : 1u);
    const auto failed = fresh.names("failed");
    EXPECT_EQ(std::count(failed.begin(), failed.end(), name), refused ? 1 : 0);
    EXPECT_EQ(std::count(failed.begin(), failed.end(), name + ".txt"), step > 5 ? 1 : 0);
  }
}

}  // namespace
}  // namespace relaybird
