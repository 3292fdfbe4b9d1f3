// SPDX-License-Identifier: MIT
// The commands that the client sends and what it makes of the answers. The test plays the server:
// it reads what the client would send and gives the responses as text.
#include "stores/account/imap_client.h"

#include <gmock/gmock.h>

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

class ImapClientTest : public testing::Test {
 protected:
  std::string sent() { return std::exchange(client_.dialogue().output(), {}); }
  void receive(std::string_view bytes) { client_.dialogue().received(bytes); }
  ImapClient::Done noted() {
    return [this](const Result<void>& result) {
      results_.push_back(result ? "ok" : result.error().text);
    };
  }
  void offer(const std::string& capabilities) {
    client_.capability(noted());
    EXPECT_EQ(sent(), "r1 CAPABILITY\r\n");
    receive("* CAPABILITY " + capabilities + "\r\nr1 OK\r\n");
    results_.clear();
  }
  // Opens a folder of three messages.
  void select() {
    client_.select("INBOX", [this](const Result<ImapOpened>& opened) {
      results_.push_back(opened ? "open " + std::to_string(opened->uidValidity) +
                                      (opened->readOnly ? " read-only" : "")
                                : opened.error().text);
    });
  }
  void search() {
    client_.searchUnseen([this](const Result<UidSet>& found) {
      results_.push_back(found ? "found " + found->text() : found.error().text);
    });
  }

  std::vector<std::string> results_;
  std::vector<ImapHead> heads_;
  std::vector<ImapBody> bodies_;
  int changes_ = 0;
  ImapClient client_{
      {[this](ImapHead head) { heads_.push_back(std::move(head)); },
       [this](ImapBody body) { bodies_.push_back(std::move(body)); }, [this] { ++changes_; }},
      {}};
};

TEST_F(ImapClientTest, IdentifiesItselfOnlyWhereThatIsOffered) {
  client_.identify("1.2");
  EXPECT_EQ(sent(), "");
  offer("IMAP4rev1 id");
  client_.identify("1.2");
  EXPECT_EQ(sent(), "r2 ID (\"name\" \"Relaybird\" \"version\" \"1.2\")\r\n");
}

TEST_F(ImapClientTest, OpensAFolder) {
  client_.select("Entw\u00FCrfe", [](const Result<ImapOpened>&) {});
  EXPECT_EQ(sent(), "r1 SELECT \"Entw&APw-rfe\"\r\n");
  select();
  EXPECT_EQ(sent(), "r2 SELECT \"INBOX\"\r\n");
  receive("* 3 EXISTS\r\n* OK [UIDVALIDITY 17] x\r\nr2 OK [READ-WRITE] done\r\n");
  EXPECT_THAT(results_, ElementsAre("open 17"));
  EXPECT_EQ(changes_, 0);
}

TEST_F(ImapClientTest, NoticesAFolderThatMayOnlyBeRead) {
  select();
  receive("* OK [UIDVALIDITY 17] x\r\nr1 OK [READ-ONLY] done\r\n");
  EXPECT_THAT(results_, ElementsAre("open 17 read-only"));
}

TEST_F(ImapClientTest, AFolderThatForgetsReadMarksCountsAsReadOnly) {
  const std::vector<std::pair<std::string, std::string>> folders = {
      {"(\\Answered \\Seen \\*)", "open 17"},
      {"(\\seen)", "open 17"},
      {"(\\Answered \\Seenish \\*)", "open 17 read-only"},
      {"()", "open 17 read-only"}};
  int tag = 0;
  for (const auto& [flags, expected] : folders) {
    select();
    receive("* OK [PERMANENTFLAGS " + flags + "] x\r\n* OK [UIDVALIDITY 17] x\r\nr" +
            std::to_string(++tag) + " OK [READ-WRITE] done\r\n");
    EXPECT_EQ(results_.back(), expected) << flags;
  }
}

TEST_F(ImapClientTest, DoesNotOpenAFolderWithoutLastingNumbers) {
  select();
  receive("r1 OK [READ-WRITE] done\r\n");
  select();
  receive("* OK [UIDVALIDITY 99999999999] x\r\nr2 OK done\r\n");
  EXPECT_THAT(results_, testing::Each(HasSubstr("no lasting numbers")));
}

