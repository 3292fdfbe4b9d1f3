// SPDX-License-Identifier: MIT
// The set-up asks no server that the user has not seen named, and none before the user tells it to.
// The whole dialog is used as a person does, with the real test of the account behind it, over a
// network that writes down who is called. However the servers come into the dialog, those called
// have to be those that the dialog named before the button was pressed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <regex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "app/program_mail_setup.h"
#include "support/fake_secrets.h"
#include "support/scripted_network.h"
#include "ui/console/setup_questions.h"
#include "ui/forms/main/program_fixture.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Names = std::vector<std::string>;

// Everything in a text that is written as a server is.
Names serversIn(const std::string& text) {
  static const std::regex kServer(R"(\S+, port \d+ \((TLS|STARTTLS|no encryption)\))");
  Names names;
  for (std::sregex_iterator at(text.begin(), text.end(), kServer), end; at != end; ++at) {
    names.push_back(at->str());
  }
  return names;
}

std::string nameOf(const MailServer& server) {
  const char* const encryption = server.security == Security::kTls        ? "TLS"
                                 : server.security == Security::kStartTls ? "STARTTLS"
                                                                          : "no encryption";
  return server.host + ", port " + std::to_string(server.port) + " (" + encryption + ")";
}

// Servers that agree with everything, so that the test of an account says all that it has to say.
std::unique_ptr<ServerScript> agreeing(MailProtocol protocol) {
  return answerLines([protocol](ServerEnd& end, std::string_view line) {
    if (protocol == MailProtocol::kSmtp) {
      end.say("250 ok\r\n");
      return;
    }
    end.say(
        "* CAPABILITY IMAP4rev1 ID\r\n* 1 EXISTS\r\n* OK [UIDVALIDITY 7] here\r\n* SEARCH 3\r\n" +
        std::string(line.substr(0, line.find(' '))) + " OK [READ-WRITE] done\r\n");
  });
}

class UnseenServers : public ProgramTest {
 protected:
  UnseenServers() {
    secrets_.accounts = &accounts_;
    secrets_.commands = &commands_;
    secrets_.keyring = &keyring_;
    real_ = std::make_unique<ProgramMailSetup>(
        AccountTestWorld{files_, secrets_, [this] { return network(); }, "1.2.3"}, events_,
        LocalIdentity{"/home/ann", "ann@host", "Ann"}, "/home/ann/.config",
        [](const auto& report) { report({}); }, [] { return std::string(); });
    mailSetup_ = real_.get();
  }
  // The forms are let go before what they refer to, and the thread before what it writes to.
  ~UnseenServers() override {
    program_.reset();
    real_.reset();
  }

  frmSetup& setup() { return program().setup(); }
  Control& at(const std::string& name) { return control("frmSetup", name); }
  void type(const std::string& name, const std::string& text) { at(name).setText(text); }
  void open() { click("frmRelaybird", "mnuSetUpMail"); }
  void mail(const std::string& lines) {
    files_.addFolder("/config/rbx");
    files_.addFile(kPrefFile, "[mail]\n" + lines);
  }

  // Lets the other thread do all that it was asked for, and hands in its reports.
  void settle() {
    bool reported = false;
    real_->listOnlineAccounts([&](const OnlineAccountList&) { reported = true; });
    while (!reported) {
      events_.runUntilIdle();
      std::this_thread::yield();
    }
  }
  void awaitTest() {
    while (setup().busy()) {
      events_.runUntilIdle();
      std::this_thread::yield();
    }
  }
  Names called() {
    const std::scoped_lock lock(mutex_);
    return called_;
  }
  int networks() {
    const std::scoped_lock lock(mutex_);
    return networks_;
  }

  // Presses Test Account. The result is who was called; the dialog must have named the same before,
  // under Test, where the button is, and on the first tab.
  Names test() {
    settle();
    EXPECT_EQ(networks(), 0) << "before the button was pressed";
    EXPECT_TRUE(at("lblTest").visible());
    EXPECT_TRUE(at("lblServers").visible());
    const Names named = serversIn(at("lblTest").text());
    EXPECT_EQ(serversIn(at("lblServers").text()), named);
    click("frmSetup", "cmdTestAccount");
    EXPECT_TRUE(dialogs_.boxes.empty()) << dialogs_.boxes.back().text;
    awaitTest();
    Names all = called();
    EXPECT_EQ(all, named);
    return forget(std::move(all));
  }

  Names forget(Names all) {
    const std::scoped_lock lock(mutex_);
    called_.clear();
    networks_ = 0;
    return all;
  }

  FakeOnlineAccounts accounts_;
  FakeSecretCommands commands_;
  FakeSecretStore keyring_;
  SecretWorld secrets_;

 private:
  // On the thread of the test.
  std::unique_ptr<Network> network() {
    const std::scoped_lock lock(mutex_);
    ++networks_;
    auto made = std::make_unique<ScriptedNetwork>();
    made->serve([this](ServerEnd& end) {
      const std::scoped_lock inside(mutex_);
      called_.push_back(nameOf(end.server()));
      return agreeing(end.server().protocol);
    });
    return made;
  }

