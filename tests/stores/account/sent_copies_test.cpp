// SPDX-License-Identifier: MIT
// Copies of forwards for the folder of sent mail: which are stored, which wait, and which are given
// up.
#include "stores/account/sent_folder_fixture.h"

namespace relaybird {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

TEST_F(SentFolderTest, CopiesOfWhatWasTakenAreStoredIfTheSettingsSaySo) {
  deliver({"one"});
  EXPECT_THAT(stored_, IsEmpty());
  settings_.keepSentCopy = true;
  deliver({"one", "bad", "two"});
  EXPECT_THAT(stored_, testing::UnorderedElementsAre("Subject: one\r\n\r\ntext\r\n",
                                                     "Subject: two\r\n\r\ntext\r\n"));
  EXPECT_THAT(commands_, Contains(StartsWith("APPEND \"Gesendet\" (\\Seen) {")));
  EXPECT_EQ(copiesWaiting(), 0u);
}

TEST_F(SentFolderTest, AStoreKeepsOneCopyOfAForwardNotTwo) {
  settings_.keepSentCopy = true;
  settings_.address = "ann@example.org";
  const auto opened = openAccountStore(settings_, world(), std::make_shared<Taking>());
  ASSERT_TRUE(opened);
  OutgoingMail& outgoing = (*opened)->outgoing();
  outgoing.tryAgain({});  // opens the outbox
  writeBytes(outgoing.state().outbox + "/new/1.a.b",
             "From: ann@example.org\nTo: b@example.net\nSubject: s\n\ntext\n");
  outgoing.tryAgain({});
  EXPECT_EQ(outgoing.state().left, 1);
  EXPECT_EQ(stored_.size(), 1u);
}

TEST_F(SentFolderTest, WithoutAFolderCopiesDoNotPileUpOnTheDisk) {
  settings_.keepSentCopy = true;
  folders_ = "* LIST () \"/\" INBOX\r\n";
  deliver({"one", "two"});
  EXPECT_THAT(stored_, IsEmpty());
  EXPECT_EQ(copiesWaiting(), 0u);
  EXPECT_THAT(told_, ElementsAre(lineOf(kNotTaken, ", listing the folders: the account has none")));
}

TEST_F(SentFolderTest, ACopyThatIsNotStoredWaitsForTheNextSeriesAndThatIsToldOnce) {
  settings_.keepSentCopy = true;
  const auto transport = withSentFolder(std::make_shared<Taking>(), settings_, world());
  hangsAt_ = "APPEND";
  deliver({"one", "two"}, transport.get());
  pass(kSentStorePause);
  deliver({}, transport.get());
  EXPECT_THAT(stored_, IsEmpty());
  EXPECT_EQ(copiesWaiting(), 2u);
  EXPECT_THAT(told_, ElementsAre(lineOf(kNotStored,
                                        ", storing a copy in the folder Gesendet: not "
                                        "done within 600 seconds")));
  hangsAt_.clear();
  pass(kSentStorePause);
  deliver({}, transport.get());
  EXPECT_EQ(stored_.size(), 2u);
  EXPECT_EQ(copiesWaiting(), 0u);
  hangsAt_ = "APPEND";
  deliver({"three"}, transport.get());
  EXPECT_THAT(told_, testing::SizeIs(2)) << "it has worked meanwhile";
}

// Each series of messages and each synchronisation took ten minutes, also without anything to send.
TEST_F(SentFolderTest, AServerThatDoesNotStoreCopiesIsLeftAloneForHalfAnHour) {
  settings_.keepSentCopy = true;
  const auto transport = withSentFolder(std::make_shared<Taking>(), settings_, world());
  hangsAt_ = "APPEND";
  deliver({"one", "two"}, transport.get());
  const auto failed = network_.steadyTime();
  for (int i = 0; i < 10; ++i) {
    deliver({"more"}, transport.get());
  }
  EXPECT_EQ(network_.steadyTime(), failed);
  EXPECT_EQ(network_.connections(), 1u);
  pass(kSentStorePause - std::chrono::seconds(1));
  deliver({}, transport.get());
  EXPECT_EQ(network_.connections(), 1u);
  hangsAt_.clear();
  pass(std::chrono::seconds(1));
  deliver({}, transport.get());
  EXPECT_EQ(stored_.size(), 12u);
  EXPECT_EQ(copiesWaiting(), 0u);
}

TEST_F(SentFolderTest, CopiesAreTriedAgainAtOnceWhenTheUserAsks) {
  settings_.keepSentCopy = true;
  const auto transport = withSentFolder(std::make_shared<Taking>(), settings_, world());
  hangsAt_ = "APPEND";
  deliver({"one"}, transport.get());
  hangsAt_.clear();
  transport->tryAgain();
  deliver({}, transport.get());
  EXPECT_EQ(stored_.size(), 1u);
}

// It was the first of every later try, so that no copy was stored any more and all waited on the
// disk.
TEST_F(SentFolderTest, ACopyOverWhichTheServerFailsHoldsUpNoOthersAndIsGivenUp) {
  settings_.keepSentCopy = true;
  const auto transport = withSentFolder(std::make_shared<Taking>(), settings_, world());
  endsOver_ = "Subject: poison";
  deliver({"1", "2", "3", "4", "poison", "5", "6", "7", "8"}, transport.get());
  pass(kSentStorePause);
  deliver({"9"}, transport.get());
  EXPECT_EQ(stored_.size(), 9u);
  EXPECT_EQ(copiesWaiting(), 1u);
  EXPECT_THAT(told_, testing::SizeIs(1));
  pass(kSentStorePause);
  deliver({}, transport.get());
  EXPECT_EQ(copiesWaiting(), 0u);
  EXPECT_EQ(stored_.size(), 9u);
  EXPECT_EQ(std::count(told_.begin(), told_.end(),
                       lineOf(kNotTaken, ": it has not answered for a copy in 3 tries")),
            1);
}

TEST_F(SentFolderTest, AStopIsNotBlamedOnACopy) {
  settings_.keepSentCopy = true;
  const auto transport = withSentFolder(std::make_shared<Taking>(), settings_, world());
  hangsAt_ = "APPEND";
  Messages feed;
  feed.subjects = {"one"};
  std::stop_source stop;
  network_.whenIdle([&] { stop.request_stop(); });
  transport->deliverAll(feed, stop.get_token());
  EXPECT_EQ(copiesWaiting(), 1u);
  hangsAt_.clear();
  deliver({}, transport.get());
  EXPECT_EQ(stored_.size(), 1u);
}

TEST_F(SentFolderTest, ACopyThatTheServerRefusesIsGivenUpAndTold) {
  settings_.keepSentCopy = true;
  refusedVerb_ = "APPEND";
  deliver({"one", "two"});
  EXPECT_EQ(copiesWaiting(), 0u);
  EXPECT_THAT(told_,
              ElementsAre(lineOf(kNotTaken, ", storing a copy in the folder Gesendet: not here")));
}

// It was silent: copies piled up on the disk, and nobody knew why.
TEST_F(SentFolderTest, ARefusedSignInIsToldOnceAndNotForEachSeries) {
  const auto transport = keepingCopiesWithPassword("new");
  for (const char* subject : {"one", "two", "three"}) {
    deliver({subject}, transport.get());
  }
  EXPECT_THAT(told_,
              ElementsAre(lineOf(kNotStored, ", signing in: refused. The server said: NO no")));
  EXPECT_EQ(copiesWaiting(), 3u);
  transport->tryAgain();
  deliver({}, transport.get());
  EXPECT_THAT(std::exchange(told_, {}), testing::SizeIs(2)) << "the user has asked";

  writeBytes(temp_.path("imap-password"), "new");
  transport->tryAgain();
  deliver({}, transport.get());
  EXPECT_EQ(copiesWaiting(), 0u);
  EXPECT_THAT(told_, IsEmpty());
}

TEST_F(SentFolderTest, ARefusalOfCopiesIsToldOnceThoughItsNumbersDiffer) {
  const auto transport = keepingCopiesWithPassword("secret");
  refusedVerb_ = "APPEND";
  for (const char* number : {"17", "0x18"}) {
    refusal_ = " NO [OVERQUOTA] (" + std::string(number) + ") full\r\n";
    deliver({"one", "two"}, transport.get());
  }
  EXPECT_THAT(told_, ElementsAre(lineOf(kNotTaken,
                                        ", storing a copy in the folder Gesendet: "
                                        "(17) full [OVERQUOTA]")));
  refusal_ = " NO not here\r\n";
  deliver({"one"}, transport.get());
  EXPECT_THAT(told_, testing::SizeIs(2)) << "another cause";
  refusedVerb_.clear();
  deliver({"one"}, transport.get());
  refusedVerb_ = "APPEND";
  deliver({"one"}, transport.get());
  EXPECT_THAT(told_, testing::SizeIs(3)) << "it has worked meanwhile";
}

}  // namespace
}  // namespace relaybird
