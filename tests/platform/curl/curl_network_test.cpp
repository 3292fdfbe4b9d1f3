// SPDX-License-Identifier: MIT
// Over real sockets and real TLS on this machine. Names are looked up by the getaddrinfo() below,
// which stands in front of the system's, so that no test asks the network: names that end in
// ".test" are this machine, and a look-up of "slow.test" ends when the test allows it.
#include "platform/curl/curl_network.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "mail_talks.h"
#include "platform/curl/curl_connection.h"
#include "support/temp_folder.h"
#include "tls_server.h"

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
using Cause = ConnectFailure::Cause;
using State = Connection::State;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr std::size_t kAny = 1U << 20U;

class CurlNetworkTest : public testing::Test {
 protected:
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
                                      std::chrono::milliseconds limit = 20s) {
    return network.connect(to, signIn, limit, [this](const ProtocolLine& line) {
      trace.push_back((line.sent ? "> " : "< ") + line.text);
    });
  }
  // Waits until it is open or has failed.
  std::unique_ptr<Connection> opened(const MailServer& to,
                                     const std::optional<SignIn>& signIn = ann(),
                                     std::chrono::milliseconds limit = 20s) {
    auto connection = connect(to, signIn, limit);
    waitWhile([&] { return connection->state() == State::kOpening; });
    return connection;
  }
  // The condition is asked once after each wait, because it may take input.
  template <class Condition>
  void waitWhile(Condition condition) {
    const auto end = network.steadyTime() + 60s;
    while (condition()) {
      ASSERT_LT(network.steadyTime(), end) << "nothing happened for a minute";
      network.wait(10s);
    }
  }
  ConnectFailure failureOf(const MailServer& to, const std::optional<SignIn>& signIn = ann(),
                           std::chrono::milliseconds limit = 20s) {
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

// --- Certificates ---

TEST_F(CurlNetworkTest, BadCertificatesAreRefusedBeforeAnythingIsSaid) {
  const Identity other = makeIdentity({.name = "other", .authority = true}, nullptr);
  struct Case {
    Identity identity;
    std::string words;
  };
  std::vector<Case> cases;
  cases.push_back({makeIdentity({.fromDays = -9, .toDays = -1}, &authority), "has expired"});
  cases.push_back({makeIdentity({.fromDays = 2}, &authority), "not valid yet"});
  cases.push_back({makeIdentity({.name = "other.test"}, &authority), "for another server"});
  cases.push_back({makeIdentity({}, nullptr), "signed by the server itself"});
  cases.push_back({makeIdentity({}, &other), "authority that is not trusted"});
  for (const MailProtocol protocol : {MailProtocol::kImap, MailProtocol::kSmtp}) {
    for (const Security security : {Security::kTls, Security::kStartTls}) {
      for (const auto& bad : cases) {
        tls = makeServerTls(bad.identity);
        const auto failure = failureOf(serve(talk(protocol, security)));
        EXPECT_EQ(failure.cause, Cause::kCertificate) << failure.words;
        EXPECT_EQ(failure.step, ConnectStep::kEncrypt);
        EXPECT_THAT(failure.words, HasSubstr(bad.words));
        for (const auto& line : server->seen()) {
          EXPECT_THAT(line, Not(HasSubstr("AUTH")));
        }
      }
    }
  }
}

TEST_F(CurlNetworkTest, AForgedCertificateInTheNameOfTheAuthorityIsRefused) {
  const Identity forger = makeIdentity({.name = "authority", .authority = true}, nullptr);
  tls = makeServerTls(makeIdentity({}, &forger));
  const auto failure = failureOf(serve(imapTls()));
  EXPECT_THAT(failure.cause, testing::AnyOf(Cause::kCertificate, Cause::kTls));
  EXPECT_TRUE(server->seen().empty());
}

TEST_F(CurlNetworkTest, AnAuthorityOfTheUsersOwnIsTrustedOnlyWhereItsFileIsNamed) {
  auto to = serve(imapTls());
  to.caFile.clear();
  const auto failure = failureOf(to);
  EXPECT_EQ(failure.cause, Cause::kCertificate);
  EXPECT_THAT(failure.words, HasSubstr("authority that is not trusted"));
  to.caFile = folder.path() + "/absent.pem";
  const auto absent = failureOf(to);
  EXPECT_EQ(absent.cause, Cause::kCertificate);
  EXPECT_THAT(absent.words, HasSubstr("absent.pem"));
  to.caFile = caFile();
  EXPECT_EQ(opened(to)->state(), State::kOpen);
}

// --- Encryption ---

TEST_F(CurlNetworkTest, AServerThatKnowsOnlyOldTlsIsRefused) {
  tls = makeServerTls(identity, TLS1_1_VERSION);
  EXPECT_EQ(failureOf(serve(imapTls())).cause, Cause::kTls);
  tls = makeServerTls(identity, TLS1_2_VERSION);
  EXPECT_EQ(opened(serve(imapTls()))->state(), State::kOpen);
}

TEST_F(CurlNetworkTest, AServerThatSpeaksNoTlsOnItsPortIsATlsFailure) {
  auto to = serve(talk(MailProtocol::kImap, Security::kNone));
  to.security = Security::kTls;
  const auto failure = failureOf(to);
  EXPECT_EQ(failure.cause, Cause::kTls);
  EXPECT_EQ(failure.step, ConnectStep::kEncrypt);
}

class StartTls : public CurlNetworkTest, public testing::WithParamInterface<MailProtocol> {
 protected:
  // Nothing but the question for STARTTLS may have been said without encryption.
  void expectNoSignIn() {
    server->finish();
    for (const auto& line : server->seen()) {
      EXPECT_THAT(line, AllOf(Not(HasSubstr("AUTH")), Not(HasSubstr("LOGIN"))));
    }
  }
  bool imap() const { return GetParam() == MailProtocol::kImap; }
};

TEST_P(StartTls, NotOfferedEndsTheAttempt) {
  auto plain = talk(GetParam(), Security::kStartTls);
  plain.offersStartTls = false;
  const auto failure = failureOf(serve(plain));
  EXPECT_EQ(failure.cause, Cause::kNoEncryption);
  EXPECT_EQ(failure.step, ConnectStep::kEncrypt);
  EXPECT_EQ(failure.answer, "");
  expectNoSignIn();
}

TEST_P(StartTls, RefusedEndsTheAttemptWithTheServersWords) {
  auto refusing = talk(GetParam(), Security::kStartTls);
  refusing.startTlsAnswer = imap() ? "NO not today\r\n" : "454 4.7.0 not today\r\n";
  const auto failure = failureOf(serve(refusing));
  EXPECT_EQ(failure.cause, Cause::kNoEncryption);
  EXPECT_THAT(failure.answer, HasSubstr("not today"));
  expectNoSignIn();
}

TEST_P(StartTls, FollowedByInjectedTextEndsTheAttempt) {
  auto injecting = talk(GetParam(), Security::kStartTls);
  injecting.startTlsAnswer =
      imap() ? "OK go\r\n* PREAUTH in\r\n" : "220 go\r\n250-AUTH PLAIN\r\n250 fine\r\n";
  const auto failure = failureOf(serve(injecting));
  EXPECT_EQ(failure.cause, Cause::kProtocol);
  expectNoSignIn();
}

INSTANTIATE_TEST_SUITE_P(, StartTls, testing::Values(MailProtocol::kImap, MailProtocol::kSmtp),
                         [](const auto& each) {
                           return each.param == MailProtocol::kImap ? "Imap" : "Smtp";
                         });

TEST_F(CurlNetworkTest, AnImapServerThatClaimsToBeSignedInCannotAvoidTheEncryption) {
  auto preauth = talk(MailProtocol::kImap, Security::kStartTls);
  preauth.greeting = "* PREAUTH welcome\r\n";
  EXPECT_EQ(failureOf(serve(preauth)).cause, Cause::kNoEncryption);
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

// --- Sign-in ---

class Mechanisms : public CurlNetworkTest, public testing::WithParamInterface<MailProtocol> {
 protected:
  // What the server saw of the sign-in.
  std::vector<std::string> signInLines(const SignIn& signIn, const std::string& methods) {
    auto made = talk(GetParam(), Security::kTls);
    made.methods = methods;
    const auto connection = opened(serve(made), signIn);
    EXPECT_EQ(connection->state(), State::kOpen)
        << (connection->failure() ? connection->failure()->words : "");
    std::vector<std::string> lines;
    for (const auto& line : server->seen()) {
      const auto at = std::min(line.find("AUTH"), line.find("LOGIN"));
      if (at != std::string::npos) {
        lines.push_back(line.substr(at));
      } else if (!lines.empty()) {
        lines.push_back(line);
      }
    }
    return lines;
  }
  std::string command(const std::string& method) const {
    return (GetParam() == MailProtocol::kImap ? "AUTHENTICATE " : "AUTH ") + method;
  }
};

TEST_P(Mechanisms, PlainSendsUserAndPasswordByteForByte) {
  const std::string password = "\"q\\ \xC3\xA4\xFF{3}";
  const auto lines = signInLines(ann(SignInMethod::kPlain, password), "LOGIN PLAIN XOAUTH2");
  const std::string zero(1, '\0');
  EXPECT_THAT(lines,
              ElementsAre(command("PLAIN"), toBase64(zero + "ann@mail.test" + zero + password)));
}

TEST_P(Mechanisms, LoginSendsUserAndPasswordByteForByte) {
  const std::string password = "\"q\\ \xC3\xA4\xFF{3}";
  const auto lines = signInLines(ann(SignInMethod::kLogin, password), "LOGIN PLAIN XOAUTH2");
  EXPECT_THAT(lines, ElementsAre(command("LOGIN"), toBase64("ann@mail.test"), toBase64(password)));
}

TEST_P(Mechanisms, Xoauth2SendsTheToken) {
  const auto lines =
      signInLines(ann(SignInMethod::kXoauth2, "tok.en-1"), "PLAIN XOAUTH2 OAUTHBEARER");
  EXPECT_THAT(lines, ElementsAre(command("XOAUTH2"),
                                 toBase64("user=ann@mail.test\1auth=Bearer tok.en-1\1\1")));
}

TEST_P(Mechanisms, OauthBearerSendsTheToken) {
  const auto lines =
      signInLines(ann(SignInMethod::kOauthBearer, "tok.en-1"), "PLAIN XOAUTH2 OAUTHBEARER");
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0], command("OAUTHBEARER"));
  EXPECT_EQ(lines[1], toBase64("n,a=ann@mail.test,\1host=mail.test\1port=" +
                               std::to_string(server->port()) + "\1auth=Bearer tok.en-1\1\1"));
}

