// SPDX-License-Identifier: MIT
// What one pass over the inbox does with each item, and what the log, the status line and the
// counters show. The whole engine over the mailbox in memory (EngineTest), so that decision,
// forward and sending are checked together.
#include "engine/inbox_pass.h"

#include <algorithm>

#include "engine/engine_fixture.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

class InboxPassTest : public EngineTest {};

constexpr const char* kOldReason =
    " at 2026-11-20 15:00:00 not forwarded because message received before Relaybird activated";

TEST_F(InboxPassTest, AnEmptyInboxLogsItsStartAndEndAndSynchronisesNothing) {
  check();
  EXPECT_EQ(log_.lines, (Lines{"Started Email Check at 2026-11-20 15:00:00",
                               "Completed Email Check at 2026-11-20 15:00:00"}));
  EXPECT_EQ(display_.status, "Completed check of inbox");
  EXPECT_EQ(store_.syncStarts(), 0u);
  EXPECT_EQ(sleeper_.slept, std::vector<std::chrono::milliseconds>{3000ms});
  EXPECT_EQ(trace_.lines, Lines{"Forward Entered"});
}

TEST_F(InboxPassTest, AnEmptyInboxSaysInPassingThatNothingIsNew) {
  check();
  EXPECT_EQ(display_.statuses, (Lines{"Activating Outlook...", "Performing Outlook Email Logon...",
                                      "Accessing Outlook Inbox...", "Checking inbox now...",
                                      "Completed check of inbox (no new messages found)",
                                      "Completed check of inbox"}));
}

TEST_F(InboxPassTest, ThreeForwardsGiveThreeLinesThreeMoreAndOneSendSynchronisation) {
  display_.forwarded = "4";
  for (const char* subject : {"one", "two", "three"}) {
    deliver(subject);
  }
  check();
  EXPECT_EQ(decisions(),
            (Lines{"forwarded three at 2026-11-20 15:00:00", "forwarded two at 2026-11-20 15:00:00",
                   "forwarded one at 2026-11-20 15:00:00"}));
  EXPECT_EQ(display_.forwarded, "7");
  EXPECT_EQ(store_.syncStarts(), 1u);
  EXPECT_TRUE(engine_.state().sendSync);
  EXPECT_EQ(engine_.state().forwardedThisPass, 3);
  EXPECT_EQ(sentSubjects(), (Lines{"FW: three", "FW: two", "FW: one"}));
}

TEST_F(InboxPassTest, TheSendSynchronisationStartsAfterTheThreeSecondPause) {
  deliver("one");
  std::size_t startsDuringPause = 99;
  DateTime startedAt = kNoDate;
  store_.setHook([&](std::string_view at) {
    if (at == "SyncObject.Start") {
      startedAt = clock_.now();
    }
  });
  check();
  startsDuringPause = store_.syncStarts();
  EXPECT_EQ(startsDuringPause, 1u);
  EXPECT_EQ(startedAt, kStart + 3s);
}

TEST_F(InboxPassTest, TheStatusLineCountsTheItemsUp) {
  deliver("one");
  deliver("two");
  check();
  EXPECT_EQ(
      std::count(display_.statuses.begin(), display_.statuses.end(), "Checking unread item 1 of 2"),
      1);
  EXPECT_EQ(
      std::count(display_.statuses.begin(), display_.statuses.end(), "Checking unread item 2 of 2"),
      1);
  const auto repaints = std::count(display_.calls.begin(), display_.calls.end(), "repaint");
  EXPECT_EQ(repaints, 3);
}

TEST_F(InboxPassTest, AForwardedItemIsReadAndStaysOffTheIgnoreList) {
  deliver("one");
  check();
  EXPECT_FALSE(store_.isUnread(0));
  store_.setUnread(0, true);
  check();
  EXPECT_EQ(store_.outboxCount(), 2u);
}

TEST_F(InboxPassTest, TheCellPhoneFormatReachesTheForward) {
  prefs_.fields().mbolFormatForCellPhone = true;
  deliver("one");
  check();
  EXPECT_EQ(store_.outbox().at(0).body, "[From:bob@example.com] text of one");
}

