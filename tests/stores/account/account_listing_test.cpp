// SPDX-License-Identifier: MIT
// Heads and messages of a listing, and what is asked for ahead of a walk over it.
#include <cerrno>

#include "stores/account/account_inbox_fixture.h"

namespace relaybird {
namespace {

using testing::HasSubstr;
using namespace std::chrono_literals;

class AccountListingTest : public AccountInboxTest {};

TEST_F(AccountListingTest, AMessageWithoutATimeOfReceiptHasThatOfItsWriting) {
  house_.account.add(8, "Date: Fri, 10 Jul 2026 10:00:00 +0000\r\n" + simpleMail("m8")).date = "";
  house_.account.add(9, simpleMail("m9")).date = "yesterday";
  const auto listing = list();
  EXPECT_EQ(listing->head(4, sampleMarks()).received,
            DateTime(std::chrono::sys_days(std::chrono::year(2026) / 7 / 10) + 10h));
  EXPECT_EQ(listing->head(5, sampleMarks()).received, house_.clock.now());
}

TEST_F(AccountListingTest, ReadsHeadsAndMessages) {
  const auto listing = list();
  const InboxHead head = listing->head(3, sampleMarks());
  EXPECT_FALSE(head.failure);
  EXPECT_EQ(head.headers.subject(), "m4");
  EXPECT_EQ(head.kind, MessageKind::kMail);
  EXPECT_EQ(head.received,
            DateTime(std::chrono::sys_days(std::chrono::year(2026) / 7 / 17) + 2h + 44min + 25s));
  const auto file = listing->open(3);
  ASSERT_TRUE(file);
  EXPECT_EQ((*file)->info().size, simpleMail("m4").size());
  EXPECT_EQ((*file)->info().modified, head.received);
}

TEST_F(AccountListingTest, ReadsTheMessageWhereItsHeadDoesNotTellTheKind) {
  const std::string mail = sample("meeting-request.eml");
  house_.account.add(9, mail);
  const auto listing = list();
  EXPECT_EQ(listing->head(4, sampleMarks()).kind, MessageKind::kMeeting);
  EXPECT_EQ(listing->head(3, sampleMarks()).kind, MessageKind::kMail);
  EXPECT_EQ(house_.account.count("UID FETCH 9 (UID BODY.PEEK"), 1U);
}

TEST_F(AccountListingTest, FetchesAMessageOnceThatWasReadForItsKind) {
  house_.account.add(9, sample("meeting-request.eml"));
  const auto listing = list();
  listing->head(4, sampleMarks());
  EXPECT_TRUE(listing->open(4));
  EXPECT_TRUE(listing->open(4));
  EXPECT_EQ(house_.account.count("UID FETCH 9 (UID BODY.PEEK"), 2U);
}

TEST_F(AccountListingTest, AMessageThatWasReadForItsKindIsNotTakenForAnother) {
  house_.account.add(9, sample("meeting-request.eml"));
  const auto listing = list();
  listing->head(4, sampleMarks());
  const auto file = listing->open(3);
  ASSERT_TRUE(file);
  EXPECT_EQ(readHeaderBlock(**file)->subject(), "m4");
}

TEST_F(AccountListingTest, ReportsMessagesThatHaveVanished) {
  const auto listing = list();
  house_.account.remove(3);
  EXPECT_EQ(listing->head(2, sampleMarks()).failure->code, ENOENT);
  EXPECT_EQ(listing->open(2).error().code, ENOENT);
  EXPECT_FALSE(listing->head(1, sampleMarks()).failure);
}

TEST_F(AccountListingTest, AMessageReadsWellAfterAnOutage) {
  const auto before = list();
  EXPECT_FALSE(before->head(3, sampleMarks()).failure);
  house_.account.instead = [](const std::string&, const std::string& command) {
    return command.starts_with("UID FETCH") ? std::optional<std::string>("") : std::nullopt;
  };
  EXPECT_EQ(before->open(3).error().code, kInboxLost);
  EXPECT_EQ(before->open(2).error().code, kInboxLost);
  house_.account.instead = {};
  for (int i = 0; i < 30 && !inbox_->alive(); ++i) {
    house_.network.after(10s, [] {});
    serve(3);
  }
  EXPECT_TRUE(inbox_->alive());
  const auto after = list();
  EXPECT_EQ(walk(*after, 1), 0);
}

TEST_F(AccountListingTest, AsksForHeadsAheadOfTheWalkInGroups) {
  for (std::uint32_t uid = 5; uid <= 1000; ++uid) {
    house_.account.add(uid, simpleMail("m" + std::to_string(uid)));
  }
  EXPECT_EQ(walk(*list(), 0), 0);
  EXPECT_LE(house_.account.count("UID FETCH"), 13U);
  EXPECT_EQ(house_.account.count("UID FETCH 901:1000 "), 1U);
}

TEST_F(AccountListingTest, AsksForHeadsInGroupsOnASecondWalkOverTheSameMessagesToo) {
  for (std::uint32_t uid = 5; uid <= 1000; ++uid) {
    house_.account.add(uid, simpleMail("m" + std::to_string(uid)));
  }
  EXPECT_EQ(walk(*list(), 0), 0);
  house_.account.commands.clear();
  EXPECT_EQ(walk(*list(), 0), 0);
  EXPECT_LE(house_.account.count("UID FETCH"), 13U);
}

TEST_F(AccountListingTest, FetchesFewMessagesAheadIfNoneIsWanted) {
  for (std::uint32_t uid = 5; uid <= 300; ++uid) {
    house_.account.add(uid, simpleMail("m" + std::to_string(uid)));
  }
  EXPECT_EQ(walk(*list(), 0), 0);
  for (const std::string& command : house_.account.commands) {
    EXPECT_THAT(command, testing::Not(HasSubstr("BODY.PEEK[])")));
  }
}

TEST_F(AccountListingTest, FetchesMessagesAheadInGroupsAndMarksThemTogether) {
  for (std::uint32_t uid = 5; uid <= 1000; ++uid) {
    house_.account.add(uid, simpleMail("m" + std::to_string(uid)));
  }
  EXPECT_EQ(walk(*list(), 2), 0);
  inbox_->close();
  std::size_t bodies = 0;
  for (const std::string& command : house_.account.commands) {
    bodies += command.ends_with("(UID BODY.PEEK[])") ? 1 : 0;
  }
  // 500 were opened.
  EXPECT_LE(bodies, 45U);
  EXPECT_LE(house_.account.count("UID STORE"), 10U);
  for (const ServerMail& mail : house_.account.mails) {
    EXPECT_EQ(mail.seen, mail.uid % 2 == 1) << mail.uid;
  }
}

TEST_F(AccountListingTest, AsksForNothingAheadThatWasWalkedOver) {
  for (std::uint32_t uid = 5; uid <= 500; ++uid) {
    house_.account.add(uid, simpleMail("m" + std::to_string(uid)));
  }
  EXPECT_EQ(walk(*list(), 0), 0);
  house_.account.add(600, simpleMail("m600"));
  house_.account.commands.clear();
  EXPECT_TRUE(inbox_->signIn());
  house_.network.end(0).say("* 501 EXISTS\r\n");
  const auto listing = list();
  EXPECT_EQ(listing->head(listing->size() - 1, sampleMarks()).headers.subject(), "m600");
  EXPECT_EQ(house_.account.count("UID FETCH 600 "), 1U);
  EXPECT_EQ(house_.account.count("UID FETCH"), 1U);
}

}  // namespace
}  // namespace relaybird
