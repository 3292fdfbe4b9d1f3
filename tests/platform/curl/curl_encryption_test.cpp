// SPDX-License-Identifier: MIT
// Certificates, versions of TLS, and STARTTLS that is missing, refused or followed by injected
// text.
#include "curl_network_fixture.h"

namespace relaybird {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class CurlEncryptionTest : public CurlNetworkTest {};

TEST_F(CurlEncryptionTest, BadCertificatesAreRefusedBeforeAnythingIsSaid) {
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

TEST_F(CurlEncryptionTest, AForgedCertificateInTheNameOfTheAuthorityIsRefused) {
  const Identity forger = makeIdentity({.name = "authority", .authority = true}, nullptr);
  tls = makeServerTls(makeIdentity({}, &forger));
  const auto failure = failureOf(serve(imapTls()));
  EXPECT_THAT(failure.cause, testing::AnyOf(Cause::kCertificate, Cause::kTls));
  EXPECT_TRUE(server->seen().empty());
}

TEST_F(CurlEncryptionTest, AnAuthorityOfTheUsersOwnIsTrustedOnlyWhereItsFileIsNamed) {
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

TEST_F(CurlEncryptionTest, AServerThatKnowsOnlyOldTlsIsRefused) {
  tls = makeServerTls(identity, TLS1_1_VERSION);
  EXPECT_EQ(failureOf(serve(imapTls())).cause, Cause::kTls);
  tls = makeServerTls(identity, TLS1_2_VERSION);
  EXPECT_EQ(opened(serve(imapTls()))->state(), State::kOpen);
}

TEST_F(CurlEncryptionTest, AServerThatSpeaksNoTlsOnItsPortIsATlsFailure) {
  auto to = serve(talk(MailProtocol::kImap, Security::kNone));
  to.security = Security::kTls;
  const auto failure = failureOf(to);
  EXPECT_EQ(failure.cause, Cause::kTls);
  EXPECT_EQ(failure.step, ConnectStep::kEncrypt);
}

class StartTls : public CurlEncryptionTest, public testing::WithParamInterface<MailProtocol> {
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
  refusing.startTlsAnswer = imap() ? "NO not today\r\n" : "554 5.7.0 not today\r\n";
  const auto failure = failureOf(serve(refusing));
  EXPECT_EQ(failure.cause, Cause::kNoEncryption);
  EXPECT_THAT(failure.answer, HasSubstr("not today"));
  expectNoSignIn();
}

TEST_P(StartTls, RefusedForNowIsNoMistakeInTheSettings) {
  const std::vector<std::string> answers =
      imap() ? std::vector<std::string>{"NO [UNAVAILABLE] no key\r\n", "NO [SERVERBUG] no key\r\n"}
             : std::vector<std::string>{"454 4.7.0 no key\r\n", "421 4.3.0 no key\r\n"};
  for (const std::string& answer : answers) {
    auto refusing = talk(GetParam(), Security::kStartTls);
    refusing.startTlsAnswer = answer;
    const auto failure = failureOf(serve(refusing));
    EXPECT_EQ(failure.cause, Cause::kBusy) << answer;
    EXPECT_EQ(failure.step, ConnectStep::kEncrypt);
    EXPECT_THAT(failure.words, HasSubstr("cannot encrypt for now"));
    EXPECT_THAT(failure.answer, HasSubstr("no key"));
    expectNoSignIn();
  }
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

// Without a tag the farewell is no answer to the command, so libcurl waits until the server closes.
TEST_F(CurlEncryptionTest, AnImapServerThatSaysGoodbyeInsteadOfEncryptingTurnsAwayForNow) {
  auto leaving = talk(MailProtocol::kImap, Security::kStartTls);
  leaving.startTlsAnswer = "* BYE shutting down\r\n";
  const auto failure = failureOf(serve(leaving));
  EXPECT_EQ(failure.cause, Cause::kBusy);
  EXPECT_EQ(failure.step, ConnectStep::kEncrypt);
  EXPECT_THAT(failure.answer, HasSubstr("shutting down"));
  EXPECT_THAT(server->seen(), testing::Each(Not(HasSubstr("AUTHENTICATE"))));
}

TEST_F(CurlEncryptionTest, AnImapServerThatClaimsToBeSignedInCannotAvoidTheEncryption) {
  auto preauth = talk(MailProtocol::kImap, Security::kStartTls);
  preauth.greeting = "* PREAUTH welcome\r\n";
  EXPECT_EQ(failureOf(serve(preauth)).cause, Cause::kNoEncryption);
}

}  // namespace
}  // namespace relaybird
