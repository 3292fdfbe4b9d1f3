// SPDX-License-Identifier: MIT
// A lasting session with a real Dovecot: a lost connection at any moment, a mailbox that was made
// anew, messages that vanish, and one that is larger than what is kept in memory.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include "message/header_block.h"
#include "platform/curl/curl_network.h"
#include "platform/posix/posix_clock.h"
#include "platform/posix/posix_file_system.h"
#include "stores/account/imap_session.h"
#include "support/mail_servers.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;
using Uids = std::vector<std::uint32_t>;

// The session of one user, run by the thread of the test.
class Session {
 public:
  Session(const std::string& user, std::uint16_t port)
      : session_({network_,
                  {MailProtocol::kImap, "localhost", port, Security::kNone, {}},
                  "INBOX",
                  "1.0",
                  {[user](std::stop_token) {
                    return SignInMaterial{
                        SignIn{user, SignInMethod::kPassword, Secret(MailServers::kPassword)}, {}};
                  }},
                  [](std::size_t count) { return std::string(count, 'x'); },
                  files_,
                  folder_.path("spool"),
                  [this](const ProtocolLine& line) { said.push_back(line.text); },
                  [] {},
                  [this](const std::string& words) { complaints.push_back(words); }}) {
    session_.watch(true);
  }
  ~Session() {
    session_.close();
    while (session_.step()) {
    }
    EXPECT_THAT(complaints, testing::IsEmpty());
  }

  std::vector<std::string> complaints;
  std::vector<std::string> said;  // by both sides

  template <typename Act>
  auto look(const Act& act) const {
    return session_.look(act);
  }
  // Runs until it has happened; calls `meanwhile` after each step. Fails after half a minute.
  template <typename Happened>
  void runUntil(
      const Happened& happened, const std::function<void()>& meanwhile = [] {}) {
    const auto end = network_.steadyTime() + 30s;
    while (!happened()) {
      ASSERT_LT(network_.steadyTime(), end) << "the session does not get on";
      ASSERT_TRUE(session_.step());
      meanwhile();
    }
  }

  Uids refresh() {
    const auto number = session_.work([](ImapWork& work) { return work.wantRefresh(); });
    runUntil([&] {
      return look([&](auto& work) { return work.refreshed(number); }) != Wanted::kComing;
    });
    EXPECT_EQ(look([&](auto& work) { return work.refreshed(number); }), Wanted::kThere);
    return look([](auto& work) { return *work.unseen(); });
  }
  // The subjects, in order, and the bodies. `meanwhile` is called as time goes on.
  std::vector<std::string> subjects(
      const Uids& uids, const std::function<void()>& meanwhile = [] {}) {
    session_.work([&](ImapWork& work) { work.wantHeads(uids); });
    std::vector<std::string> found;
    for (const std::uint32_t uid : uids) {
      runUntil([&] { return look([&](auto& work) { return work.head(uid); }) != Wanted::kComing; },
               meanwhile);
      const Wanted state = look([&](auto& work) { return work.head(uid); });
      found.push_back(state == Wanted::kThere ? HeaderBlock(take(uid).header).value("Subject")
                                              : "none");
    }
    return found;
  }
  std::string body(
      std::uint32_t uid, const std::function<void()>& meanwhile = [] {}) {
    session_.work([&](ImapWork& work) { work.wantBody(uid); });
    runUntil([&] { return look([&](auto& work) { return work.body(uid); }) != Wanted::kComing; },
             meanwhile);
    auto file = session_.work([&](ImapWork& work) { return work.takeBody(uid); });
    if (!file) {
      return file.error().text;
    }
    std::string bytes(static_cast<std::size_t>((*file)->info().size), '\0');
    EXPECT_TRUE((*file)->readAt(0, bytes.data(), bytes.size()));
    return bytes;
  }
  void mark(const Uids& uids, bool seen) {
    session_.work([&](ImapWork& work) {
      for (const std::uint32_t uid : uids) {
        work.setSeen(uid, seen);
      }
      work.flushMarks();
    });
    runUntil([&] { return look([](auto& work) { return work.marksUnconfirmed(); }) == 0; });
  }
  ImapSession::Status status() const { return session_.status(); }

 private:
  ImapHead take(std::uint32_t uid) {
    return session_.work([&](ImapWork& work) { return work.takeHead(uid); });
  }