TEST_F(ImapClientTest, TellsWhyAFolderIsRefused) {
  select();
  receive("r1 NO [NONEXISTENT] There is no such folder\r\n");
  EXPECT_THAT(results_, ElementsAre("There is no such folder [NONEXISTENT]"));
}

TEST_F(ImapClientTest, FindsTheUnreadMessages) {
  search();
  EXPECT_EQ(sent(), "r1 UID SEARCH UNSEEN UNDELETED\r\n");
  receive("* SEARCH 5 6 9\r\n* SEARCH 12\r\nr1 OK\r\n");
  search();
  receive("r2 OK\r\n");
  EXPECT_THAT(results_, ElementsAre("found 5:6,9,12", "found "));
}

TEST_F(ImapClientTest, FindsThemInRangesWhereThatIsOffered) {
  offer("IMAP4rev1 ESEARCH");
  search();
  EXPECT_EQ(sent(), "r2 UID SEARCH RETURN (ALL) UNSEEN UNDELETED\r\n");
  receive("* ESEARCH (TAG \"r2\") UID ALL 1:10000\r\nr2 OK\r\n");
  EXPECT_THAT(results_, ElementsAre("found 1:10000"));
}

// Each line moved all ranges before it, and there was no end to them: minutes under the lock that
// the window waits for.
TEST_F(ImapClientTest, AnswersToOneSearchWithoutEndTakeLittleTimeAndMemory) {
  search();
  std::string lines;
  for (std::uint32_t uid = 1'000'000; uid > 100'000; uid -= 2) {
    lines += "* SEARCH " + std::to_string(uid) + "\r\n";
  }
  receive(lines);
  std::optional<UidSet> found;
  client_.searchUnseen([&](const Result<UidSet>& result) { found = *result; });
  receive("r1 OK\r\nr2 OK\r\n");
  ASSERT_THAT(results_, SizeIs(1));
  EXPECT_THAT(results_[0], HasSubstr("999998,1000000"));
  const auto first = UidSet::parse(results_[0].substr(6));
  ASSERT_TRUE(first);
  EXPECT_EQ(first->ranges().size(), kMostRanges);
  EXPECT_TRUE(found && found->empty());
}

