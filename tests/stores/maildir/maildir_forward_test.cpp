// SPDX-License-Identifier: MIT
// Forwards of a Maildir from the item to the file in the outbox: whom they go to, what they carry
// on, and that each goes out once, whatever the disk refuses. MaildirHouse has the mailbox, the
// outbox and the clock.
#include <gmock/gmock.h>

#include <cerrno>

#include "message/circles.h"
#include "stores/maildir/maildir_house.h"
#include "support/mail_text.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class MaildirForwardTest : public testing::Test {
 protected:
  std::shared_ptr<MailItem> received(const MailText& mail = {},
                                     const std::string& id = "1700000001.a") {
    house.deliver("new/" + id, mailText(mail));
    const auto unread = house.unread();
    return unread->Item(unread->Count());
  }
  std::shared_ptr<MailItem> addressed(const std::shared_ptr<MailItem>& item) {
    auto forward = item->Forward();
    forward->Recipients()->Add("cell@phone.example");
    return forward;
  }
  std::vector<std::string> messageIds() const {
    std::vector<std::string> ids;
    for (const auto& file : house.outbox()) {
      ids.push_back(fieldOf(file.bytes, "Message-ID"));
    }
    return ids;
  }
  // Everything but the outbox's folders is read-only from now on.
  void makeInboxReadOnly() {
    house.disk.renameRefused = [this](const std::string& step) {
      return step.find(house.maildir + "/") != std::string::npos;
    };
  }

  MaildirHouse house;
};

TEST_F(MaildirForwardTest, ComesFromTheUserAndGoesToTheRecipients) {
  MailText mail;
  mail.extraFields = "Message-ID: <old@writer.example>\n";
  const auto forward = addressed(received(mail));
  forward->Recipients()->Add("second@phone.example")->Type(RecipientType::kBlindCopy);
  forward->ReplyRecipients()->Add("wren@writer.example");
  forward->send();
  ASSERT_EQ(house.outbox().size(), 1U);
  const std::string bytes = house.outbox().front().bytes;
  EXPECT_EQ(fieldOf(bytes, "From"), "Ann Example <ann@example.org>");
  EXPECT_EQ(fieldOf(bytes, "To"), "cell@phone.example");
  EXPECT_EQ(fieldOf(bytes, "Bcc"), "second@phone.example");
  EXPECT_EQ(fieldOf(bytes, "Reply-To"), "wren@writer.example");
  EXPECT_EQ(fieldOf(bytes, "Subject"), "FW: Subject");
  EXPECT_EQ(fieldOf(bytes, "References"), "<old@writer.example>");
  EXPECT_EQ(fieldOf(bytes, "Auto-Submitted"), "auto-generated");
  EXPECT_THAT(fieldOf(bytes, "Message-ID"), HasSubstr("@example.org>"));
  EXPECT_FALSE(fieldOf(bytes, "X-Relaybird-Trace").empty());
}

TEST_F(MaildirForwardTest, AReplyAddressThatIsNoneIsLeftOut) {
  const auto forward = addressed(received());
  forward->ReplyRecipients()->Add("/o=exchange/cn=somebody");
  forward->ReplyRecipients()->Add("x@y.example\r\nBcc: evil@example.org");
  forward->send();
  ASSERT_EQ(house.outbox().size(), 1U);
  EXPECT_EQ(fieldOf(house.outbox().front().bytes, "Reply-To"), "");
  EXPECT_EQ(fieldOf(house.outbox().front().bytes, "Bcc"), "");
}

TEST_F(MaildirForwardTest, ASubjectCannotSmuggleInAField) {
  const auto forward = addressed(received());
  forward->Subject("news\r\nBcc: evil@example.org\nX-Odd: 1");
  forward->send();
  const std::string bytes = house.outbox().at(0).bytes;
  EXPECT_EQ(fieldOf(bytes, "Bcc"), "");
  EXPECT_EQ(fieldOf(bytes, "X-Odd"), "");
}

