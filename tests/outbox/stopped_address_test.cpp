// SPDX-License-Identifier: MIT
// The limit of what leaves for one address within an hour: what is stopped waits, and goes on by
// the user's word alone.
#include <gmock/gmock.h>

#include "outbox/delivery_fixture.h"

namespace relaybird {
namespace {

using Kind = Outcome::Kind;
using std::chrono::minutes;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class StoppedAddressTest : public DeliveryWorkerTest {
 protected:
  StoppedAddressTest() {
    mostPerHour = 2;
    restart();
  }
  void send(const std::string& subject, const std::string& to) {
    ASSERT_TRUE(outbox->send(
        "entry " + subject, subject + "@id",
        writes("From: ann@example.org\nTo: " + to + "\nSubject: " + subject + "\n\nbody\n")));
  }
  void sendMany(int count) {
    for (int i = 1; i <= count; ++i) {
      send(std::to_string(i), "bob@example.org");
    }
  }
  bool tryAgain() {
    bool done = false;
    worker->tryAgain([&] { done = true; });
    events.runUntilIdle();
    return done;
  }
};

TEST_F(StoppedAddressTest, MoreThanTheMostInAnHourWaitsAndTheUserIsTold) {
  sendMany(4);
  EXPECT_TRUE(flush());
  EXPECT_THAT(take(), ElementsAre("1", "2"));
  EXPECT_THAT(world.names("new"), SizeIs(2));
  EXPECT_THAT(
      notices,
      ElementsAre("Handed over for delivery: \"1\"", "Handed over for delivery: \"2\"",
                  "Stopped forwarding to bob@example.org: 2 messages have left for it within an "
                  "hour, which is the most that the settings allow. What is for it waits in " +
                      world.folder + " until you choose Try Again Now (in the console: retry)",
                  "Waits because bob@example.org is stopped: \"3\"",
                  "Waits because bob@example.org is stopped: \"4\""));
  EXPECT_EQ(stops, 1);
  EXPECT_THAT(worker->counts().stopped, ElementsAre("bob@example.org"));
  EXPECT_EQ(worker->counts().left, 2U);
}

TEST_F(StoppedAddressTest, OthersGoOn) {
  sendMany(3);
  send("for carol", "carol@example.org");
  flush();
  EXPECT_THAT(take(), ElementsAre("1", "2", "for carol"));
}

TEST_F(StoppedAddressTest, NeitherTimeNorANewStartIsTheUsersWord) {
  sendMany(3);
  flush();
  world.clock.advance(std::chrono::hours{24 * 6});
  flush();
  restart();
  flush();
  EXPECT_THAT(take(), ElementsAre("1", "2"));
  EXPECT_THAT(world.names("new"), SizeIs(1));
  EXPECT_THAT(world.names("failed"), IsEmpty());
  EXPECT_THAT(worker->counts().stopped, ElementsAre("bob@example.org"));
}

TEST_F(StoppedAddressTest, ACheckThatTheUserAsksForIsNotTheUsersWord) {
  sendMany(3);
  flush();
  notices.clear();
  worker->userAsks();
  events.runUntilIdle();
  EXPECT_THAT(take(), ElementsAre("1", "2"));
  EXPECT_THAT(notices, IsEmpty());
  EXPECT_THAT(worker->counts().stopped, ElementsAre("bob@example.org"));
}

TEST_F(StoppedAddressTest, TheUsersWordLetsTheRestLeaveUpToTheLimitAgain) {
  sendMany(5);
  flush();
  take();
  EXPECT_TRUE(tryAgain());
  EXPECT_THAT(take(), ElementsAre("3", "4"));
  EXPECT_THAT(notices, testing::Contains("Mail may leave again for bob@example.org"));
  EXPECT_THAT(worker->counts().stopped, ElementsAre("bob@example.org"));
  EXPECT_TRUE(tryAgain());
  EXPECT_THAT(take(), ElementsAre("5"));
  EXPECT_THAT(worker->counts().stopped, IsEmpty());
  EXPECT_THAT(world.names("new"), IsEmpty());
}

// Were it parted, what was left of it could get lost or go out twice.
TEST_F(StoppedAddressTest, AMessageForSeveralWaitsWholeWhileOneOfThemIsStopped) {
  sendMany(3);
  send("both", "carol@example.org, bob@example.org");
  flush();
  EXPECT_THAT(take(), ElementsAre("1", "2"));
  tryAgain();
  EXPECT_THAT(take(), ElementsAre("3", "both"));
}

TEST_F(StoppedAddressTest, WhatIsRefusedForTheTimeBeingDoesNotCount) {
  transport.answer = [](const std::string&) { return temporary(); };
  sendMany(1);
  for (int i = 0; i < 5; ++i) {
    flush();
    world.clock.advance(minutes{9});
  }
  EXPECT_GT(take().size(), 2U);
  EXPECT_EQ(stops, 0);
}

TEST_F(StoppedAddressTest, OneThatWaitsIsToldOfOnceNotAtEveryCheck) {
  sendMany(3);
  flush();
  const std::size_t told = notices.size();
  for (int i = 0; i < 5; ++i) {
    world.clock.advance(minutes{2});
    flush();
  }
  EXPECT_EQ(notices.size(), told);
}

TEST_F(StoppedAddressTest, TryingAgainDoesNotWaitForWhatWasPutOff) {
  transport.answer = [](const std::string&) { return temporary(true); };
  sendMany(2);
  flush();
  take();
  EXPECT_EQ(worker->counts().kept, 1U);
  transport.answer = nullptr;
  flush();
  EXPECT_THAT(take(), IsEmpty());
  EXPECT_TRUE(tryAgain());
  EXPECT_THAT(take(), ElementsAre("1", "2"));
  EXPECT_EQ(worker->counts().kept, 0U);
}

TEST_F(StoppedAddressTest, TryingAgainFindsWhatWasPutBackByHand) {
  flush();
  world.put("new", "put-back", mail("put back"));
  EXPECT_TRUE(tryAgain());
  EXPECT_THAT(take(), ElementsAre("put back"));
}

}  // namespace
}  // namespace relaybird
