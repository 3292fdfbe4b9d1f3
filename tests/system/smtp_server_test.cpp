// SPDX-License-Identifier: MIT
// Delivery over SMTP to real servers: a Dovecot that submits on, and a sink that can be told to
// fail. What counts is what lies on the server's disk afterwards: every message once, byte for
// byte, and no verdict that contradicts it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <deque>
#include <map>
#include <set>

#include "outbox/delivery/smtp_transport.h"
#include "platform/curl/curl_network.h"
#include "support/mail_servers.h"
#include "support/whole_text.h"

namespace relaybird {
namespace {

using testing::HasSubstr;
using Kind = Outcome::Kind;
namespace fs = std::filesystem;

// A series of messages, each handed out until there is a verdict.
class Series : public MessageFeed {
 public:
  explicit Series(std::vector<OutgoingMessage> messages) : messages_(std::move(messages)) {
    for (std::size_t index = 0; index < messages_.size(); ++index) {
      waiting_.push_back(index);
    }
  }

  std::optional<FedMessage> next() override {
    if (waiting_.empty()) {
      return std::nullopt;
    }
    const std::size_t index = waiting_.front();
    waiting_.pop_front();
    given_[++lastNumber_] = index;
    return FedMessage{lastNumber_, messages_[index]};
  }
  void report(std::vector<Verdict> verdicts) override {
    for (Verdict& verdict : verdicts) {
      const std::size_t index = given_.at(verdict.number);
      EXPECT_TRUE(outcomes.emplace(index, std::move(verdict.outcome)).second)
          << "two verdicts for message " << index;
    }
  }
  void makeDurable() override {}
  void putBack(std::uint64_t number) override { waiting_.push_front(given_.at(number)); }
  std::size_t waiting() const override { return waiting_.size(); }

  std::size_t delivered() const {
    return static_cast<std::size_t>(
        std::count_if(outcomes.begin(), outcomes.end(),
                      [](const auto& outcome) { return outcome.second.kind == Kind::kDelivered; }));
  }

  std::map<std::size_t, Outcome> outcomes;  // by the index of the message

 private:
  std::vector<OutgoingMessage> messages_;
  std::deque<std::size_t> waiting_;
  std::map<std::uint64_t, std::size_t> given_;
  std::uint64_t lastNumber_ = 0;
};

OutgoingMessage numbered(int number, const std::string& text = "Hi\n") {
  const std::string subject = "number " + std::to_string(number);
  return {{"me@here.example", {"cell@phone.example"}},
          subject,
          OutgoingText("Subject: " + subject + "\n\n" + text)};
}

std::vector<OutgoingMessage> numberedUpTo(int count) {
  std::vector<OutgoingMessage> messages;
  for (int number = 1; number <= count; ++number) {
    // Dots where SMTP doubles them, and sizes from a line to more than a network buffer.
    std::string text = ".\n..\n.a\n";
    for (int line = number % 20 == 0 ? 5000 : 1; line > 0; --line) {
      text += std::string(60, 'x') + "\n";
    }
    messages.push_back(numbered(number, text + ".\n"));
  }
  return messages;
}

std::string withCrLf(const std::string& text) {
  std::string made;
  for (const char c : text) {
    made += c == '\n' ? std::string("\r\n") : std::string(1, c);
  }
  return made;
}

struct Taken {
  std::string envelope;
  std::string text;
};

// What a sink has taken since it was started, in order.
std::vector<Taken> takenBy(const std::string& folder) {
  std::map<std::string, Taken> taken;
  for (const auto& entry : fs::directory_iterator(folder)) {
    Taken& each = taken[entry.path().stem().string()];
    (entry.path().extension() == ".eml" ? each.text : each.envelope) =
        readBytes(entry.path().string());
  }
  std::vector<Taken> list;
  for (auto& [name, each] : taken) {
    list.push_back(std::move(each));
  }
  return list;
}

class SmtpServer : public testing::Test {
 protected:
  static void SetUpTestSuite() { ::signal(SIGPIPE, SIG_IGN); }

  MailServers::Values newSink(const std::string& options = {}) {
    return servers_.ask("sink " + options);
  }
  static std::uint16_t portOf(const MailServers::Values& values) {
    return static_cast<std::uint16_t>(std::stoi(values.at("port")));
  }
  static MailServer plainServer(std::uint16_t port) {
    return {MailProtocol::kSmtp, "localhost", port, Security::kNone, {}};
  }
  static SmtpTransport::Setting settingFor(MailServer server) {
    return {std::move(server), std::nullopt, [] { return std::make_unique<CurlNetwork>(); }};
  }
  // Sends the series; sets `series` for the test to look at.
  static void deliver(Series& series, SmtpTransport::Setting setting) {
    SmtpTransport transport(std::move(setting));
    transport.deliverAll(series, std::stop_token());
  }

