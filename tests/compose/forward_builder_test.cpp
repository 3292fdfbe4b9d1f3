// SPDX-License-Identifier: MIT
// The content of a forward, and the calls that build it. Over the mailbox in memory (StoreBench),
// whose hook records every call: what is read and written through safe items is part of what is
// checked.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "compose/store_bench.h"

namespace relaybird {
namespace {

using Calls = std::vector<std::string>;

bool contains(const Calls& calls, const std::string& call) {
  return std::find(calls.begin(), calls.end(), call) != calls.end();
}

TEST(Forward, OfAMailKeepsTheStandardFormat) {
  StoreBench bench;
  Built made(bench, bench.deliver(letter()));
  ASSERT_TRUE(made.done);
  EXPECT_EQ(made.builder.errorText(), "");
  EXPECT_TRUE(made.builder.sizeWithinLimit());
  EXPECT_EQ(made.builder.GetSafeItemSubject(), "FW: Lunch");
  EXPECT_NE(made.builder.GetSafeItemBody().find("-----Original Message-----"), std::string::npos);
  EXPECT_NE(made.builder.GetSafeItemBody().find("At noon?"), std::string::npos);
  EXPECT_EQ(made.builder.senderName(), "Ann Writer");
  EXPECT_EQ(made.builder.senderAddress(), "ann@writer.example");
}

TEST(Forward, InCellPhoneFormatBeginsWithTheSenderAndHasNoHeader) {
  StoreBench bench;
  Built made(bench, bench.deliver(letter()), true);
  ASSERT_TRUE(made.done);
  EXPECT_EQ(made.builder.GetSafeItemBody(), "[From:ann@writer.example] At noon?");
  EXPECT_EQ(made.builder.GetSafeItemSubject(), "FW: Lunch");
}

TEST(Forward, OfAMeetingKeepsItsBodyInBothFormatsAndHasNoReplyTo) {
  for (const bool cellPhone : {false, true}) {
    StoreBench bench;
    Built made(bench, bench.deliver(ofKind("meetingitem")), cellPhone);
    ASSERT_TRUE(made.done);
    EXPECT_NE(made.builder.GetSafeItemBody().find("-----Original Message-----"), std::string::npos);
    EXPECT_EQ(made.builder.senderName(), "Ann Writer");
    EXPECT_EQ(made.builder.senderAddress(), "ann@writer.example");
    ASSERT_TRUE(made.builder.send());
    EXPECT_TRUE(bench.sent().replyTo.empty());
  }
}

TEST(Forward, OfATaskRequestIsANewMailWithItsTexts) {
  for (const char* kind : {"TaskRequestItem", "TaskRequestAcceptItem", "TaskRequestDeclineItem",
                           "TASKREQUESTUPDATEITEM"}) {
    StoreBench bench;
    Built made(bench, bench.deliver(ofKind(kind)), true);
    ASSERT_TRUE(made.done) << kind;
    EXPECT_EQ(made.builder.GetSafeItemSubject(), "Lunch");
    EXPECT_EQ(made.builder.GetSafeItemBody(), "At noon?");
    EXPECT_EQ(made.builder.senderName(), "task");
    EXPECT_EQ(made.builder.senderAddress(), "task");
    EXPECT_EQ(made.builder.textSize(), 13);
    EXPECT_EQ(made.builder.attachmentsSize(), 0);
    ASSERT_TRUE(made.builder.send());
    EXPECT_TRUE(bench.sent().replyTo.empty());
  }
}

TEST(Forward, OfAReportComesFromTheAdministrator) {
  StoreBench bench;
  Built made(bench, bench.deliver(ofKind("ReportItem")));
  ASSERT_TRUE(made.done);
  EXPECT_EQ(made.builder.GetSafeItemSubject(), "Lunch");
  EXPECT_EQ(made.builder.senderName(), "Administrator");
  EXPECT_EQ(made.builder.senderAddress(), "Administrator");
}

TEST(Forward, OfAnyOtherKindIsRefusedWithoutAText) {
  for (const char* kind : {"ContactItem", "TaskItem", "TaskRequestOtherItem", "", "MailItem "}) {
    StoreBench bench;
    Built made(bench, bench.deliver(ofKind(kind)));
    EXPECT_FALSE(made.done) << kind;
    EXPECT_EQ(made.builder.errorText(), "") << kind;
  }
}

TEST(Forward, OfNoItemIsRefused) {
  StoreBench bench;
  Built made(bench, nullptr);
  EXPECT_FALSE(made.done);
  EXPECT_EQ(made.builder.errorText(), "There is no item to forward");
}

TEST(Recipients, StandInToOrAsBlindCopies) {
  for (const bool blind : {false, true}) {
    StoreBench bench;
    bench.prefs.fields().mbolBcc = blind;
    bench.prefs.fields().mstrFwdToAddress = {"b@x.org", "a@x.org", "b@x.org"};
    Built made(bench, bench.deliver(letter()));
    ASSERT_TRUE(made.builder.send());
    const RecipientType type = blind ? RecipientType::kBlindCopy : RecipientType::kTo;
    EXPECT_EQ(static_cast<int>(type), blind ? 3 : 1);
    EXPECT_EQ(
        bench.sent().recipients,
        (std::vector<MemoryRecipient>{{"b@x.org", type}, {"a@x.org", type}, {"b@x.org", type}}));
  }
}

TEST(Recipients, AreMissedOnlyByTheErrorText) {
  StoreBench bench;
  bench.prefs.fields().mstrFwdToAddress.clear();
  Built made(bench, bench.deliver(letter()));
  EXPECT_TRUE(made.done);
  EXPECT_EQ(made.builder.errorText(), "No Recipients chosen to forward to");
}

TEST(Recipients, AreNoneWithoutPreferences) {
  StoreBench bench;
  MemoryItem item = letter();
  item.attachments = {attachmentOf(2000000000)};
  clsSecurity builder(bench.store.factory());
  EXPECT_TRUE(builder.MakeSafeInboxItem(bench.deliver(item)));
  EXPECT_EQ(builder.errorText(), "No Recipients chosen to forward to");
  EXPECT_TRUE(builder.sizeWithinLimit());
}

TEST(ReplyTo, IsTheSenderFromFourCharactersOn) {
  for (const auto& [address, expected] :
       {std::pair<std::string, std::size_t>{"", 0}, {"a@b", 0}, {"\xC3\xA4@b", 0}, {"a@bc", 1}}) {
    StoreBench bench;
    MemoryItem item = letter();
    item.senderAddress = address;
    Built made(bench, bench.deliver(item));
    ASSERT_TRUE(made.builder.send());
    EXPECT_EQ(bench.sent().replyTo.size(), expected) << address;
    EXPECT_EQ(bench.store.attachedSessions(), expected) << address;
  }
}

TEST(ReplyTo, NamesTheSender) {
  StoreBench bench;
  Built made(bench, bench.deliver(letter()));
  ASSERT_TRUE(made.builder.send());
  EXPECT_EQ(bench.sent().replyTo, std::vector<std::string>{"ann@writer.example"});
}

TEST(ReplyTo, IsLeftOutWhereTheLibrarySessionIsMissing) {
  StoreBench bench;
  bench.store.removeComponent(prog_id::kLibrarySession);
  Built made(bench, bench.deliver(letter()));
  EXPECT_TRUE(made.done);
  EXPECT_EQ(made.builder.errorText(), "");
  ASSERT_TRUE(made.builder.send());
  EXPECT_TRUE(bench.sent().replyTo.empty());
}

TEST(OrderOfCalls, ForAMailInCellPhoneFormatWithoutAttachments) {
  StoreBench bench;
  bench.prefs.fields().mbolIncludeAttachments = false;
  MemoryItem item = letter();
  item.attachments = {attachmentOf(5)};
  const auto delivered = bench.deliver(item);
  bench.record();
  Built made(bench, delivered, true);
  EXPECT_EQ(
      bench.calls,
      (Calls{"MailItem.ClassName", "CreateObject redemption.safemailitem",
             "CreateObject redemption.safemailitem", "SafeItem.Item=", "SafeItem.Body",
             "MailItem.Body", "MailItem.Forward", "SafeItem.Item=",
             // sizes
             "SafeItem.ClassName", "SafeItem.Subject", "MailItem.Subject", "SafeItem.Body",
             "MailItem.Body",
             // sender, sender tag
             "SafeItem.Fields", "MailItem.Fields", "SafeItem.Item", "MailItem.Body=",
             // attachments
             "SafeItem.Attachments", "MailItem.Attachments", "Attachments.Count",
             "Attachments.Item", "Attachment.Delete", "Attachments.Count",
             // reply-to
             "CreateObject redemption.rdosession", "CreateObject outlook.application",
             "Application.Session", "Session.MAPIOBJECT", "LibrarySession.MAPIOBJECT=",
             "SafeItem.ReplyRecipients", "MailItem.ReplyRecipients", "ReplyRecipients.Add",
             "ReplyRecipients.ResolveAll", "SafeItem.Subject", "MailItem.Subject",
             "SafeItem.Subject=", "MailItem.Subject=", "SafeItem.Save", "MailItem.Save",
             // recipients
             "SafeItem.Recipients", "MailItem.Recipients", "Recipients.Add", "Recipient.Type="}));
}

// Every call costs milliseconds with the mail application on Windows.
TEST(OrderOfCalls, ForAMailInStandardFormatReadsNothingThatTheForwardDoesNotNeed) {
  StoreBench bench;
  MemoryItem item = letter();
  item.attachments = {attachmentOf(5)};
  const auto delivered = bench.deliver(item);
  bench.record();
  Built made(bench, delivered);
  EXPECT_EQ(
      bench.calls,
      (Calls{"MailItem.ClassName", "CreateObject redemption.safemailitem",
             "CreateObject redemption.safemailitem", "SafeItem.Item=", "MailItem.Forward",
             "SafeItem.Item=",
             // sizes
             "SafeItem.ClassName", "SafeItem.Subject", "MailItem.Subject", "SafeItem.Body",
             "MailItem.Body",
             // reply-to
             "SafeItem.Fields", "MailItem.Fields", "CreateObject redemption.rdosession",
             "CreateObject outlook.application", "Application.Session", "Session.MAPIOBJECT",
             "LibrarySession.MAPIOBJECT=", "SafeItem.ReplyRecipients", "MailItem.ReplyRecipients",
             "ReplyRecipients.Add", "ReplyRecipients.ResolveAll", "SafeItem.Subject",
             "MailItem.Subject", "SafeItem.Subject=", "MailItem.Subject=", "SafeItem.Save",
             "MailItem.Save",
             // recipients
             "SafeItem.Recipients", "MailItem.Recipients", "Recipients.Add", "Recipient.Type="}));
}

TEST(OrderOfCalls, AttachmentsAreMeasuredOnlyWhereTheyCountForALimit) {
  for (const auto& [limited, included] :
       {std::pair<bool, bool>{false, true}, {true, false}, {false, false}, {true, true}}) {
    for (const char* kind : {"MailItem", "meetingitem"}) {
      StoreBench bench;
      bench.prefs.fields().mbolMaxFwdSize = limited;
      bench.prefs.fields().mbolIncludeAttachments = included;
      MemoryItem item = ofKind(kind);
      item.attachments = {attachmentOf(5)};
      const auto delivered = bench.deliver(item);
      bench.record();
      Built made(bench, delivered);
      EXPECT_TRUE(made.done);
      EXPECT_EQ(contains(bench.calls, "Attachment.Size"), limited && included) << kind;
    }
  }
}

TEST(OrderOfCalls, ForAMeetingReadsNoSenderAndSavesNothing) {
  StoreBench bench;
  const auto delivered = bench.deliver(ofKind("meetingitem"));
  bench.record();
  Built made(bench, delivered, true);
  EXPECT_EQ(bench.calls,
            (Calls{"MailItem.ClassName", "CreateObject redemption.safemeetingitem",
                   "CreateObject redemption.safemeetingitem", "SafeItem.Item=", "MailItem.Forward",
                   "SafeItem.Item=", "SafeItem.ClassName", "SafeItem.Subject", "MailItem.Subject",
                   "SafeItem.Body", "MailItem.Body", "SafeItem.Recipients", "MailItem.Recipients",
                   "Recipients.Add", "Recipient.Type="}));
}

TEST(OrderOfCalls, ForAReportCopiesSubjectAndBody) {
  StoreBench bench;
  const auto delivered = bench.deliver(ofKind("ReportItem"));
  bench.record();
  Built made(bench, delivered);
  EXPECT_EQ(bench.calls,
            (Calls{"MailItem.ClassName", "CreateObject outlook.mailitem",
                   "CreateObject redemption.safemailitem", "SafeItem.Item=", "MailItem.Subject",
                   "SafeItem.Subject=", "MailItem.Subject=", "MailItem.Body",
                   "SafeItem.Body=", "MailItem.Body=", "SafeItem.Recipients", "MailItem.Recipients",
                   "Recipients.Add", "Recipient.Type="}));
}

TEST(Reading, WrapsTheItemAndTouchesNothingElse) {
  StoreBench bench;
  const auto delivered = bench.deliver(letter());
  bench.record();
  clsSecurity reader(bench.store.factory(), clsSecurity::Purpose::kRead);
  reader.SetPref(bench.prefs);
  EXPECT_TRUE(reader.MakeSafeInboxItem(delivered));
  EXPECT_EQ(bench.calls, (Calls{"MailItem.ClassName", "CreateObject redemption.safemailitem",
                                "CreateObject redemption.safemailitem",
                                "SafeItem.Item=", "MailItem.Forward", "SafeItem.Item="}));
  EXPECT_EQ(reader.errorText(), "");
  EXPECT_TRUE(bench.store.drafts().empty());
}

TEST(Reading, GivesTheInboxItemsOwnTextsOnDemand) {
  StoreBench bench;
  const auto delivered = bench.deliver(letter());
  clsSecurity reader(bench.store.factory(), clsSecurity::Purpose::kRead);
  ASSERT_TRUE(reader.MakeSafeInboxItem(delivered));
  bench.record();
  EXPECT_EQ(reader.inboxSubject(), "Lunch");
  EXPECT_FALSE(contains(bench.calls, "MailItem.Body"));
  EXPECT_EQ(reader.inboxBody(), "At noon?");
  EXPECT_EQ(reader.senderName(), "Ann Writer");
  EXPECT_EQ(reader.senderAddress(), "ann@writer.example");
  EXPECT_EQ(bench.calls, (Calls{"SafeItem.Subject", "MailItem.Subject", "SafeItem.Body",
                                "MailItem.Body", "SafeItem.SenderName", "MailItem.SenderName",
                                "SafeItem.Fields", "MailItem.Fields"}));
}

TEST(Reading, OfAReportOrTaskReadsTheItemItself) {
  for (const auto& [kind, sender] :
       {std::pair<std::string, std::string>{"ReportItem", "Administrator"},
        {"TaskRequestItem", "task"}}) {
    StoreBench bench;
    const auto delivered = bench.deliver(ofKind(kind));
    clsSecurity reader(bench.store.factory(), clsSecurity::Purpose::kRead);
    bench.record();
    ASSERT_TRUE(reader.MakeSafeInboxItem(delivered));
    EXPECT_FALSE(contains(bench.calls, "MailItem.Body"));
    EXPECT_EQ(reader.inboxSubject(), "Lunch");
    EXPECT_EQ(reader.inboxBody(), "At noon?");
    EXPECT_EQ(reader.senderName(), sender);
    EXPECT_EQ(reader.senderAddress(), sender);
  }
}

TEST(Reading, OfAnotherKindIsRefused) {
  StoreBench bench;
  clsSecurity reader(bench.store.factory(), clsSecurity::Purpose::kRead);
  EXPECT_FALSE(reader.MakeSafeInboxItem(bench.deliver(ofKind("ContactItem"))));
  EXPECT_THROW(clsSecurity(bench.store.factory()).inboxSubject(), MailStoreError);
}

TEST(Builder, ServesOneItemAfterAnother) {
  StoreBench bench;
  clsSecurity builder(bench.store.factory());
  builder.SetPref(bench.prefs);
  builder.setFormatForCellPhone(true);
  for (const char* writer : {"ann@writer.example", "bob@writer.example"}) {
    MemoryItem item = letter();
    item.senderAddress = writer;
    ASSERT_TRUE(builder.MakeSafeInboxItem(bench.deliver(item)));
    ASSERT_TRUE(builder.send());
    EXPECT_EQ(bench.sent().body, "[From:" + std::string(writer) + "] At noon?");
    EXPECT_EQ(bench.sent().recipients.size(), 1u);
  }
}

TEST(Builder, KeepsNothingOfAnEarlierItem) {
  StoreBench bench;
  Built made(bench, bench.deliver(letter()));
  ASSERT_TRUE(made.done);
  EXPECT_FALSE(made.builder.MakeSafeInboxItem(bench.deliver(ofKind("ContactItem"))));
  EXPECT_FALSE(made.builder.sizeWithinLimit());
  EXPECT_EQ(made.builder.GetSafeItemSubject(), "");
  EXPECT_FALSE(made.builder.send());
  EXPECT_EQ(bench.store.outboxCount(), 0u);
}

}  // namespace
}  // namespace relaybird
