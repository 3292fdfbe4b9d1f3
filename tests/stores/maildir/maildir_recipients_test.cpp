// SPDX-License-Identifier: MIT
// Where a forward goes: to exactly what was typed, or nowhere.
#include <gmock/gmock.h>

#include <optional>

#include "stores/maildir/maildir_house.h"
#include "support/mail_text.h"
#include "support/whole_text.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

// The value of an address field without its folds; empty where there is none.
std::string addressField(const std::string& message, const std::string& name) {
  std::string head = message.substr(0, message.find("\n\n") + 1);
  for (std::size_t fold = head.find("\n "); fold != std::string::npos; fold = head.find("\n ")) {
    head.erase(fold, 1);
  }
  return fieldOf(head + "\n", name);
}

class MaildirRecipientsTest : public testing::Test {
 protected:
  MaildirRecipientsTest() {
    house.delivering = true;
    house.settings.addressBook = house.temp.path("book.vcf");
    writeBytes(house.settings.addressBook,
               "BEGIN:VCARD\nVERSION:4.0\nFN:Cell Phone\nEMAIL:555@sms.example\nEND:VCARD\n"
               "BEGIN:VCARD\nVERSION:4.0\nFN:Writer\nEMAIL:not.him@example.org\nEND:VCARD\n");
    house.open();
  }

