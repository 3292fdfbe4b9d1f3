// SPDX-License-Identifier: MIT
#include "stores/account/sent_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <memory>

#include "platform/posix/posix_clock.h"
#include "platform/posix/posix_file_system.h"
#include "platform/system/random_bytes.h"
#include "stores/account/account_store.h"
#include "support/fake_timers.h"
#include "support/scripted_network.h"
#include "support/store_fakes.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

// Lends the network of the test.
class Lent : public Network {
 public:
  explicit Lent(Network& network) : network_(network) {}
  std::unique_ptr<Connection> connect(const MailServer& server, const std::optional<SignIn>& signIn,
                                      std::chrono::milliseconds limit,
                                      std::function<void(ProtocolLine)> trace) override {
    return network_.connect(server, signIn, limit, std::move(trace));
  }
  void wait(std::chrono::milliseconds limit) override { network_.wait(limit); }
  void wake() override { network_.wake(); }
  std::chrono::milliseconds steadyTime() const override { return network_.steadyTime(); }

 private:
  Network& network_;
};

class SentFolderTest : public testing::Test {
 protected:
  SentFolderTest() {
    writeBytes(temp_.path("imap-password"), "secret\n");
    settings_.imap.server = {MailProtocol::kImap, "imap.example.org", 993, Security::kTls, ""};
    settings_.imap.user = "ann";
    settings_.imap.secret = SecretSource::kCredential;
    settings_.imap.secretName = "imap-password";
    network_.serve([this](ServerEnd& arriving) {
      appending_.clear();
      if (arrange_) {
        arrange_(arriving);
      }
      return answerLines([this](ServerEnd& end, std::string_view line) { answer(end, line); });
    });
  }
  void answer(ServerEnd& end, std::string_view line) {
    if (!appending_.empty()) {
      return appended(end, line);
    }
    const std::string tag(line.substr(0, line.find(' ')));
    const std::string command(line.substr(tag.size() + 1));
    commands_.push_back(command);
    const std::string verb = command.substr(0, command.find_first_of(" \""));
    if (hangsAt_ == verb) {
      return end.hang();
    }
    if (verb == "APPEND" && refusedVerb_ != verb) {
      appending_ = tag;
      literal_.clear();
      expected_ = std::stoul(command.substr(command.rfind('{') + 1));
      return end.say("+ go on\r\n");
    }
    if (verb == "CAPABILITY") {
      end.say("* CAPABILITY IMAP4rev1 ID\r\n");
    } else if (verb == "LIST") {
      end.say(folders_);
    } else if (verb == "UID") {
      end.say(found_);
    }
    end.say(tag + (refusedVerb_ == verb ? refusal_ : " OK done\r\n"));
  }
  void appended(ServerEnd& end, std::string_view line) {
    if (literal_.size() < expected_) {
      literal_ += std::string(line) + "\r\n";
      return;
    }
    if (!endsOver_.empty() && literal_.starts_with(endsOver_ + "\r\n")) {
      appending_.clear();
      return end.close();
    }
    stored_.push_back(literal_);
    end.say(std::exchange(appending_, {}) + " OK stored\r\n");
  }
  // Takes each message as the outcome says.
  struct Taking : SingleTransport {
    Outcome deliver(const OutgoingMessage& message, std::stop_token) override {
      return message.subject == "bad" ? Outcome{Outcome::Kind::kPermanent, "550 no"} : Outcome{};
    }
  };
  struct Messages : MessageFeed {
    std::optional<FedMessage> next() override {
      if (subjects.empty()) {
        return std::nullopt;
      }
      const std::string subject = subjects.back();
      subjects.pop_back();
      return FedMessage{++last, {{}, subject, OutgoingText("Subject: " + subject + "\n\ntext\n")}};
    }
    void report(std::vector<Verdict> verdicts) override { reported += verdicts.size(); }
    void makeDurable() override {}
    void putBack(std::uint64_t) override {}
    std::size_t waiting() const override { return subjects.size(); }
    std::vector<std::string> subjects;
    std::uint64_t last = 0;
    std::size_t reported = 0;
  };
  // One series of a transport of its own, or of `by`.
  void deliver(std::vector<std::string> subjects, Transport* by = nullptr) {
    Messages feed;
    feed.subjects = std::move(subjects);
    const std::size_t count = feed.subjects.size();
    const auto own = withSentFolder(std::make_shared<Taking>(), settings_, world());
    (by == nullptr ? own.get() : by)->deliverAll(feed, {});
    EXPECT_EQ(feed.reported, count);
    events_.runUntilIdle();
  }
  // A transport that keeps copies, of a server that takes no other password than `right`.
  std::shared_ptr<Transport> keepingCopiesWithPassword(const std::string& right) {
    settings_.keepSentCopy = true;
    network_.serve([this, right](ServerEnd& end) {
      if (end.signIn()->secret.bytes() != right) {
        end.fail({ConnectFailure::Cause::kSignInRefused, ConnectStep::kSignIn, "refused", "NO no"});
      }
      return answerLines([this](ServerEnd& from, std::string_view line) { answer(from, line); });
    });
    return withSentFolder(std::make_shared<Taking>(), settings_, world());
  }
  void pass(std::chrono::milliseconds time) {
    const auto until = network_.steadyTime() + time;
    while (network_.steadyTime() < until) {
      network_.wait(until - network_.steadyTime());
    }
  }
  static std::string lineOf(const std::string& matter, const std::string& rest) {
    return matter + ": Mail server imap.example.org" + rest;
  }
  std::size_t copiesWaiting() {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(temp_.path(""))) {
      count += entry.path().string().find("sent-copies/") != std::string::npos &&
               entry.is_regular_file();
    }
    return count;
  }
  StoreWorld world() {
    StoreWorld made{files_, clock_, events_, executor_, commandRunner_, systemRandomBytes};
    made.notice = [this](const StoreNotice& notice) { told_.push_back(notice.line); };
    made.version = "2.3.4";
    made.verbose = verbose_;
    made.stateFolder = temp_.path("state");
    std::filesystem::create_directory(made.stateFolder);
    made.secrets.credentialFolder = temp_.path("");
    made.network = [this] { return std::make_unique<Lent>(network_); };
    return made;
  }
  Arrived has(std::stop_token stop = {}) {
    commands_.clear();
    const Arrived there = SentFolder(settings_, world()).has("<1@id>", std::move(stop));
    events_.runUntilIdle();
    return there;
  }

  TempFolder temp_;
  PosixSleeper sleeper_;
  PosixFileSystem files_{sleeper_};
  PosixClock clock_;
  FakeEventQueue events_;
  InlineExecutor executor_;
  NoCommands commandRunner_;
  ScriptedNetwork network_;
  MailSettings settings_;
  std::string folders_ =
      "* LIST (\\HasNoChildren) \"/\" INBOX\r\n* LIST (\\HasNoChildren \\Sent) \"/\" "
      "\"Gesendet\"\r\n";
  std::string found_ = "* SEARCH 17\r\n";
  std::string refusedVerb_;
  std::string refusal_ = " NO not here\r\n";
  std::string hangsAt_;
  std::function<void(ServerEnd&)> arrange_;  // each connection, before anything is said
  std::string endsOver_;  // the beginning of a copy over which the connection ends
  std::vector<std::string> commands_;
  std::string appending_;  // the tag of the command whose message is being received
  std::string literal_;
  std::size_t expected_ = 0;
  std::vector<std::string> stored_;
  std::vector<std::string> told_;
  std::shared_ptr<std::atomic<bool>> verbose_ = std::make_shared<std::atomic<bool>>(false);
};

constexpr const char* kNotSearched = "The folder of sent mail cannot be searched";
constexpr const char* kNotStored =
    "Copies of forwards wait, as they cannot be stored in the folder of sent mail";
constexpr const char* kNotTaken =
    "The server does not store copies of forwards in the folder of sent mail";

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
