// SPDX-License-Identifier: MIT
// A pass in which the mail store fails. The hook of the mailbox in memory refuses chosen calls, at
// last each call that a pass makes, one at a time: the pass ends, leaves no flag behind, and the
// next one goes on.
#include <algorithm>
#include <set>

#include "engine/engine_fixture.h"

namespace relaybird {
namespace {

using Lines = std::vector<std::string>;

class InboxPassFaultTest : public EngineTest {
 protected:
  void failAt(std::string operation) {
    store_.setHook([operation = std::move(operation)](std::string_view at) {
      if (at == operation) {
        throw MailStoreError("the store broke");
      }
    });
  }

  // From this operation on every call for the item fails, as where its server is lost, until the
  // next listing.
  void expectForwardedAfterALoss(const std::string& operation) {
    SCOPED_TRACE(operation);
    deliver(operation);
    bool lost = false;
    store_.setHook([&](std::string_view at) {
      lost = lost || at == operation;
      if (lost && at.starts_with("MailItem.")) {
        throw MailStoreError("no connection");
      }
    });
    check();
    EXPECT_TRUE(lost);
    EXPECT_TRUE(log_.lines.back().starts_with("An Error occured at ")) << log_.lines.back();
    EXPECT_TRUE(log_.lines.back().ends_with(" --> no connection")) << log_.lines.back();
    store_.setHook({});
    check();
    ASSERT_FALSE(sentSubjects().empty());
    EXPECT_EQ(sentSubjects().back(), "FW: " + operation);
  }
};

TEST_F(InboxPassFaultTest, AFaultEndsThePassWithOneLineAndNothingElse) {
  deliver("older");
  deliver("newer");
  int reads = 0;
  store_.setHook([&](std::string_view at) {
    if (at == "MailItem.EntryID" && ++reads == 2) {
      throw MailStoreError("the store broke");
    }
  });
  engine_.state().testCycle = true;
  display_.forwardNow = false;
  check();
  EXPECT_EQ(log_.lines, (Lines{"Started Email Check at 2026-11-20 15:00:00",
                               "forwarded newer at 2026-11-20 15:00:00",
                               "An Error occured at 2026-11-20 15:00:00 --> the store broke"}));
  EXPECT_FALSE(engine_.state().m_bBusyFwd);
  EXPECT_TRUE(display_.forwardNow);
  EXPECT_TRUE(sleeper_.slept.empty());
  EXPECT_EQ(store_.syncStarts(), 0u);
  EXPECT_EQ(display_.forwarded, "1");
}

TEST_F(InboxPassFaultTest, TheItemInHandIsLookedAtAgain) {
  deliver("one");
  failAt("MailItem.UnRead=");
  check();
  EXPECT_EQ(store_.outboxCount(), 0u);
  store_.setHook({});
  check();
  EXPECT_EQ(sentSubjects(), Lines{"FW: one"});
}

TEST_F(InboxPassFaultTest, AFaultStandsInTheStatusLineAndCountsAsAFailedCheck) {
  deliver("one");
  failAt("MailItem.UnRead=");
  check();
  EXPECT_EQ(display_.status, "Error occurred");
  EXPECT_EQ(alerts_.lines, Lines{"failed: the store broke"});
}

// Every pass began by resetting the count of failed checks.
TEST_F(InboxPassFaultTest, OnlyAPassThatComesToItsEndIsACompletedCheck) {
  check();
  EXPECT_EQ(alerts_.lines, Lines{"completed"});
  failAt("ItemCollection.Restrict");
  check();
  check();
  EXPECT_EQ(alerts_.lines,
            (Lines{"completed", "failed: the store broke", "failed: the store broke"}));
}

TEST_F(InboxPassFaultTest, ACountBeyondSixteenBitsIsAnErrorThatSaysWhatToDo) {
  for (int i = 0; i < 32768; ++i) {
    store_.deliver({});
  }
  check();
  EXPECT_EQ(log_.lines.back(),
            "An Error occured at 2026-11-20 15:00:00 --> Overflow: the inbox holds 32768 unread "
            "items, and a check takes 32767 at most. Mark some of them as read, or move them to "
            "another folder.");
  EXPECT_EQ(store_.outboxCount(), 0u);
}

TEST_F(InboxPassFaultTest, TheCounterOverflowsAsAnErrorAndNeverWraps) {
  prefs_.fields().mlngMaxToForward = 100000;
  display_.forwarded = "32767";
  deliver("one");
  check();
  EXPECT_EQ(display_.forwarded, "32767");
  EXPECT_EQ(log_.lines.back(),
            "An Error occured at 2026-11-20 15:00:00 --> Overflow: no more than 32767 forwards can "
            "be counted. Stop forwarding and start it again to count from 0.");
  EXPECT_EQ(store_.outboxCount(), 1u);
  EXPECT_FALSE(store_.isUnread(0));
}

TEST_F(InboxPassFaultTest, AnApplicationThatEndsUnderThePassIsOpenedAfreshByTheNext) {
  deliver("one");
  check();
  deliver("two");
  bool quit = false;
  store_.setHook([&](std::string_view at) {
    if (at == "Items.Restrict" || at == "ItemCollection.Restrict") {
      if (!std::exchange(quit, true)) {
        store_.quitApplication();
      }
    }
  });
  engine_.state().syncBusy = false;
  check();
  EXPECT_TRUE(quit);
  EXPECT_TRUE(log_.lines.back().starts_with("An Error occured at ")) << log_.lines.back();
  store_.setHook({});
  check();
  EXPECT_EQ(sentSubjects(), (Lines{"FW: one", "FW: two"}));
}

// Rules that wrap an item, and a forward that cannot be built.
class UnbuiltForwardTest : public InboxPassFaultTest {
 protected:
  // The wrapping for the rules does not save the forward; the building for sending does.
  UnbuiltForwardTest() { failAt("MailItem.Save"); }

