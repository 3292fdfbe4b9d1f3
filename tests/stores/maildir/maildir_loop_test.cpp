// SPDX-License-Identifier: MIT
// Mail in a circle that nothing in the mail itself gives away: whoever gets a forward answers with
// a new message that names nothing of it.
#include <gmock/gmock.h>

#include "stores/maildir/maildir_house.h"

namespace relaybird {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::SizeIs;

class EchoTest : public testing::Test {
 protected:
  static constexpr std::size_t kMost = 20;

  EchoTest() {
    house.delivering = true;
    house.settings.mostPerHour = kMost;
    house.transport.answer = [this](const OutgoingMessage&) {
      arrive();
      return Outcome{};
    };
    house.open();
  }
  void arrive() {
    const std::string number = std::to_string(++arrived);
    house.deliver("new/17000" + number + ".echo",
                  "From: Echo <echo@phone.example>\nTo: ann@example.org\nSubject: Hello\n"
                  "Message-ID: <" +
                      number +
                      "@phone.example>\n"
                      "Date: Fri, 20 Nov 2026 15:04:05 +0000\n\nHello\n");
  }
  // A check as the inbox pass makes it, and the synchronisation that sends.
  void check() {
    const auto unread = house.unread();
    for (std::int32_t i = unread->Count(); i >= 1; --i) {
      house.forward(unread->Item(i));
      ++forwarded;
    }
    house.mapi()->SyncObjects()->Item(1)->Start();
    house.events.runUntilIdle();
    house.clock.advance(std::chrono::minutes{2});
  }
  std::size_t left() const { return house.transport.taken.size(); }

  MaildirHouse house;
  std::size_t arrived = 0;
  std::size_t forwarded = 0;
};

TEST_F(EchoTest, AnEchoThatQuotesNothingIsBoundedAndNothingOfItIsLost) {
  for (int i = 0; i < 3; ++i) {
    arrive();
  }
  for (int i = 0; i < 3; ++i) {
    check();
  }
  house.open();
  for (int i = 0; i < 10; ++i) {
    check();
  }
  house.open();
  for (int i = 0; i < 100; ++i) {
    check();
  }
  EXPECT_EQ(left(), kMost);
  EXPECT_EQ(arrived, kMost + 3);
  EXPECT_EQ(forwarded, arrived);
  EXPECT_THAT(house.outbox(), SizeIs(forwarded - left()));
  EXPECT_THAT(std::filesystem::is_empty(house.settings.outbox + "/failed"), true);
  EXPECT_THAT(house.unread()->Count(), 0);
  EXPECT_THAT(
      house.notices,
      Contains(HasSubstr("Stopped forwarding to cell@phone.example: 20 messages")).Times(1));
  EXPECT_THAT(house.notices, Contains(HasSubstr("Waits because cell@phone.example is stopped")));
}

// A service manager that starts the program again and again must not give it a new hour each time.
TEST_F(EchoTest, ANewStartAfterEveryCheckDoesNotLetMoreLeave) {
  for (int i = 0; i < 3; ++i) {
    arrive();
  }
  for (int i = 0; i < 25; ++i) {
    check();
    house.open();
  }
  house.application();
  EXPECT_EQ(left(), kMost);
  EXPECT_THAT(house.outbox(), SizeIs(3));
}

// The mark was bound to the path as it is written in the settings: the same mailbox by another name
// took its own forward for a stranger's.
TEST(OwnForward, IsKnownHoweverThePathOfTheMailboxIsWritten) {
  MaildirHouse house;
  const std::string link = house.temp.path("Link");
  std::filesystem::create_directory_symlink(house.maildir, link);
  house.deliver("new/1700000001.first", "From: bob@example.com\nSubject: Hello\n\nHello\n");
  house.forward(house.unread()->Item(1));
  const std::string forward = house.outbox().at(0).bytes;
  for (const std::string& path : {house.maildir, house.maildir + "/", link, link + "/."}) {
    SCOPED_TRACE(path);
    house.settings.maildir = path;
    house.open();
    house.notices.clear();
    const std::string name = "new/17000002" + std::to_string(path.size()) + ".back";
    house.deliver(name, forward);
    const auto back = house.unread()->Item(1);
    EXPECT_NE(back->ClassName(), "MailItem");
    EXPECT_THAT(house.notices, Contains(HasSubstr("not forwarded because")));
    std::filesystem::remove(house.maildir + "/" + name);
  }
}

}  // namespace
}  // namespace relaybird
