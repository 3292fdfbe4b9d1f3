// SPDX-License-Identifier: MIT
// The set-up's test of an account over a real Dovecot, IMAP and submission: what a person reads
// when all is well, and when it is not.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <set>

#include "app/account_test.h"
#include "platform/curl/curl_network.h"
#include "prefs/fake_files.h"
#include "support/mail_servers.h"

namespace relaybird {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

class AccountTestOverDovecot : public testing::Test {
 protected:
  static void SetUpTestSuite() { ::signal(SIGPIPE, SIG_IGN); }

  AccountTestOverDovecot() {
    MailServers& servers = MailServers::get();
    user = servers.freshUser();
    settings.mailbox = MailboxKind::kAccount;
    settings.address = user + "@example.org";
    settings.imap.server = server("plain", MailProtocol::kImap);
    settings.imap.user = user;
    settings.delivery = DeliveryKind::kSmtp;
    settings.smtp.server = server("plain", MailProtocol::kSmtp);
    settings.smtp.user = user;
    settings.smtp.secret = SecretSource::kSameAsImap;
    secrets.imap = Secret(MailServers::kPassword);
  }

  static MailServer server(const std::string& address, MailProtocol protocol) {
    MailServers& servers = MailServers::get();
    const std::string name =
        address + (protocol == MailProtocol::kImap ? ".imaps" : ".submissions");
    return {protocol, MailServers::host(name), servers.port(name), Security::kTls,
            servers.caFile()};
  }
  bool run() {
    const AccountTestWorld world{
        files, {}, [] { return std::make_unique<CurlNetwork>(); }, "1.2.3"};
    return testAccount(world, settings, secrets, {}, [this](const TestLine& line) {
      static constexpr const char* kMarks[] = {"", "OK: ", "Problem: ", "Do: "};
      lines.push_back(kMarks[static_cast<int>(line.kind)] + line.text);
    });
  }

  std::string user;
  FakeFiles files;
  MailSettings settings;
  TypedSecrets secrets;
  std::vector<std::string> lines;
};

TEST_F(AccountTestOverDovecot, AllIsWell) {
  MailServers::get().deliver(user, "Subject: lunch\n\ntext\n");
  EXPECT_TRUE(run()) << testing::PrintToString(lines);
  EXPECT_THAT(lines, Contains("OK: Signed in as " + user + ".").Times(2));
  EXPECT_THAT(lines,
              Contains("OK: The folder INBOX was opened; it has 1 message, 1 of them unread."));
  EXPECT_THAT(lines,
              Contains("OK: The server for sending takes mail from " + settings.address + "."));
}

TEST_F(AccountTestOverDovecot, AServerForSendingWithoutSignInSignsNobodyIn) {
  settings.smtp.server.port = MailServers::get().portOf("sink tls=tls");
  settings.smtp.server.host = "localhost";
  EXPECT_TRUE(run()) << testing::PrintToString(lines);
  EXPECT_THAT(lines, Contains("OK: Signed in as " + user + ".").Times(1));
  EXPECT_THAT(lines, Contains(HasSubstr("The server offers no sign-in")));
}

TEST_F(AccountTestOverDovecot, StartTlsThatIsRefusedForNowLeadsNobodyToPortOrSecurity) {
  const MailServers::Values sink = MailServers::get().ask("sink tls=starttls");
  MailServers::get().ask("rules " + sink.at("name") + " STARTTLS * 454 4.7.0 no key now");
  settings.smtp.server.host = "localhost";
  settings.smtp.server.port = static_cast<std::uint16_t>(std::stoi(sink.at("port")));
  settings.smtp.server.security = Security::kStartTls;
  EXPECT_FALSE(run());
  EXPECT_THAT(lines, Contains("Problem: localhost cannot encrypt for now: 454 4.7.0 no key now"));
  EXPECT_EQ(
      lines.back(),
      "Do: The server turns connections away for now. Try again in a while. No password was sent.");
}

TEST_F(AccountTestOverDovecot, AWrongPasswordIsToldWithTheServersWords) {
  secrets.imap = Secret("wrong");
  EXPECT_FALSE(run());
  EXPECT_THAT(lines, Contains("OK: The connection is encrypted, and the certificate is valid."));
  EXPECT_THAT(lines, Not(Contains(HasSubstr("Signed in"))));
  EXPECT_THAT(lines, Contains(HasSubstr("AUTHENTICATIONFAILED")));
  EXPECT_THAT(lines, Contains(testing::StartsWith("Do: ")));
}

// Sending is tested over a connection of its own, which is good.
TEST_F(AccountTestOverDovecot, ABadCertificateKeepsThePasswordBack) {
  std::set<std::string> problems;
  for (const char* address : {"expired", "wrong-host", "self-signed"}) {
    lines.clear();
    settings.imap.server = server(address, MailProtocol::kImap);
    EXPECT_FALSE(run()) << address;
    EXPECT_THAT(
        lines, Contains("OK: The connection is encrypted, and the certificate is valid.").Times(1));
    EXPECT_THAT(lines, Contains("OK: Signed in as " + user + ".").Times(1));
    EXPECT_THAT(lines, Contains(testing::StartsWith("Do: ")));
    for (const std::string& line : lines) {
      if (line.starts_with("Problem: ")) {
        problems.insert(line);
      }
    }
  }
  EXPECT_EQ(problems.size(), 3u) << testing::PrintToString(problems);
}

TEST_F(AccountTestOverDovecot, APortWhereNobodyListensIsTold) {
  settings.imap.server.port = 1;
  EXPECT_FALSE(run());
  EXPECT_THAT(lines, Not(Contains(HasSubstr("It answers at port 1."))));
}

TEST_F(AccountTestOverDovecot, AFolderThatIsMissingIsTold) {
  settings.folder = "No Such Folder";
  EXPECT_FALSE(run());
  EXPECT_THAT(lines, Contains(HasSubstr("The folder No Such Folder could not be opened")));
}

}  // namespace
}  // namespace relaybird
