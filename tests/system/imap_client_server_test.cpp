// SPDX-License-Identifier: MIT
// The IMAP client over a real Dovecot: every kind of message is read as it lies on the server's
// disk, marks arrive there, and what other programs do to the mailbox is heard.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <set>

#include "message/header_block.h"
#include "message/mail_maker.h"
#include "message/mail_samples.h"
#include "platform/curl/curl_network.h"
#include "stores/account/imap_client.h"
#include "stores/account/structure_kind.h"
#include "support/mail_servers.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

constexpr int kMadeMessages = 300;
constexpr std::size_t kSamplesOfTheDemonstration = 20;
constexpr int kManyMessages = 10000;

// A signed-in client of one user, and the loop that runs it.
class Client {
 public:
  explicit Client(const std::string& user) {
    MailServers& servers = MailServers::get();
    const MailServer server{MailProtocol::kImap, "localhost", servers.port("plain.imap"),
                            Security::kNone, servers.caFile()};
    connection_ = network_.connect(
        server, SignIn{user, SignInMethod::kPassword, Secret(MailServers::kPassword)}, 10s, {});
    runUntil([this] { return connection_->state() != Connection::State::kOpening; });
    imap.capability(done());
    imap.select("INBOX", [this](const Result<ImapOpened>& result) {
      ASSERT_TRUE(result) << result.error().text;
      opened = *result;
      ++answers;
    });
    awaitAnswers(2);
  }

  // Fails the test if it has not happened after half a minute.
  template <typename Happened>
  void runUntil(Happened happened) {
    const auto end = network_.steadyTime() + 30s;
    std::string received;
    while (!happened()) {
      ASSERT_LT(network_.steadyTime(), end) << "the server does not answer";
      ASSERT_NE(connection_->state(), Connection::State::kEnded) << connection_->failure()->words;
      std::string& output = imap.dialogue().output();
      output.erase(0, connection_->send(output));
      connection_->wantToSend(!output.empty());
      received.clear();
      if (connection_->receive(received, 262144) != 0) {
        imap.dialogue().received(received);
      } else {
        network_.wait(100ms);
      }
    }
  }
  void awaitAnswers(int count) {
    runUntil([&] { return answers >= count; });
    EXPECT_EQ(answers, count);
    answers = 0;
  }
  ImapClient::Done done() {
    return [this](const Result<void>& result) {
      EXPECT_TRUE(result) << result.error().text;
      ++answers;
    };
  }

  UidSet unseen() {
    UidSet found;
    imap.searchUnseen([&](const Result<UidSet>& result) {
      ASSERT_TRUE(result) << result.error().text;
      found = *result;
      ++answers;
    });
    awaitAnswers(1);
    return found;
  }
  void fetchHeads(const std::vector<std::uint32_t>& uids) {
    imap.fetchHeads(uids, true, done());
    awaitAnswers(static_cast<int>((uids.size() + kHeadsInCommand - 1) / kHeadsInCommand));
  }
  void store(const std::vector<std::uint32_t>& uids, bool seen) {
    int commands = 0;
    for (std::size_t at = 0; at < uids.size(); at += kMarksInCommand, ++commands) {
      const std::size_t end = std::min(uids.size(), at + kMarksInCommand);
      imap.store(
          UidSet({uids.begin() + static_cast<long>(at), uids.begin() + static_cast<long>(end)}),
          seen, done());
    }
    awaitAnswers(commands);
  }

  std::vector<ImapHead> heads;
  std::vector<ImapBody> bodies;
  ImapOpened opened;
  int changes = 0;
  int answers = 0;

 private:
  CurlNetwork network_;
  std::unique_ptr<Connection> connection_;

 public:
  ImapClient imap{
      {[this](ImapHead head) { heads.push_back(std::move(head)); },
       [this](ImapBody body) { bodies.push_back(std::move(body)); }, [this] { ++changes; }},
      {}};
};

class ImapClientServer : public testing::Test {
 protected:
  static void SetUpTestSuite() { ::signal(SIGPIPE, SIG_IGN); }

