// SPDX-License-Identifier: MIT
// The account's inbox with a thread of its own, as in the program. The server is the scripted one,
// which that thread alone touches while the inbox lives.
#include <gmock/gmock.h>

#include "message/circles.h"
#include "stores/account/account_house.h"

namespace relaybird {
namespace {

OwnMarks noMarks() {
  return {[](std::string_view) { return false; }, [](std::string_view) { return false; }};
}

class AccountThreadTest : public testing::Test {
 protected:
  AccountThreadTest() {
    for (std::uint32_t uid = 1; uid <= 300; ++uid) {
      house_.account.add(uid, simpleMail("m" + std::to_string(uid)));
    }
  }

  AccountHouse house_;
};

TEST_F(AccountThreadTest, AWalkReadsAndMarksWhatAThreadFetches) {
  auto inbox = std::make_unique<AccountInbox>(house_.settings, house_.world());
  int ends = 0;
  inbox->synchronise([&] { ++ends; });
  const auto listing = inbox->list();
  ASSERT_TRUE(listing) << listing.error().text;
  ASSERT_EQ((*listing)->size(), 300U);
  const auto again = inbox->list();  // asks the thread what the server has said meanwhile
  ASSERT_TRUE(again) << again.error().text;
  EXPECT_EQ(*again, *listing);
  for (std::size_t i = 300; i-- > 0;) {
    const InboxHead head = (*listing)->head(i, noMarks());
    ASSERT_FALSE(head.failure) << head.failure->text;
    if (i % 3 == 0) {
      ASSERT_TRUE((*listing)->open(i));
      ASSERT_TRUE((*listing)->setSeen(i, true));
    }
  }
  (void)inbox->syncMarks({"imap-7-1"});
  house_.events.runUntilIdle();
  EXPECT_EQ(ends, 1);
  inbox->close();
  inbox.reset();
  for (const ServerMail& mail : house_.account.mails) {
    EXPECT_EQ(mail.seen, mail.uid % 3 == 1) << mail.uid;
  }
}

TEST_F(AccountThreadTest, EndsAtOnceWhileTheServerHangs) {
  house_.account.instead = [](const std::string&, const std::string& command) {
    return command.starts_with("UID SEARCH") ? std::optional<std::string>("") : std::nullopt;
  };
  int asked = 0;
  house_.keepAlive = [&] { return ++asked < 2; };
  auto inbox = std::make_unique<AccountInbox>(house_.settings, house_.world());
  EXPECT_FALSE(inbox->list());
}

TEST_F(AccountThreadTest, AnInboxThatWasNeverUsedHasNoThread) {
  AccountInbox inbox(house_.settings, house_.world());
  inbox.close();
  EXPECT_EQ(house_.network.connections(), 0U);
}

}  // namespace
}  // namespace relaybird