TEST_F(InboxPassTest, AtTheMaximumTheFirstItemStopsThePass) {
  prefs_.fields().mlngMaxToForward = 5;
  display_.forwarded = "5";
  deliver("one");
  check();
  EXPECT_EQ(log_.lines, (Lines{"Started Email Check at 2026-11-20 15:00:00",
                               "Stopped - already forwarded maximum number of emails allowed."}));
  EXPECT_EQ(display_.status, "Stopped - Reached max. allowed to forward");
  EXPECT_FALSE(engine_.state().m_bBusyFwd);
  EXPECT_TRUE(sleeper_.slept.empty());
  EXPECT_EQ(store_.syncStarts(), 0u);
  EXPECT_TRUE(store_.isUnread(0));
}

TEST_F(InboxPassTest, TheMaximumCountsForwardsOfEarlierPassesAndStopsInTheMiddle) {
  prefs_.fields().mlngMaxToForward = 2;
  display_.forwarded = "1";
  deliver("older");
  deliver("newer");
  check();
  EXPECT_EQ(sentSubjects(), Lines{"FW: newer"});
  EXPECT_EQ(decisions(), (Lines{"forwarded newer at 2026-11-20 15:00:00",
                                "Stopped - already forwarded maximum number of emails allowed."}));
  EXPECT_EQ(store_.syncStarts(), 0u);
}

TEST_F(InboxPassTest, AnItemReceivedAtTheActivationInstantCountsAsReceivedBefore) {
  prefs_.fields().mbolIgnoreExistingUnread = true;
  MemoryItem item = mail("old");
  item.received = kStart;
  store_.deliver(item);
  check();
  EXPECT_EQ(decisions(), Lines{std::string("old") + kOldReason});
  EXPECT_EQ(store_.outboxCount(), 0u);
  EXPECT_TRUE(store_.isUnread(0));
}

TEST_F(InboxPassTest, AMeetingRequestReceivedASecondLaterIsForwarded) {
  prefs_.fields().mbolIgnoreExistingUnread = true;
  MemoryItem item = mail("meeting");
  item.kind = "meetingitem";
  item.received = kStart + 1s;
  store_.deliver(item);
  check();
  EXPECT_EQ(sentSubjects(), Lines{"FW: meeting"});
}

TEST_F(InboxPassTest, AnItemWithoutADateCountsAsReceivedBeforeActivation) {
  prefs_.fields().mbolIgnoreExistingUnread = true;
  deliver("dateless");
  store_.setHook([](std::string_view at) {
    if (at == "MailItem.ReceivedTime") {
      throw MailStoreError("no date");
    }
  });
  check();
  EXPECT_EQ(decisions(), Lines{std::string("dateless") + kOldReason});
}

TEST_F(InboxPassTest, ExistingMailIsForwardedUnlessItIsToBeIgnored) {
  MemoryItem item = mail("old");
  item.received = kStart - 24h;
  store_.deliver(item);
  check();
  EXPECT_EQ(sentSubjects(), Lines{"FW: old"});
}

TEST_F(InboxPassTest, AnItemOfAnotherKindIsSetUnreadAndSkippedWithoutALine) {
  MemoryItem item = mail("contact");
  item.kind = "ContactItem";
  store_.deliver(item);
  Lines writes;
  store_.setHook([&](std::string_view at) {
    if (at == "MailItem.UnRead=") {
      writes.emplace_back(at);
    }
  });
  check();
  EXPECT_EQ(decisions(), Lines{});
  EXPECT_EQ(writes.size(), 1u);
  EXPECT_TRUE(store_.isUnread(0));
}

TEST_F(InboxPassTest, AnIgnoredItemStaysUnreadAndIsNotLoggedWhileThePassHasNoReason) {
  prefs_.fields().mintSenderFilter = 502;
  prefs_.fields().mcolSenderList = {"bob"};
  deliver("excluded");
  check();
  ASSERT_EQ(decisions().size(), 1u);
  log_.lines.clear();
  check();
  EXPECT_EQ(decisions(), Lines{});
  EXPECT_TRUE(store_.isUnread(0));
}

TEST_F(InboxPassTest, AnIgnoredItemIsLoggedWithTheReasonThatAnEarlierItemLeft) {
  prefs_.fields().mintSenderFilter = 502;
  prefs_.fields().mcolSenderList = {"bob"};
  deliver("ignored");
  check();
  log_.lines.clear();
  deliver("fresh");
  check();
  const std::string reason =
      " at 2026-11-20 15:00:03 not forwarded because Email was sent by one of the senders that you "
      "instructed to exclude in the Settings dialog";
  EXPECT_EQ(decisions(), (Lines{"fresh" + reason, "ignored" + reason}));
}

