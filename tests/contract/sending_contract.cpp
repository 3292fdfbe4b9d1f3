// SPDX-License-Identifier: MIT
// Recipients, and what send hands to the outbox.
#include <string>
#include <utility>
#include <vector>

#include "contract/mail_store_contract.h"

namespace relaybird {
namespace {

constexpr const char* kNobody = "Nobody Inparticular";

TEST_P(MailStoreContract, ARecipientIsAddedAsToAndCanBeMadeABlindCopy) {
  const auto recipients = application()->CreateItem(kMailItemKind)->Recipients();
  const auto first = recipients->Add("first@example.org");
  EXPECT_EQ(first->Type(), RecipientType::kTo);
  recipients->Add("second@example.org")->Type(RecipientType::kBlindCopy);
  ASSERT_EQ(recipients->Count(), 2);
  EXPECT_EQ(recipients->Item(1)->Type(), RecipientType::kTo);
  EXPECT_EQ(recipients->Item(2)->Type(), RecipientType::kBlindCopy);
  recipients->Item(2)->Type(RecipientType::kTo);
  EXPECT_EQ(recipients->Item(2)->Type(), RecipientType::kTo);
}

TEST_P(MailStoreContract, TheSameRecipientsAreSeenHoweverTheyAreObtained) {
  const auto item = application()->CreateItem(kMailItemKind);
  item->Recipients()->Add("first@example.org");
  EXPECT_EQ(item->Recipients()->Count(), 1);
}

TEST_P(MailStoreContract, RecipientIndicesOutsideTheListThrow) {
  const auto recipients = application()->CreateItem(kMailItemKind)->Recipients();
  EXPECT_THROW(recipients->Item(1), MailStoreError);
  EXPECT_THROW(recipients->Remove(1), MailStoreError);
  recipients->Add("first@example.org");
  for (const std::int32_t index : {0, 2, -1}) {
    EXPECT_THROW(recipients->Item(index), MailStoreError) << index;
    EXPECT_THROW(recipients->Remove(index), MailStoreError) << index;
  }
  EXPECT_EQ(recipients->Count(), 1);
}

TEST_P(MailStoreContract, RemovingARecipientMovesTheFollowingOnesDown) {
  const auto recipients = application()->CreateItem(kMailItemKind)->Recipients();
  recipients->Add("first@example.org");
  recipients->Add("second@example.org")->Type(RecipientType::kBlindCopy);
  recipients->Remove(1);
  ASSERT_EQ(recipients->Count(), 1);
  EXPECT_EQ(recipients->Item(1)->Type(), RecipientType::kBlindCopy);
  while (recipients->Count() > 0) {
    recipients->Remove(1);
  }
  EXPECT_EQ(recipients->Count(), 0);
}

TEST_P(MailStoreContract, NoRecipientsAreAllResolved) {
  const auto item = application()->CreateItem(kMailItemKind);
  EXPECT_TRUE(item->Recipients()->ResolveAll());
  EXPECT_TRUE(item->ReplyRecipients()->ResolveAll());
}

TEST_P(MailStoreContract, AddressesResolveAndUnknownNamesDoNot) {
  const auto recipients = application()->CreateItem(kMailItemKind)->Recipients();
  recipients->Add("good@example.org");
  EXPECT_TRUE(recipients->ResolveAll());
  recipients->Add(kNobody);
  EXPECT_FALSE(recipients->ResolveAll());
  recipients->Remove(2);
  EXPECT_TRUE(recipients->ResolveAll());
}

TEST_P(MailStoreContract, WhatCannotBeAnAddressIsTakenButNotResolved) {
  const std::string bad[] = {
      "", " ", "\"", "a@b\r\nBcc: evil@example.org", "a@b\nX: y", std::string("a@b\0c", 5)};
  for (const auto& text : bad) {
    const auto recipients = application()->CreateItem(kMailItemKind)->Recipients();
    EXPECT_NO_THROW(recipients->Add(text)) << text;
    EXPECT_EQ(recipients->Count(), 1);
    EXPECT_FALSE(recipients->ResolveAll()) << text;
  }
}

TEST_P(MailStoreContract, AKnownNameResolvesToItsAddress) {
  const auto known = outside->knownName();
  if (!known) {
    GTEST_SKIP() << "this store knows no names";
  }
  const auto forward = received({})->Forward();
  forward->Recipients()->Add(known->first);
  EXPECT_TRUE(forward->Recipients()->ResolveAll());
  forward->send();
  const auto sent = outside->outbox();
  ASSERT_EQ(sent.size(), 1u);
  ASSERT_EQ(sent[0].recipients.size(), 1u);
  EXPECT_EQ(sent[0].recipients[0].first, known->second);
}

TEST_P(MailStoreContract, SendHandsOverEverythingThatTheForwardHolds) {
  SampleMail mail;
  mail.subject = "Grüße";
  mail.attachments = {{"a.bin", std::string("\0\r\n\xFF", 4)}, {"b.txt", "plain\n"}};
  const auto forward = received(mail)->Forward();
  forward->Recipients()->Add("to@example.org");
  forward->Recipients()->Add("bcc@example.org")->Type(RecipientType::kBlindCopy);
  forward->ReplyRecipients()->Add("wren@writer.example");
  EXPECT_TRUE(forward->Recipients()->ResolveAll());
  EXPECT_TRUE(forward->ReplyRecipients()->ResolveAll());
  const std::string body = forward->Body();
  forward->send();

  const auto sent = outside->outbox();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].recipients, (std::vector<std::pair<std::string, RecipientType>>{
                                    {"to@example.org", RecipientType::kTo},
                                    {"bcc@example.org", RecipientType::kBlindCopy}}));
  EXPECT_EQ(sent[0].replyTo, std::vector<std::string>{"wren@writer.example"});
  EXPECT_EQ(sent[0].subject, "FW: Grüße");
  EXPECT_EQ(plainLines(sent[0].body), plainLines(body));
  EXPECT_EQ(sent[0].attachments, mail.attachments);
  EXPECT_EQ(items()->Count(), 1) << "the original stays in the inbox";
}

