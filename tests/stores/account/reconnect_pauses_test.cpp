// SPDX-License-Identifier: MIT
#include "stores/account/reconnect_pauses.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace relaybird {
namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

constexpr milliseconds kNow = seconds(100);

class ReconnectPausesTest : public testing::Test {
 protected:
  void fail(bool stable = false, bool again = false, bool wanted = false) {
    (void)pauses.failed(kNow, stable);
    pauses.begin(again, wanted);
  }

  char chance = '\x80';
  ReconnectPauses pauses{[this](std::size_t count) { return std::string(count, chance); }};
};

TEST_F(ReconnectPausesTest, TheFirstTryIsMadeAtOnce) {
  EXPECT_EQ(pauses.byItself(), milliseconds(0));
  EXPECT_EQ(pauses.ifWanted(), milliseconds(0));
}

TEST_F(ReconnectPausesTest, TheyDoubleUpToTheLongest) {
  std::vector<milliseconds> all;
  for (int i = 0; i < 10; ++i) {
    fail();
    all.push_back(pauses.byItself() - kNow);
  }
  const std::vector<milliseconds> expected{seconds(5),  seconds(10),  seconds(20),  seconds(40),
                                           seconds(80), seconds(160), seconds(320), minutes(10),
                                           minutes(10), minutes(10)};
  EXPECT_EQ(all, expected);
}

TEST_F(ReconnectPausesTest, TheyAreVariedByAQuarter) {
  chance = '\0';
  fail();
  EXPECT_EQ(pauses.byItself() - kNow, milliseconds(3750));
  chance = '\xFF';
  (void)pauses.failed(kNow, true);
  pauses.begin(false, false);
  EXPECT_EQ(pauses.byItself() - kNow, milliseconds(3750 + 5000 * 255 / 512));
}

TEST_F(ReconnectPausesTest, AConnectionThatHadLastedIsTheFirstFailureAgain) {
  EXPECT_TRUE(pauses.failed(kNow, false));
  EXPECT_FALSE(pauses.failed(kNow, false));
  EXPECT_TRUE(pauses.failed(kNow, true));
}

TEST_F(ReconnectPausesTest, WhatIsWantedWaitsAtMostFiveSeconds) {
  for (int i = 0; i < 4; ++i) {
    fail();
  }
  EXPECT_EQ(pauses.ifWanted() - kNow, seconds(5));
}

TEST_F(ReconnectPausesTest, WorkThatWasCutOffHasAnotherTryAtOnce) {
  fail(false, true, true);
  EXPECT_EQ(pauses.ifWanted(), kNow);
  EXPECT_EQ(pauses.byItself(), kNow);
  fail(false, false, true);
  EXPECT_EQ(pauses.ifWanted() - kNow, seconds(5)) << "only once";
  EXPECT_EQ(pauses.byItself() - kNow, seconds(10));
}

TEST_F(ReconnectPausesTest, WhatIsWantedAfterALossDoesNotWaitButTheSessionItselfDoes) {
  fail(false, true, false);
  EXPECT_EQ(pauses.ifWanted(), kNow);
  EXPECT_EQ(pauses.byItself() - kNow, seconds(5));
}

TEST_F(ReconnectPausesTest, AUserWhoAsksWaitsTwoSecondsAndForgivesTheFailures) {
  fail();
  fail();
  pauses.userAsks();
  EXPECT_EQ(pauses.byItself() - kNow, seconds(2));
  EXPECT_EQ(pauses.ifWanted() - kNow, seconds(2));
  EXPECT_TRUE(pauses.failed(kNow, false));
}

}  // namespace
}  // namespace relaybird
