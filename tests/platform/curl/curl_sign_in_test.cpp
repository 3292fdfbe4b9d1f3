// SPDX-License-Identifier: MIT
// Every method of signing in at servers of both protocols, as the server sees it.
#include "curl_network_fixture.h"

namespace relaybird {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

class CurlSignInTest : public CurlNetworkTest {};

class Mechanisms : public CurlSignInTest, public testing::WithParamInterface<MailProtocol> {
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

TEST_F(CurlSignInTest, AnImapServerWithoutMechanismsGetsAQuotedLoginCommand) {
  auto made = imapTls();
  made.methods = "";
  const auto connection = opened(serve(made), ann(SignInMethod::kPassword, "a\"b\\c \xC3\xA4"));
  ASSERT_EQ(connection->state(), State::kOpen) << connection->failure()->words;
  EXPECT_THAT(server->seen(), Contains(HasSubstr("LOGIN ann@mail.test \"a\\\"b\\\\c \xC3\xA4\"")));
  EXPECT_THAT(trace, Contains("> A002 LOGIN ***"));
}

}  // namespace
}  // namespace relaybird
