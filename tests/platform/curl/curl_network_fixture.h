// SPDX-License-Identifier: MIT
// A CurlNetwork and a server of its own for each test, over real sockets and real TLS on this
// machine. The getaddrinfo() of curl_network_test.cpp stands in front of the system's, so that no
// test asks the network: names that end in ".test" are this machine.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "mail_talks.h"
#include "platform/curl/curl_network.h"
#include "support/temp_folder.h"
#include "tls_server.h"

namespace relaybird {

class CurlNetworkTest : public testing::Test {
 protected:
  using Cause = ConnectFailure::Cause;
  using State = Connection::State;
  static constexpr std::size_t kAny = 1U << 20U;

  static void SetUpTestSuite() {
    std::signal(SIGPIPE, SIG_IGN);
    // Before libcurl is initialised.
    ::setenv("SSLKEYLOGFILE", keyFile().c_str(), 1);
  }
  static void TearDownTestSuite() { std::filesystem::remove(keyFile()); }
  static std::string keyFile() {
    return std::filesystem::temp_directory_path() /
           ("relaybird-keys-" + std::to_string(::getpid()));
  }

  void SetUp() override { std::ofstream(folder.path() + "/ca.pem") << authority.pem(); }

  std::string caFile() const { return folder.path() + "/ca.pem"; }

  Talk talk(MailProtocol protocol, Security security) {
    Talk made;
    made.protocol = protocol;
    made.security = security;
    made.tls = tls.get();
    return made;
  }
  Talk imapTls() { return talk(MailProtocol::kImap, Security::kTls); }
  Talk smtpStartTls() { return talk(MailProtocol::kSmtp, Security::kStartTls); }

  // The server of the test's talk, and what the user has entered about it.
  MailServer serve(const Talk& made, bool signsIn = true) {
    return serveBy(made, [made, signsIn](Peer& peer) {
      openTalk(peer, made, signsIn);
      while (true) {
        peer.say("echo " + peer.line() + "\r\n");
      }
    });
  }
  MailServer serveBy(const Talk& made, std::function<void(Peer&)> conversation) {
    server = std::make_unique<TlsServer>(std::move(conversation));
    return {.protocol = made.protocol,
            .host = "mail.test",
            .port = server->port(),
            .security = made.security,
            .caFile = caFile()};
  }

  static SignIn ann(SignInMethod method = SignInMethod::kPassword,
                    const std::string& secret = "s3cret-word") {
    return {.user = "ann@mail.test", .method = method, .secret = Secret(secret)};
  }

  std::unique_ptr<Connection> connect(const MailServer& to,
                                      const std::optional<SignIn>& signIn = ann(),
                                      std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    return network.connect(to, signIn, limit, [this](const ProtocolLine& line) {
      trace.push_back((line.sent ? "> " : "< ") + line.text);
    });
  }
  // Waits until it is open or has failed.
  std::unique_ptr<Connection> opened(const MailServer& to,
                                     const std::optional<SignIn>& signIn = ann(),
                                     std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    auto connection = connect(to, signIn, limit);
    waitWhile([&] { return connection->state() == State::kOpening; });
    return connection;
  }
  // The condition is asked once after each wait, because it may take input.
  template <class Condition>
  void waitWhile(Condition condition) {
    const auto end = network.steadyTime() + std::chrono::seconds(60);
    while (condition()) {
      ASSERT_LT(network.steadyTime(), end) << "nothing happened for a minute";
      network.wait(std::chrono::seconds(10));
    }
  }
  ConnectFailure failureOf(const MailServer& to, const std::optional<SignIn>& signIn = ann(),
                           std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    const auto connection = opened(to, signIn, limit);
    EXPECT_EQ(connection->state(), State::kEnded);
    return connection->failure().value_or(ConnectFailure{});
  }
  // The next line, or what came until the end.
  std::string lineOf(Connection& connection) {
    std::string line;
    waitWhile([&] {
      connection.receive(line, kAny);
      return !line.ends_with('\n') && connection.state() == State::kOpen;
    });
    return line;
  }
  static bool failed(const std::unique_ptr<Connection>& connection) {
    return connection->state() == State::kEnded;
  }

  TempFolder folder;
  Identity authority = makeIdentity({.name = "authority", .authority = true}, nullptr);
  Identity identity = makeIdentity({}, &authority);
  ContextPtr tls = makeServerTls(identity);
  std::unique_ptr<TlsServer> server;
  CurlNetwork network;
  std::vector<std::string> trace;
};

}  // namespace relaybird
