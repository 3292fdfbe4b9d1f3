// SPDX-License-Identifier: MIT
// The set-up dialog as a user sees it.
#include "ui/forms/setup/frm_setup.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ui/forms/main/program_fixture.h"

namespace relaybird {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

class Setup : public ProgramTest {
 protected:
  frmSetup& setup() { return program().setup(); }
  void open() { click("frmRelaybird", "mnuSetUpMail"); }
  Control& at(const std::string& name) { return control("frmSetup", name); }
  std::string in(const std::string& name) { return at(name).text(); }
  void type(const std::string& name, const std::string& text) { at(name).setText(text); }
  void press(const std::string& name) { click("frmSetup", name); }
  MailSettings stored() {
    return readMailSettings(*profiles_.read(kPrefFile), setup_.user()).settings;
  }
  std::string lastBox() { return dialogs_.boxes.empty() ? "" : dialogs_.boxes.back().text; }
  // A whole account at a provider that is not in the list.
  void fillAccount() {
    type("txtMailAddress", "ann@firm.example");
    type("txtImapHost", "mail.firm.example");
    type("txtImapPort", "993");
    type("txtSmtpHost", "out.firm.example");
    type("txtSmtpPort", "465");
    type("txtPassword", "pass word");
  }
  void mail(const std::string& lines) {
    files_.addFolder("/config/rbx");
    files_.addFile(kPrefFile,
                   "[default]\nmstrFwdToAddress_num=1\n"
                   "mstrFwdToAddress_1=5550100@sms.example.net\n[mail]\n" +
                       lines);
  }
};

TEST_F(Setup, AsksNobodyAnythingWhenItOpens) {
  open();
  EXPECT_TRUE(setup().visible());
  EXPECT_TRUE(at("opbAccount").checked());
  EXPECT_EQ(in("txtMailName"), "Ann Example");
  EXPECT_EQ(in("txtMailAddress"), "");
  EXPECT_EQ(setup_.tests, 0);
  EXPECT_FALSE(setup_.onAccounts);
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
}

TEST_F(Setup, ProposesTheServersOfAKnownAddress) {
  open();
  type("txtMailAddress", "ann@gmail.com");
  EXPECT_EQ(in("txtImapHost"), "imap.gmail.com");
  EXPECT_EQ(in("txtImapPort"), "993");
  EXPECT_EQ(in("txtImapUser"), "ann@gmail.com");
  EXPECT_EQ(in("txtSmtpHost"), "smtp.gmail.com");
  EXPECT_EQ(in("txtSmtpPort"), "465");
  EXPECT_EQ(in("lblPassword"), "App password:");
  EXPECT_THAT(in("lblProvider"), HasSubstr("Gmail needs an app password"));
  EXPECT_EQ(in("lnkProviderPage"), "https://myaccount.google.com/apppasswords");
  EXPECT_THAT(in("lblServers"), HasSubstr("imap.gmail.com, port 993 (TLS)"));
  press("lnkProviderPage");
  EXPECT_THAT(folderViewer_.browsed,
              testing::ElementsAre("https://myaccount.google.com/apppasswords"));
}

TEST_F(Setup, ProposalsFollowTheAddressLetterByLetter) {
  open();
  std::string typed;
  for (const char letter : std::string("ann@gmx.de")) {
    type("txtMailAddress", typed += letter);
  }
  EXPECT_EQ(in("txtImapHost"), "imap.gmx.net");
  type("txtMailAddress", "ann@icloud.com");
  EXPECT_EQ(in("txtImapHost"), "imap.mail.me.com");
  EXPECT_EQ(in("txtImapUser"), "ann");
  EXPECT_EQ(in("txtSmtpUser"), "ann@icloud.com");
  EXPECT_EQ(in("txtSmtpPort"), "587");
  EXPECT_EQ(at("cmbSmtpSecurity").value(), kSecureStartTls);
  type("txtMailAddress", "ann@gmail.com");
  EXPECT_EQ(in("txtSmtpPort"), "465");
  EXPECT_EQ(at("cmbSmtpSecurity").value(), kSecureTls);
}

TEST_F(Setup, WhatTheUserTypesWinsOverProposals) {
  open();
  type("txtMailAddress", "ann@gmail.com");
  type("txtImapHost", "my.server.example");
  type("txtSmtpUser", "other");
  type("txtMailAddress", "ann@gmx.de");
  EXPECT_EQ(in("txtImapHost"), "my.server.example");
  EXPECT_EQ(in("txtSmtpUser"), "other");
  EXPECT_EQ(in("txtSmtpHost"), "mail.gmx.net");
}

TEST_F(Setup, AGuessIsSaidButNotFilledIn) {
  open();
  type("txtMailAddress", "ann@gmail.com");
  type("txtMailAddress", "ann@firm.example");
  EXPECT_EQ(in("txtImapHost"), "");
  EXPECT_EQ(in("txtSmtpHost"), "");
  EXPECT_THAT(in("lblProvider"), HasSubstr("usual names are imap.firm.example"));
}

TEST_F(Setup, AProviderWithoutPasswordsLeadsToTheOnlineAccounts) {
  open();
  type("txtMailAddress", "ann@outlook.com");
  EXPECT_EQ(at("cmbSignIn").value(), kByOnlineAccount);
  EXPECT_FALSE(at("txtPassword").visible());
  EXPECT_THAT(in("lblProvider"), HasSubstr("accepts no password"));
  ASSERT_TRUE(setup_.onAccounts);
  setup_.onAccounts({{}, {}});
  EXPECT_THAT(in("lblProviderMore"), HasSubstr("The desktop has no online account with mail"));
  at("cmbSignIn").setValue(kByKeyring);
  type("txtPassword", "secret");
  press("cmdOK");
  EXPECT_THAT(lastBox(), HasSubstr("accepts no password"));
  EXPECT_THAT(setup_.kept, IsEmpty());
}

TEST_F(Setup, AnotherAddressLeavesTheOnlineAccountsAgain) {
  open();
  type("txtMailAddress", "ann@outlook.com");
  setup_.onAccounts({{}, {}});
  type("txtMailAddress", "ann@firm.example");
  EXPECT_EQ(at("cmbSignIn").value(), kByKeyring);
  EXPECT_TRUE(at("txtPassword").visible());
  EXPECT_EQ((in("lblProvider") + in("lblProviderMore")).find("online account"), std::string::npos);
}

TEST_F(Setup, AStoredWayToSignInStaysWhateverTheAddress) {
  mail(
      "store=account\naddress=ann@firm.example\nimap_host=mail.firm.example\n"
      "imap_secret=command\nimap_secret_command=pass mail\ndelivery=none\n");
  open();
  EXPECT_EQ(at("cmbSignIn").value(), kByCommand);
  type("txtMailAddress", "ann@gmail.com");
  EXPECT_EQ(at("cmbSignIn").value(), kByCommand);
}

TEST_F(Setup, AStoredEncryptionStaysAtAKnownServer) {
  mail(
      "store=account\naddress=ann@gmail.com\nimap_host=imap.gmail.com\n"
      "imap_security=starttls\ndelivery=none\n");
  open();
  EXPECT_EQ(at("cmbImapSecurity").value(), kSecureStartTls);
  EXPECT_EQ(in("txtImapPort"), "143");
}

TEST_F(Setup, AnOnlineAccountFillsAddressAndServers) {
  open();
  at("cmbSignIn").setValue(kByOnlineAccount);
  ASSERT_TRUE(setup_.onAccounts);
  OnlineAccount account{
      "account_7", "Microsoft", "ann@outlook.com", "ann@outlook.com", "Ann", {}, {}, true, false};
  setup_.onAccounts({{account}, {}});
  EXPECT_EQ(in("txtMailAddress"), "ann@outlook.com");
  EXPECT_EQ(in("txtImapHost"), "outlook.office365.com");
  press("cmdOK");
  EXPECT_EQ(stored().imap.secret, SecretSource::kOnlineAccount);
  EXPECT_EQ(stored().imap.secretName, "account_7");
  EXPECT_EQ(stored().imap.signIn, SignInMethod::kXoauth2);
  EXPECT_EQ(stored().smtp.signIn, SignInMethod::kXoauth2);
}

TEST_F(Setup, AnOwnDomainTakesTheServersOfTheProviderThatIsChosen) {
  open();
  type("txtMailAddress", "ann@firm.example");
  const auto& list = at("cmbHostedBy").list();
  const auto fastmail = std::find(list.begin(), list.end(), "Fastmail");
  ASSERT_NE(fastmail, list.end());
  at("cmbHostedBy").setValue(static_cast<int>(fastmail - list.begin()));
  EXPECT_EQ(in("txtImapHost"), "imap.fastmail.com");
  EXPECT_EQ(in("txtImapUser"), "ann@firm.example");
}

TEST_F(Setup, TheProviderIsAskedForOnlyWhereItIsNotKnown) {
  open();
  EXPECT_FALSE(at("cmbHostedBy").visible());
  type("txtMailAddress", "ann@firm.example");
  EXPECT_TRUE(at("cmbHostedBy").visible());
  type("txtMailAddress", "ann@gmail.com");
  EXPECT_FALSE(at("cmbHostedBy").visible());
  EXPECT_EQ(in("txtImapHost"), "imap.gmail.com");
}

TEST_F(Setup, TheUsualNamesOfServersAreTakenWhenTheUserSaysSo) {
  open();
  type("txtMailAddress", "ann@firm.example");
  at("cmbHostedBy").setValue(1);
  EXPECT_EQ(in("txtImapHost"), "imap.firm.example");
  EXPECT_EQ(in("txtSmtpHost"), "smtp.firm.example");
  EXPECT_THAT(in("lblProvider"), HasSubstr("are a guess"));
  EXPECT_THAT(in("lblServers"), HasSubstr("imap.firm.example, port 993 (TLS)"));
  type("txtMailAddress", "ann@gmx.de");
  EXPECT_EQ(in("txtImapHost"), "imap.gmx.net") << "the choice was for another address";
}

// The test of the account gets what the file would say.
TEST_F(Setup, AFolderThatIsTypedWithATildeIsTestedByItsWholePath) {
  open();
  at("opbMaildir").click();
  type("txtMaildir", "~/Mail/");
  type("txtAddressBook", "~/people.vcf");
  at("cmbDelivery").setValue(kByLocalCommand);
  type("txtSendmail", "~/bin/send --now");
  press("cmdTestAccount");
  EXPECT_EQ(setup_.tested.maildir, "/home/ann/Mail");
  EXPECT_EQ(setup_.tested.addressBook, "/home/ann/people.vcf");
  EXPECT_EQ(setup_.tested.sendmail, "/home/ann/bin/send --now");
  EXPECT_THAT(in("lblTest"),
              HasSubstr("the Maildir ~/Mail; forwards leave by the command ~/bin/send"));
}

TEST_F(Setup, PathsInTheHomeFolderAreShownShort) {
  mail("maildir=/home/ann/Mail\nsendmail=~/bin/send\naddress_book=/home/anna/people.vcf\n");
  main();
  EXPECT_THAT(text("lblMailbox"),
              HasSubstr("Watches the Maildir ~/Mail. Forwards leave by the command ~/bin/send"));
  open();
  EXPECT_EQ(in("txtMaildir"), "~/Mail");
  EXPECT_EQ(in("txtSendmail"), "~/bin/send");
  EXPECT_EQ(in("txtAddressBook"), "/home/anna/people.vcf") << "another user's home folder";
  press("cmdOK");
  EXPECT_EQ(setup_.reopened, 0) << "nothing has changed";
  EXPECT_THAT(files_.bytes(kPrefFile), HasSubstr("maildir=/home/ann/Mail\nsendmail=~/bin/send\n"));
}

TEST_F(Setup, ThereIsNoConnectionWithoutEncryptionToChoose) {
  open();
  EXPECT_THAT(at("cmbImapSecurity").list(), testing::ElementsAre("TLS", "STARTTLS"));
  EXPECT_THAT(at("cmbSmtpSecurity").list(), testing::ElementsAre("TLS", "STARTTLS"));
}

TEST_F(Setup, AUsualPortFollowsTheEncryption) {
  open();
  type("txtMailAddress", "ann@gmail.com");
  at("cmbSmtpSecurity").setValue(kSecureStartTls);
  EXPECT_EQ(in("txtSmtpPort"), "587");
  type("txtSmtpPort", "2525");
  at("cmbSmtpSecurity").setValue(kSecureTls);
  EXPECT_EQ(in("txtSmtpPort"), "2525");
}

TEST_F(Setup, OkKeepsThePasswordStoresTheSettingsAndOpensTheMailbox) {
  open();
  fillAccount();
  press("cmdOK");
  ASSERT_EQ(setup_.kept.size(), 1u);
  EXPECT_EQ(setup_.kept[0].first, "mail.firm.example ann@firm.example");
  EXPECT_EQ(setup_.kept[0].second, "pass word");
  EXPECT_EQ(setup_.reopened, 0) << "the keyring has not answered yet";
  EXPECT_FALSE(at("cmdOK").enabled());
  setup_.onKept({});
  EXPECT_FALSE(setup().visible());
  EXPECT_TRUE(setup().stored());
  EXPECT_EQ(setup_.reopened, 1);
  EXPECT_EQ(stored().mailbox, MailboxKind::kAccount);
  EXPECT_EQ(stored().imap.server.host, "mail.firm.example");
  EXPECT_EQ(stored().delivery, DeliveryKind::kSmtp);
  EXPECT_EQ(text("lblMailbox"),
            "Watches the inbox of ann@firm.example at mail.firm.example. Forwards leave by "
            "out.firm.example.");
}

TEST_F(Setup, ThePasswordIsInNoFileAndNoControlAfterwards) {
  open();
  fillAccount();
  press("cmdOK");
  setup_.onKept({});
  for (const auto& [name, entry] : files_.entries) {
    EXPECT_EQ(entry.bytes.find("pass word"), std::string::npos) << name;
  }
  for (Form* form : program().forms()) {
    for (const Control* each : form->controls()) {
      EXPECT_EQ(each->text().find("pass word"), std::string::npos) << each->name();
    }
  }
  EXPECT_THAT(log(), testing::Not(testing::Contains(HasSubstr("pass word"))));
}

TEST_F(Setup, CancelForgetsThePasswordAndStoresNothing) {
  open();
  fillAccount();
  press("cmdCancel");
  EXPECT_FALSE(setup().visible());
  EXPECT_EQ(in("txtPassword"), "");
  EXPECT_FALSE(files_.has(kPrefFile));
  EXPECT_EQ(setup_.reopened, 0);
}

TEST_F(Setup, AKeyringThatRefusesKeepsTheDialogOpen) {
  open();
  fillAccount();
  press("cmdOK");
  setup_.onKept(Error{0, "this session has no keyring."});
  EXPECT_TRUE(setup().visible());
  EXPECT_THAT(lastBox(), HasSubstr("this session has no keyring."));
  EXPECT_FALSE(files_.has(kPrefFile));
  EXPECT_TRUE(at("cmdOK").enabled());
}

TEST_F(Setup, WhatIsMissingIsSaidAndShown) {
  open();
  press("cmdOK");
  EXPECT_EQ(lastBox(), "Enter your e-mail address, like name@example.org.");
  type("txtMailAddress", "ann@firm.example");
  press("cmdOK");
  EXPECT_THAT(lastBox(), HasSubstr("Enter the name of the server for reading mail (IMAP)."));
  EXPECT_EQ(at("tabSetup").value(), kServersTab);
  fillAccount();
  type("txtImapPort", "99999");
  press("cmdOK");
  EXPECT_THAT(lastBox(), HasSubstr("a number from 1 to 65535"));
  type("txtImapPort", "993");
  type("txtPassword", "");
  press("cmdOK");
  EXPECT_THAT(lastBox(), HasSubstr("Enter the password."));
  type("txtPassword", "x");
  type("txtSmtpHost", "");
  press("cmdOK");
  EXPECT_THAT(lastBox(), HasSubstr("server for sending mail (SMTP)"));
  EXPECT_EQ(at("tabSetup").value(), kSendingTab);
}

TEST_F(Setup, ABlankAtTheEndOfAPasswordIsAskedAbout) {
  open();
  fillAccount();
  type("txtPassword", "secret ");
  dialogs_.answer(BoxAnswer::kNo);
  press("cmdOK");
  EXPECT_THAT(setup_.kept, IsEmpty());
  dialogs_.answer(BoxAnswer::kYes);
  press("cmdOK");
  ASSERT_EQ(setup_.kept.size(), 1u);
  EXPECT_EQ(setup_.kept[0].second, "secret ");
}

TEST_F(Setup, BlanksOfAnAppPasswordInGroupsAreLeftOut) {
  open();
  type("txtMailAddress", "ann@gmail.com");
  type("txtPassword", "abcd efgh ijkl mnop");
  press("cmdOK");
  ASSERT_EQ(setup_.kept.size(), 1u);
  EXPECT_EQ(setup_.kept[0].second, "abcdefghijklmnop");
}

TEST_F(Setup, BlanksOfAPasswordForAnotherServerStay) {
  open();
  type("txtMailAddress", "ann@gmail.com");
  type("txtImapHost", "mail.firm.example");
  type("txtPassword", "abcd efgh ijkl mnop");
  press("cmdOK");
  ASSERT_EQ(setup_.kept.size(), 1u);
  EXPECT_EQ(setup_.kept[0].second, "abcd efgh ijkl mnop");
}

TEST_F(Setup, AMaildirThatWasFoundIsOffered) {
  setup_.maildirs = {"/home/ann/Mail/INBOX", "/home/ann/Maildir"};
  open();
  at("opbMaildir").click();
  EXPECT_FALSE(at("txtPassword").visible());
  EXPECT_EQ(in("txtMaildir"), "~/Mail/INBOX");
  at("cmbFoundMaildir").setValue(1);
  EXPECT_EQ(in("txtMaildir"), "~/Maildir");
  type("txtMaildir", "~/Other");
  EXPECT_EQ(at("cmbFoundMaildir").list().back(), "Another folder");
  EXPECT_EQ(at("cmbFoundMaildir").value(), 2);
  type("txtMaildir", "~/Maildir");
  EXPECT_EQ(at("cmbFoundMaildir").value(), 1);
  at("cmbDelivery").setValue(kByLocalCommand);
  EXPECT_EQ(in("txtSendmail"), "/usr/sbin/sendmail");
  press("cmdOK");
  EXPECT_FALSE(setup().visible()) << lastBox();
  EXPECT_EQ(stored().mailbox, MailboxKind::kMaildir);
  EXPECT_EQ(stored().maildir, "/home/ann/Maildir");
  EXPECT_EQ(stored().delivery, DeliveryKind::kSendmail);
  EXPECT_EQ(stored().address, "ann@host");
}

TEST_F(Setup, AMaildirHasNoServerOfItsOwnToSendBy) {
  open();
  at("opbMaildir").click();
  EXPECT_EQ(at("cmbDelivery").value(), kByLocalCommand);
  at("opbAccount").click();
  EXPECT_EQ(at("cmbDelivery").value(), kByAccount);
  at("opbMaildir").click();
  at("cmbDelivery").setValue(kByAccount);
  press("cmdOK");
  EXPECT_THAT(lastBox(), HasSubstr("A Maildir has no server of its own"));
}

TEST_F(Setup, TheWayOutThatWasChosenStays) {
  open();
  at("cmbDelivery").setValue(kByNothing);
  at("opbMaildir").click();
  at("opbAccount").click();
  EXPECT_EQ(at("cmbDelivery").value(), kByNothing);
}

TEST_F(Setup, StoredSettingsAreShownAndStayAsTheyAre) {
  const std::string lines =
      "store=account\naddress=ann@firm.example\nimap_host=mail.firm.example\nimap_user=annie\n"
      "imap_security=none\nimap_unencrypted=mail.firm.example\nimap_sign_in=login\n"
      "imap_secret=command\nimap_secret_command=pass mail\nsmtp_host=out.firm.example\n"
      "smtp_secret=credential\nmax_per_hour=7\n";
  mail(lines);
  open();
  EXPECT_EQ(in("txtImapUser"), "annie");
  EXPECT_EQ(in("txtSecretCommand"), "pass mail");
  press("cmdOK");
  EXPECT_FALSE(setup().visible()) << lastBox();
  EXPECT_THAT(files_.bytes(kPrefFile), HasSubstr("[mail]\n" + lines));
}

TEST_F(Setup, AKeptPasswordNeedNotBeTypedAgain) {
  mail(
      "store=account\naddress=ann@firm.example\nimap_host=mail.firm.example\n"
      "smtp_host=out.firm.example\n");
  open();
  type("txtMailName", "Another Name");
  press("cmdOK");
  EXPECT_FALSE(setup().visible()) << lastBox();
  EXPECT_THAT(setup_.kept, IsEmpty());
  EXPECT_EQ(setup_.reopened, 1);
  open();
  press("cmdOK");
  EXPECT_EQ(setup_.reopened, 1) << "nothing was changed, so a check under way goes on";
  open();
  type("txtImapHost", "other.firm.example");
  press("cmdOK");
  EXPECT_THAT(lastBox(), HasSubstr("Enter the password."));
}

// It would have been sent the password of another user.
TEST_F(Setup, AKeptPasswordIsThatOfItsUserAlone) {
  mail("store=account\naddress=ann@firm.example\nimap_host=mail.firm.example\n");
  open();
  type("txtImapUser", "bob@firm.example");
  press("cmdOK");
  EXPECT_THAT(lastBox(), HasSubstr("Enter the password."));
  EXPECT_TRUE(setup().visible());
}

TEST_F(Setup, AServerOfItsOwnForSendingWantsItsPassword) {
  open();
  fillAccount();
  at("cmbDelivery").setValue(kByOtherServer);
  type("txtSmtpHost", "out.other.example");
  type("txtSmtpUser", "ann");
  press("cmdOK");
  EXPECT_THAT(lastBox(), HasSubstr("Enter the password of the server for sending."));
  EXPECT_EQ(at("tabSetup").value(), kSendingTab);
  EXPECT_THAT(setup_.kept, IsEmpty());
}

TEST_F(Setup, NothingIsReportedToADialogThatWasCancelled) {
  open();
  fillAccount();
  press("cmdTestAccount");
  press("cmdCancel");
  EXPECT_EQ(setup_.stops, 1);
  EXPECT_FALSE(setup_.onLine) << "the reports of the test were not taken back";
}

TEST_F(Setup, AMaildirWithoutAnAddressIsToldWhereForwardsComeFrom) {
  open();
  type("txtMailAddress", "ann@gmail.com");
  at("opbMaildir").click();
  EXPECT_FALSE(at("lblProvider").visible()) << "Gmail's servers are not asked";
  EXPECT_FALSE(at("lnkProviderPage").visible());
  type("txtMailAddress", "");
  EXPECT_TRUE(at("lblProvider").visible());
  EXPECT_THAT(in("lblProvider"), HasSubstr("forwards come from ann@host"));
  at("opbAccount").click();
  EXPECT_FALSE(at("lblProvider").visible());
}

TEST_F(Setup, TheTestShowsEachStepAndCanBeStopped) {
  open();
  fillAccount();
  press("cmdTestAccount");
  EXPECT_EQ(setup_.tests, 1);
  EXPECT_EQ(setup_.tested.imap.server.host, "mail.firm.example");
  EXPECT_EQ(setup_.testedPassword, "pass word");
  EXPECT_FALSE(files_.has(kPrefFile)) << "a test stores nothing";
  EXPECT_FALSE(at("cmdOK").enabled());
  setup_.onLine({TestLine::Kind::kGood, "connected"});
  setup_.onLine({TestLine::Kind::kProblem, "wrong password"});
  setup_.onLine({TestLine::Kind::kAdvice, "type it again"});
  press("cmdStopTest");
  EXPECT_EQ(setup_.stops, 1);
  setup_.onEnd(false);
  EXPECT_THAT(in("txtTest"), HasSubstr("OK: connected\r\nProblem: wrong password\r\n"
                                       "What to do: type it again\r\nProblem: The test is over"));
  EXPECT_TRUE(at("cmdOK").enabled());
}

TEST_F(Setup, ATestMessageGoesToTheForwardAddressesAfterAQuestion) {
  mail(
      "store=account\naddress=ann@firm.example\nimap_host=mail.firm.example\n"
      "smtp_host=out.firm.example\n");
  open();
  dialogs_.answer(BoxAnswer::kNo);
  press("cmdSendTest");
  EXPECT_THAT(sentSubjects(), IsEmpty());
  dialogs_.answer(BoxAnswer::kYes);
  press("cmdSendTest");
  EXPECT_THAT(lastBox(), HasSubstr("5550100@sms.example.net"));
  ASSERT_EQ(store_.outbox().size(), 1u);
  EXPECT_EQ(sentSubjects(), std::vector<std::string>{"Test message from Relaybird"});
  outgoing_.now.left = 1;
  ASSERT_TRUE(outgoing_.tried);
  outgoing_.tried();
  EXPECT_THAT(in("txtTest"), HasSubstr("OK: 1 message has left this computer"));
}

TEST_F(Setup, ATestMessageNeedsAnAddress) {
  main();
  open();
  fillAccount();
  press("cmdSendTest");
  setup_.onKept({});
  EXPECT_THAT(lastBox(), HasSubstr("There is no address to forward to yet."));
  EXPECT_TRUE(at("cmdSendTest").enabled());
}

TEST_F(Setup, ATestMessageAsksForTheFirstAddressInsteadOfSendingTheUserAway) {
  main();
  open();
  fillAccount();
  dialogs_.enter("5550100@sms.example.net");
  dialogs_.answer(BoxAnswer::kYes);
  press("cmdSendTest");
  setup_.onKept({});
  EXPECT_THAT(lastBox(), HasSubstr("5550100@sms.example.net"));
  EXPECT_EQ(sentSubjects(), std::vector<std::string>{"Test message from Relaybird"});
  EXPECT_THAT(files_.bytes(kPrefFile), HasSubstr("mstrFwdToAddress_1=5550100@sms.example.net"));
}

TEST_F(Setup, AMailboxThatCannotBeOpenedIsTold) {
  setup_.failure = "Another Relaybird has this mailbox.";
  open();
  fillAccount();
  press("cmdOK");
  setup_.onKept({});
  EXPECT_THAT(lastBox(), HasSubstr("Another Relaybird has this mailbox."));
  EXPECT_TRUE(setup().visible());
}

TEST_F(Setup, ADiskThatTakesNothingIsTold) {
  open();
  fillAccount();
  files_.failCallsWith("rbx_prefs", 28);
  press("cmdOK");
  setup_.onKept({});
  EXPECT_THAT(lastBox(), HasSubstr("The settings could not be stored"));
  EXPECT_EQ(setup_.reopened, 0);
}

TEST_F(Setup, ForwardingIsSwitchedOffWhenTheMailboxChanges) {
  mail(
      "store=account\naddress=ann@firm.example\nimap_host=mail.firm.example\n"
      "smtp_host=out.firm.example\n");
  main();
  switchOn();
  EXPECT_TRUE(state().forwardingOn);
  open();
  type("txtMailName", "Another Name");
  press("cmdOK");
  EXPECT_FALSE(state().forwardingOn);
  EXPECT_THAT(lastBox(), HasSubstr("Forwarding has been switched off"));
}

TEST_F(Setup, TheFirstStartLeadsHere) {
  setup_.maildirs = {};
  outgoing_.now.outbox = "/outbox";
  outgoing_.now.delivers = false;
  store_.removeComponent(prog_id::kApplication);
  main();
  EXPECT_EQ(text("lblMailbox"), "No mailbox yet.");
  EXPECT_TRUE(control("frmRelaybird", "cmdSetUpMail").visible());
  EXPECT_FALSE(control("frmRelaybird", "lblOutbox").visible()) << "there is no mail to wait";
  dialogs_.answer(BoxAnswer::kYes);
  click("frmRelaybird", "cmdStart");
  EXPECT_THAT(lastBox(), HasSubstr("No mailbox has been set up yet"));
  EXPECT_TRUE(setup().visible());
}

TEST_F(Setup, TheLineSaysWhatWaitsAndHasLeft) {
  mail("maildir=/mail\nsendmail=msmtp\n");
  outgoing_.now.outbox = "/outbox";
  outgoing_.now.left = 3;
  outgoing_.waits = 1;
  main();
  EXPECT_THAT(text("lblMailbox"), HasSubstr("Watches the Maildir /mail. Forwards leave by the "
                                            "command msmtp: 1 waits, 3 have left since "));
  EXPECT_FALSE(control("frmRelaybird", "cmdSetUpMail").visible());
}

TEST_F(Setup, TheCertificateFileForReadingDoesNotReplaceTheOneForSending) {
  mail(
      "store=account\naddress=ann@firm.example\nimap_host=mail.firm.example\n"
      "imap_ca_file=/ca\nimap_secret=command\nimap_secret_command=/usr/bin/pass\n"
      "smtp_host=out.firm.example\n");
  main();
  open();
  type("txtMailName", "Another Name");
  press("cmdOK");
  EXPECT_EQ(stored().smtp.server.caFile, "");
  EXPECT_EQ(stored().imap.server.caFile, "/ca");
}

// The store was not opened: it has no components at all.
TEST_F(Setup, AMistakeInTheFileLeadsToTheDialogInsteadOfEndingTheProgram) {
  mail(
      "store=account\naddress=ann@firm.example\nimap_host=mail.firm.example\n"
      "imap_port=many\nimap_secret=command\nimap_secret_command=/usr/bin/pass\n");
  setup_.closed = "Section [mail] cannot be used: imap_port=many is not known";
  for (const auto component : {prog_id::kApplication, prog_id::kUtility, prog_id::kDictionary}) {
    store_.removeComponent(component);
  }
  main();
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
  EXPECT_THAT(text("lblMailbox"), HasSubstr("imap_port=many is not known"));
  EXPECT_TRUE(control("frmRelaybird", "cmdSetUpMail").visible());
  click("frmRelaybird", "cmdSetUpMail");
  EXPECT_TRUE(setup().visible());
  EXPECT_EQ(in("txtImapHost"), "mail.firm.example");
  EXPECT_EQ(in("txtImapPort"), "993");
  press("cmdOK");
  EXPECT_EQ(lastBox(), "");
  EXPECT_EQ(setup_.reopened, 1) << "OK stores and opens, even if nothing was changed";
  EXPECT_TRUE(readMailSettings(*profiles_.read(kPrefFile), setup_.user()).errors.empty());
  EXPECT_THAT(text("lblMailbox"), HasSubstr("Watches the inbox of ann@firm.example"));
  EXPECT_FALSE(control("frmRelaybird", "cmdSetUpMail").visible());
}

TEST_F(Setup, WhyTheMailboxIsNotOpenIsSaidAtTheTop) {
  mail("maildir=/mail\n");
  setup_.closed = "The command cannot be read.";
  main();
  EXPECT_EQ(text("lblMailbox"), "The command cannot be read.");
}

TEST_F(Setup, AMistakeInTheFileIsSaidAtTheTop) {
  mail("store=account\n");
  main();
  EXPECT_THAT(text("lblMailbox"), HasSubstr("imap_host is missing"));
}

}  // namespace
}  // namespace relaybird