TEST_F(MaildirForwardTest, NamesComeFromTheAddressBook) {
  house.settings.addressBook = house.temp.path("book.vcf");
  writeBytes(house.settings.addressBook,
             "BEGIN:VCARD\nVERSION:4.0\nFN:Cell Phone\nEMAIL:555@sms.example\nEND:VCARD\n");
  house.open();
  const auto forward = received()->Forward();
  forward->Recipients()->Add("cell phone");
  forward->Recipients()->Add("Bob <bob@example.org>");
  EXPECT_TRUE(forward->Recipients()->ResolveAll());
  forward->send();
  EXPECT_EQ(fieldOf(house.outbox().at(0).bytes, "To"),
            "Cell Phone <555@sms.example>, Bob <bob@example.org>");
}

TEST_F(MaildirForwardTest, AMissingAddressBookIsMentionedOnce) {
  house.settings.addressBook = house.temp.path("gone.vcf");
  house.open();
  const auto recipients = received()->Forward()->Recipients();
  recipients->Add("cell phone");
  EXPECT_FALSE(recipients->ResolveAll());
  EXPECT_FALSE(recipients->ResolveAll());
  EXPECT_THAT(house.notices, ElementsAre(HasSubstr("The address book cannot be used"),
                                         HasSubstr("No mail goes to \"cell phone\"")));
}

TEST_F(MaildirForwardTest, TwoAddressesInOneEntryAreNotARecipient) {
  const auto recipients = received()->Forward()->Recipients();
  recipients->Add("a@example.org, b@example.org");
  EXPECT_FALSE(recipients->ResolveAll());
}

TEST_F(MaildirForwardTest, WithoutRecipientsNothingIsSent) {
  const auto item = received();
  const auto forward = item->Forward();
  EXPECT_THROW(forward->send(), MailStoreError);
  EXPECT_THAT(house.outbox(), IsEmpty());
  EXPECT_TRUE(item->UnRead());
}

TEST_F(MaildirForwardTest, ASentForwardIsGone) {
  const auto forward = addressed(received());
  forward->send();
  EXPECT_THROW(forward->send(), MailStoreError);
  EXPECT_THROW(forward->Subject(), MailStoreError);
  EXPECT_EQ(house.outbox().size(), 1U);
}

TEST_F(MaildirForwardTest, AMessageThatVanishedIsNotForwarded) {
  const auto forward = addressed(received());
  std::filesystem::remove(house.maildir + "/new/1700000001.a");
  EXPECT_THROW(forward->Body(), MailStoreError);
  EXPECT_THROW(forward->send(), MailStoreError);
  EXPECT_THAT(house.outbox(), IsEmpty());
}

TEST_F(MaildirForwardTest, ADiskThatFillsUpAtAnyStepKeepsTheForwardWholeOrAway) {
  for (std::size_t step = 1; step < 30; ++step) {
    const std::string id = std::to_string(1700000000 + step) + ".a";
    const auto item = received({}, id);
    const std::size_t before = house.outbox().size();
    house.disk.tearFailingWrites(step % 2 == 0);
    house.disk.failStep(house.disk.steps() + step, ENOSPC);
    bool sent = true;
    try {
      addressed(item)->send();
    } catch (const MailStoreError& error) {
      sent = false;
      EXPECT_STRNE(error.what(), "");
    }
    house.disk.reset();
    EXPECT_EQ(house.outbox().size(), before + (sent ? 1 : 0)) << step;
    if (!sent) {
      addressed(item)->send();
      EXPECT_EQ(house.outbox().size(), before + 1) << step;
    }
  }
}

TEST_F(MaildirForwardTest, ARepeatedTryKeepsTheMessageId) {
  const auto item = received();
  // The last step of a send that is needed for it to count.
  std::size_t steps = 0;
  {
    MaildirHouse other;
    other.deliver("new/1.a");
    const auto forward = other.unread()->Item(1)->Forward();
    forward->Recipients()->Add("cell@phone.example");
    const std::size_t before = other.disk.steps();
    forward->send();
    for (std::size_t i = before; i < other.disk.steps(); ++i) {
      if (other.disk.record()[i].find("/outbox/tmp/") != std::string::npos &&
          other.disk.record()[i].rfind("rename ", 0) == 0) {
        steps = i - before + 1;
      }
    }
  }
  ASSERT_GT(steps, 0U);
  house.disk.failStep(house.disk.steps() + steps, EIO);
  std::string firstId;
  house.disk.onEveryStep([&](const std::string& step) {
    if (step.rfind("rename ", 0) == 0 && firstId.empty()) {
      const std::size_t from = step.find(' ') + 1;
      const std::string path = step.substr(from, step.find(' ', from) - from);
      firstId = fieldOf(readBytes(path), "Message-ID");
    }
  });
  EXPECT_THROW(addressed(item)->send(), MailStoreError);
  house.disk.reset();
  house.disk.onEveryStep({});
  EXPECT_THAT(house.outbox(), IsEmpty());
  EXPECT_FALSE(firstId.empty());
  house.open();
  house.forward(house.unread()->Item(1));
  EXPECT_THAT(messageIds(), ElementsAre(firstId));
}

