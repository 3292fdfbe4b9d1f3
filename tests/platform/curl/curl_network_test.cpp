// SPDX-License-Identifier: MIT
// Opening and using connections: names and addresses, every protocol with every kind of encryption,
// limits of time, and what happens after the sign-in. Encryption and sign-in have files of their
// own beside this one.
//
// A look-up of "slow.test" ends when the test allows it.
#include <dlfcn.h>
#include <netdb.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "curl_network_fixture.h"
#include "platform/curl/curl_connection.h"

namespace {

struct Names {
  std::mutex mutex;
  std::condition_variable changed;
  bool slow = false;  // look-ups of slow.test wait
  std::vector<std::string> asked;
};
Names& names() {
  static Names all;
  return all;
}

}  // namespace

extern "C" int getaddrinfo(const char* node, const char* service, const addrinfo* hints,
                           addrinfo** result) {
  static const auto theSystems =
      reinterpret_cast<decltype(&getaddrinfo)>(::dlsym(RTLD_NEXT, "getaddrinfo"));
  const std::string name = node == nullptr ? "" : node;
  {
    std::unique_lock lock(names().mutex);
    names().asked.push_back(name);
    if (name == "slow.test") {
      names().changed.wait(lock, [] { return !names().slow; });
    }
  }
  return name.ends_with(".test") ? theSystems("127.0.0.1", service, hints, result) : EAI_NONAME;
}

