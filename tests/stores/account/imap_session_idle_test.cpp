// SPDX-License-Identifier: MIT
// A session for which nothing is wanted: IDLE and NOOP, what the server says meanwhile, and how
// often the session's thread wakes for it.
#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "stores/account/imap_session_fixture.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace std::chrono_literals;

class ImapSessionIdleTest : public ImapSessionFixture {
 protected:
  // IDLE is on, and everything that came before it is done.
  void idle() {
    ASSERT_EQ(refresh(), Wanted::kThere);
    ASSERT_TRUE(runUntil([&] { return account_.count("IDLE") == 1; }));
    step();
    ASSERT_TRUE(session_->status().idles);
    account_.commands.clear();
  }
  void step() {
    network_.wake();
    session_->step();
  }
  // How often the session wakes by itself in that time.
  int wakes(std::chrono::milliseconds time) {
    const auto until = network_.steadyTime() + time;
    bool over = false;
    network_.after(time, [&] {
      over = true;
      network_.wake();
    });
    int count = -1;
    while (!over) {
      session_->step();
      ++count;
    }
    EXPECT_EQ(network_.steadyTime(), until);
    return count;
  }
  // What another thread does while the session sleeps.
  void inAMoment(std::function<void()> act) { network_.after(1ms, std::move(act)); }
  // runUntil() does a last step at its limit, whatever the session would have done by itself.
  template <class Reached>
  bool atOnce(const Reached& reached) {
    const auto begin = network_.steadyTime();
    return runUntil(reached, kMarkDelay / 2) && network_.steadyTime() - begin <= 1ms;
  }
  bool hasChanged() {
    return session_->look([](const ImapWork& work) { return work.changed(); });
  }
  void hear() {
    const auto number = session_->wantHeard();
    EXPECT_TRUE(atOnce([&] { return session_->heard(number); }));
  }
  void passMinute() {
    const auto now = network_.steadyTime();
    network_.after(1min, [] {});
    while (network_.steadyTime() < now + 1min) {
      network_.wait(now + 1min - network_.steadyTime());
    }
    session_->takeAlong(network_.steadyTime());
  }
};

// A server that says every two minutes that it is still there woke the program each time.
TEST_F(ImapSessionIdleTest, WhatTheServerSaysUnaskedDoesNotWakeIt) {
  idle();
  wakes(2min);  // writes what is known of the messages
  for (int i = 1; i < 150; ++i) {
    network_.after(i * 2s, [this] { network_.end(0).say("* OK Still here\r\n* 6 EXISTS\r\n"); });
  }
  EXPECT_EQ(wakes(5min), 0);
  hear();
  EXPECT_TRUE(hasChanged());
}

TEST_F(ImapSessionIdleTest, IsNotDoneWithHearingBeforeAllThatHadArrivedIsRead) {
  idle();
  std::string much;
  for (int i = 0; i < 60'000; ++i) {
    much += "* OK Still here\r\n";
  }
  network_.end(0).say(much + "* 6 EXISTS\r\n");
  hear();
  EXPECT_TRUE(hasChanged());
}

TEST_F(ImapSessionIdleTest, HearingIsDoneWithoutAConnectionToo) {
  hear();
  EXPECT_EQ(network_.connections(), 0U);
}

TEST_F(ImapSessionIdleTest, TheEndOfTheConnectionWakesItAtOnceAndTheFarewellIsRead) {
  idle();
  inAMoment([this] {
    network_.end(0).say("* 6 EXISTS\r\n* BYE shutting down\r\n");
    network_.end(0).close();
  });
  EXPECT_TRUE(atOnce([&] { return !session_->status().up; }));
  EXPECT_THAT(failure(), HasSubstr("it has ended the connection: shutting down"));
  EXPECT_TRUE(runUntil([&] { return session_->status().up; }));
}

TEST_F(ImapSessionIdleTest, AConnectionThatIsLostWakesItAtOnce) {
  idle();
  inAMoment([this] {
    network_.end(0).fail({.cause = ConnectFailure::Cause::kNotReached,
                          .step = ConnectStep::kReady,
                          .words = "Connection reset",
                          .answer = {}});
  });
  EXPECT_TRUE(atOnce([&] { return !session_->status().up; }));
  EXPECT_THAT(failure(), HasSubstr("Connection reset"));
}

TEST_F(ImapSessionIdleTest, AFarewellWithoutAnEndIsReadWhenSomebodyAsks) {
  idle();
  network_.end(0).say("* BYE shutting down\r\n");
  hear();
  EXPECT_FALSE(session_->status().up);
  EXPECT_EQ(refresh(), Wanted::kThere);
  EXPECT_EQ(network_.connections(), 2U);
}

// The server cannot send any more; its end comes behind all that.
TEST_F(ImapSessionIdleTest, AServerThatSaysMoreThanGetsThroughIsReadInTheEnd) {
  idle();
  network_.end(0).keepUnreadBelow(100);
  for (int i = 0; i < 100; ++i) {
    network_.end(0).say("* OK Still here\r\n");
  }
  network_.end(0).say("* BYE enough\r\n");
  network_.end(0).close();
  for (int i = 0; i < 20 && session_->status().up; ++i) {
    hear();
  }
  EXPECT_THAT(failure(), HasSubstr("enough"));
}

TEST_F(ImapSessionIdleTest, ReadsAtOnceWhatComesWhileMarksAreOnTheirWay) {
  idle();
  mark(2);
  inAMoment([this] { network_.end(0).say("* 6 EXISTS\r\n"); });
  EXPECT_TRUE(atOnce([&] { return hasChanged(); }));
  EXPECT_TRUE(runUntilMarked(2));
  EXPECT_TRUE(account_.find(2)->seen);
}