TEST_F(MaildirForwardTest, InAReadOnlyMaildirNothingGoesOutTwice) {
  received();
  makeInboxReadOnly();
  house.forward(house.unread()->Item(1));
  EXPECT_EQ(house.outbox().size(), 1U);
  EXPECT_THAT(house.notices, ElementsAre(HasSubstr("could not be marked read")));
  for (int run = 0; run < 2; ++run) {
    EXPECT_EQ(house.unread()->Count(), 0);
    EXPECT_FALSE(house.items()->Item(1)->UnRead());
    house.open();
  }
  EXPECT_THAT(house.contents(), ElementsAre("new/1700000001.a"));

  house.disk.renameRefused = nullptr;
  EXPECT_EQ(house.unread()->Count(), 0);
  EXPECT_THAT(house.contents(), ElementsAre("cur/1700000001.a:2,S"));
  EXPECT_EQ(house.outbox().size(), 1U);
}

TEST_F(MaildirForwardTest, AReadOnlyMaildirIsMentionedOncePerMessage) {
  received();
  makeInboxReadOnly();
  house.forward(house.unread()->Item(1));
  for (int i = 0; i < 3; ++i) {
    (void)house.unread();
  }
  EXPECT_EQ(house.notices.size(), 1U);
}

TEST_F(MaildirForwardTest, WhatTheUserMarksUnreadAgainIsForwardedAgain) {
  house.forward(received());
  EXPECT_EQ(house.unread()->Count(), 0);
  house.move("cur/1700000001.a:2,S", "cur/1700000001.a:2,");
  const auto unread = house.unread();
  ASSERT_EQ(unread->Count(), 1);
  house.forward(unread->Item(1));
  EXPECT_EQ(house.outbox().size(), 2U);
  EXPECT_NE(messageIds()[0], messageIds()[1]);
}

TEST_F(MaildirForwardTest, TwoForwardsOfOneItemAreTwoMessages) {
  const auto item = received();
  addressed(item)->send();
  addressed(item)->send();
  EXPECT_EQ(house.outbox().size(), 2U);
}

TEST_F(MaildirForwardTest, AJournalEntryOfAMessageThatLeftTheInboxIsDropped) {
  received();
  makeInboxReadOnly();
  house.forward(house.unread()->Item(1));
  house.disk.renameRefused = nullptr;
  std::filesystem::rename(house.maildir + "/new/1700000001.a", house.temp.path("kept"));
  (void)house.unread();
  (void)house.unread();
  std::filesystem::rename(house.temp.path("kept"), house.maildir + "/new/1700000001.a");
  EXPECT_EQ(house.unread()->Count(), 1) << "whoever brings it back as new mail wants it seen";
}

TEST_F(MaildirForwardTest, AForwardIsSettledOnlyWhenBothFoldersOfItsMarkWereSynced) {
  const std::string journal = house.settings.outbox + "/journal";
  for (const std::string part : {"cur", "new"}) {
    received({}, "170000000" + std::to_string(house.outbox().size()) + ".a");
    house.forward(house.unread()->Item(1));
    const auto settledLines = [&] {
      const std::string text = readBytes(journal);
      std::size_t count = 0;
      for (std::size_t at = 0; (at = text.find(" settled ", at)) != text.npos; ++at) {
        ++count;
      }
      return count;
    };
    const std::size_t before = settledLines();
    house.disk.refused = [&](const std::string& step) {
      return step == "syncFolder " + house.maildir + "/" + part;
    };
    EXPECT_EQ(house.unread()->Count(), 0);
    EXPECT_EQ(settledLines(), before) << part;
    house.disk.refused = nullptr;
    EXPECT_EQ(house.unread()->Count(), 0);
    EXPECT_EQ(settledLines(), before + 1) << part;
  }
}

