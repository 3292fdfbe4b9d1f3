// SPDX-License-Identifier: MIT
// A Network for tests of what is said on connections. The test plays the servers; there are no
// sockets, no threads and no real time, so every run is the same.
//
// How to use it:
//
//   ScriptedNetwork network;
//   network.serve([](ServerEnd&) {
//     return answerLines([](ServerEnd& end, std::string_view line) {
//       end.say(line == "NOOP" ? "250 OK\r\n" : "500 What?\r\n");
//     });
//   });
//   ... the code under test calls network.connect(), network.wait() and so on ...
//   EXPECT_EQ(network.end(0).heard(), "NOOP\r\n");
//
// serve() gives every connection a ServerScript. answerLines() makes one for a protocol of lines; a
// class of the test's own may answer any bytes. As in CurlNetwork, the greeting and the sign-in are
// over when a connection is open: the script hears what the client sends afterwards, in wait().
//
// Faults: ServerEnd has them. In ServerScript::connecting() a script may fail(), or neither open()
// nor fail(), which is a server that hangs until the client's limit. Later it may close(), fail(),
// hang(), trickle(), accept little output at a time, or drop the connection after a number of
// bytes.
//
// Time: steadyTime() moves only inside wait(), when no connection has anything to report: to the
// next moment when something happens, at most by the wait's limit. So a time-out is reached at
// once. after() makes something happen at a time; whenIdle() runs before time passes, e.g. to call
// wake() or to stop the code under test in the middle of a wait.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/system/network.h"

namespace relaybird {

class ServerEnd;

/// What the server of one connection does.
class ServerScript {
 public:
  virtual ~ServerScript() = default;
  /// The client wants to connect: called once, in the first wait() after connect().
  virtual void connecting(ServerEnd& end);
  /// The client has sent these bytes, split in any way.
  virtual void heard(ServerEnd& end, std::string_view bytes) = 0;
};

/// A script that calls `answer` for each line that the client has sent, without its line end.
std::unique_ptr<ServerScript> answerLines(std::function<void(ServerEnd&, std::string_view)> answer);

/// The server's end of one connection.
class ServerEnd {
 public:
  static constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

  /// What connect() was given.
  const MailServer& server() const { return server_; }
  const std::optional<SignIn>& signIn() const { return signIn_; }
  /// All that the client has sent and the server has read.
  const std::string& heard() const { return heard_; }
  /// How much of what was said has arrived at the client.
  std::size_t said() const { return said_; }
  /// Whether the client has destroyed its connection.
  bool abandoned() const { return abandoned_; }

  /// While the connection is being opened: shows the client a step, opens the connection, or gives
  /// the client's `trace` a line.
  void reach(ConnectStep step);
  void open();
  void trace(const ProtocolLine& line);

  /// Sends bytes to the client. They arrive in wait(), once the connection is open.
  void say(std::string_view bytes) { outgoing_ += bytes; }
  /// Ends the connection: at once while it is being opened, else once the client has read what was
  /// said. Nothing is heard any more.
  void fail(ConnectFailure failure);
  /// fail(), as by a server that ends the connection in order.
  void close();
  /// Hears nothing any more, but leaves the connection open.
  void hang() { hanging_ = true; }

  /// From now on, `bytes` of what was said arrive at a time, the next ones `every` later. An
  /// interval of 0 lets them arrive in the next wait().
  void trickle(std::size_t bytes, std::chrono::milliseconds every = {});
  /// The client's send buffer: send() accepts this many bytes between two wait().
  void acceptAtMost(std::size_t bytes);
  /// The client's receive buffer: more does not arrive until it has been read, and until all has
  /// arrived the server hears nothing, as a server that writes before it reads again.
  void keepUnreadBelow(std::size_t bytes) { mostUnread_ = bytes; }
  /// The connection is lost once so many bytes were sent to the client, or heard, since it opened.
  void dropAfterSaying(std::size_t bytes) { mostSaid_ = bytes; }
  void dropAfterHearing(std::size_t bytes) { mostHeard_ = bytes; }

