// SPDX-License-Identifier: MIT
// When a message that the server refuses is given up.
#include "stores/account/wanted.h"

#include <gtest/gtest.h>

namespace relaybird {
namespace {

using namespace std::chrono_literals;

class MessageBlameTest : public testing::Test {
 protected:
  bool refusedAfter(MessageBlame::Time pause) {
    now_ += pause;
    blame_.setTime(now_);
    return blame_.addRefusal(3);
  }
  bool lostAfter(MessageBlame::Time pause, Loss how = Loss::kClosedAtOnce) {
    now_ += pause;
    blame_.setTime(now_);
    return blame_.add(3, how);
  }

  MessageBlame::Time now_{1s};
  MessageBlame blame_;
};

TEST_F(MessageBlameTest, ManyRefusalsInOneMomentCountOnce) {
  for (int i = 0; i < 100; ++i) {
    EXPECT_FALSE(refusedAfter(1s)) << i;
    blame_.clear(4);
  }
}

TEST_F(MessageBlameTest, AMessageIsGivenUpAfterHalfAnHourInWhichOthersCome) {
  EXPECT_FALSE(refusedAfter(0s));
  for (int i = 0; i < 2; ++i) {
    blame_.clear(4);
    EXPECT_FALSE(refusedAfter(5min));
    EXPECT_FALSE(refusedAfter(5min));
  }
  blame_.clear(4);
  EXPECT_TRUE(refusedAfter(kRefusalPause));
  EXPECT_TRUE(refusedAfter(1s)) << "that stays so";
  blame_.clear(3);
  EXPECT_FALSE(refusedAfter(kRefusalPause));
}

TEST_F(MessageBlameTest, WhereNothingElseComesItTakesHours) {
  EXPECT_FALSE(refusedAfter(0s));
  for (auto time = 0min; time < 3 * kRefusalPauseAlone - 10min; time += 10min) {
    EXPECT_FALSE(refusedAfter(10min));
  }
  EXPECT_TRUE(refusedAfter(10min));
}

TEST_F(MessageBlameTest, AConnectionThatIsClosedOverAMessageWeighsAsMuchAsTwoRefusals) {
  EXPECT_FALSE(lostAfter(0s));
  EXPECT_FALSE(lostAfter(kRefusalPause - 1s));
  blame_.clear(4);
  EXPECT_TRUE(lostAfter(1s));
}

// A server that closed each connection for ten minutes had the first message given up, and after
// ten more the next one.
TEST_F(MessageBlameTest, ConnectionsThatAreLostOverEveryMessageSayLittleAboutOne) {
  EXPECT_FALSE(lostAfter(0s));
  for (auto time = 0min; time < kRefusalPauseAlone - 10min; time += 10min) {
    EXPECT_FALSE(lostAfter(10min));
  }
  EXPECT_TRUE(lostAfter(10min));
}

TEST_F(MessageBlameTest, AConnectionThatBreaksWeighsHalfAsMuchAsOneThatIsClosed) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(lostAfter(kRefusalPause, Loss::kBroken));
    blame_.clear(4);
  }
  EXPECT_TRUE(lostAfter(kRefusalPause, Loss::kBroken));
}

TEST_F(MessageBlameTest, AConnectionThatEndsForAnotherReasonSaysNothing) {
  for (int i = 0; i < 10; ++i) {
    EXPECT_FALSE(lostAfter(kRefusalPauseAlone, Loss::kOther));
  }
}

TEST_F(MessageBlameTest, ForgetsWhatIsNotUnreadAnyMore) {
  for (int i = 0; i < kMostRefusals; ++i) {
    (void)refusedAfter(kRefusalPauseAlone);
  }
  EXPECT_TRUE(refusedAfter(0s));
  blame_.keepOnly(UidSet({4}));
  EXPECT_FALSE(refusedAfter(0s));
}

}  // namespace
}  // namespace relaybird