TEST_F(InboxPassTest, AnIgnoredItemIsNotReadAtAll) {
  prefs_.fields().mintSenderFilter = 502;
  prefs_.fields().mcolSenderList = {"bob"};
  deliver("ignored");
  check();
  Lines operations;
  store_.setHook([&](std::string_view at) { operations.emplace_back(at); });
  check();
  for (const char* reading : {"MailItem.ClassName", "MailItem.Subject", "MailItem.Body",
                              "MailItem.Fields", "MailItem.SenderName", "MailItem.ReceivedTime"}) {
    EXPECT_EQ(std::count(operations.begin(), operations.end(), reading), 0) << reading;
  }
}

TEST_F(InboxPassTest, ResettingTheIgnoreListBringsIgnoredItemsBack) {
  prefs_.fields().mintSenderFilter = 502;
  prefs_.fields().mcolSenderList = {"bob"};
  deliver("excluded");
  check();
  prefs_.fields().mintSenderFilter = 500;
  check();
  EXPECT_EQ(store_.outboxCount(), 0u);
  engine_.pass().ResetIgnoreList();
  check();
  EXPECT_EQ(store_.outboxCount(), 1u);
}

TEST_F(InboxPassTest, AnItemWithoutAnIdentifierIsNeverIgnored) {
  prefs_.fields().mintSenderFilter = 502;
  prefs_.fields().mcolSenderList = {"bob"};
  MemoryItem item = mail("nameless");
  item.entryId = "";
  store_.deliver(item);
  check();
  check();
  EXPECT_EQ(decisions().size(), 2u);
  prefs_.fields().mintSenderFilter = 500;
  check();
  EXPECT_EQ(store_.outboxCount(), 1u);
}

TEST_F(InboxPassTest, ARuleThatCannotBeEvaluatedHoldsTheItemBackAndSaysWhy) {
  prefs_.fields().mbolFilterText = true;
  prefs_.fields().mintTextToCheck = 103;
  deliver("held");
  check();
  EXPECT_EQ(decisions(),
            Lines{"held at 2026-11-20 15:00:00 not forwarded because " + prefs_.lastReason()});
  EXPECT_GE(prefs_.lastReason().size(), 2u);
  EXPECT_TRUE(store_.isUnread(0));
}

TEST_F(InboxPassTest, AForwardThatFailsIsMarkedReadLoggedAndNotRetried) {
  store_.setUnresolvable("5550100@sms.example.net");
  deliver("doomed");
  check();
  EXPECT_EQ(decisions(), Lines{"Tried but failed to forward doomed at 2026-11-20 15:00:00; Problem "
                               "was: Outlook could not resolve all forwarding recipients"});
  EXPECT_FALSE(store_.isUnread(0));
  EXPECT_EQ(display_.forwarded, "0");
  EXPECT_EQ(store_.syncStarts(), 0u);
  store_.setUnread(0, true);
  log_.lines.clear();
  check();
  EXPECT_EQ(decisions(), Lines{});
}

TEST_F(InboxPassTest, AnItemAboveTheSizeLimitIsMarkedReadLoggedAndNeverSent) {
  prefs_.fields().mbolMaxFwdSize = true;
  prefs_.fields().mdblMaxFwdSize = 1.0;
  MemoryItem item = mail("huge");
  item.attachments.push_back({"a.bin", "x", 2000000});
  store_.deliver(item);
  check();
  EXPECT_EQ(decisions(),
            Lines{"huge at 2026-11-20 15:00:00 not forwarded because size above specified limit."});
  EXPECT_FALSE(store_.isUnread(0));
  EXPECT_EQ(store_.outboxCount(), 0u);
  store_.setUnread(0, true);
  log_.lines.clear();
  check();
  EXPECT_EQ(decisions(), Lines{});
}

TEST_F(InboxPassTest, AnItemIsMarkedReadBeforeItsForwardIsBuilt) {
  deliver("one");
  Lines order;
  store_.setHook([&](std::string_view at) {
    if (at == "MailItem.UnRead=" || at == "MailItem.Forward" || at == "MailItem.send") {
      order.emplace_back(at);
    }
  });
  check();
  EXPECT_EQ(order,
            (Lines{"MailItem.UnRead=", "MailItem.Forward", "MailItem.send", "MailItem.UnRead="}));
}

