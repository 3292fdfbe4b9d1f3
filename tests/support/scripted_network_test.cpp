// SPDX-License-Identifier: MIT
// The network without sockets that other tests rely on: it must do what a real one may do (full
// buffers, a few bytes at a time, a loss at any byte) and nothing that a real one cannot. Time
// passes only in wait().
#include "support/scripted_network.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace relaybird {
namespace {

using namespace std::chrono_literals;
using Cause = ConnectFailure::Cause;
using State = Connection::State;

constexpr std::size_t kAny = 1 << 20;

class ScriptedNetworkTest : public testing::Test {
 protected:
  // A server that opens, and on which `act` runs then; it repeats each line with "re: " before it.
  void serveEcho(std::function<void(ServerEnd&)> act = {}) {
    network.serve([act = std::move(act)](ServerEnd& end) {
      if (act) {
        act(end);
      }
      return answerLines([](ServerEnd& from, std::string_view line) {
        from.say("re: " + std::string(line) + "\r\n");
      });
    });
  }
  std::unique_ptr<Connection> connect() {
    return network.connect({.protocol = MailProtocol::kSmtp,
                            .host = "mail.example",
                            .port = 465,
                            .security = Security::kTls,
                            .caFile = {}},
                           SignIn{.user = "ann", .method = SignInMethod::kPlain, .secret = {}}, 10s,
                           {});
  }
  std::unique_ptr<Connection> opened() {
    auto connection = connect();
    network.wait(1s);
    EXPECT_EQ(connection->state(), State::kOpen);
    return connection;
  }
  // What arrives until nothing more is there.
  static std::string received(Connection& connection) {
    std::string bytes;
    while (connection.receive(bytes, kAny) > 0) {
    }
    return bytes;
  }
  std::chrono::milliseconds waited(std::chrono::milliseconds limit) {
    const auto before = network.steadyTime();
    network.wait(limit);
    return network.steadyTime() - before;
  }