TEST_P(MailStoreContract, AReplacedBodyIsAllThatIsSent) {
  SampleMail mail;
  mail.html = "<p>Body</p>";
  const auto forward = addressedForward(mail);
  forward->Body("[From:wren@writer.example] Body");
  EXPECT_EQ(plainLines(forward->Body()), "[From:wren@writer.example] Body");
  forward->send();
  const auto sent = outside->outbox();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(plainLines(sent[0].body), "[From:wren@writer.example] Body");
  EXPECT_FALSE(sent[0].html) << "no HTML form of the old text goes along";
}

TEST_P(MailStoreContract, DeletedAttachmentsAreNotSent) {
  SampleMail mail;
  mail.attachments = {{"a", "1"}, {"b", "22"}};
  const auto forward = addressedForward(mail);
  forward->Attachments()->Item(1)->Delete();
  forward->send();
  const auto sent = outside->outbox();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].attachments, (std::vector<SampleAttachment>{{"b", "22"}}));
}

TEST_P(MailStoreContract, ANewItemCanBeSent) {
  const auto item = createAs<MailItem>(factory(), prog_id::kMailItem);
  item->Subject("Task: tea");
  item->Body("Boil water");
  item->Recipients()->Add("good@example.org");
  item->send();
  const auto sent = outside->outbox();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].subject, "Task: tea");
  EXPECT_EQ(plainLines(sent[0].body), "Boil water");
}

TEST_P(MailStoreContract, AMeetingRequestCanBeForwarded) {
  SampleMail mail;
  mail.kind = "meetingitem";
  mail.subject = "Meet";
  const auto forward = addressedForward(mail);
  EXPECT_EQ(forward->Subject(), "FW: Meet");
  forward->send();
  EXPECT_EQ(outside->outbox().size(), 1u);
}

TEST_P(MailStoreContract, SavingBeforeSendingSendsOnce) {
  const auto forward = addressedForward({});
  EXPECT_NO_THROW(forward->Save());
  EXPECT_EQ(items()->Count(), 1);
  forward->send();
  EXPECT_EQ(outside->outbox().size(), 1u);
}

TEST_P(MailStoreContract, SendingThroughASafeItemSendsTheItem) {
  const auto safe = createAs<SafeItem>(factory(), prog_id::kSafeMailItem);
  safe->Item(addressedForward({}));
  safe->send();
  const auto sent = outside->outbox();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].subject, "FW: Subject");
}

TEST_P(MailStoreContract, AnUnaddressedItemIsNotSent) {
  const auto forward = received({})->Forward();
  EXPECT_THROW(forward->send(), MailStoreError);
  EXPECT_TRUE(outside->outbox().empty());
}

