// SPDX-License-Identifier: MIT
// How long messages wait that were refused for the time being, which others wait with them, and
// when one is given up, under a clock that only the test moves.
#include "outbox/delivery/delivery_retries.h"

#include "outbox/delivery/delivery_settlement.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "outbox/delivery_fixture.h"

namespace relaybird {
namespace {

using Kind = Outcome::Kind;
using std::chrono::minutes;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class DeliveryRetriesTest : public DeliveryWorkerTest {
 protected:
  void tryForAnHour() {
    for (int minute = 0; minute < 60; ++minute) {
      flush();
      world.clock.advance(minutes{1});
    }
  }
};

TEST_F(DeliveryRetriesTest, ATemporaryRefusalWaitsTwiceAsLongEachTimeUpToAnHour) {
  transport.answer = [](const std::string&) { return temporary(); };
  send("one");
  EXPECT_TRUE(flush());
  EXPECT_THAT(take(), SizeIs(1));
  for (const int wait : {1, 2, 4, 8, 16, 32, 60, 60}) {
    EXPECT_EQ(worker->nextAttempt(), world.clock.now() + minutes{wait});
    world.clock.advance(minutes{wait} - std::chrono::seconds{1});
    EXPECT_TRUE(flush());
    EXPECT_THAT(take(), IsEmpty()) << wait;
    world.clock.advance(std::chrono::seconds{1});
    EXPECT_TRUE(flush());
    EXPECT_THAT(take(), SizeIs(1)) << wait;
  }
  EXPECT_THAT(world.names("new"), SizeIs(1));
  EXPECT_EQ(notices[0], "Kept for a later try: \"one\": 451 later");
}

// One message alone may be meant, so others are tried soon. If they get the same answer, all wait.
TEST_F(DeliveryRetriesTest, AQuotaHoldsOneMessageForAnHourAndAllForFour) {
  transport.answer = [](const std::string&) {
    return Outcome{
        Outcome::Kind::kTemporary, "5.4.5 enough for today", true, {}, Outcome::Cause::kLimit};
  };
  send("one");
  flush();
  EXPECT_THAT(take(), ElementsAre("one"));
  world.clock.advance(minutes{59});
  flush();
  EXPECT_THAT(take(), IsEmpty());
  send("two");
  flush();
  EXPECT_THAT(take(), ElementsAre("two"));
  EXPECT_EQ(worker->nextAttempt(), world.clock.now() + kRetryAfterLimit);
  world.clock.advance(kRetryAfterLimit - minutes{1});
  flush();
  EXPECT_THAT(take(), IsEmpty());
  world.clock.advance(minutes{1});
  transport.answer = {};
  flush();
  EXPECT_THAT(take(), SizeIs(2));
}

TEST_F(DeliveryRetriesTest, TheNextAttemptIsThatOfTheMessagesBehindAQuotasOnePauseOfAMinute) {
  transport.answer = [](const std::string& subject) {
    return subject == "limited" ? Outcome{Outcome::Kind::kTemporary,
                                          "5.4.5 enough for today",
                                          true,
                                          {},
                                          Outcome::Cause::kLimit}
                                : Outcome{};
  };
  send("limited");
  send("fine");
  flush();
  EXPECT_THAT(take(), ElementsAre("limited"));
  EXPECT_EQ(worker->nextAttempt(), world.clock.now() + minutes{1});
  world.clock.advance(minutes{1});
  flush();
  EXPECT_THAT(take(), ElementsAre("fine"));
  EXPECT_EQ(worker->nextAttempt(), world.clock.now() + minutes{59}) << "the limited one's";
}

// Two answers in a row mean the account. With a success between them, each is about its message.
TEST_F(DeliveryRetriesTest, ASuccessClearsTheAccountOfASuspectedQuota) {
  transport.answer = [](const std::string& subject) {
    return subject.starts_with("limited") ? Outcome{Outcome::Kind::kTemporary,
                                                    "5.4.5 enough for today",
                                                    true,
                                                    {},
                                                    Outcome::Cause::kLimit}
                                          : Outcome{};
  };
  send("limited one");
  flush();
  world.clock.advance(minutes{1});
  send("fine");
  flush();
  send("limited two");
  flush();
  EXPECT_THAT(take(), ElementsAre("limited one", "fine", "limited two"));
  world.clock.advance(minutes{1});
  send("fine too");
  flush();
  EXPECT_THAT(take(), ElementsAre("fine too")) << "everything waits for four hours";
}

TEST_F(DeliveryRetriesTest, AMessageThatIsRefusedForGoodTakesItsSuspicionWithIt) {
  const Outcome limit{
      Outcome::Kind::kTemporary, "5.4.5 enough for today", true, {}, Outcome::Cause::kLimit};
  transport.answer = [&](const std::string&) { return limit; };
  send("bad");
  flush();
  world.clock.advance(minutes{60});
  transport.answer = [](const std::string&) { return Outcome{Kind::kPermanent, "550", false}; };
  flush();
  transport.answer = [&](const std::string&) { return limit; };
  send("limited");
  flush();
  EXPECT_THAT(take(), ElementsAre("bad", "bad", "limited"));
  world.clock.advance(minutes{1});
  transport.answer = nullptr;
  send("fine");
  flush();
  EXPECT_THAT(take(), ElementsAre("fine")) << "everything waits for four hours";
}

TEST_F(DeliveryRetriesTest, MessagesThatAreRefusedForTheTimeBeingDoNotBlockThoseBehindThem) {
  transport.answer = [](const std::string& subject) {
    return subject.starts_with("stuck") ? temporary() : Outcome{};
  };
  for (int i = 0; i < 12; ++i) {
    send("stuck " + std::to_string(i));
  }
  flush();
  send("fine");
  for (int i = 0; i < 3; ++i) {
    world.clock.advance(minutes{60});
    flush();
  }
  EXPECT_EQ(std::count(transport.subjects.begin(), transport.subjects.end(), "fine"), 1);
}

TEST_F(DeliveryRetriesTest, WhatIsKeptIsCountedWhenItIsSaid) {
  transport.answer = [](const std::string&) { return temporary(); };
  send("one");
  std::vector<std::size_t> counted;
  onNotice = [&] { counted.push_back(worker->counts().kept); };
  flush();
  transport.answer = nullptr;
  world.clock.advance(minutes{1});
  flush();
  EXPECT_THAT(counted, ElementsAre(1, 0));
}

TEST_F(DeliveryRetriesTest, ANewStartTriesAtOnce) {
  transport.answer = [](const std::string&) { return temporary(); };
  send("one");
  flush();
  restart();
  flush();
  EXPECT_THAT(transport.subjects, SizeIs(2));
}

// The next try was waited for as long as the clock had been ahead.
TEST_F(DeliveryRetriesTest, AClockThatIsSetBackDoesNotPutOffTheNextAttempt) {
  transport.answer = [](const std::string&) { return temporary(); };
  send("one");
  flush();
  EXPECT_GT(*worker->nextAttempt(), world.clock.now());
  world.clock.set(world.clock.now() - std::chrono::hours{2});
  EXPECT_LE(*worker->nextAttempt(), world.clock.now());
}

// A password that was refused for sending was not tried again by Start, after the user had
// corrected it: for up to an hour nothing left, and the log was silent.
TEST_F(DeliveryRetriesTest, AUserWhoAsksForACheckEndsTheWaits) {
  struct AskedTransport : ScriptedTransport {
    void tryAgain() override { ++asked; }
    int asked = 0;
  } asked;
  use(asked);
  asked.answer = [](const std::string&) { return temporary(true); };
  send("one");
  flush();
  EXPECT_THAT(asked.subjects, SizeIs(1));
  EXPECT_EQ(asked.asked, 0);
  worker->userAsks();
  events.runUntilIdle();
  EXPECT_THAT(asked.subjects, SizeIs(2));
  EXPECT_EQ(asked.asked, 1);
  EXPECT_THAT(notices, SizeIs(2)) << "the user has asked";
}

TEST_F(DeliveryRetriesTest, AClockThatIsSetBackDoesNotMakeMessagesWaitLonger) {
  transport.answer = [](const std::string&) { return temporary(); };
  send("one");
  flush();
  world.clock.set(world.clock.now() - std::chrono::hours{48});
  flush();
  EXPECT_THAT(transport.subjects, SizeIs(2));
}

TEST_F(DeliveryRetriesTest, ARefusalOfOneDoesNotHoldUpTheOthers) {
  transport.answer = [](const std::string& subject) {
    return subject == "one" ? temporary() : Outcome{};
  };
  send("one");
  send("two");
  flush();
  EXPECT_THAT(transport.subjects, ElementsAre("one", "two"));
  EXPECT_THAT(world.names("new"), SizeIs(1));
}

TEST_F(DeliveryRetriesTest, ARefusalThatConcernsEverythingEndsTheSeries) {
  transport.answer = [](const std::string&) { return temporary(true); };
  send("one");
  send("two");
  flush();
  EXPECT_THAT(take(), ElementsAre("one"));
  send("three");
  flush();
  EXPECT_THAT(take(), IsEmpty());
  transport.answer = nullptr;
  world.clock.advance(minutes{1});
  flush();
  EXPECT_THAT(take(), ElementsAre("one", "two", "three"));
}

TEST_F(DeliveryRetriesTest, ManyRefusalsInARowEndTheSeriesAndOthersHaveTheirTurnNext) {
  transport.answer = [](const std::string&) { return temporary(); };
  for (int number = 0; number < 25; ++number) {
    send(std::to_string(number));
  }
  flush();
  EXPECT_THAT(take(), SizeIs(10));
  transport.answer = nullptr;
  world.clock.advance(minutes{1});
  flush();
  EXPECT_THAT(take(), SizeIs(25));
}

TEST_F(DeliveryRetriesTest, IsGivenUpAfterFiveDays) {
  transport.answer = [](const std::string&) { return temporary(); };
  send("one");
  flush();
  world.clock.advance(std::chrono::hours{5 * 24 - 5} + minutes{1});
  for (int hour = 0; hour < 5; ++hour) {
    flush();
    EXPECT_THAT(world.names("new"), SizeIs(1)) << hour;
    world.clock.advance(minutes{60});
  }
  flush();
  EXPECT_THAT(world.names("new"), IsEmpty());
  ASSERT_THAT(world.names("failed"), SizeIs(2));
  EXPECT_THAT(world.bytesOf("failed", world.names("failed")[1]), HasSubstr("451 later"));
  EXPECT_THAT(notices.back(), HasSubstr("five days"));
}

// After an outage of a week, a server that said "later" to each message once moved all of them to
// failed/.
TEST_F(DeliveryRetriesTest, AMessageIsTriedForHoursItselfHoweverOldItIs) {
  transport.answer = [](const std::string&) { return temporary(true); };
  send("one");
  flush();
  world.clock.advance(std::chrono::hours{24 * 7});
  flush();
  transport.answer = [](const std::string&) { return temporary(); };
  for (auto waited = minutes{0}; waited <= kTriedAtLeast; waited += minutes{60}) {
    EXPECT_THAT(world.names("new"), SizeIs(1)) << waited.count();
    world.clock.advance(minutes{60});
    flush();
  }
  EXPECT_THAT(world.names("new"), IsEmpty());
  EXPECT_THAT(notices.back(), HasSubstr("five days"));
}

TEST_F(DeliveryRetriesTest, AMessageIsGivenUpInTheEndThoughTheProgramNeverRunsForHours) {
  transport.answer = [](const std::string&) { return temporary(); };
  send("one");
  for (int day = 0; day < 30; ++day) {
    restart();
    tryForAnHour();
    EXPECT_THAT(world.names("new"), SizeIs(1)) << day;
    world.clock.advance(std::chrono::hours{23});
  }
  world.clock.advance(minutes{1});
  restart();
  tryForAnHour();
  EXPECT_THAT(world.names("new"), IsEmpty());
}

// A server that delays what it sees for the first time had it moved to failed/ at once.
TEST_F(DeliveryRetriesTest, AMessageIsTriedForHalfAnHourItselfThoughItIsAMonthOld) {
  transport.answer = [](const std::string&) { return temporary(); };
  send("one");
  world.clock.advance(std::chrono::hours{24 * 40});
  int tries = 0;
  for (auto waited = minutes{0}; waited < kTriedAtLeastThen; waited += minutes{1}) {
    flush();
    tries += static_cast<int>(take().size());
    world.clock.advance(minutes{1});
  }
  EXPECT_EQ(tries, 5);
  EXPECT_THAT(world.names("new"), SizeIs(1));
  flush();
  EXPECT_THAT(world.names("new"), SizeIs(1)) << "not due yet";
  world.clock.advance(minutes{1});
  flush();
  EXPECT_THAT(world.names("new"), IsEmpty());
}

TEST_F(DeliveryRetriesTest, AUserWhoAsksOftenDoesNotEndTheHalfHourSooner) {
  transport.answer = [](const std::string&) { return temporary(); };
  send("one");
  world.clock.advance(std::chrono::hours{24 * 40});
  for (auto waited = minutes{0}; waited < kTriedAtLeastThen; waited += minutes{1}) {
    worker->userAsks();
    events.runUntilIdle();
    EXPECT_THAT(take(), SizeIs(1));
    world.clock.advance(minutes{1});
  }
  EXPECT_THAT(world.names("new"), SizeIs(1));
}

// After one refusal of its own and an outage of four hours, the second refusal was the end.
TEST_F(DeliveryRetriesTest, TheTimeInWhichNothingCouldLeaveDoesNotCountAgainstAMessage) {
  send("one");
  world.clock.advance(std::chrono::hours{24 * 6});
  transport.answer = [](const std::string&) { return temporary(); };
  flush();
  transport.answer = [](const std::string&) { return temporary(true); };
  for (int hour = 0; hour < 6; ++hour) {
    world.clock.advance(minutes{60});
    flush();
  }
  transport.answer = [](const std::string&) { return temporary(); };
  world.clock.advance(minutes{60});
  flush();
  EXPECT_THAT(world.names("new"), SizeIs(1));
}

TEST_F(DeliveryRetriesTest, AClockThatIsSetDoesNotGiveUpAMessage) {
  transport.answer = [](const std::string&) { return temporary(); };
  send("one");
  world.clock.advance(-std::chrono::hours{24 * 6});
  flush();
  world.clock.advance(std::chrono::hours{24 * 12});
  flush();
  EXPECT_THAT(world.names("new"), SizeIs(1));
}

TEST_F(DeliveryRetriesTest, AUserWhoAsksDoesNotMakeAMessageWaitLongerForItsEnd) {
  transport.answer = [](const std::string&) { return temporary(); };
  send("one");
  world.clock.advance(std::chrono::hours{24 * 6});
  flush();
  for (auto waited = minutes{0}; waited < kTriedAtLeast; waited += minutes{60}) {
    EXPECT_THAT(world.names("new"), SizeIs(1)) << waited.count();
    world.clock.advance(minutes{60});
    worker->userAsks();
    events.runUntilIdle();
  }
  EXPECT_THAT(world.names("new"), IsEmpty());
}

TEST_F(DeliveryRetriesTest, WhatKeepsEverythingBackIsToldOnce) {
  transport.answer = [](const std::string&) {
    return Outcome{Kind::kTemporary, "535 wrong password", true};
  };
  send("one");
  for (int i = 0; i < 5; ++i) {
    flush();
    world.clock.advance(minutes{60});
  }
  EXPECT_THAT(take(), SizeIs(5));
  EXPECT_THAT(notices, ElementsAre("Kept for a later try: \"one\": 535 wrong password"));
  worker->tryAgain(nullptr);
  events.runUntilIdle();
  EXPECT_THAT(notices, SizeIs(2)) << "the user asked";
}

TEST_F(DeliveryRetriesTest, AServerThatIsOutOfReachForAWeekMovesNothingToFailed) {
  transport.answer = [](const std::string&) { return temporary(true); };
  send("one");
  send("two");
  for (int i = 0; i < 7 * 24; ++i) {
    world.clock.advance(minutes{60});
    flush();
  }
  EXPECT_THAT(world.names("failed"), IsEmpty());
  EXPECT_THAT(world.names("new"), SizeIs(2));
  take();
  transport.answer = nullptr;
  world.clock.advance(minutes{60});
  flush();
  EXPECT_THAT(take(), ElementsAre("one", "two"));
}

}  // namespace
}  // namespace relaybird
