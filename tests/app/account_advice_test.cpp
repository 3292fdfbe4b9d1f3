// SPDX-License-Identifier: MIT
#include "app/account_advice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace relaybird {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Cause = ConnectFailure::Cause;

Proposal knownAt(const char* host, MailProtocol protocol = MailProtocol::kImap) {
  return proposalAt({protocol, host, 993, Security::kTls, {}}, "ann@firm.example");
}

std::string afterRefusal(const std::string& answer, const Proposal& known = {},
                         bool byToken = false) {
  return connectAdvice({Cause::kSignInRefused, ConnectStep::kSignIn, "It failed", answer}, known,
                       byToken);
}

TEST(AccountAdvice, ARefusalSaysWhetherAPasswordHelpsAtAll) {
  const std::vector<std::pair<std::string, std::string>> answers = {
      {"NO [ALERT] Application-specific password required", "wants an app password"},
      {"NO Basic authentication is disabled.", "accepts no password"},
      {"NO [ALERT] IMAP access is disabled for your account", "Switch access by mail programs"},
      {"NO [AUTHENTICATIONFAILED] Invalid credentials", "Check user name and password"}};
  for (const auto& [answer, advice] : answers) {
    EXPECT_THAT(afterRefusal(answer), HasSubstr(advice));
  }
}

TEST(AccountAdvice, TheAppPasswordThatAServerAsksForIsMadeAtTheProvidersPage) {
  const std::string answer = "NO [ALERT] Application-specific password required";
  EXPECT_EQ(afterRefusal(answer, knownAt("imap.gmail.com")),
            "The provider wants an app password, not the account's own. See "
            "https://myaccount.google.com/apppasswords");
  EXPECT_THAT(afterRefusal(answer), EndsWith("Make one on its web site."));
}

// The tab was named for the rest, which it does not have for an own domain at this server.
TEST(AccountAdvice, AllThatIsKnownAboutTheServerIsSaidAtOnce) {
  const std::string advice = afterRefusal("NO wrong", knownAt("imap.gmx.net"));
  EXPECT_THAT(advice, StartsWith("Check user name and password. With two-step sign-in switched on, "
                                 "an app password is needed instead of the account's own: "
                                 "https://hilfe.gmx.net/"));
  EXPECT_THAT(advice, HasSubstr(" Switch IMAP on first"));
  EXPECT_THAT(advice, Not(HasSubstr("Your Mail")));
  EXPECT_THAT(afterRefusal("NO wrong"), EndsWith("see the provider's web site."));
}

TEST(AccountAdvice, NobodyIsToldToCheckAPasswordThatIsNotTaken) {
  // Without an answer: it offers no sign-in by password.
  for (const char* answer : {"NO wrong", ""}) {
    EXPECT_THAT(afterRefusal(answer, knownAt("outlook.office365.com")),
                StartsWith("Microsoft 365 (work or school) accepts no password"));
  }
  const std::string sending =
      afterRefusal("535 5.7.139 Authentication unsuccessful, basic authentication is disabled",
                   knownAt("smtp.office365.com", MailProtocol::kSmtp));
  EXPECT_THAT(sending, HasSubstr("Choose a command that prints one"));
}

// Servers of tokens name "oauth" in their answers, too.
TEST(AccountAdvice, ARefusedTokenIsNotTakenForAPassword) {
  for (const char* answer : {"NO expired", R"({"status":"401","schemes":"bearer oauth"})"}) {
    const std::string advice = afterRefusal(answer, knownAt("imap.gmail.com"), true);
    EXPECT_THAT(advice, StartsWith("Check the user name, and whether the token is for mail"));
    EXPECT_THAT(advice, Not(HasSubstr("password")));
  }
  EXPECT_THAT(afterRefusal("NO IMAP access is disabled", {}, true), HasSubstr("Switch access"));
}

TEST(AccountAdvice, WhereNothingWasSentTheWayToSignInIsInDoubtToo) {
  for (const bool byToken : {false, true}) {
    EXPECT_THAT(afterRefusal("", knownAt("imap.gmail.com"), byToken),
                StartsWith("The program has sent neither password nor token."));
  }
}

TEST(AccountAdvice, ARefusalOfEncryptionForNowSaysThatNoPasswordWasSent) {
  const auto busy = [](ConnectStep step) {
    return connectAdvice({Cause::kBusy, step, "It failed", "454 no key"}, {}, false);
  };
  EXPECT_THAT(busy(ConnectStep::kEncrypt), EndsWith("No password was sent."));
  EXPECT_THAT(busy(ConnectStep::kSignIn), Not(HasSubstr("No password was sent")));
}

}  // namespace
}  // namespace relaybird