TEST_P(MailStoreContract, OneUnresolvedRecipientKeepsTheItemFromAll) {
  const auto forward = addressedForward({});
  forward->Recipients()->Add(kNobody);
  forward->Recipients()->Add("also.good@example.org");
  EXPECT_FALSE(forward->Recipients()->ResolveAll());
  EXPECT_THROW(forward->send(), MailStoreError);
  EXPECT_TRUE(outside->outbox().empty());
}

TEST_P(MailStoreContract, AnItemIsSentOnlyOnce) {
  const auto forward = addressedForward({});
  forward->send();
  EXPECT_THROW(forward->send(), MailStoreError);
  EXPECT_EQ(outside->outbox().size(), 1u);
}

TEST_P(MailStoreContract, ForwardsAreSentInOrder) {
  for (const auto* subject : {"one", "two", "three"}) {
    SampleMail mail;
    mail.subject = subject;
    addressedForward(mail)->send();
  }
  createAs<UtilityObject>(factory(), prog_id::kUtility)->DeliverNow();
  outside->runPendingEvents();
  std::vector<std::string> subjects;
  for (const auto& sent : outside->outbox()) {
    subjects.push_back(sent.subject);
  }
  EXPECT_EQ(subjects, (std::vector<std::string>{"FW: one", "FW: two", "FW: three"}));
}

TEST_P(MailStoreContract, AnInboxIsForwardedItemByItemAndIsReadThen) {
  deliverSubjects({"one", "two", "three"});
  const auto collection = unread();
  for (std::int32_t i = collection->Count(); i >= 1; --i) {
    const auto item = collection->Item(i);
    item->UnRead(false);
    const auto forward = item->Forward();
    forward->Recipients()->Add("good@example.org");
    forward->send();
    item->UnRead(false);
    EXPECT_FALSE(item->UnRead());
  }
  EXPECT_EQ(unread()->Count(), 0);
  EXPECT_EQ(items()->Count(), 3);
  EXPECT_EQ(outside->outbox().size(), 3u);
}

TEST_P(MailStoreContract, AnOutboxThatRefusesIsAnErrorAndNothingIsHalfSent) {
  const auto forward = addressedForward({});
  if (!outside->begin(Trouble::kOutboxRefuses)) {
    GTEST_SKIP() << "cannot be provoked";
  }
  EXPECT_THROW(forward->send(), MailStoreError);
  EXPECT_TRUE(outside->outbox().empty());
  outside->end(Trouble::kOutboxRefuses);
  outside->store().outgoing().userAsks();
  const auto again = items()->Item(1)->Forward();
  again->Recipients()->Add("good@example.org");
  again->send();
  EXPECT_EQ(outside->outbox().size(), 1u);
}

TEST_P(MailStoreContract, AfterAnOutboxRefusedNoFurtherItemCanBeTakenUntilItTakesMessagesAgain) {
  deliverSubjects({"one", "two", "three"});
  const auto collection = unread();
  const auto item = collection->Item(3);
  item->UnRead(false);
  const auto forward = item->Forward();
  forward->Recipients()->Add("good@example.org");
  if (!outside->begin(Trouble::kOutboxRefuses)) {
    GTEST_SKIP() << "cannot be provoked";
  }
  EXPECT_THROW(forward->send(), MailStoreError);
  EXPECT_THROW(collection->Item(2), MailStoreError);
  EXPECT_THROW(collection->Item(1), MailStoreError) << "every time";
  EXPECT_THROW(unread()->Item(1), MailStoreError) << "the trouble lasts";
  outside->end(Trouble::kOutboxRefuses);
  outside->store().outgoing().userAsks();
  const auto mended = unread();
  ASSERT_GE(mended->Count(), 2);
  for (std::int32_t i = mended->Count(); i >= 1; --i) {
    const auto again = mended->Item(i)->Forward();
    again->Recipients()->Add("good@example.org");
    again->send();
  }
  EXPECT_EQ(outside->outbox().size(), static_cast<std::size_t>(mended->Count()));
}

TEST_P(MailStoreContract, AMessageThatIsRefusedForItselfDoesNotKeepTheOthersBack) {
  deliverSubjects({"one", "two"});
  const auto collection = unread();
  const auto forward = collection->Item(2)->Forward();
  EXPECT_THROW(forward->send(), MailStoreError) << "it has no recipients";
  EXPECT_NO_THROW(collection->Item(1));
}

}  // namespace
}  // namespace relaybird
