// SPDX-License-Identifier: MIT
// A server that fails while a connection to it is opened, over real sockets and real TLS: what the
// network makes of each answer at each step, and what becomes of the messages. What fails later is
// in smtp_failures_test.cpp.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "outbox/delivery/smtp_transport.h"
#include "platform/curl/curl_network.h"
#include "platform/curl/tls_server.h"
#include "platform/text/ascii_text.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

using testing::Each;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// The time that a server which hangs may take to open a connection, instead of minutes. All others
// get the program's own limit.
constexpr std::chrono::milliseconds kShortLimit{500};

const std::vector<std::string> kAnswers = {"421", "450", "451",  "452",  "454", "550",
                                           "552", "554", "drop", "hang", "cut"};

struct Step {
  std::string verb;
  Security security = Security::kTls;
};
const std::vector<Step> kSteps = {{"greeting", Security::kTls},
                                  {"greeting", Security::kStartTls},
                                  {"STARTTLS", Security::kStartTls},
                                  {"AUTH", Security::kTls},
                                  {"AUTH", Security::kStartTls}};

// A server that answers one step as the test says while it fails, and takes mail otherwise.
class OpeningServer {
 public:
  OpeningServer(Step step, std::string answer, SSL_CTX* tls)
      : step_(std::move(step)), answer_(std::move(answer)), tls_(tls) {}

  std::uint16_t port() const { return server_.port(); }
  std::vector<std::string> seen() const { return server_.seen(); }

  std::atomic<bool> fails = true;
  std::atomic<int> connections = 0;
  std::atomic<int> taken = 0;

 private:
  void converse(Peer& peer) {
    ++connections;
    bool encrypted = step_.security == Security::kTls;
    if (encrypted) {
      peer.startTls(tls_);
    }
    meet(peer, "greeting");
    peer.say("220 localhost\r\n");
    while (true) {
      const std::string line = peer.line();
      const std::string verb = asciiUpper(line.substr(0, line.find(' ')));
      if (verb == "AUTH") {
        peer.say("334 \r\n");
        peer.line();
      }
      meet(peer, verb);
      if (verb == "EHLO") {
        peer.say(encrypted ? "250-localhost\r\n250 AUTH PLAIN\r\n"
                           : "250-localhost\r\n250 STARTTLS\r\n");
      } else if (verb == "STARTTLS") {
        peer.say("220 go\r\n");
        peer.startTls(tls_);
        encrypted = true;
      } else if (verb == "DATA") {
        peer.say("354 go on\r\n");
        while (peer.line() != ".") {
        }
        ++taken;
        peer.say("250 taken\r\n");
      } else {
        peer.say(verb == "AUTH" ? "235 signed in\r\n" : "250 fine\r\n");
      }
    }
  }
  // Fails if this is the step. Does not return then.
  void meet(Peer& peer, const std::string& verb) {
    if (!fails || verb != step_.verb) {
      return;
    }
    if (answer_ == "drop") {
      throw PeerGone();
    }
    if (answer_ == "cut") {
      peer.say(verb == "STARTTLS" ? "220 go\r\n" : "");
      peer.cut();
    }
    if (answer_ != "hang") {
      peer.say(answer_ + " no\r\n");
    }
    peer.untilEnd();
  }

  Step step_;
  std::string answer_;
  SSL_CTX* tls_;
  TlsServer server_{[this](Peer& peer) { converse(peer); }};  // last, as it uses the others
};

// A CurlNetwork that waits no longer for a connection than the test wants.
class HastyNetwork : public CurlNetwork {
 public:
  explicit HastyNetwork(std::chrono::milliseconds most) : most_(most) {}
  std::unique_ptr<Connection> connect(const MailServer& server, const std::optional<SignIn>& signIn,
                                      std::chrono::milliseconds limit,
                                      std::function<void(ProtocolLine)> trace) override {
    return CurlNetwork::connect(server, signIn, std::min(limit, most_), std::move(trace));
  }

 private:
  std::chrono::milliseconds most_;
};

// Messages that wait until they are delivered, and what was said of each in the last series.
class WaitingMessages : public MessageFeed {
 public:
  explicit WaitingMessages(int count) {
    for (int message = count; message > 0; --message) {
      waiting_.push_back(message);
    }
  }
  std::optional<FedMessage> next() override {
    if (waiting_.empty() || held_) {
      return std::nullopt;
    }
    given_[++last_] = waiting_.back();
    waiting_.pop_back();
    return FedMessage{last_, {{"a@example.org", {"b@example.org"}}, "s", OutgoingText("text\n")}};
  }
  void report(std::vector<Verdict> verdicts) override {
    for (Verdict& verdict : verdicts) {
      held_ = held_ || verdict.outcome.everything;
      outcomes_[given_.at(verdict.number)] = std::move(verdict.outcome);
    }
  }
  void putBack(std::uint64_t number) override { waiting_.push_back(given_.at(number)); }
  void makeDurable() override {}
  std::size_t waiting() const override { return waiting_.size(); }

  // All that was not delivered waits again.
  void beginAgain() {
    held_ = false;
    for (const auto& [message, outcome] : std::exchange(outcomes_, {})) {
      if (outcome.kind != Outcome::Kind::kDelivered) {
        waiting_.push_back(message);
      }
    }
  }
  const std::map<int, Outcome>& outcomes() const { return outcomes_; }

