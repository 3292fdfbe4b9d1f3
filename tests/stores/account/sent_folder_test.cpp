// SPDX-License-Identifier: MIT
#include "stores/account/sent_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "platform/posix/posix_clock.h"
#include "platform/posix/posix_file_system.h"
#include "support/fake_timers.h"
#include "support/scripted_network.h"
#include "support/store_fakes.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

using testing::Contains;
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
    network_.serve([this](ServerEnd&) {
      return answerLines([this](ServerEnd& end, std::string_view line) { answer(end, line); });
    });
  }
  void answer(ServerEnd& end, std::string_view line) {
    const std::string tag(line.substr(0, line.find(' ')));
    const std::string command(line.substr(tag.size() + 1));
    commands_.push_back(command);
    const std::string verb = command.substr(0, command.find_first_of(" \""));
    if (hangsAt_ == verb) {
      return end.hang();
    }
    if (verb == "CAPABILITY") {
      end.say("* CAPABILITY IMAP4rev1 ID\r\n");
    } else if (verb == "LIST") {
      end.say(folders_);
    } else if (verb == "UID") {
      end.say(found_);
    }
    end.say(tag + (refusedVerb_ == verb ? " NO not here\r\n" : " OK done\r\n"));
  }
  StoreWorld world() {
    StoreWorld made{files_, clock_, events_, executor_, commandRunner_, {}};
    made.secrets.credentialFolder = temp_.path("");
    made.network = [this] { return std::make_unique<Lent>(network_); };
    return made;
  }
  bool has(std::stop_token stop = {}) {
    commands_.clear();
    return SentFolder(settings_, world()).has("<1@id>", std::move(stop));
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
  std::string hangsAt_;
  std::vector<std::string> commands_;
};

TEST_F(SentFolderTest, AMessageIsLookedForInTheFolderThatTheServerMarks) {
  EXPECT_TRUE(has());
  EXPECT_THAT(commands_, Contains("EXAMINE \"Gesendet\""));
  EXPECT_THAT(commands_, Contains("UID SEARCH HEADER Message-ID \"<1@id>\""));
  EXPECT_THAT(commands_, Contains(StartsWith("ID ")));
  ASSERT_TRUE(network_.end(0).signIn());
  EXPECT_EQ(network_.end(0).signIn()->secret.bytes(), "secret");
  found_ = "* SEARCH\r\n";
  EXPECT_FALSE(has());
}

TEST_F(SentFolderTest, WithoutAMarkTheUsualNamesAreTried) {
  folders_ = "* LIST () \".\" INBOX\r\n* LIST () \".\" INBOX.Sent\r\n";
  EXPECT_TRUE(has());
  EXPECT_THAT(commands_, Contains("EXAMINE \"INBOX.Sent\""));
  folders_ = "* LIST () \".\" INBOX\r\n";
  EXPECT_FALSE(has());
}

TEST_F(SentFolderTest, WhatCannotBeFoundOutCountsAsNotThere) {
  for (const char* verb : {"EXAMINE", "LIST"}) {
    refusedVerb_ = verb;
    if (refusedVerb_ == "LIST") {
      folders_.clear();
    }
    EXPECT_FALSE(has()) << verb;
  }
  refusedVerb_.clear();
  for (const char* verb : {"CAPABILITY", "LIST", "EXAMINE", "UID"}) {
    hangsAt_ = verb;
    const auto begin = network_.steadyTime();
    EXPECT_FALSE(has()) << verb;
    EXPECT_LE(network_.steadyTime() - begin, kSentSearchLimit);
  }
  settings_.imap.secretName = "missing";
  EXPECT_FALSE(has());
  EXPECT_THAT(commands_, IsEmpty());
}

TEST_F(SentFolderTest, AStopEndsTheSearchAtOnce) {
  hangsAt_ = "LIST";
  std::stop_source stop;
  network_.whenIdle([&] { stop.request_stop(); });
  const auto begin = network_.steadyTime();
  EXPECT_FALSE(has(stop.get_token()));
  EXPECT_EQ(network_.steadyTime(), begin);
}

TEST_F(SentFolderTest, TheTransportAsksForTheIdentifierOfTheMessage) {
  struct Plain : Transport {
    void deliverAll(MessageFeed&, std::stop_token) override { ++series; }
    void tryAgain() override { ++tries; }
    int series = 0;
    int tries = 0;
  };
  const auto plain = std::make_shared<Plain>();
  const auto transport = withSentFolder(plain, settings_, world());
  EXPECT_TRUE(transport->hasArrived({{}, "s", "Subject: s\nMessage-ID:\n <1@id>\n\ntext"}, {}));
  EXPECT_THAT(commands_, Contains("UID SEARCH HEADER Message-ID \"<1@id>\""));
  EXPECT_FALSE(transport->hasArrived({{}, "s", "Subject: s\n\nMessage-ID: <1@id>\n"}, {}));
  transport->tryAgain();
  EXPECT_EQ(plain->tries, 1);
  EXPECT_EQ(withSentFolder(nullptr, settings_, world()), nullptr);
}

}  // namespace
}  // namespace relaybird
