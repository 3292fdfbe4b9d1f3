// SPDX-License-Identifier: MIT
// The transport that belongs to each kind of settings. Sending goes to a scripted SMTP server,
// which shows where a message was sent and how the program has signed in.
#include "outbox/delivery/make_transport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "outbox/outbox_world.h"
#include "outbox/smtp_server.h"
#include "support/fake_timers.h"
#include "support/store_fakes.h"

namespace relaybird {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

// Hands out one message.
struct OneMessage : MessageFeed {
  std::optional<FedMessage> next() override {
    if (given) {
      return std::nullopt;
    }
    given = true;
    return FedMessage{
        1, {{"ann@example.org", {"bob@example.org"}}, "s", OutgoingText("Subject: s\n\ntext\n")}};
  }
  void report(std::vector<Verdict> verdicts) override {
    for (Verdict& verdict : verdicts) {
      told.push_back(std::move(verdict.outcome));
    }
  }
  void makeDurable() override {}
  void putBack(std::uint64_t) override { given = false; }
  std::size_t waiting() const override { return given ? 0 : 1; }
  bool given = false;
  std::vector<Outcome> told;
};

class MakeTransportTest : public testing::Test {
 protected:
  MakeTransportTest() {
    network.serve([this](ServerEnd&) { return server.script(0); });
    settings.delivery = DeliveryKind::kSmtp;
    settings.address = "ann@example.org";
    settings.smtp.server = {MailProtocol::kSmtp, "smtp.example.org", 587, Security::kStartTls, ""};
    settings.smtp.user = "ann";
    settings.smtp.secret = SecretSource::kCredential;
    settings.smtp.secretName = "smtp-password";
    writeBytes(disk.temp.path("smtp-password"), "pass word\n");
  }
  StoreWorld world() {
    StoreWorld made{disk.disk, disk.clock, events, executor, commands, disk.random};
    made.notice = [this](const StoreNotice& notice) { notices.push_back(notice); };
    made.secrets.credentialFolder = disk.temp.path("");
    made.network = [this] { return std::make_unique<BorrowedNetwork>(network); };
    made.verbose = verbose;
    return made;
  }
  Outcome deliver() {
    auto transport = makeTransport(settings, world());
    OneMessage feed;
    (*transport)->deliverAll(feed, {});
    events.runUntilIdle();
    return feed.told.at(0);
  }
  OutboxWorld disk;
  FakeEventQueue events;
  InlineExecutor executor;
  NoCommands commands;
  ScriptedNetwork network;
  SmtpServer server;
  std::vector<StoreNotice> notices;
  std::shared_ptr<std::atomic<bool>> verbose = std::make_shared<std::atomic<bool>>(false);
  MailSettings settings;
};

TEST_F(MakeTransportTest, NoDeliveryIsNoTransport) {
  settings.delivery = DeliveryKind::kNone;
  EXPECT_EQ(*makeTransport(settings, world()), nullptr);
}

TEST_F(MakeTransportTest, ACommandThatCannotBeUsedIsAnError) {
  settings.delivery = DeliveryKind::kSendmail;
  settings.sendmail = "sendmail";
  const auto made = makeTransport(settings, world());
  ASSERT_FALSE(made);
  EXPECT_THAT(made.error().text, HasSubstr("must begin with a full path"));
}

TEST_F(MakeTransportTest, SendsToTheServerOfTheSettingsAndSignsInThere) {
  EXPECT_EQ(deliver().kind, Outcome::Kind::kDelivered);
  ASSERT_EQ(network.connections(), 1u);
  EXPECT_EQ(network.end(0).server().host, "smtp.example.org");
  EXPECT_EQ(network.end(0).server().port, 587);
  EXPECT_EQ(network.end(0).server().security, Security::kStartTls);
  ASSERT_TRUE(network.end(0).signIn());
  EXPECT_EQ(network.end(0).signIn()->user, "ann");
  EXPECT_EQ(network.end(0).signIn()->secret.bytes(), "pass word");
  EXPECT_THAT(server.taken, SizeIs(1));
}

TEST_F(MakeTransportTest, WithoutASignInNoPasswordIsAskedFor) {
  settings.smtp.signIn.reset();
  settings.smtp.secretName = "missing";
  EXPECT_EQ(deliver().kind, Outcome::Kind::kDelivered);
  EXPECT_FALSE(network.end(0).signIn());
}

TEST_F(MakeTransportTest, AMissingPasswordHoldsEverythingBackAndSaysWhy) {
  settings.smtp.secretName = "missing";
  const Outcome outcome = deliver();
  EXPECT_EQ(outcome.kind, Outcome::Kind::kTemporary);
  EXPECT_TRUE(outcome.everything);
  EXPECT_THAT(outcome.words, HasSubstr("no credential missing"));
  EXPECT_EQ(network.connections(), 0u);
}

TEST_F(MakeTransportTest, TheSecretOfTheMailboxServesForSendingToo) {
  settings.imap = settings.smtp;
  settings.smtp.secret = SecretSource::kSameAsImap;
  settings.smtp.secretName.clear();
  EXPECT_EQ(deliver().kind, Outcome::Kind::kDelivered);
  EXPECT_EQ(network.end(0).signIn()->secret.bytes(), "pass word");
}

TEST_F(MakeTransportTest, BlanksOfAPasswordForAnotherServerThanTheProvidersStay) {
  settings.address = "ann@gmail.com";
  writeBytes(disk.temp.path("smtp-password"), "abcd efgh ijkl mnop\n");
  (void)deliver();
  EXPECT_EQ(network.end(0).signIn()->secret.bytes(), "abcd efgh ijkl mnop");
}

TEST_F(MakeTransportTest, TheProtocolIsToldWhileTheVerboseLogIsOn) {
  (void)deliver();
  EXPECT_THAT(notices, IsEmpty());
  *verbose = true;
  (void)deliver();
  std::vector<std::string> lines;
  for (const StoreNotice& notice : notices) {
    EXPECT_EQ(notice.kind, StoreNotice::Kind::kVerbose);
    lines.push_back(notice.line);
    EXPECT_THAT(notice.line, Not(HasSubstr("pass word")));
  }
  EXPECT_THAT(lines, Contains("SMTP > RCPT TO:<bob@example.org>"));
  EXPECT_THAT(lines, Contains("SMTP < 250 2.0.0 taken"));
  EXPECT_THAT(lines, Not(Contains(HasSubstr("text"))));
}

TEST_F(MakeTransportTest, WithoutANetworkOrAServerItIsAnError) {
  auto without = world();
  without.network = {};
  EXPECT_THAT(makeTransport(settings, without).error().text, HasSubstr("without a network"));
  settings.smtp.server.host.clear();
  EXPECT_THAT(makeTransport(settings, world()).error().text, HasSubstr("smtp_host"));
}

}  // namespace
}  // namespace relaybird