// A listing may miss a message that is being renamed.
TEST_F(MaildirForwardTest, AForwardedMessageMissedByOneListingStaysForwarded) {
  received();
  makeInboxReadOnly();
  house.forward(house.unread()->Item(1));
  std::filesystem::rename(house.maildir + "/new/1700000001.a", house.temp.path("kept"));
  EXPECT_EQ(house.unread()->Count(), 0);
  std::filesystem::rename(house.temp.path("kept"), house.maildir + "/new/1700000001.a");
  EXPECT_EQ(house.unread()->Count(), 0);
}

// Reports and task requests go out as new items, which know nothing of the received one.
TEST_F(MaildirForwardTest, ANewItemMadeForAnItemBeingForwardedCountsAsItsForward) {
  const auto item = received();
  item->UnRead(false);
  const auto fresh = createAs<MailItem>(house.factory(), prog_id::kMailItem);
  fresh->Subject("copied");
  fresh->Recipients()->Add("cell@phone.example");
  fresh->send();
  EXPECT_THAT(house.contents(), ElementsAre("cur/1700000001.a:2,S"));
}

TEST_F(MaildirForwardTest, ANewItemMadeOtherwiseMarksNothing) {
  const auto item = received();
  const auto fresh = createAs<MailItem>(house.factory(), prog_id::kMailItem);
  fresh->Recipients()->Add("cell@phone.example");
  fresh->send();
  EXPECT_TRUE(item->UnRead());
  EXPECT_EQ(house.outbox().size(), 1U);
}

TEST_F(MaildirForwardTest, TracesOfOtherUsersAreCarriedOnBehindOurs) {
  MailText mail;
  mail.extraFields = "X-Relaybird-Trace: other-1\nX-Relaybird-Trace: other-2, bad@mark\n";
  addressed(received(mail))->send();
  const auto marks = traceMarks(HeaderBlock(house.outbox().at(0).bytes));
  ASSERT_EQ(marks.size(), 3U);
  EXPECT_EQ(marks[0].size(), 81U);
  EXPECT_EQ(marks[1], "other-1");
  EXPECT_EQ(marks[2], "other-2");
}

TEST_F(MaildirForwardTest, ANewItemMadeForAnItemBeingForwardedCarriesItsTracesOn) {
  MailText mail;
  mail.extraFields = "X-Relaybird-Trace: other-1\n";
  received(mail)->UnRead(false);
  const auto fresh = createAs<MailItem>(house.factory(), prog_id::kMailItem);
  fresh->Recipients()->Add("cell@phone.example");
  fresh->send();
  const auto marks = traceMarks(HeaderBlock(house.outbox().at(0).bytes));
  ASSERT_EQ(marks.size(), 2U);
  EXPECT_EQ(marks[1], "other-1");
}

TEST_F(MaildirForwardTest, ItsMessageIdIsKnownAgainInAnAnswer) {
  addressed(received())->send();
  MailText answer;
  answer.subject = "On holiday";
  answer.extraFields = "Auto-Submitted: auto-replied\nIn-Reply-To: " + messageIds().at(0) + "\n";
  EXPECT_EQ(received(answer, "1700000002.a")->ClassName(), "RelaybirdAnswer");
  answer.extraFields = "In-Reply-To: " + messageIds().at(0) + "\n";
  EXPECT_EQ(received(answer, "1700000003.a")->ClassName(), "MailItem");
}

TEST_F(MaildirForwardTest, WhyWhatCameBackIsNotForwardedIsToldOncePerMessage) {
  addressed(received())->send();
  MailText back;
  back.subject = "FW: Subject";
  back.extraFields = "X-Relaybird-Trace: other-1\n " +
                     fieldOf(house.outbox().at(0).bytes, "X-Relaybird-Trace") + "\n";
  house.deliver("new/1700000002.a", mailText(back));
  for (int check = 0; check < 3; ++check) {
    EXPECT_EQ(house.unread()->Item(1)->ClassName(), "RelaybirdForward");
  }
  EXPECT_THAT(house.notices,
              ElementsAre("FW: Subject at " + house.clock.nowText() +
                          " not forwarded because it is one of your own forwards, which has come "
                          "back"));
}

}  // namespace
}  // namespace relaybird