TEST_F(ImapClientTest, VanishedMessagesWithoutEndTakeLittleTimeAndMemory) {
  std::string lines;
  for (std::uint32_t uid = 300'000; uid > 0; uid -= 2) {
    lines += "* VANISHED " + std::to_string(uid) + "\r\n";
  }
  receive(lines);
  EXPECT_EQ(changes_, 150'000);
  std::optional<ImapChanges> changes;
  client_.fetchChanges(1, [&](Result<ImapChanges> result) { changes = *result; });
  receive("r1 OK\r\n");
  ASSERT_TRUE(changes);
  EXPECT_FALSE(changes->whole);
  EXPECT_LE(changes->vanished.ranges().size(), kMostChanges);
}

// They counted as found by the next search.
TEST_F(ImapClientTest, NumbersThatNobodyHasAskedForAreIgnored) {
  receive("* SEARCH 4 x\r\n* SEARCH 7\r\n");
  search();
  receive("* SEARCH 5\r\nr1 OK\r\n");
  EXPECT_THAT(results_, ElementsAre("found 5"));
}

TEST_F(ImapClientTest, DoesNotTakeABrokenSearchForAnEmptyInbox) {
  search();
  receive("* SEARCH 5 x\r\nr1 OK\r\n");
  search();
  receive("r2 NO busy\r\n");
  EXPECT_THAT(results_, ElementsAre(HasSubstr("cannot be read"), "busy"));
}

TEST_F(ImapClientTest, AsksForHeadsInGroups) {
  std::vector<std::uint32_t> uids;
  for (std::uint32_t uid = 250; uid > 0; --uid) {
    uids.push_back(uid);
  }
  client_.fetchHeads(uids, true, noted());
  const std::string commands = sent();
  EXPECT_THAT(commands, HasSubstr("r1 UID FETCH 151:250 (UID INTERNALDATE RFC822.SIZE "
                                  "BODYSTRUCTURE BODY.PEEK[HEADER.FIELDS (SUBJECT FROM "));
  EXPECT_THAT(commands, HasSubstr("r2 UID FETCH 51:150 ("));
  EXPECT_THAT(commands, HasSubstr("r3 UID FETCH 1:50 ("));
  receive("r1 OK\r\nr2 NO some are gone\r\nr3 OK\r\n");
  EXPECT_THAT(results_, ElementsAre("ok", "some are gone", "ok"));
}

TEST_F(ImapClientTest, TellsHeadsFromNews) {
  client_.fetchHeads({7, 8}, false, noted());
  EXPECT_THAT(sent(), testing::Not(HasSubstr("BODYSTRUCTURE")));
  receive(
      "* 2 FETCH (FLAGS (\\Seen))\r\n"
      "* 4 FETCH (UID 7 FLAGS () INTERNALDATE \"01-Jan-1970 00:00:01 +0000\" RFC822.SIZE 9 "
      "BODY[HEADER.FIELDS (SUBJECT)] {14}\r\nSubject: a\r\n\r\n)\r\n"
      "* 4 FETCH (UID 8 MODSEQ (5))\r\nr1 OK\r\n");
  ASSERT_THAT(heads_, SizeIs(1));
  EXPECT_EQ(heads_[0].uid, 7U);
  EXPECT_EQ(heads_[0].size, 9U);
  EXPECT_EQ(heads_[0].received, DateTime(std::chrono::seconds(1)));
  EXPECT_EQ(heads_[0].header, "Subject: a\r\n\r\n");
  EXPECT_EQ(changes_, 1);
}

// Heads of a server that sends flags in a response of their own were ignored.
TEST_F(ImapClientTest, AcceptsAHeadWithoutFlags) {
  client_.fetchHeads({7}, false, noted());
  EXPECT_THAT(sent(), testing::Not(HasSubstr("FLAGS")));
  receive("* 4 FETCH (UID 7 BODY[HEADER.FIELDS (SUBJECT)] {14}\r\nSubject: a\r\n\r\n)\r\n");
  EXPECT_THAT(heads_, SizeIs(1));
  EXPECT_EQ(changes_, 0);
}

TEST_F(ImapClientTest, FetchesBodiesWhole) {
  client_.fetchBodies(UidSet({3, 4, 9}), noted());
  EXPECT_EQ(sent(), "r1 UID FETCH 3:4,9 (UID BODY.PEEK[])\r\n");
  receive("* 1 FETCH (BODY[] {2}\r\nab UID 4)\r\n* 2 FETCH (UID 3 BODY[] NIL)\r\nr1 OK\r\n");
  ASSERT_THAT(bodies_, SizeIs(2));
  EXPECT_EQ(bodies_[0].uid, 4U);
  EXPECT_EQ(bodies_[0].bytes, "ab");
  EXPECT_FALSE(bodies_[0].missing);
  EXPECT_TRUE(bodies_[1].missing);
}

TEST_F(ImapClientTest, FetchesBodiesInPieces) {
  client_.fetchPiece(3, 1024, 512, noted());
  EXPECT_EQ(sent(), "r1 UID FETCH 3 (UID BODY.PEEK[]<1024.512>)\r\n");
  receive("* 1 FETCH (UID 3 BODY[]<1024> \"xy\")\r\nr1 OK\r\n");
  ASSERT_THAT(bodies_, SizeIs(1));
  EXPECT_EQ(bodies_[0].origin, 1024U);
  EXPECT_EQ(bodies_[0].bytes, "xy");
}

TEST_F(ImapClientTest, SetsReadMarks) {
  client_.store(UidSet({3, 4}), true, noted());
  client_.store(UidSet({5}), false, noted());
  EXPECT_EQ(sent(),
            "r1 UID STORE 3:4 +FLAGS.SILENT (\\Seen)\r\nr2 UID STORE 5 -FLAGS.SILENT (\\Seen)\r\n");
  receive("r1 OK\r\nr2 NO [OVERQUOTA] full\r\n");
  EXPECT_THAT(results_, ElementsAre("ok", "full [OVERQUOTA]"));
}

TEST_F(ImapClientTest, FindsTheFolderOfSentMessages) {
  const auto found = [this] {
    client_.findSent([this](const Result<std::string>& name) {
      results_.push_back(name ? *name : name.error().text);
    });
  };
  found();
  EXPECT_EQ(sent(), "r1 LIST \"\" \"*\"\r\n");
  receive(
      "* LIST () \".\" INBOX.Sent\r\n* LIST (\\HasNoChildren \\Sent) \"/\" \"Gesendet\"\r\nr1 "
      "OK\r\n");
  found();
  receive(
      "* LIST (\\Noselect \\Sent) \"/\" X\r\n* LIST () \"/\" \"[Mail]/Sent Items\"\r\nr2 OK\r\n");
  found();
  receive("* LIST () \"/\" Presented\r\nr3 OK\r\n");
  found();
  receive("r4 NO busy\r\n");
  receive("* LIST (\\Sent) \"/\" Earlier\r\n");
  found();
  receive("* LIST () \"/\" Sent\r\n* LIST () \"/\" \"Sent Mail\"\r\nr5 OK\r\n");
  EXPECT_THAT(results_, ElementsAre("Gesendet", "[Mail]/Sent Items", "", "busy", "Sent"));
}

TEST_F(ImapClientTest, AsksForTheMarksOfFoldersWhereThatIsOffered) {
  offer("IMAP4rev1 SPECIAL-USE LIST-EXTENDED");
  client_.findSent([](const Result<std::string>&) {});
  EXPECT_EQ(sent(), "r2 LIST \"\" \"*\" RETURN (SPECIAL-USE)\r\n");
}

TEST_F(ImapClientTest, PutsAMessageIntoAFolder) {
  client_.append("Sent", "A: b\r\n\r\nc\r\n", noted());
  EXPECT_EQ(sent(), "r1 APPEND \"Sent\" (\\Seen) {11}\r\n");
  receive("+ go\r\n");
  EXPECT_EQ(sent(), "A: b\r\n\r\nc\r\n\r\n");
  receive("r1 NO [OVERQUOTA] full\r\n");
  EXPECT_THAT(results_, ElementsAre("full [OVERQUOTA]"));
}

TEST_F(ImapClientTest, HearsOfChanges) {
  select();
  receive("* 3 EXISTS\r\n* OK [UIDVALIDITY 17] x\r\nr1 OK\r\n");
  receive("* 3 EXISTS\r\n");
  EXPECT_EQ(changes_, 0);
  receive("* 4 EXISTS\r\n");
  EXPECT_EQ(changes_, 1);
  receive("* 2 EXPUNGE\r\n");
  EXPECT_EQ(changes_, 2);
  receive("* 3 EXISTS\r\n");
  EXPECT_EQ(changes_, 2);
  receive("* VANISHED 41\r\n* 1 FETCH (FLAGS ())\r\n");
  EXPECT_EQ(changes_, 4);
}

TEST_F(ImapClientTest, IdlesWhereThatIsOfferedAndTellsARefusal) {
  int refusals = 0;
  const auto refused = [&] { ++refusals; };
  client_.idle(refused);
  EXPECT_EQ(sent(), "");
  offer("IDLE");
  client_.idle(refused);
  client_.idle(refused);
  EXPECT_EQ(sent(), "r2 IDLE\r\n");
  EXPECT_TRUE(client_.dialogue().idleAsked());
  receive("r2 BAD unknown\r\n");
  EXPECT_EQ(refusals, 1);
  EXPECT_TRUE(client_.dialogue().idleCut());
  client_.idle(refused);
  receive("+ go on\r\n");
  EXPECT_FALSE(client_.dialogue().idleAsked());
  client_.noop(noted());
  receive("r3 OK\r\n");
  EXPECT_FALSE(client_.dialogue().idleCut());
  EXPECT_EQ(refusals, 1);
}

}  // namespace
}  // namespace relaybird
