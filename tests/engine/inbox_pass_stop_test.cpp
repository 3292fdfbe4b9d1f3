// SPDX-License-Identifier: MIT
// A pass that ends early: the user switches off, or the program ends. Events that run while the
// status line is updated play the user: they stop the pass, end the program, or start another pass
// within it.
#include <gmock/gmock.h>

#include <utility>

#include "engine/engine_fixture.h"

namespace relaybird {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

// Calls `event` while the status line shows the item with that number, like a user who clicks in
// the middle of a pass.
class StopPassTest : public EngineTest {
 protected:
  void atItem(int number, std::function<void()> event) {
    display_.onProcessPendingEvents = [this, number, event = std::move(event)] {
      if (display_.status == "Checking unread item " + std::to_string(number) + " of 3") {
        event();
      }
    };
  }
  void deliverThree() {
    for (const char* subject : {"one", "two", "three"}) {
      deliver(subject);
    }
  }
};

TEST_F(StopPassTest, StoppingLeavesTheItemsToComeUntouched) {
  deliverThree();
  atItem(2, [this] { engine_.pass().stopAfterItem(); });
  check();
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: three"));
  EXPECT_TRUE(store_.isUnread(0));
  EXPECT_TRUE(store_.isUnread(1));
  EXPECT_FALSE(store_.isUnread(2));
  EXPECT_THAT(log_.lines, Contains(StartsWith("Completed Email Check at ")));
  EXPECT_THAT(log_.lines, Contains(EndsWith("--> Email check stopped before its end: 2 unread "
                                            "items are left for the next one")));
  EXPECT_EQ(store_.syncStarts(), 1U);
  EXPECT_FALSE(engine_.state().m_bBusyFwd);
  EXPECT_FALSE(engine_.state().passRunning);
}

// The store waits for its server, and events run meanwhile.
TEST_F(StopPassTest, AWaitThatIsGivenUpBecauseTheUserStopsIsNoFailedCheck) {
  deliverThree();
  bool lost = false;
  store_.setHook([&](std::string_view at) {
    if (at == "MailItem.ClassName") {
      engine_.pass().stopAfterItem();
      lost = true;
    }
    if (lost && at.starts_with("MailItem.")) {
      throw MailStoreError("Stopped");
    }
  });
  check();
  EXPECT_THAT(log_.lines, Contains(EndsWith("--> Email check stopped before its end: Stopped")));
  EXPECT_THAT(alerts_.lines, IsEmpty());
  EXPECT_NE(display_.status, "Error occurred");
  EXPECT_FALSE(engine_.state().m_bBusyFwd);
  store_.setHook({});
  check();
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: three", "FW: two", "FW: one"));
}

TEST_F(StopPassTest, ASessionThatGivesUpBecauseTheUserStopsIsNoFailedCheck) {
  store_.setHook([&](std::string_view at) {
    if (at == "Application.GetNamespace") {
      engine_.pass().stopAfterItem();
      throw MailStoreError("Stopped");
    }
  });
  check();
  EXPECT_THAT(log_.lines, Contains(EndsWith("--> Email check stopped before its end: Stopped")));
  EXPECT_THAT(alerts_.lines, IsEmpty());
}

TEST_F(StopPassTest, TheNextPassGoesOnWithThem) {
  deliverThree();
  atItem(2, [this] { engine_.pass().stopAfterItem(); });
  check();
  events_.runUntilIdle();
  display_.onProcessPendingEvents = {};
  check();
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: three", "FW: two", "FW: one"));
}

TEST_F(StopPassTest, StoppingWhileNothingRunsDoesNotStopTheNextPass) {
  deliverThree();
  engine_.pass().stopAfterItem();
  check();
  EXPECT_EQ(store_.outboxCount(), 3U);
}

TEST_F(StopPassTest, AnEndingProgramNeitherPausesNorSynchronises) {
  deliverThree();
  atItem(3, [this] { engine_.state().ending = true; });
  check();
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: three", "FW: two"));
  EXPECT_TRUE(store_.isUnread(0));
  EXPECT_THAT(log_.lines, Contains(EndsWith("--> Email check stopped before its end: 1 unread "
                                            "item is left for the next one")));
  EXPECT_THAT(sleeper_.slept, IsEmpty());
  EXPECT_EQ(store_.syncStarts(), 0U);
  EXPECT_THAT(log_.lines, Not(Contains(StartsWith("Completed Email Check at "))));
  EXPECT_FALSE(engine_.state().m_bBusyFwd);
}

// Switching off clears the busy flag while the pass is still on the stack.
TEST_F(StopPassTest, APassInsideAPassIsRefusedThoughTheBusyFlagWasCleared) {
  deliverThree();
  bool inside = false;
  atItem(2, [&] {
    if (!std::exchange(inside, true)) {
      engine_.state().m_bBusyFwd = false;
      check();
    }
  });
  check();
  EXPECT_THAT(log_.lines,
              Contains(HasSubstr("--> Email check aborted: Didn't finish prev. check yet")));
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: three", "FW: two", "FW: one"));
}

// It was refused before it had written its lines and checked the session.
TEST_F(StopPassTest, APassInsideAPassIsRefusedBehindItsFirstSteps) {
  deliverThree();
  std::vector<std::string> before;
  atItem(2, [&] {
    if (before.empty()) {
      engine_.state().testCycle = true;
      before = log_.lines;
      trace_.lines.clear();
      log_.verboseOn = true;
      check();
      log_.verboseOn = false;
      EXPECT_THAT(trace_.lines, ElementsAre("Forward Entered"));
      EXPECT_EQ(engine_.state().forwardedThisPass, 1);
      EXPECT_EQ(engine_.state().itemsInPass, 3);
      EXPECT_EQ(engine_.state().itemsVisited, 1);
      EXPECT_TRUE(engine_.state().passRunning);
      EXPECT_TRUE(engine_.state().m_bBusyFwd);
      EXPECT_FALSE(engine_.state().testCycle);
    }
  });
  check();
  ASSERT_GE(log_.lines.size(), before.size() + 3);
  const std::vector<std::string> added(
      log_.lines.begin() + static_cast<std::ptrdiff_t>(before.size()),
      log_.lines.begin() + static_cast<std::ptrdiff_t>(before.size()) + 3);
  EXPECT_THAT(added,
              ElementsAre(EndsWith("ForwardMail->ResetOlkObj_pre"),
                          EndsWith("ForwardMail->ResetOlkObj_post"),
                          EndsWith("--> Email check aborted: Didn't finish prev. check yet")));
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: three", "FW: two", "FW: one"));
}

// The earlier forwards were not counted, and no synchronisation sent them.
TEST_F(StopPassTest, APassInsideAPassLeavesItsCountStanding) {
  deliverThree();
  atItem(2, [&] { check(); });
  store_.setHook([this](std::string_view operation) {
    if (operation == "SafeItem.send" && store_.outboxCount() > 0) {
      throw MailStoreError("no");
    }
  });
  check();
  EXPECT_EQ(engine_.state().forwardedThisPass, 1);
  EXPECT_EQ(store_.syncStarts(), 1U);
}

TEST_F(StopPassTest, APassInsideAPassLeavesItsStopStanding) {
  deliverThree();
  atItem(2, [&] {
    engine_.pass().stopAfterItem();
    check();
  });
  check();
  EXPECT_THAT(sentSubjects(), ElementsAre("FW: three"));
}

TEST_F(StopPassTest, APassThatFailsIsNotRunningAnyMore) {
  deliverThree();
  store_.setHook([](std::string_view operation) {
    if (operation == "ItemCollection.Restrict") {
      throw MailStoreError("gone");
    }
  });
  check();
  EXPECT_FALSE(engine_.state().passRunning);
}

TEST_F(StopPassTest, ThePassCountsWhatItDid) {
  deliverThree();
  int sends = 0;
  store_.setHook([&](std::string_view operation) {
    if (operation == "SafeItem.send" && ++sends == 2) {
      throw MailStoreError("no");
    }
  });
  check();
  EXPECT_EQ(engine_.state().itemsInPass, 3);
  EXPECT_EQ(engine_.state().itemsVisited, 3);
  EXPECT_EQ(engine_.state().forwardedThisPass, 2);
  EXPECT_EQ(engine_.state().failedThisPass, 1);
}

}  // namespace
}  // namespace relaybird