  CurlNetwork network_;
  PosixSleeper sleeper_;
  PosixFileSystem files_{sleeper_};
  TempFolder folder_;
  ImapSession session_;
};

class ImapSessionServer : public testing::Test {
 protected:
  static void SetUpTestSuite() { ::signal(SIGPIPE, SIG_IGN); }

  // Messages "number 0" and so on, their bodies as servers send them.
  std::vector<std::string> deliver(int count) {
    std::vector<std::string> subjects;
    for (int number = 0; number < count; ++number) {
      subjects.push_back("number " + std::to_string(number));
      servers_.deliver(user_, "Subject: " + subjects.back() + "\r\n\r\n" +
                                  std::string(2000, static_cast<char>('a' + number % 26)) + "\r\n");
    }
    return subjects;
  }
  std::uint16_t directPort() const { return servers_.port("plain.imap"); }

  MailServers& servers_ = MailServers::get();
  std::string user_ = servers_.freshUser();
};

TEST_F(ImapSessionServer, OneConnectionLostAtAnyMomentIsNotNoticed) {
  const std::vector<std::string> subjects = deliver(250);
  int lost = 0;
  for (int step = 0; step < 12; ++step) {
    SCOPED_TRACE(step);
    const MailServers::Values proxy = servers_.ask("proxy " + std::to_string(directPort()));
    Session session(user_, static_cast<std::uint16_t>(std::stoi(proxy.at("port"))));
    const Uids uids = session.refresh();
    ASSERT_EQ(uids.size(), subjects.size());
    int steps = 0;
    const auto cutOnce = [&] {
      if (steps++ == step) {
        servers_.ask("gate " + proxy.at("name") + " closed");
        servers_.ask("gate " + proxy.at("name") + " open");
      }
    };
    EXPECT_EQ(session.subjects(uids, cutOnce), subjects);
    for (std::size_t at = 0; at < 40; ++at) {
      const std::string body = session.body(uids[at], cutOnce);
      EXPECT_NE(body.find(std::string(2000, static_cast<char>('a' + at % 26))), std::string::npos);
    }
    const auto connections = servers_.ask("counts " + proxy.at("name")).at("connections");
    lost += connections == "2" ? 1 : 0;
  }
  EXPECT_GT(lost, 8) << "the connections were not lost in time";
}

TEST_F(ImapSessionServer, MailboxMadeAnewBeginsAnew) {
  const std::vector<std::string> subjects = deliver(3);
  const MailServers::Values proxy = servers_.ask("proxy " + std::to_string(directPort()));
  Session session(user_, static_cast<std::uint16_t>(std::stoi(proxy.at("port"))));
  ASSERT_EQ(session.refresh().size(), 3U);
  const auto generation = session.look([](auto& work) { return work.generation(); });
  const auto before = session.look([](auto& work) { return work.uidValidity(); });
  servers_.ask("gate " + proxy.at("name") + " closed");
  for (const auto& entry : fs::directory_iterator(servers_.maildir(user_))) {
    if (entry.path().filename().string().rfind("dovecot", 0) == 0) {
      fs::remove(entry.path());
    }
  }
  // Dovecot takes the present second as the new value.
  writeBytes(servers_.maildir(user_) + "/dovecot-uidvalidity", "7fffff00");
  writeBytes(servers_.maildir(user_) + "/dovecot-uidvalidity.7fffff00", "");
  fs::permissions(servers_.maildir(user_) + "/dovecot-uidvalidity", fs::perms::all);
  servers_.ask("gate " + proxy.at("name") + " open");
  const Uids uids = session.refresh();
  EXPECT_NE(session.look([](auto& work) { return work.uidValidity(); }), before);
  EXPECT_NE(session.look([](auto& work) { return work.generation(); }), generation);
  EXPECT_EQ(session.subjects(uids), subjects);
  EXPECT_THAT(std::exchange(session.complaints, {}),
              testing::ElementsAre(testing::HasSubstr("numbered the messages of the folder anew")));
}

