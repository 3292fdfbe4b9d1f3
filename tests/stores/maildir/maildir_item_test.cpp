// SPDX-License-Identifier: MIT
// An item of a Maildir: when its file is read, what it tells, and when its read mark is written.
// The disk counts what is read, because a pass over thousands of items must not open their files.
#include <gmock/gmock.h>

#include <cerrno>

#include "stores/maildir/maildir_house.h"
#include "support/mail_text.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string whatOf(const std::function<void()>& use) {
  try {
    use();
  } catch (const MailStoreError& error) {
    return error.what();
  }
  return "";
}

MailText named(const std::string& subject) {
  MailText mail;
  mail.subject = subject;
  return mail;
}

class MaildirItemTest : public testing::Test {
 protected:
  // Delivered as new mail; the item comes from a walk over the unread ones.
  std::shared_ptr<MailItem> received(const std::string& text) {
    house.deliver("new/1700000001.a", text);
    return house.unread()->Item(1);
  }

  MaildirHouse house;
};

TEST_F(MaildirItemTest, IdentifierAndReadMarkOpenNoFile) {
  for (int i = 0; i < 20; ++i) {
    house.deliver("new/17000000" + std::to_string(10 + i) + ".a");
  }
  house.application();
  house.disk.opened.clear();
  const auto unread = house.unread();
  ASSERT_EQ(unread->Count(), 20);
  for (std::int32_t i = 20; i >= 1; --i) {
    const auto item = unread->Item(i);
    EXPECT_FALSE(item->EntryID().empty());
    EXPECT_TRUE(item->UnRead());
    item->UnRead(true);
  }
  EXPECT_THAT(house.disk.opened, IsEmpty());
}

TEST_F(MaildirItemTest, ThirtyThousandItemsAreWalkedWithoutOpeningOne) {
  for (int i = 0; i < 30000; ++i) {
    house.deliver("new/" + std::to_string(1700000000 + i) + ".a", "");
  }
  house.application();
  house.disk.opened.clear();
  house.disk.listed.clear();
  const auto unread = house.unread();
  ASSERT_EQ(unread->Count(), 30000);
  std::string last = "9";
  for (std::int32_t i = unread->Count(); i >= 1; --i) {
    const auto item = unread->Item(i);
    item->UnRead(true);
    const std::string id = item->EntryID();
    ASSERT_LT(id, last);
    last = id;
  }
  EXPECT_EQ(house.disk.listed.size(), 2U);
  EXPECT_THAT(house.disk.opened, IsEmpty());
}

TEST_F(MaildirItemTest, KindAndTextsOfTheHeadReadTheFileOnce) {
  const auto item = received(mailText({}));
  house.disk.opened.clear();
  EXPECT_EQ(item->Subject(), "Subject");
  EXPECT_EQ(item->ClassName(), "MailItem");
  EXPECT_EQ(item->SenderName(), "Wren Writer");
  EXPECT_NE(item->ReceivedTime(), kNoDate);
  EXPECT_EQ(house.disk.opened.size(), 1U);
}

TEST_F(MaildirItemTest, TheDatesAreTheFilesOwn) {
  const auto item = received(mailText({}));
  const auto info = house.disk.inspect(house.maildir + "/new/1700000001.a");
  ASSERT_TRUE(info);
  EXPECT_EQ(item->ReceivedTime(), info->modified);
  EXPECT_EQ(item->LastModificationDate(), info->modified);
}

TEST_F(MaildirItemTest, AForwardReadsNothingBeforeItIsAsked) {
  const auto item = received(mailText({}));
  house.disk.opened.clear();
  const auto forward = item->Forward();
  forward->Recipients()->Add("cell@phone.example");
  EXPECT_THAT(house.disk.opened, IsEmpty());
}

