// SPDX-License-Identifier: MIT
// Connections to a real Dovecot, IMAP and submission: who gets in, by which mechanism, and who is
// kept out before a secret is sent.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>

#include <vector>

#include "platform/curl/curl_network.h"
#include "platform/posix/descriptor.h"
#include "support/mail_servers.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;
using Cause = ConnectFailure::Cause;

constexpr MailProtocol kProtocols[] = {MailProtocol::kImap, MailProtocol::kSmtp};

std::string nameOf(MailProtocol protocol) {
  return protocol == MailProtocol::kImap ? "imap" : "submission";
}

// A server at one of Dovecot's addresses.
MailServer serverAt(const std::string& address, MailProtocol protocol, Security security) {
  MailServers& servers = MailServers::get();
  const std::string name =
      address + "." + nameOf(protocol) + (security == Security::kTls ? "s" : "");
  return {protocol, MailServers::host(name), servers.port(name), security, servers.caFile()};
}

constexpr const char* kKeptBack = "box200";  // a user who signs in nowhere

SignIn withPassword(const std::string& user, const std::string& password = MailServers::kPassword) {
  return {user, SignInMethod::kPassword, Secret(password)};
}

class MailConnections : public testing::Test {
 protected:
  // As the programs do: a server may close a connection that is written to.
  static void SetUpTestSuite() { ::signal(SIGPIPE, SIG_IGN); }

  // Runs until the connection is open or has ended.
  std::unique_ptr<Connection> open(const MailServer& server, const std::optional<SignIn>& signIn,
                                   std::chrono::milliseconds limit = 10s) {
    std::unique_ptr<Connection> made = network_->connect(server, signIn, limit, {});
    const auto end = network_->steadyTime() + 2 * limit + 5s;
    while (made->state() == Connection::State::kOpening && network_->steadyTime() < end) {
      network_->wait(100ms);
    }
    return made;
  }

  // Sends a command over the open connection and returns the answer up to that text.
  std::string talk(Connection& connection, std::string_view command, std::string_view until) {
    std::string answer;
    const auto end = network_->steadyTime() + 10s;
    while (answer.find(until) == std::string::npos && network_->steadyTime() < end &&
           connection.state() == Connection::State::kOpen) {
      command.remove_prefix(connection.send(command));
      if (connection.receive(answer, 65536) == 0) {
        network_->wait(100ms);
      }
    }
    return answer;
  }

  // Opening must fail for that cause, before anybody has tried to sign in.
  void expectKeptOut(const MailServer& server, Cause cause) {
    SCOPED_TRACE(server.host + " " + nameOf(server.protocol) + " security " +
                 std::to_string(static_cast<int>(server.security)));
    const std::size_t from = MailServers::get().logSize();
    {
      const std::unique_ptr<Connection> connection = open(server, withPassword(kKeptBack));
      ASSERT_EQ(connection->state(), Connection::State::kEnded);
      EXPECT_EQ(connection->failure()->cause, cause) << connection->failure()->words;
      EXPECT_NE(connection->failure()->words, "");
    }
    // Dovecot logs the end of a connection, with the user's name once somebody has tried to sign
    // in.
    const std::string log = MailServers::get().awaitLog("user=<>, ", from);
    EXPECT_THAT(log, Not(HasSubstr(kKeptBack)));
  }

  std::unique_ptr<Network> network_ = std::make_unique<CurlNetwork>();
};