TEST_F(InboxPassTest, AFailedSessionAbortsTheCheckAndSaysSoTwice) {
  store_.removeComponent("outlook.application");
  engine_.state().testCycle = true;
  display_.forwardNow = false;
  check();
  ASSERT_EQ(log_.lines.size(), 2u);
  EXPECT_EQ(log_.lines[0],
            "2026-11-20 15:00:00--> Email check aborted: Could not start up Microsoft Outlook "
            "(please verify that MS-Outlook is installed and configured correctly on this PC).");
  EXPECT_TRUE(log_.lines[1].starts_with("2026-11-20 15:00:00--> ")) << log_.lines[1];
  EXPECT_EQ(display_.status, "Last email check aborted: & m_sErr");
  EXPECT_TRUE(display_.forwardNow);
  EXPECT_FALSE(engine_.state().m_bBusyFwd);
}

TEST_F(InboxPassTest, APassThatFindsAnotherOneUnfinishedAborts) {
  engine_.state().m_bBusyFwd = true;
  engine_.state().testCycle = true;
  display_.forwardNow = false;
  deliver("one");
  check();
  EXPECT_EQ(log_.lines, Lines{"2026-11-20 15:00:00--> Email check aborted: Didn't finish prev. "
                              "check yet"});
  EXPECT_TRUE(engine_.state().m_bBusyFwd);
  EXPECT_TRUE(display_.forwardNow);
  EXPECT_EQ(store_.outboxCount(), 0u);
}

TEST_F(InboxPassTest, AnEventThatStartsASecondPassWithinThePassIsRefused) {
  deliver("one");
  int entered = 0;
  display_.onProcessPendingEvents = [&] {
    if (display_.status == "Checking unread item 1 of 1" && entered++ == 0) {
      check();
    }
  };
  check();
  EXPECT_EQ(entered, 1);
  EXPECT_EQ(store_.outboxCount(), 1u);
  EXPECT_EQ(std::count(log_.lines.begin(), log_.lines.end(),
                       "2026-11-20 15:00:00--> Email check aborted: Didn't finish prev. check yet"),
            1);
}

TEST_F(InboxPassTest, TheEndOfAPassEndsATestCycle) {
  engine_.state().testCycle = true;
  display_.forwardNow = false;
  check();
  EXPECT_FALSE(engine_.state().testCycle);
  EXPECT_TRUE(display_.forwardNow);
}

TEST_F(InboxPassTest, TheMaximumEndsATestCycleToo) {
  prefs_.fields().mlngMaxToForward = 0;
  deliver("one");
  engine_.state().testCycle = true;
  display_.forwardNow = false;
  check();
  EXPECT_TRUE(display_.forwardNow);
}

TEST_F(InboxPassTest, WithoutATestCycleTheTestCommandIsLeftAlone) {
  display_.forwardNow = false;
  check();
  EXPECT_FALSE(display_.forwardNow);
}

TEST_F(InboxPassTest, VerboseLinesBracketTheSteps) {
  log_.verboseOn = true;
  prefs_.fields().mbolFilterText = true;
  prefs_.fields().mintTextToCheck = 103;
  deliver("held");
  check();
  Lines steps;
  const std::string mark = "[v]-->ForwardMail->";
  for (const std::string& line : log_.lines) {
    if (const auto at = line.find(mark); at != std::string::npos) {
      steps.push_back(line.substr(at + mark.size()));
    }
  }
  EXPECT_EQ(steps,
            (Lines{"ResetOlkObj_pre", "ResetOlkObj_post", "Set vItems to unread _pre",
                   "Set vItems to unread _post", "New clsSecurity _pre", "New clsSecurity _post",
                   "EnteringItemLoop (1 items)", "dicEmailsToIgnore.Exists(sEmailId)_pre",
                   "dicEmailsToIgnore.Add_pre", "dicEmailsToIgnore.Add_post",
                   "dicEmailsToIgnore.Exists(sEmailId)_post"}));
}

TEST_F(InboxPassTest, VerboseLinesBracketTheSendSynchronisation) {
  log_.verboseOn = true;
  deliver("one");
  check();
  const auto at = [&](const std::string& step) {
    return std::find(log_.lines.begin(), log_.lines.end(),
                     "2026-11-20 15:00:03 [v]-->ForwardMail->" + step) -
           log_.lines.begin();
  };
  const auto size = static_cast<std::ptrdiff_t>(log_.lines.size());
  EXPECT_LT(at("SyncStart True _pre"), at("SyncStart True _post"));
  EXPECT_LT(at("SyncStart True _post"), size);
}

}  // namespace
}  // namespace relaybird