TEST_F(MaildirItemTest, AMessageThatVanishedThrowsWhereSomethingIsDecided) {
  const auto item = received(mailText({}));
  std::filesystem::remove(house.maildir + "/new/1700000001.a");
  EXPECT_THAT(whatOf([&] { item->ClassName(); }),
              HasSubstr("The message 1700000001.a is no longer in the Maildir"));
  EXPECT_THROW(item->ReceivedTime(), MailStoreError);
  EXPECT_THROW(item->Body(), MailStoreError);
  EXPECT_THROW(item->Attachments(), MailStoreError);
  EXPECT_EQ(item->Subject(), "");
  EXPECT_EQ(item->Fields(kPrSenderEmailAddress), "");
  EXPECT_NO_THROW(item->UnRead(true));
  EXPECT_NO_THROW(item->UnRead(false));
  EXPECT_NO_THROW(item->UnRead(false));
  EXPECT_THAT(house.notices, IsEmpty());
}

TEST_F(MaildirItemTest, AMessageMovedByAnotherProgramIsStillRead) {
  const auto item = received(mailText({}));
  house.move("new/1700000001.a", "cur/1700000001.a:2,F");
  EXPECT_EQ(item->Subject(), "Subject");
  house.move("cur/1700000001.a:2,F", "cur/1700000001.a:2,FR");
  EXPECT_EQ(item->Body().substr(0, 4), "Body");
}

TEST_F(MaildirItemTest, AReceivedMessageIsNeverChanged) {
  MailText mail;
  mail.attachments = {{"a", "1"}};
  const auto item = received(mailText(mail));
  EXPECT_THROW(item->Subject("other"), MailStoreError);
  EXPECT_THROW(item->Body("other"), MailStoreError);
  EXPECT_THROW(item->Attachments()->Item(1)->Delete(), MailStoreError);
  EXPECT_THROW(item->send(), MailStoreError);
  EXPECT_EQ(readBytes(house.maildir + "/new/1700000001.a"), mailText(mail));
}

TEST_F(MaildirItemTest, OurOwnForwardComingBackIsOfAKindThatNoListAccepts) {
  house.forward(received(mailText({})));
  ASSERT_EQ(house.outbox().size(), 1U);
  house.deliver("new/1700000002.b", house.outbox().front().bytes);
  const auto unread = house.unread();
  ASSERT_EQ(unread->Count(), 1);
  const std::string kind = unread->Item(1)->ClassName();
  for (const char* accepted :
       {"MailItem", "meetingitem", "ReportItem", "TaskRequestItem", "TaskRequestAcceptItem",
        "TaskRequestDeclineItem", "TaskRequestUpdateItem"}) {
    EXPECT_NE(kind, accepted);
  }
}

TEST_F(MaildirItemTest, AForgedTraceIsOrdinaryMail) {
  MailText mail;
  mail.extraFields = "X-Relaybird-Trace: 00112233445566778899aabbccddeeff\n";
  EXPECT_EQ(received(mailText(mail))->ClassName(), "MailItem");
}

TEST_F(MaildirItemTest, ATaskHasTheRequestsWriterAndItsOwnText) {
  const auto item = received(mailTextOfKind("TaskRequestItem", named("Task request")));
  const auto task = item->GetAssociatedTask();
  EXPECT_EQ(task->ClassName(), "TaskItem");
  EXPECT_EQ(task->Subject(), "Boil water");
  EXPECT_THAT(task->Body(), HasSubstr("For the tea"));
  EXPECT_EQ(task->SenderName(), "Wren Writer");
  EXPECT_EQ(task->Fields(kPrSenderEmailAddress), "wren@writer.example");
  EXPECT_THROW(task->GetAssociatedTask(), MailStoreError);
}

TEST_F(MaildirItemTest, AnUnreadableMessageIsMentionedOnce) {
  house.deliver("new/1700000001.a");
  house.application();
  for (int look = 0; look < 2; ++look) {
    const auto item = house.unread()->Item(1);
    house.disk.unopenable = [](const std::string&) { return true; };
    EXPECT_THROW(item->ClassName(), MailStoreError);
    EXPECT_EQ(item->Subject(), "");
    house.disk.unopenable = nullptr;
  }
  EXPECT_THAT(house.notices, ElementsAre(HasSubstr("Permission denied")));
}