TEST_F(MailConnections, EveryMechanismSignsInOverEverySecurity) {
  struct Way {
    SignInMethod method;
    const char* secret;
    const char* logged;
  };
  const Way ways[] = {{SignInMethod::kPassword, MailServers::kAnnsPassword, "method="},
                      {SignInMethod::kPlain, MailServers::kAnnsPassword, "method=PLAIN,"},
                      {SignInMethod::kLogin, MailServers::kAnnsPassword, "method=LOGIN,"},
                      {SignInMethod::kXoauth2, "token-of-ann", "method=XOAUTH2,"},
                      {SignInMethod::kOauthBearer, "token-of-ann", "method=OAUTHBEARER,"}};
  for (const MailProtocol protocol : kProtocols) {
    for (const Security security : {Security::kTls, Security::kStartTls, Security::kNone}) {
      for (const Way& way : ways) {
        SCOPED_TRACE(nameOf(protocol) + " security " + std::to_string(static_cast<int>(security)) +
                     " " + way.logged);
        const std::size_t from = MailServers::get().logSize();
        const auto connection = open(serverAt("plain", protocol, security),
                                     SignIn{"ann", way.method, Secret(way.secret)});
        ASSERT_EQ(connection->state(), Connection::State::kOpen)
            << connection->failure()->words << " " << connection->failure()->answer;
        EXPECT_EQ(connection->step(), ConnectStep::kReady);
        if (protocol == MailProtocol::kImap) {
          EXPECT_THAT(talk(*connection, "t1 EXAMINE INBOX\r\n", "t1 "), HasSubstr("t1 OK"));
        } else {
          EXPECT_THAT(talk(*connection, "NOOP\r\n", "\r\n"), HasSubstr("250 "));
        }
        const std::string log = MailServers::get().awaitLog("Login: user=<ann>", from);
        EXPECT_THAT(log, HasSubstr(way.logged));
        EXPECT_EQ(log.find(", TLS,") != std::string::npos, security != Security::kNone) << log;
      }
    }
  }
}

TEST_F(MailConnections, WrongPasswordsAndStaleTokensAreRefusedInTheServersWords) {
  struct Try {
    SignIn signIn;
    const char* words;  // of the reason, where the mechanism carries one
  };
  const Try tries[] = {
      {withPassword("ann", "wrong"), "Authentication failed"},
      {SignIn{"ann", SignInMethod::kXoauth2, Secret("stale")}, "\"status\":\"401\""},
      {SignIn{"ann", SignInMethod::kOauthBearer, Secret("token-of-box1")}, "uthentication failed"}};
  for (const MailProtocol protocol : kProtocols) {
    for (const Try& each : tries) {
      SCOPED_TRACE(nameOf(protocol) + " expects " + each.words);
      const auto connection = open(serverAt("plain", protocol, Security::kStartTls), each.signIn);
      ASSERT_EQ(connection->state(), Connection::State::kEnded);
      EXPECT_EQ(connection->failure()->cause, Cause::kSignInRefused);
      EXPECT_EQ(connection->failure()->step, ConnectStep::kSignIn);
      EXPECT_THAT(connection->failure()->answer, HasSubstr(each.words));
    }
  }
}

TEST_F(MailConnections, WrongCertificatesKeepTheSecretBack) {
  for (const MailProtocol protocol : kProtocols) {
    for (const Security security : {Security::kTls, Security::kStartTls}) {
      for (const char* address : {"expired", "wrong-host", "self-signed"}) {
        expectKeptOut(serverAt(address, protocol, security), Cause::kCertificate);
      }
      MailServer unknown = serverAt("plain", protocol, security);
      unknown.caFile.clear();  // the system does not know this authority
      expectKeptOut(unknown, Cause::kCertificate);
    }
  }
}

TEST_F(MailConnections, MissingEncryptionKeepsTheSecretBack) {
  for (const MailProtocol protocol : kProtocols) {
    expectKeptOut(serverAt("unencrypted", protocol, Security::kStartTls), Cause::kNoEncryption);
    const MailServer sound = serverAt("plain", protocol, Security::kStartTls);
    for (const auto& [edit, cause] :
         {std::pair("strip", Cause::kNoEncryption),
          // The proxy answers with 454 and with a plain NO.
          std::pair("refuse",
                    protocol == MailProtocol::kSmtp ? Cause::kBusy : Cause::kNoEncryption),
          std::pair("inject", Cause::kProtocol)}) {
      SCOPED_TRACE(edit);
      MailServer attacked = sound;
      attacked.port =
          MailServers::get().portOf("proxy " + std::to_string(sound.port) + " edit=" + edit);
      expectKeptOut(attacked, cause);
    }
  }
}

TEST_F(MailConnections, ServerThatTakesNoPlainPasswordsGetsNone) {
  for (const MailProtocol protocol : kProtocols) {
    expectKeptOut(serverAt("demanding", protocol, Security::kNone), Cause::kSignInRefused);
  }
}