TEST_F(ImapSessionServer, MessagesThatVanishAreGoneAndTheOthersStay) {
  std::vector<std::string> names;
  for (int number = 0; number < 10; ++number) {
    names.push_back(
        servers_.deliver(user_, "Subject: number " + std::to_string(number) + "\r\n\r\nHi\r\n"));
  }
  Session session(user_, directPort());
  const Uids uids = session.refresh();
  ASSERT_EQ(uids.size(), names.size());
  for (std::size_t at = 1; at < names.size(); at += 2) {
    fs::remove(servers_.maildir(user_) + "/cur/" + names[at] + ":2,");
  }
  const std::vector<std::string> found = session.subjects(uids);
  for (std::size_t at = 0; at < found.size(); ++at) {
    const std::string expected = "number " + std::to_string(at);
    const std::string body = session.body(uids[at]);
    if (at % 2 == 0) {
      EXPECT_EQ(found[at], expected);
      EXPECT_EQ(body, "Subject: " + expected + "\r\n\r\nHi\r\n");
    } else {
      EXPECT_TRUE(found[at] == "none" || found[at] == expected) << found[at];
      EXPECT_EQ(body.find("Subject:"), std::string::npos) << body;
    }
  }
  EXPECT_EQ(session.refresh().size(), names.size() / 2);
}

// Dovecot answers a search from what the session has seen so far.
TEST_F(ImapSessionServer, MailThatArrivedJustBeforeARefreshIsInIt) {
  deliver(3);
  Session session(user_, directPort());
  ASSERT_EQ(session.refresh().size(), 3U);
  for (std::size_t count = 4; count <= 10; ++count) {
    deliver(1);
    EXPECT_EQ(session.refresh().size(), count);
  }
}

TEST_F(ImapSessionServer, ReadMarksGoBothWays) {
  deliver(600);
  Session session(user_, directPort());
  const Uids uids = session.refresh();
  session.mark({uids.begin(), uids.begin() + 550}, true);
  EXPECT_EQ(session.refresh().size(), 50U);
  Session other(user_, directPort());
  EXPECT_EQ(other.refresh().size(), 50U);
  other.mark({uids.begin(), uids.begin() + 100}, false);
  EXPECT_EQ(session.refresh().size(), 150U);
}

// Marks of others, mail, deletions and a lost connection; the other session lists all each time.
TEST_F(ImapSessionServer, ChangesOfOthersAreWhatAListWouldSay) {
  using testing::Contains;
  using testing::HasSubstr;
  deliver(20);
  const MailServers::Values proxy = servers_.ask("proxy " + std::to_string(directPort()));
  Session session(user_, static_cast<std::uint16_t>(std::stoi(proxy.at("port"))));
  const Uids first = session.refresh();
  session.said.clear();
  for (std::size_t step = 0; step < 8; ++step) {
    Session other(user_, directPort());
    other.refresh();
    other.mark({first[step], first[step + 8]}, step % 2 == 0);
    session.mark({first[step + 4]}, step % 3 != 0);
    deliver(static_cast<int>(step % 3));
    const auto files = fs::directory_iterator(servers_.maildir(user_) + "/cur");
    if (step % 4 == 1 && files != fs::directory_iterator()) {
      fs::remove(files->path());
    }
    if (step == 3) {
      servers_.ask("gate " + proxy.at("name") + " closed");
      servers_.ask("gate " + proxy.at("name") + " open");
    }
    Uids known = session.refresh();
    Uids listed = Session(user_, directPort()).refresh();
    // On a busy machine Dovecot at times sees a change of the disk one question later. What a
    // session still lacks then, it has lost.
    if (known != listed) {
      known = session.refresh();
      listed = Session(user_, directPort()).refresh();
    }
    EXPECT_EQ(known, listed) << step;
    EXPECT_THAT(session.said, testing::Not(Contains(HasSubstr("UID SEARCH")))) << step;
  }
  EXPECT_THAT(session.said, Contains(HasSubstr("(QRESYNC (")));
  EXPECT_THAT(session.said, Contains(HasSubstr("(CHANGEDSINCE ")));
  EXPECT_THAT(session.said, Contains(HasSubstr("VANISHED")));
}

TEST_F(ImapSessionServer, LargeMessageIsFetchedWhole) {
  std::string text = "Subject: large\r\n\r\n";
  for (int line = 0; text.size() < (25U << 20U); ++line) {
    text += "line " + std::to_string(line) + " of a message of twenty-five megabytes\r\n";
  }
  servers_.deliver(user_, text);
  Session session(user_, directPort());
  const Uids uids = session.refresh();
  ASSERT_EQ(uids.size(), 1U);
  EXPECT_EQ(session.subjects(uids), std::vector<std::string>{"large"});
  EXPECT_TRUE(session.body(uids.front()) == text);
}

}  // namespace
}  // namespace relaybird
