// SPDX-License-Identifier: MIT
// A session whose folder nobody watches, because forwarding is off: what it was opened for is done,
// and after a while it goes.
#include <gmock/gmock.h>

#include <algorithm>

#include "stores/account/imap_session_fixture.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;

class ImapSessionUnwatchedTest : public ImapSessionFixture {
 protected:
  ImapSessionUnwatchedTest() { session_->watch(false); }

  bool up() { return session_->status().up; }
  void pass(std::chrono::milliseconds time) {
    runUntil([] { return false; }, time);
  }
  // How often the session wakes by itself in that time.
  int wakes(std::chrono::milliseconds time) {
    bool over = false;
    network_.after(time, [&] {
      over = true;
      network_.wake();
    });
    int count = -1;
    for (; !over; ++count) {
      session_->step();
    }
    return count;
  }
  void answerNot(const std::string& beginning) {
    account_.instead = [beginning](const std::string&, const std::string& command) {
      return command.starts_with(beginning) ? std::optional<std::string>("") : std::nullopt;
    };
  }
};

TEST_F(ImapSessionUnwatchedTest, LeavesAConnectionThatNobodyUsesAndSleeps) {
  ASSERT_EQ(refresh(), Wanted::kThere);
  pass(kUnusedLife - 1s);
  EXPECT_TRUE(up());
  pass(2s);
  EXPECT_FALSE(up());
  EXPECT_EQ(failure(), "");
  EXPECT_EQ(account_.commands.back(), "LOGOUT");
  EXPECT_TRUE(network_.end(0).abandoned());
  EXPECT_LE(wakes(24h), 25);
  EXPECT_EQ(network_.connections(), 1U);
}

TEST_F(ImapSessionUnwatchedTest, TheNextUseOpensItAgainAtOnce) {
  ASSERT_EQ(refresh(), Wanted::kThere);
  pass(10min);
  account_.add(6, simpleMail("m6"));
  const auto begin = network_.steadyTime();
  EXPECT_EQ(refresh(), Wanted::kThere);
  EXPECT_EQ(subject(6), "m6");
  EXPECT_EQ(network_.steadyTime(), begin);
  EXPECT_EQ(network_.connections(), 2U);
  pass(10min);
  EXPECT_FALSE(up());
}

TEST_F(ImapSessionUnwatchedTest, EachUseGivesItFiveMinutes) {
  ASSERT_EQ(refresh(), Wanted::kThere);
  pass(4min);
  const auto number = session_->wantHeard();
  ASSERT_TRUE(runUntil([&] { return session_->heard(number); }, 1s));
  pass(4min);
  EXPECT_EQ(subject(3), "m3");
  pass(4min);
  EXPECT_TRUE(up());
  pass(2min);
  EXPECT_FALSE(up());
  EXPECT_EQ(network_.connections(), 1U);
}

TEST_F(ImapSessionUnwatchedTest, WhatKeepsAConnectionAliveIsNoUseOfIt) {
  account_.capabilities = "IMAP4rev1";
  ASSERT_EQ(refresh(), Wanted::kThere);
  pass(kUnusedLife + 1s);
  EXPECT_EQ(account_.count("NOOP"), 1U);
  EXPECT_FALSE(up());
}

TEST_F(ImapSessionUnwatchedTest, AConnectionThatIsLostIsNotReplaced) {
  ASSERT_EQ(refresh(), Wanted::kThere);
  network_.end(0).close();
  ASSERT_TRUE(runUntil([&] { return !up(); }, 1s));
  EXPECT_LE(wakes(24h), 25);
  EXPECT_EQ(network_.connections(), 1U);
  EXPECT_EQ(refresh(), Wanted::kThere);
}

TEST_F(ImapSessionUnwatchedTest, AMarkThatIsNotConfirmedIsWaitedForAndTakenToTheNextConnection) {
  ASSERT_EQ(refresh(), Wanted::kThere);
  runUntil([&] { return session_->status().idles; });
  pass(kUnusedLife - 10s);
  answerNot("UID STORE");
  mark(3);
  pass(20s);
  EXPECT_EQ(account_.count("LOGOUT"), 0U);
  account_.instead = {};
  EXPECT_TRUE(runUntilMarked(3)) << "the silent connection is given up, and another one is opened";
  EXPECT_TRUE(account_.find(3)->seen);
  EXPECT_EQ(network_.connections(), 2U);
  pass(kUnusedLife + 1s);
  EXPECT_FALSE(up());
  EXPECT_EQ(account_.commands.back(), "LOGOUT");
}