  // The file names of the messages, without their folders, by whether they are marked read.
  std::pair<int, int> unreadAndRead() const {
    std::pair<int, int> count;
    for (const char* folder : {"/new", "/cur"}) {
      for (const auto& entry : fs::directory_iterator(servers_.maildir(user_) + folder)) {
        const std::string name = entry.path().filename().string();
        const bool seen =
            name.find('S', std::min(name.find(":2,"), name.size())) != std::string::npos;
        ++(seen ? count.second : count.first);
      }
    }
    return count;
  }

  MailServers& servers_ = MailServers::get();
  std::string user_ = servers_.freshUser();
};

// As Dovecot sends it: each line ended by CR LF, and NUL, which IMAP cannot carry, replaced.
std::string asServed(const std::string& text) {
  std::string made;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\n' && (i == 0 || text[i - 1] != '\r')) {
      made += '\r';
    }
    made += text[i] == '\0' ? '\x80' : text[i];
  }
  return made;
}

// The two messages of script/demo that are in no file.
std::string largeArchive() {
  std::string base64;
  for (int line = 0; line < 1'200'000 / 57; ++line) {
    base64 += std::string(76, 'A') + "\n";
  }
  return "From: Archive <archive@example.org>\nTo: ann@example.org\nSubject: The whole archive\n"
         "MIME-Version: 1.0\nContent-Type: application/octet-stream; name=archive.bin\n"
         "Content-Disposition: attachment; filename=archive.bin\n"
         "Content-Transfer-Encoding: base64\n\n" +
         base64;
}
constexpr const char* kOffer =
    "From: Great Offers <news@offers.example>\nTo: ann@example.org\nSubject: Only today\n\nBuy!\n";

// All of the demonstration, the other samples, and those that are made; no two are alike.
std::vector<std::string> everyKindOfMessage() {
  std::vector<std::string> messages = {largeArchive(), kOffer};
  std::set<fs::path> files;
  for (const auto& entry : fs::directory_iterator(RB_MAIL_SAMPLES)) {
    if (entry.path().extension() == ".eml") {
      files.insert(entry.path());
    }
  }
  for (const fs::path& file : files) {
    messages.push_back(readBytes(file.string()));
  }
  for (int number = 0; number < kMadeMessages; ++number) {
    messages.push_back(MailMaker(static_cast<std::uint32_t>(number)).make());
  }
  EXPECT_GE(files.size(), kSamplesOfTheDemonstration);
  EXPECT_EQ(std::set<std::string>(messages.begin(), messages.end()).size(), messages.size());
  return messages;
}

TEST_F(ImapClientServer, ReadsEveryKindOfMessageAsItIsOnTheServersDisk) {
  const std::vector<std::string> messages = everyKindOfMessage();
  for (const std::string& message : messages) {
    servers_.deliver(user_, message);
  }
  Client client(user_);
  const UidSet unseen = client.unseen();
  ASSERT_EQ(unseen.count(), messages.size());
  const std::vector<std::uint32_t> uids = unseen.uids(messages.size());
  client.fetchHeads(uids);
  client.imap.fetchBodies(unseen, client.done());
  client.awaitAnswers(1);
  ASSERT_EQ(client.heads.size(), messages.size());
  ASSERT_EQ(client.bodies.size(), messages.size());
  std::size_t knownKinds = 0;
  for (std::size_t i = 0; i < messages.size(); ++i) {
    SCOPED_TRACE("message " + std::to_string(i));
    const ImapHead& head = client.heads[i];
    EXPECT_EQ(head.uid, uids[i]);
    EXPECT_EQ(client.bodies[i].uid, uids[i]);
    EXPECT_EQ(client.bodies[i].bytes, asServed(messages[i]));
    EXPECT_EQ(head.size, client.bodies[i].bytes.size());
    const HeaderBlock whole(messages[i]);
    const HeaderBlock fetched(head.header);
    for (const char* field : {"From", "Subject", "Date", "Message-ID", "To", "Reply-To",
                              "Content-Type", "Auto-Submitted", "References"}) {
      EXPECT_EQ(fetched.value(field), whole.value(field)) << field;
    }
    ASSERT_TRUE(head.structure);
    if (const auto kind = kindFromStructure(fetched, &*head.structure, sampleMarks())) {
      EXPECT_EQ(*kind, kindOf(messages[i]));
      ++knownKinds;
    }
  }
  EXPECT_GT(knownKinds, messages.size() / 2);
  EXPECT_EQ(client.unseen(), unseen) << "reading has marked messages";
  EXPECT_EQ(unreadAndRead(), std::pair(static_cast<int>(messages.size()), 0));
}

