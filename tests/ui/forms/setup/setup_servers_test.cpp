// SPDX-License-Identifier: MIT
// What is proposed for an address, and which servers the user may choose.
#include "ui/forms/setup/setup_fixture.h"

namespace relaybird {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

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

TEST_F(Setup, AServerOfTheUsersOwnDoesNotGetThePortOfAProposedOne) {
  open();
  type("txtImapHost", "mail.firm.example");
  type("txtSmtpHost", "out.firm.example");
  type("txtMailAddress", "ann@icloud.com");
  EXPECT_EQ(in("txtImapHost"), "mail.firm.example");
  EXPECT_EQ(in("txtImapPort"), "");
  EXPECT_EQ(in("txtSmtpPort"), "") << "587 is the port of Apple's server";
  EXPECT_EQ(at("cmbSmtpSecurity").value(), kSecureTls);
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

TEST_F(Setup, AnOwnDomainWhoseServerIsKnownIsToldOfTheAppPassword) {
  open();
  type("txtMailAddress", "ann@firm.example");
  EXPECT_EQ(in("lblPassword"), "Password:");
  type("txtImapHost", " imap.gmail.com ");
  EXPECT_EQ(in("lblProvider"),
            "Gmail needs an app password, not the account's own. Make one here:");
  EXPECT_EQ(in("lnkProviderPage"), "https://myaccount.google.com/apppasswords");
  EXPECT_TRUE(at("lnkProviderPage").visible());
  EXPECT_EQ(in("lblPassword"), "App password:");
  EXPECT_THAT(in("lblProviderMore"), testing::Not(HasSubstr("filled in")));
  type("txtImapPort", "993");
  type("txtSmtpHost", "smtp.gmail.com");
  type("txtSmtpPort", "465");
  type("txtPassword", "abcd efgh ijkl mnop");
  press("cmdOK");
  ASSERT_EQ(setup_.kept.size(), 1u) << lastBox();
  EXPECT_EQ(setup_.kept[0].second, "abcdefghijklmnop") << "blanks around the server do not matter";
}

// The provider that was chosen is not stored; its server is.
TEST_F(Setup, AnOwnDomainThatIsStoredIsToldOfTheAppPasswordToo) {
  mail("store=account\naddress=ann@firm.example\nimap_host=imap.gmail.com\n");
  open();
  EXPECT_EQ(in("lblPassword"), "App password:");
  EXPECT_EQ(in("lnkProviderPage"), "https://myaccount.google.com/apppasswords");
}

TEST_F(Setup, AnOwnDomainAtAServerWithoutPasswordsIsStoppedBeforeItTriesOne) {
  open();
  fillAccount();
  type("txtImapHost", "outlook.office365.com");
  press("cmdOK");
  EXPECT_THAT(lastBox(), HasSubstr("accepts no password"));
  EXPECT_THAT(setup_.kept, IsEmpty());
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

}  // namespace
}  // namespace relaybird
