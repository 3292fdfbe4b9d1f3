// SPDX-License-Identifier: MIT
// A folder that the server has numbered anew, as after a move to another one: messages keep their
// identifiers, and none is forwarded once more. What is known of messages for that is in
// message_identities_test.cpp.
#include <algorithm>
#include <utility>

#include "stores/account/account_inbox_fixture.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using namespace std::chrono_literals;

class RenumberedInboxTest : public AccountInboxTest {
 protected:
  void renumber() {
    house_.account.uidValidity = 8;
    for (ServerMail& mail : house_.account.mails) {
      mail.uid += 100;
    }
    if (inbox_) {
      house_.network.end(house_.network.connections() - 1).close();
      serve(2);
    }
  }
  void startAgain() {
    inbox_->close();
    inbox_ = house_.makeInbox();
  }
};

TEST_F(RenumberedInboxTest, KeepsTheIdentifiersOfMessagesThatWereWalkedOver) {
  EXPECT_EQ(walk(*list(), 0), 0);
  const auto before = ids(*list());
  renumber();
  EXPECT_EQ(ids(*list()), before);
  EXPECT_EQ(list()->head(1, sampleMarks()).headers.subject(), "m2");
}

TEST_F(RenumberedInboxTest, RecognisesMessagesInALaterRun) {
  EXPECT_EQ(walk(*list(), 0), 0);
  const auto before = ids(*list());
  inbox_->close();
  inbox_.reset();
  renumber();
  inbox_ = house_.makeInbox();
  EXPECT_EQ(ids(*list()), before);
  startAgain();
  EXPECT_EQ(ids(*list()), before);
}

// What a walk forwards is journaled under the identifiers, so they must be on the disk before it.
TEST_F(RenumberedInboxTest, RecognisesMessagesAfterACrash) {
  EXPECT_EQ(walk(*list(), 0), 0);
  const auto before = ids(*list());
  renumber();
  EXPECT_EQ(ids(*list()), before);
  const auto crashed = std::exchange(inbox_, house_.makeInbox());
  EXPECT_EQ(ids(*list()), before);
}

TEST_F(RenumberedInboxTest, RecognisesMessagesOverSeveralRenumberings) {
  EXPECT_EQ(walk(*list(), 0), 0);
  const auto before = ids(*list());
  renumber();
  EXPECT_EQ(ids(*list()), before);
  house_.account.uidValidity = 9;
  std::reverse(house_.account.mails.begin(), house_.account.mails.end());
  for (ServerMail& mail : house_.account.mails) {
    mail.uid = 500 - mail.uid;
  }
  house_.network.end(house_.network.connections() - 1).close();
  serve(2);
  const auto after = ids(*list());
  EXPECT_EQ(std::vector<std::string>(after.rbegin(), after.rend()), before);
}

// All messages of a group that the server refused counted as strangers, and were left out for good.
TEST_F(RenumberedInboxTest, TriesAgainWhereTheServerRefusesTheHeads) {
  EXPECT_EQ(walk(*list(), 0), 0);
  const auto before = ids(*list());
  int refusals = 2;
  house_.account.instead = [&](const std::string& tag, const std::string& command) {
    return command.starts_with("UID FETCH") && refusals-- > 0
               ? std::optional<std::string>(tag + " NO [UNAVAILABLE] later\r\n")
               : std::nullopt;
  };
  renumber();
  for (int i = 0; i < 2; ++i) {
    const auto refused = inbox_->list();
    ASSERT_FALSE(refused);
    EXPECT_THAT(refused.error().text, HasSubstr("later [UNAVAILABLE]"));
  }
  EXPECT_EQ(ids(*list()), before);
}

TEST_F(RenumberedInboxTest, RecognisesTheOthersWhereOneMessageIsAlwaysRefused) {
  EXPECT_EQ(walk(*list(), 0), 0);
  const auto before = ids(*list());
  house_.account.instead = [&](const std::string& tag, const std::string& command) {
    const bool hits = command.starts_with("UID FETCH") &&
                      UidSet::parse(command.substr(10, command.find(' ', 10) - 10))->contains(102);
    return hits ? std::optional<std::string>(tag + " NO broken\r\n") : std::nullopt;
  };
  renumber();
  EXPECT_FALSE(inbox_->list());
  EXPECT_FALSE(inbox_->list());
  EXPECT_THAT(ids(*list()), ElementsAre(before[0], before[2], before[3]));
}

TEST_F(RenumberedInboxTest, LeavesOutOldMessagesThatItDoesNotRecognise) {
  EXPECT_EQ(walk(*list(), 0), 0);
  // A message that was forwarded once: the move has lost its read mark.
  house_.account.add(50, simpleMail("old")).date = "16-Jul-2026 02:44:25 +0000";
  renumber();
  house_.account.add(160, simpleMail("new")).date = "18-Jul-2026 02:44:25 +0000";
  EXPECT_THAT(ids(*list()),
              ElementsAre("imap-7-1", "imap-7-2", "imap-7-3", "imap-7-4", "imap-8-160"));
  house_.events.runUntilIdle();
  EXPECT_THAT(house_.notices, ElementsAre(HasSubstr("not forwarded: 1 (\"old\")")));
  startAgain();
  EXPECT_THAT(ids(*list()), SizeIs(5));
  // Messages that come later are new.
  house_.account.add(161, simpleMail("later")).date = "15-Jul-2026 02:44:25 +0000";
  startAgain();
  EXPECT_THAT(ids(*list()), SizeIs(6));
}