  ScriptedNetwork network;
};

TEST_F(ScriptedNetworkTest, AnAnswerArrivesInTheNextWaitAndTakesNoTime) {
  serveEcho();
  const auto connection = opened();
  EXPECT_EQ(connection->step(), ConnectStep::kReady);
  EXPECT_EQ(connection->send("one\r\ntw"), 7U);
  EXPECT_EQ(received(*connection), "");
  EXPECT_EQ(waited(1s), 0ms);
  EXPECT_EQ(received(*connection), "re: one\r\n");
  EXPECT_EQ(connection->send("o\r\n"), 3U);
  network.wait(1s);
  std::string part;
  EXPECT_EQ(connection->receive(part, 5), 5U);
  EXPECT_EQ(part, "re: t");
  EXPECT_EQ(waited(1s), 0ms) << "unread input ends every wait";
  EXPECT_EQ(received(*connection), "wo\r\n");
  EXPECT_EQ(network.end(0).heard(), "one\r\ntwo\r\n");
  EXPECT_EQ(network.end(0).server().host, "mail.example");
  EXPECT_EQ(network.end(0).signIn()->user, "ann");
  EXPECT_EQ(network.connections(), 1U);
}

TEST_F(ScriptedNetworkTest, NothingToDoLetsTheWholeWaitPassAtOnce) {
  serveEcho();
  const auto connection = opened();
  EXPECT_EQ(waited(29min), 29min);
  EXPECT_EQ(waited(0ms), 0ms);
}

TEST_F(ScriptedNetworkTest, AWaitThatNothingCouldEndIsAnError) {
  serveEcho();
  const auto connection = opened();
  EXPECT_THROW(network.wait(std::chrono::milliseconds::max()), std::logic_error);
}

TEST_F(ScriptedNetworkTest, WithoutAServerConnectingFails) {
  const auto connection = connect();
  EXPECT_EQ(connection->state(), State::kOpening);
  network.wait(1s);
  EXPECT_EQ(connection->state(), State::kEnded);
  EXPECT_EQ(connection->failure()->cause, Cause::kNotReached);
  EXPECT_EQ(connection->failure()->step, ConnectStep::kConnect);
  EXPECT_EQ(waited(1s), 1s) << "an end is reported once";
}

// A server that only does what the test tells it to.
class Silent : public ServerScript {
 public:
  void connecting(ServerEnd&) override {}
  void heard(ServerEnd&, std::string_view) override {}
};

TEST_F(ScriptedNetworkTest, OpeningShowsItsStepsAndItsLines) {
  network.serve([](ServerEnd&) { return std::make_unique<Silent>(); });
  std::vector<std::string> lines;
  const auto connection = network.connect(
      {}, std::nullopt, 10s, [&](const ProtocolLine& line) { lines.push_back(line.text); });
  network.after(1s, [&] {
    network.end(0).reach(ConnectStep::kSignIn);
    network.end(0).trace({.sent = false, .text = "220 hello"});
  });
  network.after(2s, [&] { network.end(0).open(); });
  EXPECT_EQ(waited(1min), 1s);
  EXPECT_EQ(connection->step(), ConnectStep::kSignIn);
  EXPECT_EQ(connection->state(), State::kOpening);
  EXPECT_EQ(lines, std::vector<std::string>{"220 hello"});
  EXPECT_EQ(connection->send("too early"), 0U);
  EXPECT_EQ(waited(1min), 1s);
  EXPECT_EQ(connection->state(), State::kOpen);
}

TEST_F(ScriptedNetworkTest, AServerThatHangsWhileOpeningEndsAtTheLimit) {
  network.serve([](ServerEnd&) { return std::make_unique<Silent>(); });
  const auto connection = connect();
  EXPECT_EQ(waited(1min), 10s);
  EXPECT_EQ(connection->failure()->cause, Cause::kTimedOut);
}

TEST_F(ScriptedNetworkTest, AFailureWhileOpeningIsTheOneOfTheScript) {
  class Refusing : public Silent {
    void connecting(ServerEnd& end) override {
      end.fail({.cause = Cause::kSignInRefused,
                .step = ConnectStep::kSignIn,
                .words = "refused",
                .answer = "535 5.7.8 No"});
    }
  };
  network.serve([](ServerEnd&) { return std::make_unique<Refusing>(); });
  const auto connection = connect();
  EXPECT_EQ(waited(1s), 0ms);
  EXPECT_EQ(connection->failure()->answer, "535 5.7.8 No");
}

TEST_F(ScriptedNetworkTest, WhatWasSaidBeforeTheEndIsReadBeforeIt) {
  serveEcho();
  const auto connection = opened();
  network.end(0).say("bye\r\n");
  network.end(0).close();
  network.wait(1s);
  EXPECT_EQ(connection->state(), State::kOpen);
  std::string bytes;
  EXPECT_EQ(connection->receive(bytes, kAny), 5U);
  EXPECT_EQ(connection->state(), State::kOpen);
  EXPECT_EQ(waited(1s), 0ms) << "an end that receive() has not found yet is something to report";
  EXPECT_EQ(connection->receive(bytes, kAny), 0U);
  EXPECT_EQ(connection->failure()->cause, Cause::kClosed);
  EXPECT_EQ(connection->failure()->step, ConnectStep::kReady);
}

TEST_F(ScriptedNetworkTest, AHangingServerHearsNothingButTakesBytes) {
  serveEcho();
  const auto connection = opened();
  network.end(0).hang();
  EXPECT_EQ(connection->send("hello\r\n"), 7U);
  EXPECT_EQ(waited(5min), 5min);
  EXPECT_EQ(network.end(0).heard(), "");
  EXPECT_EQ(connection->state(), State::kOpen);
}

TEST_F(ScriptedNetworkTest, TricklingBytesArriveAFewAtATime) {
  serveEcho();
  const auto connection = opened();
  network.end(0).trickle(2, 3s);
  network.end(0).say("abcde");
  std::vector<std::pair<std::string, std::chrono::milliseconds>> portions;
  for (int i = 0; i < 3; ++i) {
    const auto time = waited(1min);
    portions.emplace_back(received(*connection), time);
  }
  EXPECT_EQ(portions, (std::vector<std::pair<std::string, std::chrono::milliseconds>>{
                          {"ab", 0ms}, {"cd", 3s}, {"e", 3s}}));
  network.end(0).trickle(1);
  network.end(0).say("xy");
  network.wait(1min);
  EXPECT_EQ(received(*connection), "x");
}

TEST_F(ScriptedNetworkTest, AFullSendBufferEmptiesInTheNextWait) {
  serveEcho();
  const auto connection = opened();
  network.end(0).acceptAtMost(4);
  EXPECT_EQ(connection->send("longer\r\n"), 4U);
  EXPECT_EQ(connection->send("er\r\n"), 0U);
  connection->wantToSend(true);
  EXPECT_EQ(waited(1s), 0ms);
  EXPECT_EQ(connection->send("er\r\n"), 4U);
  connection->wantToSend(false);
  EXPECT_EQ(waited(1s), 0ms);
  EXPECT_EQ(received(*connection), "re: longer\r\n");
  EXPECT_EQ(waited(1s), 1s);
}

TEST_F(ScriptedNetworkTest, WantingToSendEndsEachWaitWhileThereIsRoom) {
  serveEcho();
  const auto connection = opened();
  connection->wantToSend(true);
  EXPECT_EQ(waited(1s), 0ms);
  network.end(0).acceptAtMost(4);
  network.end(0).hang();
  EXPECT_EQ(connection->send("12345"), 4U);
  EXPECT_EQ(waited(1s), 1s) << "the buffer of a server that hangs stays full";
}

TEST_F(ScriptedNetworkTest, InputThatIsNotWantedEndsNoWaitUnlessItWasLeftOver) {
  serveEcho();
  const auto connection = opened();
  connection->wantToReceive(false);
  network.end(0).say("unasked\r\n");
  EXPECT_EQ(waited(1min), 1min);
  std::string in;
  EXPECT_EQ(connection->receive(in, 2), 2U);
  EXPECT_EQ(waited(1min), 0ms);
  EXPECT_EQ(in + received(*connection), "unasked\r\n");
  EXPECT_EQ(waited(1min), 1min);
  network.end(0).say("again\r\n");
  EXPECT_EQ(waited(1min), 1min);
  connection->wantToReceive(true);
  EXPECT_EQ(waited(1min), 0ms);
}

TEST_F(ScriptedNetworkTest, TheEndIsReportedWhereInputIsNotWanted) {
  serveEcho();
  const auto connection = opened();
  connection->wantToReceive(false);
  network.end(0).say("bye\r\n");
  network.after(10s, [&] { network.end(0).close(); });
  EXPECT_EQ(waited(1min), 10s);
  EXPECT_EQ(received(*connection), "bye\r\n");
  EXPECT_EQ(connection->state(), State::kEnded);
}

TEST_F(ScriptedNetworkTest, AServerWhoseOutputIsNotReadStopsHearing) {
  serveEcho([](ServerEnd& end) { end.keepUnreadBelow(6); });
  const auto connection = opened();
  connection->send("one\r\n");
  network.wait(1s);
  connection->send("two\r\n");
  network.wait(1s);
  network.wait(1s);
  EXPECT_EQ(network.end(0).heard(), "one\r\n");
  std::string all;
  for (int i = 0; i < 5; ++i) {
    network.wait(1s);
    all += received(*connection);
  }
  EXPECT_EQ(all, "re: one\r\nre: two\r\n");
}

TEST_F(ScriptedNetworkTest, AConnectionIsLostAfterSoManyBytesSaid) {
  serveEcho([](ServerEnd& end) { end.dropAfterSaying(5); });
  const auto connection = opened();
  connection->send("one\r\n");
  network.wait(1s);
  EXPECT_EQ(received(*connection), "re: o");
  EXPECT_EQ(connection->state(), State::kEnded);
  EXPECT_EQ(connection->failure()->cause, Cause::kNotReached);
}

TEST_F(ScriptedNetworkTest, AConnectionIsLostAfterSoManyBytesHeard) {
  serveEcho([](ServerEnd& end) { end.dropAfterHearing(6); });
  const auto connection = opened();
  EXPECT_EQ(connection->send("one\r\ntwo\r\n"), 10U) << "the client cannot know yet";
  network.wait(1s);
  EXPECT_EQ(received(*connection), "") << "an answer that was not sent before is lost";
  EXPECT_EQ(connection->failure()->cause, Cause::kNotReached);
  EXPECT_EQ(network.end(0).heard(), "one\r\nt");
  EXPECT_EQ(connection->send("more"), 0U);
}

TEST_F(ScriptedNetworkTest, WakingEndsTheNextWaitOnce) {
  serveEcho();
  const auto connection = opened();
  network.wake();
  network.wake();
  EXPECT_EQ(waited(1min), 0ms);
  EXPECT_EQ(waited(1min), 1min);
}

TEST_F(ScriptedNetworkTest, WhatTheTestDoesWhenIdleHappensBeforeTimePasses) {
  serveEcho();
  auto connection = opened();
  int idle = 0;
  network.whenIdle([&] {
    if (++idle == 2) {
      network.wake();
    } else if (idle == 3) {
      connection.reset();
    }
  });
  EXPECT_EQ(waited(1min), 1min);
  EXPECT_EQ(waited(1min), 0ms);
  EXPECT_FALSE(network.end(0).abandoned());
  EXPECT_EQ(waited(1min), 1min);
  EXPECT_TRUE(network.end(0).abandoned());
}

TEST_F(ScriptedNetworkTest, ConnectionsAreServedSideBySide) {
  serveEcho();
  const auto first = opened();
  const auto second = opened();
  second->send("b\r\n");
  first->send("a\r\n");
  network.wait(1s);
  EXPECT_EQ(received(*first), "re: a\r\n");
  EXPECT_EQ(received(*second), "re: b\r\n");
}

}  // namespace
}  // namespace relaybird