TEST_P(Mechanisms, APasswordGoesByPlainWhereTheServerOffersKerberosAndNtlmToo) {
  const auto lines = signInLines(ann(), "GSSAPI NTLM CRAM-MD5 DIGEST-MD5 LOGIN PLAIN");
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0], command("PLAIN"));
}

TEST_P(Mechanisms, AServerThatOffersOnlyAChallengeGetsAPasswordAllTheSame) {
  const auto lines = signInLines(ann(), "CRAM-MD5");
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0], command("CRAM-MD5"));
}

TEST_P(Mechanisms, AMethodThatTheServerDoesNotOfferIsRefusedWithoutAnything) {
  auto made = talk(GetParam(), Security::kTls);
  made.methods = "PLAIN";
  const auto failure = failureOf(serve(made), ann(SignInMethod::kXoauth2));
  EXPECT_EQ(failure.cause, Cause::kSignInRefused);
  EXPECT_THAT(failure.words, HasSubstr("XOAUTH2"));
  EXPECT_EQ(failure.answer, "");
}

TEST_P(Mechanisms, ARefusedTokenGivesTheReasonInTheChallenge) {
  auto made = talk(GetParam(), Security::kTls);
  made.challenge = R"({"status":"400","schemes":"Bearer"})";
  made.refusal = GetParam() == MailProtocol::kImap ? "NO failed" : "535 failed";
  const auto failure = failureOf(serve(made), ann(SignInMethod::kXoauth2));
  EXPECT_EQ(failure.cause, Cause::kSignInRefused);
  EXPECT_THAT(failure.words, HasSubstr("access token"));
  EXPECT_THAT(failure.answer, HasSubstr("\"status\":\"400\""));
}

