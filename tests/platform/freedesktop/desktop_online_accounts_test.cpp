// SPDX-License-Identifier: MIT
// The desktop's online accounts over a session bus, against a double of the service.
#include "platform/freedesktop/desktop_online_accounts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "platform/freedesktop/test_session_bus.h"

namespace relaybird {
namespace {

using Cause = OnlineAccountsFailure::Cause;
using testing::HasSubstr;
using testing::SizeIs;

class DesktopOnlineAccountsTest : public testing::Test {
 protected:
  void start(const std::string& manner, const std::string& secret = "sesame") {
    double_.emplace(std::vector<std::string>{"/usr/bin/python3", RELAYBIRD_DESKTOP_SERVICES,
                                             "accounts", manner, secret},
                    "", "ready");
  }
  OnlineAccount described(const std::string& id) {
    const OnlineAccountList list = accounts.list({});
    const auto found = std::ranges::find(list.accounts, id, &OnlineAccount::id);
    return found != list.accounts.end() ? *found : OnlineAccount{};
  }
  std::optional<Cause> causeOf(const std::string& id, std::stop_token stop = {}) {
    const auto answer = accounts.secret(id, MailProtocol::kImap, std::move(stop));
    return answer.failure ? std::optional(answer.failure->cause) : std::nullopt;
  }

  DesktopOnlineAccounts accounts;

 private:
  TestSessionBus bus_;
  std::optional<TestProgram> double_;
};

TEST_F(DesktopOnlineAccountsTest, ListsTheAccountsWithMailAlone) {
  start("good");
  EXPECT_THAT(accounts.list({}).accounts, SizeIs(2));
  EXPECT_FALSE(accounts.list({}).failure);
}

TEST_F(DesktopOnlineAccountsTest, DescribesAnAccountWithTokens) {
  start("good");
  const OnlineAccount account = described("account_1");
  EXPECT_EQ(account.provider, "Google");
  EXPECT_EQ(account.identity, "Ann at Example");
  EXPECT_EQ(account.address, "ann@example.com");
  EXPECT_EQ(account.name, "Ann");
  EXPECT_TRUE(account.token);
  EXPECT_FALSE(account.needsAttention);
  ASSERT_TRUE(account.imap && account.smtp);
  EXPECT_EQ(account.imap->server.protocol, MailProtocol::kImap);
  EXPECT_EQ(account.imap->server.host, "imap.example.com");
  EXPECT_EQ(account.imap->server.port, 993);
  EXPECT_EQ(account.imap->server.security, Security::kTls);
  EXPECT_EQ(account.imap->user, "ann@example.com");
  EXPECT_EQ(account.smtp->server.protocol, MailProtocol::kSmtp);
  EXPECT_EQ(account.smtp->server.host, "smtp.example.com");
  EXPECT_EQ(account.smtp->server.port, 2465);
  EXPECT_EQ(account.smtp->user, "ann.smtp");
}

TEST_F(DesktopOnlineAccountsTest, DescribesAnAccountWithPasswords) {
  start("good");
  const OnlineAccount account = described("account_2");
  EXPECT_FALSE(account.token);
  ASSERT_TRUE(account.imap && account.smtp);
  EXPECT_EQ(account.imap->server.port, 143);
  EXPECT_EQ(account.imap->server.security, Security::kStartTls);
  EXPECT_EQ(account.smtp->server.port, 587);
  EXPECT_EQ(account.smtp->user, "") << "it sends without signing in";
}

TEST_F(DesktopOnlineAccountsTest, GivesATokenWithItsLifetime) {
  start("good");
  const auto answer = accounts.secret("account_1", MailProtocol::kImap, {});
  ASSERT_FALSE(answer.failure) << answer.failure->words;
  EXPECT_EQ(answer.secret.bytes(), "sesame");
  EXPECT_TRUE(answer.token);
  EXPECT_EQ(answer.lifetime, std::chrono::seconds{3599});
}

TEST_F(DesktopOnlineAccountsTest, ALongTokenArrivesWhole) {
  const std::string token(100'000, 't');
  start("good", token);
  EXPECT_EQ(accounts.secret("account_1", MailProtocol::kImap, {}).secret.bytes(), token);
}

TEST_F(DesktopOnlineAccountsTest, GivesThePasswordOfTheServer) {
  start("good");
  const auto imap = accounts.secret("account_2", MailProtocol::kImap, {});
  EXPECT_EQ(imap.secret.bytes(), "sesame imap-password");
  EXPECT_FALSE(imap.token);
  EXPECT_FALSE(imap.lifetime);
  EXPECT_EQ(accounts.secret("account_2", MailProtocol::kSmtp, {}).secret.bytes(),
            "sesame smtp-password");
}

TEST_F(DesktopOnlineAccountsTest, AnAccountIsFoundByItsAddressToo) {
  start("good");
  EXPECT_EQ(causeOf("ann@example.com"), std::nullopt);
  EXPECT_EQ(causeOf("bob@example.org"), std::nullopt);
  EXPECT_EQ(causeOf("carol@example.org"), Cause::kNoSuchAccount);
}

TEST_F(DesktopOnlineAccountsTest, AnAccountThatIsNotSignedInSaysWhatToDo) {
  start("refused");
  EXPECT_TRUE(described("account_1").needsAttention);
  const auto answer = accounts.secret("account_1", MailProtocol::kImap, {});
  ASSERT_TRUE(answer.failure);
  EXPECT_EQ(answer.failure->cause, Cause::kNeedsAttention);
  EXPECT_THAT(answer.failure->words, HasSubstr("open the desktop's settings, Online Accounts"));
  EXPECT_TRUE(answer.secret.empty());
}

TEST_F(DesktopOnlineAccountsTest, AFailureOfTheServiceIsToldInItsWords) {
  start("offline");
  const auto answer = accounts.secret("account_1", MailProtocol::kImap, {});
  ASSERT_TRUE(answer.failure);
  EXPECT_EQ(answer.failure->cause, Cause::kFailed);
  EXPECT_THAT(answer.failure->words, HasSubstr("the provider is not reached"));
}

TEST_F(DesktopOnlineAccountsTest, AFailureToGiveTheTokenIsToldInItsWords) {
  start("empty-handed");
  const auto answer = accounts.secret("account_1", MailProtocol::kImap, {});
  ASSERT_TRUE(answer.failure);
  EXPECT_THAT(answer.failure->words, HasSubstr("no token today"));
}

TEST_F(DesktopOnlineAccountsTest, ASessionWithoutTheServiceIsReportedAsSuch) {
  EXPECT_EQ(causeOf("account_1"), Cause::kNoService);
  EXPECT_EQ(accounts.list({}).failure->cause, Cause::kNoService);
}

TEST_F(DesktopOnlineAccountsTest, NothingIsAskedAfterAStop) {
  start("good");
  std::stop_source stop;
  stop.request_stop();
  EXPECT_EQ(causeOf("account_1", stop.get_token()), Cause::kCancelled);
}

TEST(DesktopOnlineAccountsWithoutABus, AreMissingAtOnce) {
  const TestVariable address("DBUS_SESSION_BUS_ADDRESS", nullptr);
  const TestVariable display("DISPLAY", nullptr);
  TempFolder runtime;
  const TestVariable folder("XDG_RUNTIME_DIR", runtime.path().c_str());
  EXPECT_EQ(DesktopOnlineAccounts().list({}).failure->cause, Cause::kNoService);
}

}  // namespace
}  // namespace relaybird