 private:
  friend class ScriptedNetwork;
  class ClientEnd;
  using Time = std::chrono::milliseconds;

  bool progress(Time now);
  void progressOpening(Time now);
  void hear();
  void arrive(Time now);
  void drop();
  void endWith(ConnectFailure failure);
  bool readable() const;
  std::optional<Time> nextEvent() const;

  MailServer server_;
  std::optional<SignIn> signIn_;
  std::function<void(ProtocolLine)> trace_;
  std::unique_ptr<ServerScript> script_;
  Time openUntil_{0};
  bool introduced_ = false;
  bool abandoned_ = false;

  Connection::State state_ = Connection::State::kOpening;  // as the client sees it
  ConnectStep step_ = ConnectStep::kResolve;
  std::optional<ConnectFailure> failure_;
  std::optional<ConnectFailure> coming_;  // the failure that follows what was said
  bool changed_ = false;
  bool wantsToSend_ = false;
  bool wantsToReceive_ = true;
  bool leftOver_ = false;  // by the client's last receive()

  std::string inFlight_;  // sent by the client, not heard yet
  std::string heard_;
  std::size_t window_ = kNoLimit;
  std::size_t mostAccepted_ = kNoLimit;
  std::size_t mostHeard_ = kNoLimit;
  bool hanging_ = false;

  std::string outgoing_;  // said, not arrived yet
  std::string arrived_;
  std::size_t said_ = 0;
  std::size_t mostSaid_ = kNoLimit;
  std::size_t mostUnread_ = kNoLimit;
  std::size_t portion_ = kNoLimit;
  Time interval_{0};
  Time nextArrival_{0};
};

/// The network. Must outlive its connections. One thread, except for wake().
class ScriptedNetwork : public Network {
 public:
  /// Makes the script of each further connection. Without one, nothing listens: connecting fails
  /// with Cause::kNotReached.
  void serve(std::function<std::unique_ptr<ServerScript>(ServerEnd&)> maker);

  /// How many connections were asked for, and the server's end of one of them, from 0. It stays
  /// there to be looked at after the connection has ended.
  std::size_t connections() const { return ends_.size(); }
  ServerEnd& end(std::size_t number) { return *ends_.at(number); }

  /// Runs `act` inside wait(), once time has moved by `delay`.
  void after(std::chrono::milliseconds delay, std::function<void()> act);
  /// Runs `act` inside each wait() that is about to let time pass, once.
  void whenIdle(std::function<void()> act) { idle_ = std::move(act); }

  std::unique_ptr<Connection> connect(const MailServer& server, const std::optional<SignIn>& signIn,
                                      std::chrono::milliseconds limit,
                                      std::function<void(ProtocolLine)> trace) override;
  /// Throws std::logic_error when it would wait for ever: a limit of over a year and nothing that
  /// could end it, or a client that waits a million times in which no time passes.
  void wait(std::chrono::milliseconds limit) override;
  void wake() override {
    woken_ = true;
    ++wakes_;
  }
  int wakes() const { return wakes_; }
  std::chrono::milliseconds steadyTime() const override { return now_; }

 private:
  struct Action {
    std::chrono::milliseconds due;
    std::function<void()> act;
  };

  bool somethingToReport();
  void runDueActions();
  void requireProgress();
  std::chrono::milliseconds nextEvent(std::chrono::milliseconds latest) const;

  std::function<std::unique_ptr<ServerScript>(ServerEnd&)> maker_;
  std::function<void()> idle_;
  std::vector<std::shared_ptr<ServerEnd>> ends_;
  std::vector<Action> actions_;
  std::atomic<bool> woken_{false};
  std::atomic<int> wakes_{0};
  std::chrono::milliseconds now_ = std::chrono::hours(77);  // not 0, as on a real machine
  std::chrono::milliseconds timeOfLastWait_{0};
  int waitsAtThisTime_ = 0;
};

}  // namespace relaybird