// A port of [::1] that does not answer, as behind a router that drops packets: the system drops
// what comes while the queue of connections is full.
class SilentPort {
 public:
  explicit SilentPort(std::uint16_t port) {
    const int on = 1;
    address_.sin6_family = AF_INET6;
    address_.sin6_addr = in6addr_loopback;
    address_.sin6_port = htons(port);
    server_ = Descriptor(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ::setsockopt(server_.get(), IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
    works_ =
        ::bind(server_.get(), whole(), sizeof address_) == 0 && ::listen(server_.get(), 0) == 0;
    for (int i = 0; works_ && i < 8; ++i) {
      waiting_.emplace_back(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
      (void)::connect(waiting_.back().get(), whole(), sizeof address_);
    }
  }
  // False: this computer has no IPv6, or the port is taken.
  bool works() const { return works_; }

 private:
  const sockaddr* whole() const { return reinterpret_cast<const sockaddr*>(&address_); }

  sockaddr_in6 address_{};
  Descriptor server_;
  std::vector<Descriptor> waiting_;
  bool works_ = false;
};

TEST_F(MailConnections, AServerIsReachedOverIpv6AndPastAnAddressThatDoesNotAnswer) {
  MailServers& servers = MailServers::get();
  const auto sinkAt = [&](const char* host, const char* address) {
    return MailServer{MailProtocol::kSmtp,
                      host,
                      servers.portOf(std::string("sink address=") + address),
                      Security::kNone,
                      {}};
  };
  const MailServer old = sinkAt("localhost", "127.0.0.1");
  const SilentPort silent(old.port);
  if (!silent.works()) {
    GTEST_SKIP() << "no IPv6 here";
  }
  MailServer firstAlone = old;
  firstAlone.host = "::1";
  const auto unanswered = open(firstAlone, std::nullopt, 100ms);
  ASSERT_EQ(unanswered->state(), Connection::State::kEnded);
  ASSERT_EQ(unanswered->failure()->cause, Cause::kTimedOut) << "that address should be silent";
  // The first address does not answer.
  const auto begin = network_->steadyTime();
  auto connection = open(old, std::nullopt);
  ASSERT_EQ(connection->state(), Connection::State::kOpen) << connection->failure()->words;
  EXPECT_LT(network_->steadyTime() - begin, 5s);
  // The server is at the first address, or at the second, alone.
  for (const char* host : {"::1", "localhost"}) {
    connection = open(sinkAt(host, "::1"), std::nullopt);
    ASSERT_EQ(connection->state(), Connection::State::kOpen)
        << host << ": " << connection->failure()->words;
    EXPECT_THAT(talk(*connection, "NOOP\r\n", "\r\n"), HasSubstr("250 "));
  }
  EXPECT_EQ(open(sinkAt("localhost", "127.0.0.1"), std::nullopt)->state(),
            Connection::State::kOpen);
}

TEST_F(MailConnections, ServersThatSayNothingOrHangUpAreGivenUp) {
  MailServers& servers = MailServers::get();
  const MailServers::Values sink = servers.ask("sink");
  const MailServer server{MailProtocol::kSmtp,
                          "localhost",
                          static_cast<std::uint16_t>(std::stoi(sink.at("port"))),
                          Security::kNone,
                          {}};
  const auto failureAfter = [&](const std::string& rule, std::chrono::milliseconds limit) {
    servers.ask("rules " + sink.at("name") + " " + rule);
    const auto connection = open(server, std::nullopt, limit);
    return connection->failure() ? connection->failure()->cause : Cause::kTls;
  };
  EXPECT_EQ(failureAfter("CONNECT * hang", 300ms), Cause::kTimedOut);
  EXPECT_EQ(failureAfter("EHLO * hang", 300ms), Cause::kTimedOut);
  EXPECT_EQ(failureAfter("CONNECT * drop", 20s), Cause::kClosed);
  EXPECT_EQ(failureAfter("EHLO * drop", 20s), Cause::kClosed);
}

}  // namespace
}  // namespace relaybird