// The subjects of all messages were kept meanwhile, and told in full.
TEST_F(RenumberedInboxTest, NamesFewOfTheMessagesThatAreLeftOutAndTheirSubjectsInShort) {
  EXPECT_EQ(walk(*list(), 0), 0);
  for (std::uint32_t uid = 50; uid < 60; ++uid) {
    const std::string subject =
        std::to_string(uid) + std::string(97, 'x') + "\u00e9" + std::string(100'000, 'y');
    house_.account.add(uid, simpleMail(subject)).date = "16-Jul-2026 02:44:25 +0000";
  }
  renumber();
  EXPECT_THAT(ids(*list()), SizeIs(4));
  house_.events.runUntilIdle();
  ASSERT_THAT(house_.notices, SizeIs(1));
  const std::string& notice = house_.notices.front();
  const std::string cut = std::string(97, 'x') + "...\"";
  EXPECT_THAT(notice, HasSubstr("not forwarded: 10 (\"50" + cut + ", \"51" + cut));
  EXPECT_THAT(notice, testing::EndsWith("\"54" + cut + ", ...)"));
}

TEST_F(RenumberedInboxTest, LeavesOutOldMessagesToWhichTheMoveHasGivenANewDate) {
  EXPECT_EQ(walk(*list(), 0), 0);
  house_.account.add(50, "Date: Fri, 10 Jul 2026 10:00:00 +0000\r\n" + simpleMail("old")).date =
      "20-Jul-2026 02:44:25 +0000";
  renumber();
  EXPECT_THAT(ids(*list()), SizeIs(4));
}

TEST_F(RenumberedInboxTest, SetsMarksAgainThatTheMoveHasLost) {
  const auto listing = list();
  EXPECT_EQ(walk(*listing, 0), 0);
  EXPECT_TRUE(listing->setSeen(1, true));
  renumber();
  serve(3);
  // Not durable as long as it is not known what became of it, and refused once it is.
  EXPECT_THAT(inbox_->syncMarks({"imap-7-2"}).durable, IsEmpty());
  const auto after = list();
  const MarkReport report = inbox_->syncMarks({"imap-7-2"});
  EXPECT_THAT(report.durable, IsEmpty());
  EXPECT_THAT(report.refused, ElementsAre("imap-7-2"));
  EXPECT_TRUE(after->setSeen(1, true));
  inbox_->close();
  EXPECT_TRUE(house_.account.find(102)->seen);
}

TEST_F(RenumberedInboxTest, SaysNothingOfMarksBeforeItKnowsWhatIsUnread) {
  EXPECT_EQ(walk(*list(), 0), 0);
  house_.account.instead = [](const std::string&, const std::string& command) {
    return command.starts_with("UID SEARCH") ? std::optional<std::string>("") : std::nullopt;
  };
  renumber();
  for (int i = 0; i < 20 && house_.account.count("UID SEARCH") < 2; ++i) {
    inbox_->step();
  }
  const MarkReport report = inbox_->syncMarks({"imap-7-1"});
  EXPECT_THAT(report.durable, IsEmpty());
  EXPECT_THAT(report.refused, IsEmpty());
}

TEST_F(RenumberedInboxTest, DoesNotTakeMessagesOfTheOldNumberingForVanishedOnes) {
  const auto listing = list();
  renumber();
  EXPECT_NE(list(), listing);
  EXPECT_EQ(listing->open(1).error().code, kInboxLost);
  EXPECT_EQ(listing->head(1, sampleMarks()).failure->code, kInboxLost);
  EXPECT_EQ(listing->setSeen(1, true).error().code, ENOENT);
  EXPECT_EQ(listing->entryId(1), "imap-7-2");
}

TEST_F(RenumberedInboxTest, StartsAgainWhereTheConnectionIsLostMeanwhile) {
  EXPECT_EQ(walk(*list(), 0), 0);
  const auto before = ids(*list());
  bool lost = false;
  house_.account.instead = [&](const std::string&, const std::string& command) {
    if (command.starts_with("UID FETCH") && !std::exchange(lost, true)) {
      house_.network.end(house_.network.connections() - 1).close();
      return std::optional<std::string>("* 1 FETCH (");
    }
    return std::optional<std::string>();
  };
  renumber();
  auto listing = inbox_->list();
  for (int i = 0; i < 20 && !listing; ++i) {
    house_.network.after(10s, [] {});
    serve(3);
    listing = inbox_->list();
  }
  ASSERT_TRUE(listing);
  EXPECT_TRUE(lost);
  EXPECT_EQ(ids(**listing), before);
}

TEST_F(RenumberedInboxTest, BeginsAnewWhereItsFileIsDamaged) {
  EXPECT_EQ(walk(*list(), 0), 0);
  inbox_->close();
  const auto folders = house_.disk.list(house_.temp.path("state/rbx"));
  ASSERT_TRUE(folders);
  ASSERT_THAT(*folders, SizeIs(1));
  const std::string file = house_.temp.path("state/rbx/" + folders->front().name) + "/messages";
  const std::string bytes = readBytes(file);
  EXPECT_THAT(bytes, HasSubstr("relaybird-messages 2\n7\n"));
  for (const std::string& damaged : {std::string("rubbish"), bytes.substr(0, bytes.size() - 3),
                                     bytes.substr(0, 30), std::string()}) {
    writeBytes(file, damaged);
    startAgain();
    EXPECT_THAT(ids(*list()), SizeIs(4)) << damaged;
  }
}

}  // namespace
}  // namespace relaybird