  void textRule(const std::string& word) {
    prefs_.fields().mbolFilterText = true;
    prefs_.fields().mintTextToCheck = 102;
    prefs_.fields().mstrTextToMatch = {word};
  }
  void senderRule(std::int16_t rule, const std::string& sender) {
    prefs_.fields().mintSenderFilter = rule;
    prefs_.fields().mcolSenderList = {sender};
  }
};

// The log said "Tried but failed", and the item was marked as read.
TEST_F(UnbuiltForwardTest, UnderTheTextRuleItIsTheRuleThatFailsAndTheItemStaysUnread) {
  textRule("text");
  deliver("one");
  check();
  EXPECT_EQ(decisions(), Lines{"one at 2026-11-20 15:00:00 not forwarded because the store broke"});
  EXPECT_TRUE(store_.isUnread(0));
  EXPECT_EQ(engine_.state().failedThisPass, 0);
  EXPECT_EQ(alerts_.lines, Lines{"completed"});
  store_.setHook({});
  check();
  EXPECT_EQ(store_.outboxCount(), 0u);
  EXPECT_EQ(decisions().size(), 1u);
}

TEST_F(UnbuiltForwardTest, WithoutWordsOfTheBuilderTheTextRuleHasItsOwn) {
  textRule("text");
  deliver("one");
  store_.setHook([](std::string_view at) {
    if (at == "MailItem.Save") {
      throw MailStoreError("");
    }
  });
  check();
  EXPECT_EQ(decisions(), Lines{"one at 2026-11-20 15:00:00 not forwarded because Could not apply "
                               "the text filter"});
}

TEST_F(UnbuiltForwardTest, UnderTheRuleOfListedSendersTheSenderIsUnknown) {
  senderRule(501, "bob");
  deliver("one");
  check();
  EXPECT_EQ(decisions(),
            Lines{"one at 2026-11-20 15:00:00 not forwarded because Problem determining sender"});
  EXPECT_TRUE(store_.isUnread(0));
}

TEST_F(UnbuiltForwardTest, UnderTheRuleOfExcludedSendersItIsAForwardThatFailed) {
  senderRule(502, "nobody");
  deliver("one");
  check();
  EXPECT_EQ(decisions(), Lines{"Tried but failed to forward one at 2026-11-20 15:00:00; Problem "
                               "was: the store broke"});
  EXPECT_FALSE(store_.isUnread(0));
}

TEST_F(UnbuiltForwardTest, WithoutRulesItIsAForwardThatFailed) {
  deliver("one");
  check();
  EXPECT_EQ(decisions(), Lines{"Tried but failed to forward one at 2026-11-20 15:00:00; Problem "
                               "was: the store broke"});
  EXPECT_FALSE(store_.isUnread(0));
}

TEST_F(UnbuiltForwardTest, AForwardThatARuleNeedsIsBuiltOnceAndItsFailedSendingIsNoRules) {
  textRule("text");
  deliver("one");
  int saves = 0;
  store_.setHook([&](std::string_view at) {
    saves += at == "MailItem.Save" ? 1 : 0;
    if (at == "SafeItem.send") {
      throw MailStoreError("the outbox is full");
    }
  });
  check();
  EXPECT_EQ(saves, 1);
  EXPECT_EQ(decisions(), Lines{"Tried but failed to forward one at 2026-11-20 15:00:00; Problem "
                               "was: the outbox is full"});
}

TEST_F(UnbuiltForwardTest, AForwardIsNeverThatOfTheItemBefore) {
  textRule("text");
  deliver("one");
  deliver("two");
  deliver("three");
  int saves = 0;
  store_.setHook([&](std::string_view at) {
    if (at == "MailItem.Save" && ++saves == 2) {
      throw MailStoreError("the store broke");
    }
  });
  check();
  EXPECT_EQ(sentSubjects(), (Lines{"FW: three", "FW: one"}));
  EXPECT_TRUE(store_.isUnread(1));
}

// The server of an account is lost while an item is read for a rule.
TEST_F(UnbuiltForwardTest, AnItemThatTheStoreHasLostIsNotIgnored) {
  textRule("text");
  for (const char* operation : {"MailItem.Save", "MailItem.Body"}) {
    expectForwardedAfterALoss(operation);
  }
}

// The sender or the date could not be read, because the server was lost.
TEST_F(InboxPassFaultTest, AnItemWhoseRuleHasNotSeenItIsNotIgnored) {
  prefs_.fields().mbolIgnoreExistingUnread = true;
  prefs_.fields().mintSenderFilter = kForwardOnlyListed;
  prefs_.fields().mcolSenderList = {"bob"};
  for (const char* operation : {"MailItem.ReceivedTime", "MailItem.Fields"}) {
    expectForwardedAfterALoss(operation);
  }
}

// It was taken for one of an unknown sender and forwarded, as the server had an answer again for
// the forward.
TEST_F(InboxPassFaultTest, AnItemOfAnExcludedSenderIsNotForwardedAfterALoss) {
  prefs_.fields().mintSenderFilter = kForwardAllButListed;
  prefs_.fields().mcolSenderList = {"bob"};
  deliver("one");
  bool lost = false;
  store_.setHook([&](std::string_view at) {
    lost = lost || at == "MailItem.Fields";
    if (lost && (at == "MailItem.Fields" || at == "MailItem.UnRead")) {
      throw MailStoreError("no connection");
    }
  });
  check();
  EXPECT_TRUE(lost);
  EXPECT_TRUE(log_.lines.back().ends_with(" --> no connection")) << log_.lines.back();
  store_.setHook({});
  check();
  EXPECT_EQ(sentSubjects(), Lines{});
  EXPECT_TRUE(store_.isUnread(0));
}

// Runs a pass over items of every kind once for each operation that it uses, which fails at its
// first use. Whatever fails, the pass ends by itself, leaves no flag behind, and the next one,
// with the store in order again, forwards what is still unread and undecided exactly once.
TEST_F(InboxPassFaultTest, WhicheverOperationFailsThePassEndsAndTheNextOneGoesOn) {
  prefs_.fields().mbolIgnoreExistingUnread = true;
  prefs_.fields().mbolFilterText = true;
  prefs_.fields().mstrTextToMatch = {"text"};
  prefs_.fields().mintTextToCheck = 102;
  prefs_.fields().mintSenderFilter = 502;
  prefs_.fields().mcolSenderList = {"nobody"};
  const auto fill = [](MemoryStore& store) {
    for (const char* kind : {"MailItem", "meetingitem", "ReportItem", "TaskRequestItem",
                             "TaskRequestAcceptItem", "ContactItem"}) {
      MemoryItem item = mail(std::string("about ") + kind);
      item.kind = kind;
      item.attachments.push_back({"a.txt", "attached", {}});
      store.deliver(item);
    }
  };
  std::set<std::string> operations;
  store_.setHook([&](std::string_view at) { operations.emplace(at); });
  fill(store_);
  check();
  ASSERT_EQ(store_.outboxCount(), 5u);
  ASSERT_GT(operations.size(), 25u);

  for (const std::string& operation : operations) {
    SCOPED_TRACE(operation);
    MemoryStore store(events_);
    fill(store);
    RecordingLog log(&clock_);
    EngineHouse house(store.factory(), clock_, sleeper_, log);
    house.prefs.fields() = prefs_.fields();
    ForwardingEngine& engine = house.engine;
    engine.state().activationTime = kStart;
    bool failed = false;
    store.setHook([&](std::string_view at) {
      if (at == operation && !std::exchange(failed, true)) {
        throw MailStoreError("broken once");
      }
    });
    engine.pass().ForwardMail();
    EXPECT_TRUE(failed);
    EXPECT_FALSE(engine.state().m_bBusyFwd);
    store.setHook({});
    events_.runUntilIdle();
    engine.pass().ForwardMail();

    std::multiset<std::string> subjects;
    for (const auto& message : store.outbox()) {
      subjects.insert(message.subject);
    }
    for (const auto& subject : subjects) {
      EXPECT_EQ(subjects.count(subject), 1u) << subject;
    }
    // At most the current item is given up, and then the log says so.
    EXPECT_GE(subjects.size(), 4u);
    if (subjects.size() == 4u) {
      EXPECT_TRUE(std::any_of(log.lines.begin(), log.lines.end(), [](const std::string& line) {
        return line.find("Tried but failed") == 0 || line.find("An Error occured") == 0 ||
               line.find(" not forwarded because ") != std::string::npos;
      }));
    }
  }
}

}  // namespace
}  // namespace relaybird