TEST_F(ImapSessionIdleTest, ReadsAtOnceWhatComesWhereItDoesNotIdle) {
  account_.capabilities = "IMAP4rev1";
  ASSERT_EQ(refresh(), Wanted::kThere);
  step();
  inAMoment([this] { network_.end(0).say("* 6 EXISTS\r\n"); });
  EXPECT_TRUE(atOnce([&] { return hasChanged(); }));
}

TEST_F(ImapSessionIdleTest, ReadsAtOnceWhatComesWhereIdleIsRefused) {
  account_.instead = [](const std::string& tag, const std::string& command) {
    return command == "IDLE" ? std::optional<std::string>(tag + " NO not here\r\n") : std::nullopt;
  };
  ASSERT_EQ(refresh(), Wanted::kThere);
  runUntil([] { return false; }, 1s);
  inAMoment([this] { network_.end(0).say("* 6 EXISTS\r\n"); });
  EXPECT_TRUE(atOnce([&] { return hasChanged(); }));
}

// The renewal woke the computer for itself, between two minutes of the countdown.
TEST_F(ImapSessionIdleTest, RenewsIdleInAMinuteInWhichTheProgramIsAwake) {
  idle();
  std::vector<int> woken;
  for (int i = 0; i < 9; ++i) {
    const int before = network_.wakes();
    passMinute();
    woken.push_back(network_.wakes() - before);
    if (woken.back() != 0) {
      runUntil([] { return false; }, 1s);
    }
  }
  EXPECT_EQ(std::count(account_.commands.begin(), account_.commands.end(), "IDLE"), 1);
  EXPECT_EQ(woken[7], 1) << "the last one before it is due";
  EXPECT_THAT(std::vector<int>(woken.begin() + 1, woken.begin() + 7), testing::Each(0));
}

TEST_F(ImapSessionIdleTest, SavesInTheMinuteInWhichTheProgramIsAwake) {
  idle();
  ASSERT_EQ(subject(3), "m3");
  runUntil([] { return false; }, 1s);
  account_.commands.clear();
  session_->takeAlong(network_.steadyTime());
  step();
  EXPECT_EQ(wakes(5min), 0);
  EXPECT_THAT(account_.commands, IsEmpty());
}

TEST_F(ImapSessionIdleTest, SendsNoopInAMinuteInWhichTheProgramIsAwake) {
  account_.capabilities = "IMAP4rev1";
  ASSERT_EQ(refresh(), Wanted::kThere);
  runUntil([] { return false; }, 170s);
  account_.commands.clear();
  session_->takeAlong(network_.steadyTime());
  runUntil([] { return false; }, 1s);
  EXPECT_THAT(account_.commands, ElementsAre("NOOP"));
}

TEST_F(ImapSessionIdleTest, IsNotWokenForTheSakeOfAMinuteBeforeItIsConnected) {
  const int before = network_.wakes();
  session_->takeAlong(network_.steadyTime());
  EXPECT_EQ(network_.wakes(), before);
}

TEST_F(ImapSessionIdleTest, RenewsIdleBeforeServersTireOfIt) {
  refresh();
  const auto begin = network_.steadyTime();
  EXPECT_TRUE(runUntil([&] { return account_.count("IDLE") == 3; }, 60min));
  EXPECT_LE(network_.steadyTime() - begin, 2 * 29min);
  EXPECT_EQ(network_.connections(), 1U);
}

// It was asked again without a pause, thousands of times in a second.
TEST_F(ImapSessionIdleTest, DoesNotRepeatIdleThatTheServerEndsAtOnce) {
  account_.instead = [](const std::string& tag, const std::string& command) {
    return command == "IDLE" ? std::optional<std::string>(tag + " OK done\r\n") : std::nullopt;
  };
  refresh();
  runUntil([] { return false; }, 20min);
  EXPECT_GE(account_.count("IDLE"), 2U);
  EXPECT_LE(account_.count("IDLE"), 7U);
  EXPECT_EQ(network_.connections(), 1U);
}

TEST_F(ImapSessionIdleTest, DoesNotAskForIdleAgainWhereItIsRefused) {
  account_.instead = [](const std::string& tag, const std::string& command) {
    return command == "IDLE" ? std::optional<std::string>(tag + " NO not here\r\n") : std::nullopt;
  };
  refresh();
  runUntil([] { return false; }, 3h);
  EXPECT_EQ(account_.count("IDLE"), 1U);
  EXPECT_GE(account_.count("NOOP"), 180U / 5);
  EXPECT_FALSE(session_->status().idles);
}

// Each connection was lost after half a minute.
TEST_F(ImapSessionIdleTest, DoesNotAskForIdleAgainWhereTheServerDoesNotAnswerIt) {
  account_.instead = [](const std::string&, const std::string& command) {
    return command == "IDLE" ? std::optional<std::string>("") : std::nullopt;
  };
  refresh();
  runUntil([] { return false; }, 3h);
  EXPECT_EQ(account_.count("IDLE"), 1U);
  EXPECT_EQ(network_.connections(), 2U);
  EXPECT_TRUE(session_->status().up);
}

TEST_F(ImapSessionIdleTest, SendsNoopWhereIdleIsNotOffered) {
  account_.capabilities = "IMAP4rev1";
  refresh();
  EXPECT_TRUE(runUntil([&] { return account_.count("NOOP") == 2; }, 20min));
  EXPECT_FALSE(session_->status().idles);
}

}  // namespace
}  // namespace relaybird
