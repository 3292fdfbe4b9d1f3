// SPDX-License-Identifier: MIT
// The forwarding rules with the program's own reader, over a whole mailbox. It shows that the rules
// read no more of an item than they need, and what they decide when the mailbox fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "compose/store_bench.h"

namespace relaybird {
namespace {

struct Decision {
  Decision(StoreBench& bench, const std::shared_ptr<MailItem>& item)
      : status(bench.prefs.intShouldForward(item, forward, reason)) {}
  bool forward = false;
  std::string reason = "untouched";
  int status;
};

TEST(RulesOverAStore, TheTextRuleSeesTheItemAndNotItsForward) {
  StoreBench bench;
  bench.prefs.fields().mbolFilterText = true;
  bench.prefs.fields().mintTextToCheck = kCheckSubjectAndBody;
  bench.prefs.fields().mintMatchType = kMatchAny;
  bench.prefs.fields().mstrTextToMatch = {"FW:", "Original Message"};
  EXPECT_FALSE(Decision(bench, bench.deliver(letter())).forward);
  bench.prefs.fields().mstrTextToMatch = {"LUNCHat"};
  EXPECT_TRUE(Decision(bench, bench.deliver(letter())).forward);
}

TEST(RulesOverAStore, ASubjectRuleReadsNoBodyAndAddressesNothing) {
  StoreBench bench;
  bench.prefs.fields().mbolFilterText = true;
  bench.prefs.fields().mintTextToCheck = kCheckSubject;
  bench.prefs.fields().mstrTextToMatch = {"lunch"};
  bench.prefs.fields().mintSenderFilter = kForwardOnlyListed;
  bench.prefs.fields().mcolSenderList = {"writer.example"};
  const auto delivered = bench.deliver(letter());
  bench.record();
  EXPECT_TRUE(Decision(bench, delivered).forward);
  for (const char* call : {"MailItem.Body", "MailItem.Attachments", "Recipients.Add",
                           "MailItem.Save", "MailItem.Body="}) {
    EXPECT_EQ(std::count(bench.calls.begin(), bench.calls.end(), call), 0) << call;
  }
  EXPECT_TRUE(bench.store.drafts().empty());
}

TEST(RulesOverAStore, AnItemOfAnotherKindCannotBeJudgedByItsText) {
  StoreBench bench;
  bench.prefs.fields().mbolFilterText = true;
  const Decision decision(bench, bench.deliver(ofKind("ContactItem")));
  EXPECT_EQ(decision.status, -1);
  EXPECT_EQ(decision.reason, "untouched");
  EXPECT_EQ(bench.prefs.lastReason(), "Could not apply the text filter");
}

TEST(RulesOverAStore, AMailboxThatWentAwayIsNamed) {
  StoreBench bench;
  bench.prefs.fields().mbolFilterText = true;
  bench.prefs.fields().mintTextToCheck = kCheckBody;
  const auto delivered = bench.deliver(letter());
  bench.store.setHook([](std::string_view operation) {
    if (operation == "MailItem.Body") {
      throw MailStoreError("the mailbox went away");
    }
  });
  const Decision decision(bench, delivered);
  EXPECT_EQ(decision.status, -1);
  EXPECT_EQ(bench.prefs.lastReason(), "the mailbox went away");
}

TEST(RulesOverAStore, ATaskRequestsSenderIsItsTasks) {
  StoreBench bench;
  bench.prefs.fields().mintSenderFilter = kForwardOnlyListed;
  MemoryItem request = ofKind("TaskRequestItem");
  request.senderAddress = "other@x.org";
  request.task = std::make_shared<MemoryItem>(letter());
  request.task->senderAddress = "Boss@Work.example";
  request.task->senderName = "The Boss";
  const auto delivered = bench.deliver(request);
  EXPECT_EQ(bench.prefs.GetTaskRequestEmail(delivered), "Boss@Work.example");
  EXPECT_EQ(bench.prefs.GetTaskRequestSendername(delivered), "The Boss");
  for (const char* listed : {"@work.EXAMPLE", "the boss"}) {
    bench.prefs.fields().mcolSenderList = {listed};
    EXPECT_TRUE(Decision(bench, delivered).forward) << listed;
  }
  bench.prefs.fields().mcolSenderList = {"other@x.org"};
  EXPECT_FALSE(Decision(bench, delivered).forward);
}

TEST(RulesOverAStore, AMeetingsSenderIsTheMailApplications) {
  StoreBench bench;
  bench.prefs.fields().mintSenderFilter = kForwardAllButListed;
  bench.prefs.fields().mcolSenderList = {"ann w"};
  EXPECT_FALSE(Decision(bench, bench.deliver(ofKind("meetingitem"))).forward);
}

TEST(RulesOverAStore, AMissingTaskWrapperLeavesTheSenderUnknown) {
  StoreBench bench;
  bench.prefs.fields().mintSenderFilter = kForwardOnlyListed;
  bench.prefs.fields().mcolSenderList = {""};
  bench.store.removeComponent(prog_id::kSafeTaskItem);
  const auto delivered = bench.deliver(ofKind("TaskRequestItem"));
  const Decision decision(bench, delivered);
  EXPECT_EQ(decision.status, 1);
  EXPECT_EQ(decision.reason, "Problem determining sender");
  EXPECT_THROW(bench.prefs.GetTaskRequestEmail(delivered), MailStoreError);
}

TEST(CheckSize, CountsTextsAndAttachmentsOfTheItemItself) {
  StoreBench bench;
  bench.prefs.fields().mbolMaxFwdSize = true;
  MemoryItem item;
  item.subject = "\xC3\xA4\xC3\xB6";  // two characters
  item.body = std::string(8, 'b');
  item.attachments = {attachmentOf(999000), attachmentOf(990)};
  bool within = false;
  EXPECT_EQ(bench.prefs.intCheckSize(bench.deliver(item), within), 1);
  EXPECT_TRUE(within);
  item.body += "b";
  EXPECT_EQ(bench.prefs.intCheckSize(bench.deliver(item), within), 1);
  EXPECT_FALSE(within);
}

TEST(CheckSize, PassesSizesBeyondThirtyTwoBits) {
  StoreBench bench;
  bench.prefs.fields().mbolMaxFwdSize = true;
  bench.prefs.fields().mdblMaxFwdSize = 4000.1;
  MemoryItem item = letter();
  item.attachments = {attachmentOf(2000000000), attachmentOf(2000000000)};
  bool within = false;
  EXPECT_EQ(bench.prefs.intCheckSize(bench.deliver(item), within), 1);
  EXPECT_TRUE(within);
}

TEST(CheckSize, AsksNothingOfTheItemWithoutALimit) {
  StoreBench bench;
  bool within = false;
  EXPECT_EQ(bench.prefs.intCheckSize(nullptr, within), 1);
  EXPECT_TRUE(within);
}

TEST(CheckSize, LeavesTheAnswerAloneWhenTheItemCannotBeRead) {
  StoreBench bench;
  bench.prefs.fields().mbolMaxFwdSize = true;
  const auto delivered = bench.deliver(letter());
  bench.store.quitApplication();
  bool within = true;
  EXPECT_EQ(bench.prefs.intCheckSize(delivered, within), -1);
  EXPECT_TRUE(within);
}

}  // namespace
}  // namespace relaybird