  // A forward of a new message, not yet addressed.
  std::shared_ptr<MailItem> forward() {
    house.deliver("new/" + std::to_string(1'700'000'000 + ++count_) + ".a", mailText({}));
    const auto unread = house.unread();
    const auto item = unread->Item(unread->Count());
    item->UnRead(false);
    return item->Forward();
  }

  struct Left {
    std::string field;       // of the message in the outbox, To or Bcc
    std::string recipients;  // that the transport was told
    bool operator==(const Left&) const = default;
    friend void PrintTo(const Left& left, std::ostream* out) {
      *out << left.field << " | " << left.recipients;
    }
  };

  // What leaves for an entry of the list of recipients; nothing where it does not resolve.
  std::optional<Left> leavesFor(const std::string& typed, RecipientType type) {
    const auto item = forward();
    item->Recipients()->Add(typed)->Type(type);
    if (!item->Recipients()->ResolveAll()) {
      EXPECT_THROW(item->send(), MailStoreError) << typed;
      EXPECT_THAT(house.outbox(), IsEmpty()) << typed;
      return std::nullopt;
    }
    item->send();
    Left left;
    const auto files = house.outbox();
    if (files.size() != 1) {
      return left;
    }
    left.field =
        addressField(files.front().bytes, type == RecipientType::kBlindCopy ? "Bcc" : "To");
    createAs<UtilityObject>(house.factory(), prog_id::kUtility)->DeliverNow();
    for (const std::string& recipient : house.transport.taken.back().envelope.recipients) {
      left.recipients += (left.recipients.empty() ? "" : " and ") + recipient;
    }
    return left;
  }

  MaildirHouse house;

 private:
  int count_ = 0;
};

TEST_F(MaildirRecipientsTest, WhatLeavesIsExactlyTheTypedAddress) {
  for (const RecipientType type : {RecipientType::kTo, RecipientType::kBlindCopy}) {
    for (const std::string typed :
         {"joe@example.com",
          "Joe.Blow+tag@Example.COM",
          "\"joe  blow\"@example.com",
          "\"a,b;c\"@example.com",
          "\"a@b\"@example.com",
          "\"a\\\"b\"@example.com",
          "\"\"@example.com",
          "\"-f\"@example.com",
          "\"john\"@example.com",
          "\"(c)\"@example.com",
          "joe@[192.0.2.1]",
          "joe@[IPv6:2001:db8::1]",
          "joe@my_host.example",
          "a!b%c@example.com",
          "|prog@example.com",
          "j\u00F6rg@example.com",
          "\"j\u00F6 rg\"@example.com",
          "joe@xn--mnchen-3ya.example",
          "joe@XN--MNCHEN-3YA.example",
          "joe@xn--a.example",
          "=?utf-8?Q?joe?=@example.com",
          "a=?utf-8?Q?joe?=@example.com",
          "\"a b c d e f g h i j k l m n o p  q r\"@a-domain.of.a.long.name"}) {
      EXPECT_EQ(leavesFor(typed, type), (Left{typed, typed}));
    }
  }
}

TEST_F(MaildirRecipientsTest, ANameGoesAlongAndChangesNoAddress) {
  EXPECT_EQ(leavesFor("Joe <joe@example.com>", RecipientType::kTo),
            (Left{"Joe <joe@example.com>", "joe@example.com"}));
  EXPECT_EQ(leavesFor("\"Doe, Joe <x@y>\" <joe@example.com>", RecipientType::kTo),
            (Left{"\"Doe, Joe <x@y>\" <joe@example.com>", "joe@example.com"}));
  std::string longName = "J\u00F6rg";
  for (int i = 0; i < 40; ++i) {
    longName += " and so on";
  }
  const auto left = leavesFor(longName + " <\"a  b\"@example.com>", RecipientType::kTo);
  ASSERT_TRUE(left);
  EXPECT_THAT(left->field, EndsWith(" <\"a  b\"@example.com>"));
  EXPECT_EQ(left->recipients, "\"a  b\"@example.com");
}

TEST_F(MaildirRecipientsTest, AnInternationalDomainLeavesInItsWireForm) {
  EXPECT_EQ(leavesFor("info@m\u00FCnchen.example", RecipientType::kTo),
            (Left{"info@xn--mnchen-3ya.example", "info@xn--mnchen-3ya.example"}));
  EXPECT_EQ(leavesFor("j\u00F6@stra\u00DFe.example", RecipientType::kTo),
            (Left{"j\u00F6@xn--strae-oqa.example", "j\u00F6@xn--strae-oqa.example"}));
  EXPECT_THAT(
      house.notices,
      ElementsAre("Mail to \"info@m\u00FCnchen.example\" goes to info@xn--mnchen-3ya.example",
                  "Mail to \"j\u00F6@stra\u00DFe.example\" goes to "
                  "j\u00F6@xn--strae-oqa.example"));
}

TEST_F(MaildirRecipientsTest, MailToWhatIsNoAddressGoesNowhereAndTheLogSaysWhy) {
  const std::vector<std::string> odd = {
      "joe@my company.com",    "joe@example.com:25",          "joe@gmail.com@work.example",
      "$(id)@x.example",       "http://joe@example.com",      "joe@example.com, ann@example.com",
      "joe(c)@example.com",    "joe@example.com (Joe)",       "Team: joe@example.com;",
      "-f@example.com",        "<@a.org:joe@example.com>",    "joe@p\u0430ypal.com",
      "jo\u200Be@example.com", "joe@example.com\r\nBcc: x@y", "Somebody Else"};
  for (const std::string& typed : odd) {
    for (int check = 0; check < 3; ++check) {
      EXPECT_EQ(leavesFor(typed, RecipientType::kTo), std::nullopt) << typed;
    }
  }
  EXPECT_THAT(house.transport.taken, IsEmpty());
  ASSERT_EQ(house.notices.size(), odd.size()) << "each once";
  EXPECT_EQ(
      house.notices[0],
      "No mail goes to \"joe@my company.com\": it is neither one e-mail address as a whole nor "
      "the name of one person in the address book");
  EXPECT_THAT(house.notices[13], HasSubstr("\"joe@example.com Bcc: x@y\""));
}

TEST_F(MaildirRecipientsTest, AnEntryThatDoesNotResolveHoldsBackTheOthers) {
  const auto item = forward();
  for (const char* entry : {"joe@example.com", "joe@my company.com", "cell phone"}) {
    item->Recipients()->Add(entry);
  }
  EXPECT_FALSE(item->Recipients()->ResolveAll());
  EXPECT_THROW(item->send(), MailStoreError);
  EXPECT_THAT(house.outbox(), IsEmpty());
}

TEST_F(MaildirRecipientsTest, WhereANameOfTheAddressBookLeadsIsSaidOnceAndAgainWhenItChanges) {
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(leavesFor("cell phone", RecipientType::kTo),
              (Left{"Cell Phone <555@sms.example>", "555@sms.example"}));
  }
  writeBytes(house.settings.addressBook,
             "BEGIN:VCARD\nVERSION:4.0\nFN:Cell Phone\nEMAIL:777@other.example\nEND:VCARD\n");
  EXPECT_EQ(leavesFor("cell phone", RecipientType::kTo)->recipients, "777@other.example");
  EXPECT_THAT(house.notices, ElementsAre("Mail to \"cell phone\" goes to 555@sms.example",
                                         "Mail to \"cell phone\" goes to 777@other.example"));
}

TEST_F(MaildirRecipientsTest, AStrangersNameIsNotLookedUpForReplies) {
  const auto item = forward();
  item->Recipients()->Add("joe@example.com");
  item->ReplyRecipients()->Add("Writer");
  item->ReplyRecipients()->Add("Ann <ann@example.org>");
  EXPECT_FALSE(item->ReplyRecipients()->ResolveAll());
  item->ReplyRecipients()->Add("bb@m\u00FCnchen.example");
  item->send();
  EXPECT_EQ(addressField(house.outbox().at(0).bytes, "Reply-To"), "bb@xn--mnchen-3ya.example");
  EXPECT_THAT(house.notices, IsEmpty());
}

TEST_F(MaildirRecipientsTest, TheUsersOwnAddressIsReadStrictlyAndLeavesInItsWireForm) {
  house.settings.address = "ann@m\u00FCnchen.example";
  house.open();
  ASSERT_TRUE(leavesFor("joe@example.com", RecipientType::kTo));
  EXPECT_EQ(house.transport.taken.back().envelope.sender, "ann@xn--mnchen-3ya.example");
  EXPECT_THAT(wholeText(house.transport.taken.back().text),
              HasSubstr("@xn--mnchen-3ya.example>\n"));
  for (const char* address : {"Ann <ann@example.org>", "ann@example.org:25", "-f@example.org",
                              "ann@example.org, bob@example.org", ""}) {
    house.settings.address = address;
    house.open();
    EXPECT_THROW(house.application(), MailStoreError) << address;
  }
}

}  // namespace
}  // namespace relaybird