  std::mutex mutex_;
  Names called_;
  int networks_ = 0;
  std::unique_ptr<ProgramMailSetup> real_;
};

TEST_F(UnseenServers, NothingIsSentWhileTheDialogIsFilledIn) {
  accounts_.accounts = {
      {"account_7", "Google", "ann@gmail.com", "ann@gmail.com", "Ann", {}, {}, true, false}};
  open();
  std::string typed;
  for (const char letter : std::string("ann@gmail.com")) {
    type("txtMailAddress", typed += letter);
  }
  type("txtPassword", "abcdefghijklmnop");
  for (int way = 0; way < static_cast<int>(at("cmbSignIn").list().size()); ++way) {
    at("cmbSignIn").setValue(way);
    settle();
  }
  type("txtMailAddress", "ann@firm.example");
  for (int provider = 0; provider < static_cast<int>(at("cmbHostedBy").list().size()); ++provider) {
    at("cmbHostedBy").setValue(provider);
  }
  for (int way = 0; way < static_cast<int>(at("cmbDelivery").list().size()); ++way) {
    at("cmbDelivery").setValue(way);
  }
  for (int tab = 0; tab < static_cast<int>(at("tabSetup").list().size()); ++tab) {
    at("tabSetup").setValue(tab);
  }
  click("frmSetup", "cmdCancel");
  settle();
  EXPECT_EQ(networks(), 0);
}

TEST_F(UnseenServers, AKnownProvidersServersAreNamedBeforeTheyAreCalled) {
  open();
  type("txtMailAddress", "ann@gmail.com");
  type("txtPassword", "abcdefghijklmnop");
  EXPECT_THAT(test(),
              ElementsAre("imap.gmail.com, port 993 (TLS)", "smtp.gmail.com, port 465 (TLS)"));
}

TEST_F(UnseenServers, TypedServersAreNamedAsTheyAreCalled) {
  open();
  type("txtMailAddress", "ann@firm.example");
  type("txtImapHost", " mail.firm.example ");
  type("txtImapPort", "1993");
  type("txtSmtpHost", "out.firm.example");
  type("txtSmtpPort", "2525");
  at("cmbSmtpSecurity").setValue(kSecureStartTls);
  type("txtPassword", "pass word");
  EXPECT_THAT(test(), ElementsAre("mail.firm.example, port 1993 (TLS)",
                                  "out.firm.example, port 2525 (STARTTLS)"));
}

TEST_F(UnseenServers, GuessedServersAreNamedWhenTheyAreTaken) {
  open();
  type("txtMailAddress", "ann@firm.example");
  type("txtPassword", "pass word");
  EXPECT_THAT(serversIn(at("lblTest").text()), IsEmpty()) << "a guess is not a choice";
  at("cmbHostedBy").setValue(1);
  EXPECT_THAT(test(), ElementsAre("imap.firm.example, port 993 (TLS)",
                                  "smtp.firm.example, port 465 (TLS)"));
}

TEST_F(UnseenServers, AnIncompleteAccountCallsNobody) {
  open();
  type("txtMailAddress", "ann@firm.example");
  type("txtImapHost", "mail.firm.example");
  type("txtImapPort", "993");
  type("txtPassword", "pass word");
  click("frmSetup", "cmdTestAccount");
  settle();
  EXPECT_EQ(networks(), 0);
  EXPECT_FALSE(dialogs_.boxes.empty()) << "the server for sending is missing";
}

TEST_F(UnseenServers, AnotherAddressAfterAProposalNamesTheServersAnew) {
  open();
  type("txtMailAddress", "ann@gmail.com");
  type("txtPassword", "abcdefghijklmnop");
  test();
  type("txtMailAddress", "ann@gmx.de");
  EXPECT_THAT(test(), ElementsAre("imap.gmx.net, port 993 (TLS)", "mail.gmx.net, port 465 (TLS)"));
}

// Each field of a server may be changed after the servers were shown, on a tab that hides them.
TEST_F(UnseenServers, AServerThatIsChangedAfterItWasShownIsShownAgain) {
  open();
  type("txtMailAddress", "ann@gmail.com");
  type("txtPassword", "abcdefghijklmnop");
  test();
  type("txtImapHost", "imap.other.example");
  EXPECT_THAT(test()[0], "imap.other.example, port 993 (TLS)");
  type("txtImapPort", "1993");
  EXPECT_THAT(test()[0], "imap.other.example, port 1993 (TLS)");
  at("cmbImapSecurity").setValue(kSecureStartTls);
  EXPECT_THAT(test()[0], "imap.other.example, port 1993 (STARTTLS)");
  type("txtSmtpHost", "smtp.other.example");
  EXPECT_THAT(test()[1], "smtp.other.example, port 465 (TLS)");
  type("txtSmtpPort", "1465");
  EXPECT_THAT(test()[1], "smtp.other.example, port 1465 (TLS)");
  at("cmbSmtpSecurity").setValue(kSecureStartTls);
  EXPECT_THAT(test()[1], "smtp.other.example, port 1465 (STARTTLS)");
}