// The setting to read, before the forward: nothing may reach the disk yet.
TEST_F(MaildirItemTest, TheFirstMarkIsHeldBackAndTheSecondIsWritten) {
  const auto item = received(mailText({}));
  item->UnRead(false);
  EXPECT_FALSE(item->UnRead());
  EXPECT_THAT(house.contents(), ElementsAre("new/1700000001.a"));
  item->UnRead(false);
  EXPECT_THAT(house.contents(), ElementsAre("cur/1700000001.a:2,S"));
}

TEST_F(MaildirItemTest, AMarkHeldBackCanBeTakenBack) {
  const auto item = received(mailText({}));
  item->UnRead(false);
  item->UnRead(true);
  EXPECT_TRUE(item->UnRead());
  EXPECT_EQ(house.unread()->Count(), 1);
  EXPECT_THAT(house.contents(), ElementsAre("new/1700000001.a"));
}

TEST_F(MaildirItemTest, SendingTheForwardWritesTheMark) {
  const auto item = received(mailText({}));
  item->UnRead(false);
  const auto forward = item->Forward();
  forward->Recipients()->Add("cell@phone.example");
  EXPECT_THAT(house.contents(), ElementsAre("new/1700000001.a"));
  forward->send();
  EXPECT_THAT(house.contents(), ElementsAre("cur/1700000001.a:2,S"));
}

TEST_F(MaildirItemTest, SendingTheForwardMarksAlsoAnItemThatNobodyMarked) {
  const auto forward = received(mailText({}))->Forward();
  forward->Recipients()->Add("cell@phone.example");
  forward->send();
  EXPECT_THAT(house.contents(), ElementsAre("cur/1700000001.a:2,S"));
}

TEST_F(MaildirItemTest, WhateverIsAskedOfTheStoreNextWritesTheMark) {
  const std::vector<std::function<void()>> next = {
      [&] { (void)house.unread(); },
      [&] { (void)house.items()->Count(); },
      [&] { house.mapi()->SyncObjects()->Item(1)->Start(); },
      [&] { createAs<UtilityObject>(house.factory(), prog_id::kUtility)->DeliverNow(); },
      [&] { house.close(); },
  };
  for (std::size_t i = 0; i < next.size(); ++i) {
    const std::string id = std::to_string(1700000001 + i) + ".a";
    house.deliver("new/" + id);
    const auto item = house.unread()->Item(1);
    item->UnRead(false);
    EXPECT_TRUE(std::filesystem::exists(house.maildir + "/new/" + id)) << i;
    next[i]();
    EXPECT_TRUE(std::filesystem::exists(house.maildir + "/cur/" + id + ":2,S")) << i;
  }
}

TEST_F(MaildirItemTest, TakingAnotherItemWritesTheMark) {
  house.deliver("new/1700000001.a");
  house.deliver("new/1700000002.b");
  const auto unread = house.unread();
  unread->Item(2)->UnRead(false);
  EXPECT_THAT(house.contents(), ElementsAre("new/1700000001.a", "new/1700000002.b"));
  const auto other = unread->Item(1);
  EXPECT_THAT(house.contents(), ElementsAre("cur/1700000002.b:2,S", "new/1700000001.a"));
  EXPECT_TRUE(other->UnRead());
}

TEST_F(MaildirItemTest, AFailedForwardLeavesTheItemReadAndNotJournaled) {
  const auto item = received(mailText({}));
  item->UnRead(false);
  const auto forward = item->Forward();
  forward->Recipients()->Add("nobody in particular");
  EXPECT_THROW(forward->send(), MailStoreError);
  item->UnRead(false);
  EXPECT_THAT(house.contents(), ElementsAre("cur/1700000001.a:2,S"));
  EXPECT_THAT(house.outbox(), IsEmpty());
}

TEST_F(MaildirItemTest, AMarkThatCannotBeWrittenThrowsWhereNoForwardWasSent) {
  const auto item = received(mailText({}));
  house.disk.failFromStep(house.disk.steps() + 1, EROFS);
  item->UnRead(false);
  EXPECT_THROW(item->UnRead(false), MailStoreError);
  EXPECT_TRUE(item->UnRead());
}

}  // namespace
}  // namespace relaybird