  // Each message is there once, as it was given.
  static void expectAll(const std::vector<OutgoingMessage>& messages,
                        const std::vector<Taken>& taken) {
    std::multiset<std::string> expected;
    std::multiset<std::string> found;
    for (const OutgoingMessage& message : messages) {
      expected.insert(withCrLf(wholeText(message.text)));
    }
    for (const Taken& each : taken) {
      found.insert(each.text);
    }
    EXPECT_EQ(found.size(), expected.size());
    EXPECT_TRUE(found == expected) << "messages were lost, doubled or changed";
  }

  MailServers& servers_ = MailServers::get();
};

TEST_F(SmtpServer, SubmitsThroughDovecotOverEverySecurity) {
  std::size_t before = takenBy(servers_.sinkFolder()).size();
  for (const Security security : {Security::kTls, Security::kStartTls, Security::kNone}) {
    const std::string name = security == Security::kTls ? "plain.submissions" : "plain.submission";
    SmtpTransport::Setting setting = settingFor(
        {MailProtocol::kSmtp, "localhost", servers_.port(name), security, servers_.caFile()});
    setting.signIn = SmtpTransport::SignInCalls{
        [](std::stop_token) {
          return SignIn{"ann", SignInMethod::kPassword, Secret(MailServers::kAnnsPassword)};
        },
        [] { ADD_FAILURE() << "the sign-in was refused"; }, [] {}, [] {}};
    std::vector<OutgoingMessage> messages = numberedUpTo(50);
    messages[3].envelope.recipients.push_back("second@phone.example");
    Series series(messages);
    deliver(series, setting);
    EXPECT_EQ(series.delivered(), messages.size());

    std::vector<Taken> taken = takenBy(servers_.sinkFolder());
    taken.erase(taken.begin(), taken.begin() + static_cast<long>(before));
    before += taken.size();
    int toTwo = 0;
    for (Taken& each : taken) {
      each.text.erase(0, each.text.find("Subject: "));  // Dovecot adds a field before it
      EXPECT_THAT(each.envelope, HasSubstr("from me@here.example\nto cell@phone.example\n"));
      toTwo += each.envelope.find("to second@phone.example\n") != std::string::npos ? 1 : 0;
    }
    EXPECT_EQ(toTwo, 1);
    expectAll(messages, taken);
  }
}

TEST_F(SmtpServer, CostsOneRoundTripAMessageWithPipeliningAndFourWithout) {
  for (const auto& [options, perMessage] :
       {std::pair("pipelining=yes", 1.2), std::pair("pipelining=no", 4.2)}) {
    SCOPED_TRACE(options);
    const MailServers::Values sink = newSink(options);
    const MailServers::Values proxy = servers_.ask("proxy " + sink.at("port"));
    const std::vector<OutgoingMessage> messages = numberedUpTo(100);
    Series series(messages);
    deliver(series, settingFor(plainServer(portOf(proxy))));
    EXPECT_EQ(series.delivered(), messages.size());
    expectAll(messages, takenBy(sink.at("folder")));
    const double turns = std::stod(servers_.ask("counts " + proxy.at("name")).at("turns"));
    EXPECT_LE(turns / static_cast<double>(messages.size()), perMessage);
  }
}

// Limits as large providers have them: so many messages on a connection, so many connections.
TEST_F(SmtpServer, LimitsOfAServerLoseAndDoubleNothing) {
  for (const char* rules :
       {"MAIL 21+ 421 4.7.0 Too many messages on this connection !close",
        "MAIL 21+ 451 4.7.0 Too many messages on this connection", "MAIL 21+ drop", "RSET 20+ drop",
        "CONNECT 2+ 421 4.7.0 Too many connections !close", "CONNECT 3+ drop"}) {
    for (const char* options : {"pipelining=yes", "pipelining=no"}) {
      SCOPED_TRACE(std::string(rules) + " " + options);
      const MailServers::Values sink = newSink(options);
      servers_.ask("rules " + sink.at("name") + " " + rules);
      const std::vector<OutgoingMessage> messages = numberedUpTo(100);
      Series series(messages);
      deliver(series, settingFor(plainServer(portOf(sink))));
      EXPECT_EQ(series.delivered(), messages.size());
      expectAll(messages, takenBy(sink.at("folder")));
    }
  }
}

// An answer of the server, or a failure, as the sink is told to give it.
struct Answer {
  const char* shown;
  const char* action;
};
constexpr std::array kAnswers = {Answer{"421", "421 4.3.2 Closing !close"},
                                 Answer{"450", "450 4.2.1 Busy"},
                                 Answer{"451", "451 4.3.0 Trouble"},
                                 Answer{"452", "452 4.3.1 Full"},
                                 Answer{"454", "454 4.7.0 No TLS"},
                                 Answer{"550", "550 5.1.1 No such user"},
                                 Answer{"552", "552 5.3.4 Too big"},
                                 Answer{"554", "554 5.7.1 No"},
                                 Answer{"drop", "drop"},
                                 Answer{"taken", "taken drop"}};

char letterOf(const Series& series, std::size_t index) {
  const auto outcome = series.outcomes.find(index);
  if (outcome == series.outcomes.end()) {
    return 'w';
  }
  switch (outcome->second.kind) {
    case Kind::kDelivered:
      return 'd';
    case Kind::kTemporary:
      return 'k';
    case Kind::kPermanent:
      return 'f';
    case Kind::kUnknown:
      return 'u';
    case Kind::kCancelled:
      return 'c';
  }
  return '?';
}

// Whatever the server says at whatever moment: what it has taken is known as delivered, or as
// unknown if its answer was lost, and the rest is not.
TEST_F(SmtpServer, VerdictsAgreeWithWhatTheServerHas) {
  std::printf(
      "The fates of two messages for which a real server gives the answer on every connection:\n"
      "d delivered, k kept, f failed, u unknown, w waits untried\n\n%-19s",
      "");
  for (const Answer& answer : kAnswers) {
    std::printf(" %-5s", answer.shown);
  }
  for (const char* options : {"pipelining=yes", "pipelining=no"}) {
    for (const std::string verb : {"CONNECT", "EHLO", "MAIL", "RCPT", "DATA", "END"}) {
      std::printf("\n%-8s %-10s", verb.c_str(),
                  std::string(options).ends_with("yes") ? "pipelining" : "lockstep");
      for (const auto& [shown, action] : kAnswers) {
        const bool takes = std::string(action) == "taken drop";
        if (takes && verb != "END") {
          continue;
        }
        SCOPED_TRACE(std::string(options) + " " + verb + " " + action);
        const MailServers::Values sink = newSink(options);
        servers_.ask("rules " + sink.at("name") + " " + verb + " * " + action);
        Series series({numbered(1), numbered(2)});
        deliver(series, settingFor(plainServer(portOf(sink))));
        const std::size_t taken = takenBy(sink.at("folder")).size();
        std::size_t unknown = 0;
        for (const auto& [number, outcome] : series.outcomes) {
          EXPECT_NE(outcome.kind, Kind::kDelivered);
          EXPECT_NE(outcome.words, "");
          unknown += outcome.kind == Kind::kUnknown ? 1 : 0;
          const bool permanent = action[0] == '5' && verb != "CONNECT" && verb != "EHLO";
          EXPECT_EQ(outcome.kind == Kind::kPermanent, permanent) << outcome.words;
        }
        EXPECT_FALSE(series.outcomes.empty());
        EXPECT_GE(unknown, taken) << "what the server has taken would be sent again as new";
        EXPECT_EQ(taken != 0, takes);
        std::printf(" %c%-4c", letterOf(series, 0), letterOf(series, 1));
      }
    }
  }
  std::printf("\n");
}

TEST_F(SmtpServer, OneRefusedAddressOfThreeFailsAlone) {
  for (const char* options : {"pipelining=yes", "pipelining=no"}) {
    const MailServers::Values sink = newSink(options);
    servers_.ask("rules " + sink.at("name") +
                 " RCPT~bad@ * 550 5.1.1 No such user; RCPT~later@ * 450 4.2.1 Mailbox busy");
    OutgoingMessage message = numbered(1);
    message.envelope.recipients = {"bad@x.example", "good@x.example", "later@x.example"};
    Series series({message, numbered(2)});
    deliver(series, settingFor(plainServer(portOf(sink))));
    ASSERT_EQ(series.outcomes.size(), 2U);
    const Outcome& outcome = series.outcomes.at(0);
    ASSERT_EQ(outcome.refused.size(), 2U) << outcome.words;
    std::map<std::string, bool> permanent;
    for (const RefusedRecipient& each : outcome.refused) {
      permanent[each.address] = each.permanent;
      EXPECT_NE(each.words, "");
    }
    EXPECT_EQ(permanent,
              (std::map<std::string, bool>{{"bad@x.example", true}, {"later@x.example", false}}));
    const std::vector<Taken> taken = takenBy(sink.at("folder"));
    ASSERT_EQ(taken.size(), 2U);
    EXPECT_THAT(taken[0].envelope, HasSubstr("to good@x.example\n"));
    EXPECT_EQ(series.outcomes.at(1).kind, Kind::kDelivered);
  }
}

TEST_F(SmtpServer, MessageThatIsTooLargeForTheServerFailsAlone) {
  const MailServers::Values sink = newSink("size=20000");
  Series series({numbered(1), numbered(2, std::string(30000, 'x') + "\n"), numbered(3)});
  deliver(series, settingFor(plainServer(portOf(sink))));
  EXPECT_EQ(series.outcomes.at(0).kind, Kind::kDelivered);
  EXPECT_EQ(series.outcomes.at(1).kind, Kind::kPermanent);
  EXPECT_EQ(series.outcomes.at(2).kind, Kind::kDelivered);
  EXPECT_EQ(takenBy(sink.at("folder")).size(), 2U);
}

}  // namespace
}  // namespace relaybird