namespace relaybird {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

// --- Every protocol with every kind of encryption ---

class EveryServer : public CurlNetworkTest,
                    public testing::WithParamInterface<std::pair<MailProtocol, Security>> {};

TEST_P(EveryServer, IsSignedInToAndThenCarriesBytesBothWays) {
  const auto connection = opened(serve(talk(GetParam().first, GetParam().second)));
  ASSERT_EQ(connection->state(), State::kOpen) << connection->failure()->words;
  EXPECT_EQ(connection->step(), ConnectStep::kReady);
  EXPECT_EQ(connection->send("hello\r\n"), 7U);
  EXPECT_EQ(lineOf(*connection), "echo hello\r\n");
}

TEST_P(EveryServer, WithoutASignInIsOpenOnceItIsEncryptedAndGreeted) {
  const auto connection =
      opened(serve(talk(GetParam().first, GetParam().second), false), std::nullopt);
  ASSERT_EQ(connection->state(), State::kOpen) << connection->failure()->words;
  EXPECT_EQ(connection->send("hello\r\n"), 7U);
  EXPECT_EQ(lineOf(*connection), "echo hello\r\n");
  for (const auto& line : server->seen()) {
    EXPECT_THAT(line, AllOf(Not(HasSubstr("AUTH")), Not(HasSubstr("LOGIN"))));
  }
}

TEST_P(EveryServer, ThatRefusesTheSignInGivesItsWordsAndNoSecretGetsIntoTheTrace) {
  auto refusing = talk(GetParam().first, GetParam().second);
  const bool imap = refusing.protocol == MailProtocol::kImap;
  refusing.refusal = imap ? "NO [AUTHENTICATIONFAILED] s3cret-word is not right"
                          : "535-5.7.8 Not accepted:\r\n535 5.7.8 s3cret-word is not right";
  const auto failure = failureOf(serve(refusing));
  EXPECT_EQ(failure.cause, Cause::kSignInRefused);
  EXPECT_EQ(failure.step, ConnectStep::kSignIn);
  EXPECT_EQ(failure.answer, imap ? "NO [AUTHENTICATIONFAILED] *** is not right"
                                 : "535 5.7.8 Not accepted: 5.7.8 *** is not right");
  const std::string all = testing::PrintToString(trace);
  EXPECT_THAT(all, HasSubstr("***"));
  EXPECT_THAT(all, HasSubstr("is not right"));
  const std::string both("\0ann@mail.test\0s3cret-word", 26);
  const std::vector<std::string> hidden{"s3cret-word", toBase64("s3cret-word"), toBase64(both)};
  for (const auto& secret : hidden) {
    EXPECT_THAT(all, Not(HasSubstr(secret)));
  }
}

INSTANTIATE_TEST_SUITE_P(, EveryServer,
                         testing::Values(std::pair(MailProtocol::kImap, Security::kTls),
                                         std::pair(MailProtocol::kImap, Security::kStartTls),
                                         std::pair(MailProtocol::kImap, Security::kNone),
                                         std::pair(MailProtocol::kSmtp, Security::kTls),
                                         std::pair(MailProtocol::kSmtp, Security::kStartTls),
                                         std::pair(MailProtocol::kSmtp, Security::kNone)),
                         [](const auto& each) {
                           const std::string protocol =
                               each.param.first == MailProtocol::kImap ? "Imap" : "Smtp";
                           return protocol + (each.param.second == Security::kTls ? "Tls"
                                              : each.param.second == Security::kStartTls
                                                  ? "StartTls"
                                                  : "Plain");
                         });

// --- Names and addresses ---

TEST_F(CurlNetworkTest, ANameWithoutAnAddressIsNoSuchHost) {
  auto to = serve(imapTls());
  to.host = "nowhere.invalid";
  const auto failure = failureOf(to);
  EXPECT_EQ(failure.cause, Cause::kNoSuchHost);
  EXPECT_EQ(failure.step, ConnectStep::kResolve);
  EXPECT_THAT(failure.words, HasSubstr("nowhere.invalid"));
}

TEST_F(CurlNetworkTest, APortWhereNothingListensIsNotReached) {
  auto to = serve(imapTls());
  server.reset();
  const auto failure = failureOf(to);
  EXPECT_EQ(failure.cause, Cause::kNotReached);
  EXPECT_EQ(failure.step, ConnectStep::kConnect);
  EXPECT_THAT(failure.words, HasSubstr("Connection refused"));
}

TEST_F(CurlNetworkTest, AnInternationalNameIsLookedUpAndCheckedInItsAsciiForm) {
  identity = makeIdentity({.name = "xn--bcher-kva.test"}, &authority);
  tls = makeServerTls(identity);
  auto to = serve(imapTls());
  to.host = "b\u00FCcher.test";
  EXPECT_EQ(opened(to)->state(), State::kOpen);
  const std::lock_guard lock(names().mutex);
  EXPECT_THAT(names().asked, Contains("xn--bcher-kva.test"));
}

TEST_F(CurlNetworkTest, NamesOfServersThatAreNoNamesAreRefusedWithoutAskingAnybody) {
  auto to = serve(imapTls());
  names().asked.clear();
  for (const std::string host :
       {"", "mail.test\r\nA1 LOGOUT", "mail.test/x", "ann@mail.test", "mail test", "mail.test:99",
        "mail.test?x", "%6dail.test", "::1x"}) {
    to.host = host;
    const auto connection = connect(to);
    ASSERT_TRUE(failed(connection)) << host;
    EXPECT_EQ(connection->failure()->cause, Cause::kNoSuchHost);
    const auto before = network.steadyTime();
    network.wait(10s);
    EXPECT_LT(network.steadyTime() - before, 5s) << "the failure was not reported";
  }
  EXPECT_TRUE(names().asked.empty());
  EXPECT_TRUE(server->seen().empty());
}

TEST_F(CurlNetworkTest, ControlCharactersInUserOrPasswordAreRefusedBeforeConnecting) {
  const auto to = serve(imapTls());
  names().asked.clear();
  auto signIn = ann();
  signIn.user = "ann\r\nA9 DELETE INBOX";
  EXPECT_EQ(failureOf(to, signIn).cause, Cause::kSignInRefused);
  signIn.user = "";
  EXPECT_EQ(failureOf(to, signIn).cause, Cause::kSignInRefused);
  for (const auto& secret : {std::string("a\nb"), std::string("a\0b", 3), std::string()}) {
    EXPECT_EQ(failureOf(to, ann(SignInMethod::kPlain, secret)).cause, Cause::kSignInRefused);
  }
  EXPECT_TRUE(names().asked.empty());
}

TEST_F(CurlNetworkTest, ProxiesOfTheEnvironmentAreNotAsked) {
  for (const char* name : {"http_proxy", "all_proxy", "ALL_PROXY", "imaps_proxy"}) {
    ::setenv(name, "http://127.0.0.1:1", 1);
  }
  EXPECT_EQ(opened(serve(imapTls()))->state(), State::kOpen);
  for (const char* name : {"http_proxy", "all_proxy", "ALL_PROXY", "imaps_proxy"}) {
    ::unsetenv(name);
  }
}

TEST_F(CurlNetworkTest, KeysOfConnectionsAreNotWrittenToAFileOfTheEnvironment) {
  EXPECT_EQ(opened(serve(imapTls()))->state(), State::kOpen);
  EXPECT_FALSE(std::filesystem::exists(keyFile()));
}

TEST_F(CurlNetworkTest, AnAddressOfIpVersion6GetsTheBracketsOfAUrl) {
  EXPECT_EQ(urlHost("2001:db8::1"), "[2001:db8::1]");
  EXPECT_EQ(urlHost("[2001:db8::1]"), std::nullopt);
  EXPECT_EQ(urlHost("192.0.2.1"), "192.0.2.1");
}

// A look-up that does not end, while the object lives.
struct SlowNames {
  SlowNames() { names().slow = true; }
  ~SlowNames() {
    const std::lock_guard lock(names().mutex);
    names().slow = false;
    names().changed.notify_all();
  }
};

TEST_F(CurlNetworkTest, ALookUpThatDoesNotEndHoldsNothingUp) {
  auto to = serve(imapTls());
  const auto good = opened(to);
  const SlowNames slow;
  to.host = "slow.test";
  const auto before = network.steadyTime();
  const auto late = connect(to, ann(), 300ms);
  auto given = connect(to);
  network.wait(0s);
  given.reset();
  good->send("hello\r\n");
  EXPECT_EQ(lineOf(*good), "echo hello\r\n");
  waitWhile([&] { return late->state() == State::kOpening; });
  ASSERT_TRUE(failed(late));
  EXPECT_EQ(late->failure()->cause, Cause::kTimedOut);
  EXPECT_EQ(late->failure()->step, ConnectStep::kResolve);
  EXPECT_LT(network.steadyTime() - before, 10s);
}

// --- Time ---

TEST_F(CurlNetworkTest, AServerThatNeverGreetsEndsAtTheLimit) {
  for (const Security security : {Security::kTls, Security::kStartTls, Security::kNone}) {
    const auto before = network.steadyTime();
    const auto failure =
        failureOf(serveBy(talk(MailProtocol::kImap, security), [](Peer& peer) { peer.untilEnd(); }),
                  ann(), 200ms);
    EXPECT_EQ(failure.cause, Cause::kTimedOut);
    EXPECT_GE(network.steadyTime() - before, 200ms);
    EXPECT_LT(network.steadyTime() - before, 5s);
  }
}

TEST_F(CurlNetworkTest, AGreetingThatTricklesEndsAtTheLimit) {
  const auto before = network.steadyTime();
  const auto failure = failureOf(serveBy(talk(MailProtocol::kSmtp, Security::kNone),
                                         [](Peer& peer) {
                                           while (true) {
                                             peer.say("220-still busy\r\n");
                                             peer.pause();
                                           }
                                         }),
                                 ann(), 300ms);
  EXPECT_EQ(failure.cause, Cause::kTimedOut);
  EXPECT_THAT(failure.words, HasSubstr("stopped answering"));
  EXPECT_LT(network.steadyTime() - before, 5s);
}

TEST_F(CurlNetworkTest, AGreetingWithoutEndIsAProtocolFailureAndFillsNoLog) {
  const auto failure =
      failureOf(serveBy(talk(MailProtocol::kSmtp, Security::kNone), [](Peer& peer) {
        while (true) {
          peer.say("220-still busy\r\n");
        }
      }));
  EXPECT_EQ(failure.cause, Cause::kProtocol) << failure.words;
  EXPECT_LT(trace.size(), 1000U);
}

TEST_F(CurlNetworkTest, ARefusalThatIsFollowedBySilenceHoldsNothingUp) {
  for (const MailProtocol protocol : {MailProtocol::kImap, MailProtocol::kSmtp}) {
    auto refusing = talk(protocol, Security::kTls);
    refusing.refusal = protocol == MailProtocol::kImap ? "NO go away" : "535 go away";
    const auto before = network.steadyTime();
    refusing.silentAfterwards = true;
    const auto failure = failureOf(serve(refusing));
    EXPECT_EQ(failure.cause, Cause::kSignInRefused);
    EXPECT_LT(network.steadyTime() - before, 5s);
  }
}

TEST_F(CurlNetworkTest, AnIdleConnectionIsWaitedForToTheEndOfTheTime) {
  const auto connection = opened(serve(imapTls()));
  std::string nothing;
  connection->receive(nothing, kAny);
  const auto before = network.steadyTime();
  network.wait(100ms);
  EXPECT_GE(network.steadyTime() - before, 100ms);
}

TEST_F(CurlNetworkTest, WakingEndsAWaitFromAnotherThreadAndTheNextOne) {
  const auto connection = opened(serve(imapTls()));
  std::string nothing;
  connection->receive(nothing, kAny);
  const auto before = network.steadyTime();
  network.wake();
  network.wait(1min);
  std::thread other([&] { network.wake(); });
  network.wait(1min);
  other.join();
  EXPECT_LT(network.steadyTime() - before, 30s);
}

// --- After the sign-in ---

TEST_F(CurlNetworkTest, FullBuffersInBothDirectionsDoNotBlock) {
  constexpr std::size_t kAnswer = 1'400'000;
  constexpr std::size_t kText = 24'000'000;  // more than the system keeps for a connection
  const auto to = serveBy(smtpStartTls(), [made = smtpStartTls()](Peer& peer) {
    openTalk(peer, made);
    // Says all before it reads anything.
    peer.say(std::string(kAnswer, 'a'));
    const std::string heard = peer.bytes(kText);
    peer.say(heard.find_first_not_of('b') == std::string::npos ? "all\n" : "spoilt\n");
    peer.untilEnd();
  });
  const auto connection = opened(to);
  ASSERT_EQ(connection->state(), State::kOpen);
  const std::string out(kText, 'b');
  std::size_t sent = 0;
  for (std::size_t accepted = 1; accepted > 0;) {
    accepted = connection->send(std::string_view(out).substr(sent));
    sent += accepted;
  }
  ASSERT_LT(sent, kText) << "the buffers were never full";
  std::string in;
  connection->wantToSend(true);
  waitWhile([&] {
    sent += connection->send(std::string_view(out).substr(sent));
    connection->wantToSend(sent < kText);
    connection->receive(in, kAny);
    return !in.ends_with("\n") && connection->state() == State::kOpen;
  });
  EXPECT_EQ(in.size(), kAnswer + 4);
  EXPECT_TRUE(in.ends_with("all\n"));
}

TEST_F(CurlNetworkTest, AnOpenConnectionIsNotDisturbedByOthersThatAreOpened) {
  const auto to = serve(imapTls());
  const auto first = opened(to);
  first->send("one\r\n");
  // The answer waits unread while another connection is opened and a third one fails.
  const auto second = opened(to);
  auto other = to;
  other.host = "nowhere.invalid";
  EXPECT_EQ(opened(other)->state(), State::kEnded);
  second->send("two\r\n");
  EXPECT_EQ(lineOf(*second), "echo two\r\n");
  EXPECT_EQ(lineOf(*first), "echo one\r\n");
}

TEST_F(CurlNetworkTest, TheServersEndIsFoundAfterItsLastBytes) {
  const auto connection = opened(serveBy(imapTls(), [made = imapTls()](Peer& peer) {
    openTalk(peer, made);
    peer.line();
    peer.say("* BYE so long\r\n");
  }));
  ASSERT_EQ(connection->state(), State::kOpen);
  connection->send("go\r\n");
  EXPECT_EQ(lineOf(*connection), "* BYE so long\r\n");
  EXPECT_EQ(connection->state(), State::kOpen);
  std::string more;
  waitWhile([&] {
    connection->receive(more, kAny);
    return connection->state() == State::kOpen;
  });
  EXPECT_EQ(more, "");
  EXPECT_EQ(connection->failure()->cause, Cause::kClosed);
  EXPECT_EQ(connection->failure()->step, ConnectStep::kReady);
  EXPECT_EQ(connection->send("x"), 0U);
}

TEST_F(CurlNetworkTest, AServerThatEndsTheConnectionInsteadOfGreetingIsClosed) {
  const auto failure =
      failureOf(serveBy(imapTls(), [context = tls.get()](Peer& peer) { peer.startTls(context); }));
  EXPECT_EQ(failure.cause, Cause::kClosed) << failure.words;
  EXPECT_EQ(failure.answer, "");
}

// Answers a line by another one of 10,000 bytes, which fits into one record of the encryption.
constexpr auto oneRecordTalk = [](const auto& made) {
  return [made](Peer& peer) {
    openTalk(peer, made);
    peer.line();
    peer.say(std::string(10000, 'x') + "\n");
    peer.untilEnd();
  };
};

TEST_F(CurlNetworkTest, BytesThatArriveInOneRecordAreAllReportedWithoutWaiting) {
  const auto connection = opened(serveBy(imapTls(), oneRecordTalk(imapTls())));
  ASSERT_EQ(connection->state(), State::kOpen);
  connection->send("go\r\n");
  std::string in;
  const auto before = network.steadyTime();
  // A little at a time: the rest of the record waits inside the library, not in the socket.
  waitWhile([&] {
    connection->receive(in, 100);
    return !in.ends_with('\n');
  });
  EXPECT_EQ(in.size(), 10001U);
  EXPECT_LT(network.steadyTime() - before, 9s);
}

// --- Input that is not wanted ---

// It ended the wait, so an idle program woke for each word of a server.
TEST_P(EveryServer, ThatSaysWhatIsNotWantedDoesNotEndAWaitAndIsReadAfterIt) {
  const auto made = talk(GetParam().first, GetParam().second);
  const auto connection = opened(serveBy(made, [made](Peer& peer) {
    openTalk(peer, made);
    peer.line();
    peer.say("* 3 EXISTS\r\n");
    peer.line();  // noted as seen, so what was said has arrived
    peer.untilEnd();
  }));
  ASSERT_EQ(connection->state(), State::kOpen) << connection->failure()->words;
  std::string in;
  connection->receive(in, kAny);
  connection->wantToReceive(false);
  connection->send("go\r\nand on\r\n");
  const auto limit = network.steadyTime() + 60s;
  while (server->seen().back() != "and on") {
    ASSERT_LT(network.steadyTime(), limit);
    network.wait(1ms);
  }
  const auto before = network.steadyTime();
  network.wait(100ms);
  EXPECT_GE(network.steadyTime() - before, 100ms);
  connection->receive(in, kAny);
  EXPECT_EQ(in, "* 3 EXISTS\r\n");
}

TEST_P(EveryServer, ThatEndsTheConnectionEndsAWaitInWhichInputIsNotWanted) {
  const auto made = talk(GetParam().first, GetParam().second);
  const auto connection = opened(serveBy(made, [made](Peer& peer) {
    openTalk(peer, made);
    peer.line();
    peer.say("* BYE so long\r\n");
  }));
  ASSERT_EQ(connection->state(), State::kOpen) << connection->failure()->words;
  std::string in;
  connection->receive(in, kAny);
  connection->wantToReceive(false);
  connection->send("go\r\n");
  const auto before = network.steadyTime();
  waitWhile([&] {
    connection->receive(in, kAny);
    return connection->state() == State::kOpen;
  });
  EXPECT_LT(network.steadyTime() - before, 9s) << "found by the end of the time alone";
  EXPECT_EQ(in, "* BYE so long\r\n");
  EXPECT_EQ(connection->failure()->cause, Cause::kClosed);
}

// The rest lies in the memory of the encryption, and no descriptor tells of it.
TEST_F(CurlNetworkTest, InputThatWasReadInPartEndsEachWaitAlthoughNoneIsWanted) {
  const auto connection = opened(serveBy(imapTls(), oneRecordTalk(imapTls())));
  ASSERT_EQ(connection->state(), State::kOpen);
  connection->send("go\r\n");
  std::string in;
  waitWhile([&] { return connection->receive(in, 100) == 0; });
  connection->wantToReceive(false);
  const auto before = network.steadyTime();
  waitWhile([&] {
    connection->receive(in, 100);
    return !in.ends_with('\n');
  });
  EXPECT_EQ(in.size(), 10001U);
  EXPECT_LT(network.steadyTime() - before, 9s);
}

TEST_F(CurlNetworkTest, WakingEndsAWaitInWhichInputIsNotWanted) {
  const auto connection = opened(serve(imapTls()));
  std::string nothing;
  connection->receive(nothing, kAny);
  connection->wantToReceive(false);
  const auto before = network.steadyTime();
  std::thread other([&] { network.wake(); });
  network.wait(1min);
  other.join();
  EXPECT_LT(network.steadyTime() - before, 30s);
}

// --- The end ---

TEST_F(CurlNetworkTest, ADestroyedConnectionIsClosedAtOnce) {
  auto connection = opened(serve(imapTls()));
  connection.reset();
  server->finish();  // returns only when the server has seen the end
  EXPECT_THAT(server->seen(), Not(Contains(HasSubstr("LOGOUT"))));
}

}  // namespace
}  // namespace relaybird