TEST_F(ImapClientServer, FindsAndMarksTenThousandMessages) {
  for (int i = 0; i < kManyMessages; ++i) {
    servers_.deliver(user_, "From: a@x.example\nSubject: number " + std::to_string(i) + "\n\nHi\n");
  }
  Client client(user_);
  const UidSet unseen = client.unseen();
  ASSERT_EQ(unseen.count(), static_cast<std::uint64_t>(kManyMessages));
  const std::vector<std::uint32_t> uids = unseen.uids(kManyMessages);
  client.fetchHeads(uids);
  ASSERT_EQ(client.heads.size(), static_cast<std::size_t>(kManyMessages));
  EXPECT_EQ(HeaderBlock(client.heads.back().header).value("Subject"), "number 9999");

  std::vector<std::uint32_t> odd;  // no two adjoin: the longest commands
  for (std::size_t i = 0; i < uids.size(); i += 2) {
    odd.push_back(uids[i]);
  }
  client.store(odd, true);
  EXPECT_EQ(client.unseen().count(), static_cast<std::uint64_t>(kManyMessages / 2));
  EXPECT_EQ(unreadAndRead(), std::pair(kManyMessages / 2, kManyMessages / 2));
  client.store(odd, false);
  EXPECT_EQ(client.unseen(), unseen);
}

TEST_F(ImapClientServer, HearsWhatOtherProgramsDoWhileItIdles) {
  const std::string kept = servers_.deliver(user_, "Subject: one\n\nHi\n");
  const std::string gone = servers_.deliver(user_, "Subject: two\n\nHi\n");
  Client client(user_);
  ASSERT_EQ(client.unseen().count(), 2U);
  const auto changesAfter = [&](const auto& act) {
    client.imap.idle([] { ADD_FAILURE() << "the server does not want to idle"; });
    client.runUntil([&] { return !client.imap.dialogue().owesReply(); });
    const int before = client.changes;
    act();
    client.runUntil([&] { return client.changes > before; });
    return client.unseen().count();
  };
  EXPECT_EQ(changesAfter([&] { servers_.deliver(user_, "Subject: three\n\nHi\n"); }), 3U);
  const std::string cur = servers_.maildir(user_) + "/cur/";
  EXPECT_EQ(changesAfter([&] { fs::remove(cur + gone + ":2,"); }), 2U);
  EXPECT_EQ(changesAfter([&] { fs::rename(cur + kept + ":2,", cur + kept + ":2,S"); }), 1U);
  EXPECT_EQ(changesAfter([&] { fs::rename(cur + kept + ":2,S", cur + kept + ":2,"); }), 2U);
}

TEST_F(ImapClientServer, MailboxOverItsQuotaStillTakesMarks) {
  user_ = "full";
  servers_.deliver(user_, "Subject: one\n\n" + std::string(5000, 'x') + "\n");
  Client client(user_);
  client.store(client.unseen().uids(1), true);
  EXPECT_EQ(unreadAndRead(), std::pair(0, 1));
}

TEST_F(ImapClientServer, ReadOnlyMailboxIsReportedAndTakesNoMarks) {
  user_ = "readonly";
  servers_.deliver(user_, "Subject: one\n\nHi\n");
  Client client(user_);
  EXPECT_TRUE(client.opened.readOnly);
  const UidSet unseen = client.unseen();
  ASSERT_EQ(unseen.count(), 1U);
  std::optional<bool> stored;
  client.imap.store(unseen, true, [&](const Result<void>& result) { stored = bool(result); });
  client.runUntil([&] { return stored.has_value(); });
  EXPECT_EQ(client.unseen(), unseen);
  EXPECT_EQ(unreadAndRead(), std::pair(1, 0));
}

}  // namespace
}  // namespace relaybird