TEST_F(ImapSessionUnwatchedTest, AMarkThatWaitsForOthersNeedsNoOtherConnection) {
  ASSERT_EQ(refresh(), Wanted::kThere);
  pass(kUnusedLife - kMarkDelay / 2);
  mark(3);
  EXPECT_TRUE(runUntilMarked(3));
  EXPECT_TRUE(account_.find(3)->seen);
  EXPECT_EQ(account_.count("LOGOUT"), 0U);
  EXPECT_EQ(network_.connections(), 1U);
}

TEST_F(ImapSessionUnwatchedTest, WhileWatchedItStaysAndSwitchingOffIsAUse) {
  session_->watch(true);
  ASSERT_EQ(refresh(), Wanted::kThere);
  pass(2h);
  EXPECT_TRUE(up());
  // It has nothing to do meanwhile, and is not woken.
  for (const auto until = network_.steadyTime() + 7min; network_.steadyTime() < until;) {
    network_.wait(until - network_.steadyTime());
  }
  session_->watch(false);
  pass(kUnusedLife - 1s);
  EXPECT_TRUE(up());
  EXPECT_EQ(network_.connections(), 1U);
  pass(2s);
  EXPECT_FALSE(up());
}

TEST_F(ImapSessionUnwatchedTest, OneThatIsWatchedAgainOpensByItself) {
  ASSERT_EQ(refresh(), Wanted::kThere);
  pass(1h);
  ASSERT_FALSE(up());
  session_->watch(true);
  EXPECT_TRUE(runUntil([&] { return up(); }, 1s));
}

TEST_F(ImapSessionUnwatchedTest, WhatIsWantedDuringAGoodbyeIsDoneAfterIt) {
  ASSERT_EQ(refresh(), Wanted::kThere);
  answerNot("LOGOUT");
  ASSERT_TRUE(runUntil([&] { return account_.count("LOGOUT") == 1; }));
  mark(2);
  account_.add(6, simpleMail("m6"));
  const auto begin = network_.steadyTime();
  EXPECT_EQ(refresh(), Wanted::kThere);
  EXPECT_LE(network_.steadyTime() - begin, kFarewellLimit);
  EXPECT_TRUE(runUntilMarked(2));
  EXPECT_TRUE(account_.find(2)->seen);
  EXPECT_EQ(subject(6), "m6");
  EXPECT_EQ(network_.connections(), 2U);
  EXPECT_EQ(failure(), "");
}

TEST_F(ImapSessionUnwatchedTest, AServerThatEndsTheConnectionInsteadOfAnAnswerIsNoFailure) {
  ASSERT_EQ(refresh(), Wanted::kThere);
  account_.instead = [this](const std::string&, const std::string& command) {
    if (command != "LOGOUT") {
      return std::optional<std::string>();
    }
    network_.end(0).say("* BYE\r\n");
    network_.end(0).close();
    return std::optional<std::string>("");
  };
  pass(6min);
  EXPECT_FALSE(up());
  EXPECT_EQ(failure(), "");
  EXPECT_THAT(complaints_, testing::IsEmpty());
}

TEST_F(ImapSessionUnwatchedTest, EndsInTimeDuringAGoodbye) {
  ASSERT_EQ(refresh(), Wanted::kThere);
  answerNot("LOGOUT");
  ASSERT_TRUE(runUntil([&] { return account_.count("LOGOUT") == 1; }));
  session_->close();
  const auto begin = network_.steadyTime();
  EXPECT_FALSE(runUntil([] { return false; }));
  EXPECT_LE(network_.steadyTime() - begin, kFarewellLimit);
  EXPECT_EQ(network_.connections(), 1U);
}

}  // namespace
}  // namespace relaybird