TEST_F(UnseenServers, AServerForSendingThatIsNotTheAccountsIsNamed) {
  open();
  type("txtMailAddress", "ann@gmail.com");
  type("txtPassword", "abcdefghijklmnop");
  at("cmbDelivery").setValue(kByOtherServer);
  type("txtSmtpHost", "smtp.firm.example");
  type("txtSmtpPort", "465");
  type("txtSmtpUser", "ann");
  type("txtSmtpPassword", "pass word");
  EXPECT_THAT(test(),
              ElementsAre("imap.gmail.com, port 993 (TLS)", "smtp.firm.example, port 465 (TLS)"));
}

TEST_F(UnseenServers, AServerThatIsNotUsedIsNeitherNamedNorCalled) {
  open();
  type("txtMailAddress", "ann@gmail.com");
  type("txtPassword", "abcdefghijklmnop");
  at("cmbDelivery").setValue(kByNothing);
  EXPECT_THAT(test(), ElementsAre("imap.gmail.com, port 993 (TLS)"));
  files_.addFolder("/home");
  files_.addFolder("/home/ann");
  at("opbMaildir").setValue(1);
  type("txtMaildir", "/home/ann");
  EXPECT_THAT(test(), IsEmpty());
}

TEST_F(UnseenServers, AMaildirCallsTheServerForSendingThatIsNamed) {
  open();
  at("opbMaildir").setValue(1);
  type("txtMaildir", "/home/ann");
  type("txtMailAddress", "ann@gmail.com");
  at("cmbDelivery").setValue(kByOtherServer);
  type("txtSmtpPassword", "abcdefghijklmnop");
  EXPECT_THAT(test(), ElementsAre("smtp.gmail.com, port 465 (TLS)"));
}

TEST_F(UnseenServers, TheServersOfAnOnlineAccountAreNamedBeforeTheyAreCalled) {
  accounts_.accounts = {
      {"account_7", "Firm", "ann@firm.example", "ann@firm.example", "Ann",
       OnlineAccount::Place{{MailProtocol::kImap, "in.desk.example", 143, Security::kStartTls, {}},
                            "ann"},
       OnlineAccount::Place{{MailProtocol::kSmtp, "out.desk.example", 465, Security::kTls, {}},
                            "ann"},
       false, false}};
  accounts_.answer.secret = Secret("pass word");
  open();
  at("cmbSignIn").setValue(kByOnlineAccount);
  while (at("cmbOnlineAccount").list().empty()) {
    events_.runUntilIdle();
    std::this_thread::yield();
  }
  EXPECT_THAT(test(), ElementsAre("in.desk.example, port 143 (STARTTLS)",
                                  "out.desk.example, port 465 (TLS)"));
}

TEST_F(UnseenServers, StoredServersAreNamedWhenTheDialogOpens) {
  mail(
      "store=account\naddress=ann@firm.example\nimap_host=localhost\nimap_port=143\n"
      "imap_security=none\nimap_secret=command\nimap_secret_command=/usr/bin/pass\n"
      "smtp_host=out.firm.example\n");
  commands_.prints("pass word\n");
  open();
  EXPECT_THAT(test(), ElementsAre("localhost, port 143 (no encryption)",
                                  "out.firm.example, port 465 (TLS)"));
}

// The command "setup test" shows no dialog: an editor may have changed the file since the
// questions.
TEST_F(UnseenServers, ATestWithoutADialogNamesItsServersInItsFirstLine) {
  mail(
      "store=account\naddress=ann@firm.example\nimap_host=mail.firm.example\n"
      "imap_secret=command\nimap_secret_command=/usr/bin/pass\nsmtp_host=out.firm.example\n");
  commands_.prints("pass word\n");
  setup().openFor(main(), setup().cmdTestAccount);
  const Names told = serversIn(at("txtTest").text());
  EXPECT_THAT(told,
              ElementsAre("mail.firm.example, port 993 (TLS)", "out.firm.example, port 465 (TLS)"));
  awaitTest();
  EXPECT_EQ(called(), told);
}

TEST_F(UnseenServers, TheQuestionsOfTheConsoleCallNobodyAndNameWhomATestCalls) {
  click("frmRelaybird", "mnuSetUpMail");
  for (const char* answer : {"", "ann@gmail.com", "", "", "", "abcdefghijklmnop", "1"}) {
    dialogs_.enter(answer);
  }
  EXPECT_TRUE(askForSetup(setup(), dialogs_));
  awaitTest();
  settle();
  EXPECT_EQ(networks(), 0);
  const Names named = serversIn(dialogs_.inputs.back().prompt);
  setup().openFor(main(), setup().cmdTestAccount);
  awaitTest();
  EXPECT_EQ(called(), named);
  EXPECT_THAT(named,
              ElementsAre("imap.gmail.com, port 993 (TLS)", "smtp.gmail.com, port 465 (TLS)"));
}

}  // namespace
}  // namespace relaybird
