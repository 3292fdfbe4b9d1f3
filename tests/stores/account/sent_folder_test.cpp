// SPDX-License-Identifier: MIT
// Looking for a message in the folder of sent mail, what is said when that fails, and connections
// that are lost over the folder at any byte.
#include "stores/account/sent_folder_fixture.h"

namespace relaybird {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

TEST_F(SentFolderTest, AMessageIsLookedForInTheFolderThatTheServerMarks) {
  EXPECT_EQ(has(), Arrived::kYes);
  EXPECT_THAT(commands_, Contains("EXAMINE \"Gesendet\""));
  EXPECT_THAT(commands_, Contains("UID SEARCH HEADER Message-ID \"<1@id>\""));
  EXPECT_THAT(commands_, Contains("ID (\"name\" \"Relaybird\" \"version\" \"2.3.4\")"));
  ASSERT_TRUE(network_.end(0).signIn());
  EXPECT_EQ(network_.end(0).signIn()->secret.bytes(), "secret");
  found_ = "* SEARCH\r\n";
  EXPECT_EQ(has(), Arrived::kNo);
}

TEST_F(SentFolderTest, WithoutAMarkTheUsualNamesAreTried) {
  folders_ = "* LIST () \".\" INBOX\r\n* LIST () \".\" INBOX.Sent\r\n";
  EXPECT_EQ(has(), Arrived::kYes);
  EXPECT_THAT(commands_, Contains("EXAMINE \"INBOX.Sent\""));
  folders_ = "* LIST () \".\" INBOX\r\n";
  EXPECT_EQ(has(), Arrived::kNo);
}

// It counted as not there, and the message went out a second time although the folder had it.
TEST_F(SentFolderTest, WhatCannotBeFoundOutIsNotKnownNow) {
  for (const char* verb : {"UID", "EXAMINE", "LIST"}) {
    refusedVerb_ = verb;
    EXPECT_EQ(has(), Arrived::kNotKnownNow) << verb;
  }
  refusedVerb_.clear();
  for (const char* verb : {"CAPABILITY", "LIST", "EXAMINE", "UID"}) {
    hangsAt_ = verb;
    const auto begin = network_.steadyTime();
    EXPECT_EQ(has(), Arrived::kNotKnownNow) << verb;
    EXPECT_LE(network_.steadyTime() - begin, kSentSearchLimit);
  }
  hangsAt_.clear();
  settings_.imap.secretName = "missing";
  EXPECT_EQ(has(), Arrived::kNotKnownNow);
  EXPECT_THAT(commands_, IsEmpty());
  settings_.imap.secretName = "imap-password";
  network_.serve(nullptr);
  EXPECT_EQ(has(), Arrived::kNotKnownNow) << "out of reach";
}

// From the second change on, a password or token that had expired was replaced only after an hour.
TEST_F(SentFolderTest, APasswordThatChangesAgainAndAgainIsReplacedEachTime) {
  std::string right = "secret";
  network_.serve([&](ServerEnd& end) {
    if (end.signIn()->secret.bytes() != right) {
      end.fail({ConnectFailure::Cause::kSignInRefused, ConnectStep::kSignIn, "refused", "NO no"});
    }
    return answerLines([this](ServerEnd& from, std::string_view line) { answer(from, line); });
  });
  SentFolder folder(settings_, world());
  EXPECT_EQ(folder.has("<1@id>", {}), Arrived::kYes);
  for (const char* password : {"second", "third", "fourth"}) {
    right = password;
    EXPECT_EQ(folder.has("<1@id>", {}), Arrived::kNotKnownNow);
    writeBytes(temp_.path("imap-password"), right);
    EXPECT_EQ(folder.has("<1@id>", {}), Arrived::kYes) << password;
  }
}

TEST_F(SentFolderTest, AStopEndsTheSearchAtOnce) {
  hangsAt_ = "LIST";
  std::stop_source stop;
  network_.whenIdle([&] { stop.request_stop(); });
  const auto begin = network_.steadyTime();
  EXPECT_EQ(has(stop.get_token()), Arrived::kNotKnownNow);
  EXPECT_EQ(network_.steadyTime(), begin);
}

TEST_F(SentFolderTest, TheTransportAsksForTheIdentifierOfTheMessage) {
  struct Plain : Transport {
    void deliverAll(MessageFeed&, std::stop_token) override { ++series; }
    void tryAgain() override { ++tries; }
    void wake() override { ++wakes; }
    int series = 0;
    int wakes = 0;
    int tries = 0;
  };
  const auto plain = std::make_shared<Plain>();
  const auto transport = withSentFolder(plain, settings_, world());
  EXPECT_EQ(transport->hasArrived(
                {{}, "s", OutgoingText("Subject: s\nMessage-ID:\n <1@id>\n\ntext")}, {}),
            Arrived::kYes);
  EXPECT_THAT(commands_, Contains("UID SEARCH HEADER Message-ID \"<1@id>\""));
  EXPECT_EQ(
      transport->hasArrived({{}, "s", OutgoingText("Subject: s\n\nMessage-ID: <1@id>\n")}, {}),
      Arrived::kNo);
  transport->tryAgain();
  EXPECT_EQ(plain->tries, 1);
  transport->wake();
  EXPECT_EQ(plain->wakes, 1);
  EXPECT_EQ(withSentFolder(nullptr, settings_, world()), nullptr);
}

TEST_F(SentFolderTest, AFailureNamesTheStepAndTheWordsOfTheServer) {
  const auto why = [this] {
    EXPECT_EQ(has(), Arrived::kNotKnownNow);
    return std::exchange(told_, {});
  };
  refusedVerb_ = "EXAMINE";
  EXPECT_THAT(why(), ElementsAre(lineOf(kNotSearched, ", opening the folder Gesendet: not here")));
  refusedVerb_ = "UID";
  EXPECT_THAT(why(),
              ElementsAre(lineOf(kNotSearched, ", searching the folder Gesendet: not here")));
  refusedVerb_ = "LIST";
  EXPECT_THAT(why(), ElementsAre(lineOf(kNotSearched, ", listing the folders: not here")));
  refusedVerb_.clear();
  hangsAt_ = "CAPABILITY";
  EXPECT_THAT(why(), ElementsAre(lineOf(kNotSearched,
                                        ", asking what it can do: not done within "
                                        "60 seconds")));
  hangsAt_.clear();
  network_.serve([](ServerEnd&) {
    return answerLines([](ServerEnd& end, std::string_view) {
      end.say("* BYE too many of you\r\n");
      end.close();
    });
  });
  EXPECT_THAT(why(), ElementsAre(lineOf(kNotSearched,
                                        ", asking what it can do: it has ended the "
                                        "connection: too many of you")));
  settings_.imap.secretName = "missing";
  EXPECT_THAT(why(), ElementsAre(StartsWith(lineOf(kNotSearched, ": "))));
}

TEST_F(SentFolderTest, TheVerboseLogShowsTheProtocolWithoutThePasswordAndTheText) {
  settings_.keepSentCopy = true;
  deliver({"one"});
  EXPECT_THAT(told_, IsEmpty()) << "it is off";
  *verbose_ = true;
  network_.serve([this](ServerEnd& end) {
    end.trace({true, "A1 LOGIN ann ***"});
    return answerLines([this](ServerEnd& from, std::string_view line) { answer(from, line); });
  });
  deliver({"one"});
  EXPECT_THAT(told_, Contains("IMAP (sent mail) > A1 LOGIN ann ***"));
  EXPECT_THAT(told_, Contains("IMAP (sent mail) > r1 CAPABILITY"));
  EXPECT_THAT(told_, Contains("IMAP (sent mail) < r1 OK done"));
  EXPECT_THAT(told_, Contains(StartsWith("IMAP (sent mail) > r4 APPEND \"Gesendet\"")));
  EXPECT_THAT(told_, testing::Each(testing::Not(testing::AnyOf(testing::HasSubstr("secret"),
                                                               testing::HasSubstr("text")))));
}

// The connection is lost at each byte of one direction.
class DroppedSentFolderTest : public SentFolderTest,
                              public testing::WithParamInterface<std::string> {
 protected:
  bool heard() const { return GetParam() == "Heard"; }
  // The next connection is lost after so many bytes; later ones are not.
  void dropOnceAfter(std::size_t bytes) {
    arrange_ = [this, bytes, dropped = false](ServerEnd& end) mutable {
      if (!std::exchange(dropped, true)) {
        heard() ? end.dropAfterHearing(bytes) : end.dropAfterSaying(bytes);
      }
    };
  }
  // At how many bytes the last connection could have been lost before it had done its work.
  std::size_t moments() {
    const ServerEnd& end = network_.end(network_.connections() - 1);
    return heard() ? end.heard().size() + 1 : end.said();
  }
  // Gives the messages to store(), and counts those that it is done with.
  bool store(std::vector<std::string> messages, std::size_t& ended) {
    std::size_t given = 0;
    const bool done =
        SentFolder(settings_, world())
            .store(
                [&]() -> std::optional<std::string> {
                  return given < messages.size() ? std::optional(messages[given++]) : std::nullopt;
                },
                [&] { ++ended; }, {});
    events_.runUntilIdle();
    return done;
  }
};

// A list of folders that was cut short must not say that there is no such folder.
TEST_P(DroppedSentFolderTest, ASearchIsAnsweredRightlyOrNotAtAll) {
  for (const Arrived right : {Arrived::kYes, Arrived::kNo}) {
    found_ = right == Arrived::kYes ? "* SEARCH 17\r\n" : "* SEARCH\r\n";
    ASSERT_EQ(has(), right);
    const std::size_t whole = moments();
    ASSERT_GT(whole, 100u);
    for (std::size_t bytes = 0; bytes < whole; ++bytes) {
      dropOnceAfter(bytes);
      ASSERT_EQ(has(), Arrived::kNotKnownNow) << bytes;
      ASSERT_THAT(std::exchange(told_, {}), ElementsAre(StartsWith(lineOf(kNotSearched, ""))))
          << bytes;
      ASSERT_EQ(has(), right) << "again, after " << bytes;
    }
  }
}

TEST_P(DroppedSentFolderTest, WhatIsNotStoredIsSaid) {
  const std::vector<std::string> messages = {"Subject: 1\r\n\r\none\r\n",
                                             "Subject: 2\r\n\r\ntwo\r\n"};
  std::size_t counted = 0;
  ASSERT_TRUE(store(messages, counted));
  ASSERT_EQ(counted, 2u);
  const std::size_t whole = moments();
  ASSERT_GT(whole, 100u);
  std::size_t unsaid = 0;
  for (std::size_t bytes = 0; bytes < whole; ++bytes) {
    stored_.clear();
    dropOnceAfter(bytes);
    std::size_t ended = 0;
    ASSERT_FALSE(store(messages, ended)) << bytes;
    // The server may have stored the one whose answer was lost.
    ASSERT_GE(stored_.size(), ended) << bytes;
    ASSERT_LE(stored_.size(), ended + 1) << bytes;
    ASSERT_LT(ended, 2u) << bytes;
    unsaid += stored_.size() - ended;
    ASSERT_THAT(std::exchange(told_, {}), ElementsAre(StartsWith(lineOf(kNotStored, "")))) << bytes;
  }
  EXPECT_GT(unsaid, 0u) << "no drop fell between a copy and its answer";
}

TEST_P(DroppedSentFolderTest, NoCopyIsLostAndOnlyOneIsDoubled) {
  settings_.keepSentCopy = true;
  deliver({"one", "two"});
  ASSERT_EQ(stored_.size(), 2u);
  const std::size_t whole = moments();
  ASSERT_GT(whole, 100u);
  for (std::size_t bytes = 0; bytes < whole; ++bytes) {
    SCOPED_TRACE(bytes);
    stored_.clear();
    dropOnceAfter(bytes);
    const auto transport = withSentFolder(std::make_shared<Taking>(), settings_, world());
    deliver({"one", "two"}, transport.get());
    ASSERT_GE(copiesWaiting(), 1u);
    ASSERT_LE(copiesWaiting(), 2u);
    ASSERT_GE(stored_.size() + copiesWaiting(), 2u);
    pass(kSentStorePause);
    deliver({}, transport.get());
    ASSERT_EQ(copiesWaiting(), 0u);
    for (const char* subject : {"one", "two"}) {
      ASSERT_THAT(stored_, Contains("Subject: " + std::string(subject) + "\r\n\r\ntext\r\n"));
    }
    ASSERT_LE(stored_.size(), 3u);
  }
}

INSTANTIATE_TEST_SUITE_P(, DroppedSentFolderTest, testing::Values("Heard", "Said"),
                         [](const auto& each) { return each.param; });

}  // namespace
}  // namespace relaybird
