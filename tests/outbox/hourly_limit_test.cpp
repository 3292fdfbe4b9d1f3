// SPDX-License-Identifier: MIT
// The limit of messages per address and hour, on a disk that can fail and with a clock that the
// test moves. Restarts are new objects over the same file.
#include "outbox/delivery/hourly_limit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "outbox/outbox_world.h"

namespace relaybird {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

class HourlyLimitTest : public testing::Test {
 protected:
  static constexpr std::size_t kMost = 3;

  HourlyLimitTest() { reopen(); }
  void reopen() {
    limit.reset();
    limit.emplace(world.files, world.clock, path, kMost);
  }
  // Lets as many leave as may, at most `count`; returns how many those were.
  std::size_t leave(std::size_t count, const std::string& to = "bob@example.org") {
    std::size_t left = 0;
    for (; left < count && limit->ask({to}).waitsFor.empty(); ++left) {
      limit->count({to});
    }
    return left;
  }
  std::string bytes() { return readBytes(path); }

  OutboxWorld world;
  std::string path = world.temp.path("recent");
  std::optional<HourlyLimit> limit;
};

TEST_F(HourlyLimitTest, StopsAnAddressThatHasHadAsMuchAsItMay) {
  EXPECT_EQ(leave(10), kMost);
  EXPECT_THAT(limit->stopped(), ElementsAre("bob@example.org"));
  EXPECT_EQ(leave(1, "carol@example.org"), 1U);
}

TEST_F(HourlyLimitTest, AnAddressThatHasHadExactlyAsMuchIsNotStoppedBeforeOneMoreIsToLeave) {
  EXPECT_EQ(leave(kMost), kMost);
  EXPECT_THAT(limit->stopped(), IsEmpty());
}

TEST_F(HourlyLimitTest, SaysOnceThatItStops) {
  leave(kMost);
  const auto first = limit->ask({"bob@example.org"});
  EXPECT_THAT(first.stoppedNow, ElementsAre("bob@example.org"));
  EXPECT_EQ(first.waitsFor, "bob@example.org");
  const auto second = limit->ask({"bob@example.org"});
  EXPECT_THAT(second.stoppedNow, IsEmpty());
  EXPECT_EQ(second.waitsFor, "bob@example.org");
}

TEST_F(HourlyLimitTest, TheHourSlides) {
  leave(1);
  world.clock.advance(minutes{40});
  leave(2);
  world.clock.advance(minutes{21});
  EXPECT_EQ(leave(5), 1U) << "the first is more than an hour ago, the others are not";
}

TEST_F(HourlyLimitTest, WhatLeftWithinTheLastHourCountsToItsLastSecond) {
  world.clock.set(makeTime(2026, 11, 20, 9, 0, 59));
  leave(kMost);
  world.clock.set(makeTime(2026, 11, 20, 10, 0, 58));
  EXPECT_EQ(leave(1), 0U);
}

TEST_F(HourlyLimitTest, OneThatIsStoppedStaysSoWhenTheHourIsOver) {
  leave(10);
  world.clock.advance(std::chrono::hours{48});
  EXPECT_EQ(leave(1), 0U);
}

TEST_F(HourlyLimitTest, TheUsersWordLetsAsMuchLeaveAgain) {
  leave(10);
  limit->lift();
  EXPECT_THAT(limit->stopped(), IsEmpty());
  EXPECT_EQ(leave(10), kMost);
}

TEST_F(HourlyLimitTest, LetterCaseCountsInFrontOfTheAtSignAlone) {
  leave(2, "bob@Example.ORG");
  EXPECT_EQ(leave(5, "bob@example.org"), 1U);
  EXPECT_EQ(leave(5, "Bob@example.org"), kMost);
}

TEST_F(HourlyLimitTest, OneMessageCountsOnceForAnAddressWrittenInTwoWays) {
  limit->count({"bob@example.org", "bob@EXAMPLE.org"});
  EXPECT_EQ(leave(10), kMost - 1);
}

TEST_F(HourlyLimitTest, AMessageForSeveralWaitsForTheOneThatIsStoppedAndStopsAllThatAreDue) {
  leave(kMost, "bob@example.org");
  leave(kMost, "dan@example.org");
  const auto verdict = limit->ask({"carol@example.org", "dan@example.org", "bob@example.org"});
  EXPECT_EQ(verdict.waitsFor, "bob@example.org");
  EXPECT_THAT(verdict.stoppedNow, ElementsAre("bob@example.org", "dan@example.org"));
}

TEST_F(HourlyLimitTest, ANewStartForgetsNeitherWhatLeftNorWhoIsStopped) {
  leave(2);
  leave(10, "carol@example.org");
  reopen();
  EXPECT_THAT(limit->stopped(), ElementsAre("carol@example.org"));
  EXPECT_EQ(leave(5), 1U);
}

TEST_F(HourlyLimitTest, TheUsersWordHoldsOverANewStart) {
  leave(10);
  limit->lift();
  leave(1);
  reopen();
  EXPECT_THAT(limit->stopped(), IsEmpty());
  EXPECT_EQ(leave(10), kMost - 1);
}

TEST_F(HourlyLimitTest, ADamagedLineIsLeftOutAndTheRestHolds) {
  leave(10, "carol@example.org");
  leave(2);
  const std::string good = bytes();
  writeBytes(path, "garbage \xff\n" + good + "cut sho");
  reopen();
  EXPECT_THAT(limit->stopped(), ElementsAre("carol@example.org"));
  EXPECT_EQ(leave(5), 1U);
  reopen();
  EXPECT_THAT(limit->stopped(), ElementsAre("bob@example.org", "carol@example.org"));
  EXPECT_EQ(bytes().find("garbage"), std::string::npos);
}

TEST_F(HourlyLimitTest, AFileThatCannotBeReadKeepsNothingFromLeaving) {
  ASSERT_TRUE(world.disk.createFolder(path));
  reopen();
  EXPECT_EQ(leave(10), kMost);
}

TEST_F(HourlyLimitTest, WhicheverStepOfTheDiskFailsTheNextChangeWritesWhatIsMissing) {
  for (const bool tear : {false, true}) {
    world.files.tearFailingWrites(tear);
    std::size_t step = 1;
    for (bool failed = true; failed; ++step) {
      (void)world.disk.remove(path);
      reopen();
      world.files.failStep(step, ENOSPC);
      EXPECT_EQ(leave(2), 2U);
      failed = world.files.steps() >= step;
      world.files.reset();
      leave(1);
      reopen();
      EXPECT_EQ(leave(10), 0U) << "step " << step;
    }
    EXPECT_GT(step, 7U);
  }
}

TEST_F(HourlyLimitTest, AClockThatIsSetBackNeitherForgetsNorCountsForLongerThanAnHour) {
  leave(2);
  world.clock.set(world.clock.now() - std::chrono::hours{24 * 30});
  EXPECT_EQ(leave(1), 1U);
  EXPECT_EQ(leave(1), 0U);
  limit->lift();
  leave(2);
  world.clock.set(world.clock.now() - std::chrono::hours{24 * 30});
  limit->ask({"bob@example.org"});
  world.clock.advance(minutes{61});
  EXPECT_EQ(leave(10), kMost);
}

TEST_F(HourlyLimitTest, TheFileStaysSmall) {
  for (int i = 0; i < 10000; ++i) {
    limit->count({"bob@example.org"});
    if (i % 10 == 0) {
      world.clock.advance(seconds{1});
    }
  }
  EXPECT_LT(bytes().size(), std::size_t{512} << 10);
}

}  // namespace
}  // namespace relaybird