TEST_P(Mechanisms, AServerThatCannotSignInAnybodyForNowIsBusy) {
  auto made = talk(GetParam(), Security::kTls);
  made.refusal =
      GetParam() == MailProtocol::kImap ? "NO [UNAVAILABLE] later" : "454 4.7.0 Temporary failure";
  const auto failure = failureOf(serve(made));
  EXPECT_EQ(failure.cause, Cause::kBusy);
  EXPECT_EQ(failure.answer, made.refusal);
}

TEST_P(Mechanisms, AServerThatTurnsClientsAwayIsBusy) {
  auto made = talk(GetParam(), Security::kTls);
  made.greeting =
      GetParam() == MailProtocol::kImap ? "* BYE too many\r\n" : "421 4.7.0 too many\r\n";
  const auto failure = failureOf(serve(made));
  EXPECT_EQ(failure.cause, Cause::kBusy);
  EXPECT_THAT(failure.answer, HasSubstr("too many"));
}

INSTANTIATE_TEST_SUITE_P(, Mechanisms, testing::Values(MailProtocol::kImap, MailProtocol::kSmtp),
                         [](const auto& each) {
                           return each.param == MailProtocol::kImap ? "Imap" : "Smtp";
                         });

TEST_F(CurlNetworkTest, AnImapServerWithoutMechanismsGetsAQuotedLoginCommand) {
  auto made = imapTls();
  made.methods = "";
  const auto connection = opened(serve(made), ann(SignInMethod::kPassword, "a\"b\\c \xC3\xA4"));
  ASSERT_EQ(connection->state(), State::kOpen) << connection->failure()->words;
  EXPECT_THAT(server->seen(), Contains(HasSubstr("LOGIN ann@mail.test \"a\\\"b\\\\c \xC3\xA4\"")));
  EXPECT_THAT(trace, Contains("> A002 LOGIN ***"));
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

TEST_F(CurlNetworkTest, BytesThatArriveInOneRecordAreAllReportedWithoutWaiting) {
  const auto connection = opened(serveBy(imapTls(), [made = imapTls()](Peer& peer) {
    openTalk(peer, made);
    peer.line();
    peer.say(std::string(10000, 'x') + "\n");
    peer.untilEnd();
  }));
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

TEST_F(CurlNetworkTest, ADestroyedConnectionIsClosedAtOnce) {
  auto connection = opened(serve(imapTls()));
  connection.reset();
  server->finish();  // returns only when the server has seen the end
  EXPECT_THAT(server->seen(), Not(Contains(HasSubstr("LOGOUT"))));
}

}  // namespace
}  // namespace relaybird