 private:
  std::vector<int> waiting_;  // the next one last
  std::map<std::uint64_t, int> given_;
  std::map<int, Outcome> outcomes_;
  std::uint64_t last_ = 0;
  bool held_ = false;
};

class SmtpOpeningTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { std::signal(SIGPIPE, SIG_IGN); }
  SmtpOpeningTest() { std::ofstream(caFile_) << authority_.pem(); }

  static ConnectFailure::Cause expectedCause(const Step& step, const std::string& answer) {
    using Cause = ConnectFailure::Cause;
    if (answer == "hang") {
      return Cause::kTimedOut;
    }
    if (answer == "cut" && step.verb == "STARTTLS") {
      return Cause::kTls;
    }
    if (answer == "drop" || answer == "cut") {
      return Cause::kClosed;
    }
    // RFC 5321, 3.1: a server that wants no mail at all says so in the greeting, too.
    return answer[0] == '4'          ? Cause::kBusy
           : step.verb == "STARTTLS" ? Cause::kNoEncryption
           : step.verb == "AUTH"     ? Cause::kSignInRefused
                                     : Cause::kBusy;
  }
  // d delivered, k kept as a matter of everything, r the same as the sign-in is refused, w waits
  // untried, ? anything else.
  static std::string fatesIn(const WaitingMessages& feed, int refusals) {
    std::string fates;
    for (int message = 1; message <= 3; ++message) {
      const auto found = feed.outcomes().find(message);
      if (found == feed.outcomes().end()) {
        fates += "w";
      } else if (found->second.kind == Outcome::Kind::kDelivered) {
        fates += "d";
      } else if (found->second.kind == Outcome::Kind::kTemporary && found->second.everything) {
        fates += refusals > 0 ? "r" : "k";
      } else {
        fates += "?";
      }
    }
    return fates;
  }
  std::string tryCell(const Step& step, const std::string& answer) {
    OpeningServer server(step, answer, tls_.get());
    int refusals = 0;
    bool refused = false;
    std::chrono::milliseconds most = answer == "hang" ? kShortLimit : kSmtpOpenLimit;
    SmtpTransport transport(
        {{MailProtocol::kSmtp, "localhost", server.port(), step.security, caFile_},
         SmtpTransport::SignInCalls{
             [&](std::stop_token) -> Result<SignIn> {
               if (refused) {
                 return Error{0, "there is no other password"};
               }
               return SignIn{"ann", SignInMethod::kPassword, Secret("s3cret-word")};
             },
             [&] {
               refused = true;
               ++refusals;
             },
             {},
             [&] { refused = false; }},
         [&] { return std::make_unique<HastyNetwork>(most); }});
    WaitingMessages feed(3);
    transport.deliverAll(feed, {});
    std::string fates = fatesIn(feed, refusals);

    const auto cause = expectedCause(step, answer);
    EXPECT_EQ(fates, cause == ConnectFailure::Cause::kSignInRefused ? "rww" : "kww");
    if (!feed.outcomes().empty()) {
      const Outcome& outcome = feed.outcomes().begin()->second;
      EXPECT_THAT(outcome.code,
                  StartsWith("connect " + std::to_string(static_cast<int>(cause)) + ' '));
      EXPECT_THAT(outcome.words, HasSubstr(answer[0] < 'a' ? ": " + answer + " no\n" : ""));
    }
    EXPECT_EQ(server.connections, 1) << "it is not asked again at once";
    EXPECT_EQ(server.taken, 0);
    if (step.verb != "AUTH") {
      EXPECT_THAT(server.seen(), Each(Not(HasSubstr("AUTH"))));
    }

    server.fails = false;
    most = kSmtpOpenLimit;
    transport.tryAgain();
    feed.beginAgain();
    transport.deliverAll(feed, {});
    EXPECT_EQ(fatesIn(feed, 0), "ddd")
        << (feed.outcomes().empty() ? "" : feed.outcomes().begin()->second.words);
    EXPECT_EQ(server.taken, 3);
    return fates;
  }

  TempFolder temp_;
  std::string caFile_ = temp_.path("ca.pem");
  Identity authority_ = makeIdentity({.name = "authority", .authority = true}, nullptr);
  ContextPtr tls_ = makeServerTls(makeIdentity({.name = "localhost"}, &authority_));
};

TEST_F(SmtpOpeningTest, EveryAnswerAndFailureAtEveryStepHasItsOutcome) {
  std::printf(
      "The fates of three messages, whose connection meets the answer while it is opened:\n"
      "k kept, r kept as the sign-in is refused, w waits untried, - cannot happen\n\n%-16s",
      "");
  for (const std::string& answer : kAnswers) {
    std::printf(" %-4s", answer.c_str());
  }
  std::printf("\n");
  for (const Step& step : kSteps) {
    const bool whole = step.security == Security::kTls;
    std::printf("%-8s %-11s", step.verb.c_str(), whole ? "TLS" : "STARTTLS");
    for (const std::string& answer : kAnswers) {
      SCOPED_TRACE(step.verb + " answered by " + answer + (whole ? ", TLS" : ", STARTTLS"));
      const bool possible = answer != "cut" || whole || step.verb != "greeting";
      std::printf(" %-4s", possible ? tryCell(step, answer).c_str() : "-");
    }
    std::printf("\n");
  }
}

}  // namespace
}  // namespace relaybird
