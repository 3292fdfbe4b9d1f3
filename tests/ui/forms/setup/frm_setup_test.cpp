// SPDX-License-Identifier: MIT
// The set-up dialog as a user sees it: opening, OK, Cancel, and the mailbox that is opened then.
#include "ui/forms/setup/frm_setup.h"

#include "ui/forms/setup/setup_fixture.h"

namespace relaybird {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

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

// The password of the account would go to a server that never asked for it.
TEST_F(Setup, AServerForSendingWithoutSignInStaysWithoutOne) {
  const std::string lines =
      "store=account\naddress=ann@firm.example\nimap_host=mail.firm.example\n"
      "smtp_host=relay.firm.example\nsmtp_sign_in=none\n";
  mail(lines);
  open();
  EXPECT_EQ(at("cmbDelivery").value(), kByOtherServer);
  EXPECT_EQ(at("cmbSmtpSignIn").list()[at("cmbSmtpSignIn").value()], "Nothing: no sign-in");
  type("txtMailName", "Ann");
  press("cmdOK");
  EXPECT_FALSE(setup().visible()) << lastBox();
  EXPECT_THAT(files_.bytes(kPrefFile), HasSubstr("[mail]\n" + lines + "name=Ann\n"));
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

TEST_F(Setup, WhileTheFormerMailboxIsClosedTheDialogStaysAndTakesNothing) {
  mail(
      "store=account\naddress=ann@firm.example\nimap_host=mail.firm.example\n"
      "smtp_host=out.firm.example\n");
  main();
  switchOn();
  setup_.saysGoodbye = true;
  open();
  type("txtMailName", "Another Name");
  press("cmdOK");
  EXPECT_EQ(setup_.reopened, 1);
  EXPECT_FALSE(state().forwardingOn);
  EXPECT_FALSE(program().idle());
  EXPECT_TRUE(setup().closesMailbox());
  for (const char* button : {"cmdOK", "cmdCancel", "cmdTestAccount", "cmdSendTest"}) {
    EXPECT_FALSE(at(button).enabled()) << button;
  }
  for (const char* command : {"cmdStart", "cmdForwardNow", "mnuSetUpMail", "mnuTryAgain"}) {
    EXPECT_EQ(whyNoInput(control("frmRelaybird", command)),
              "frmSetup is open in front of frmRelaybird");
  }
  setup().closeBox();
  EXPECT_TRUE(setup().visible());
  EXPECT_THAT(dialogs_.boxes, SizeIs(1)) << "the confirmation of the start";
  setup_.onClosed();
  EXPECT_FALSE(setup().visible());
  EXPECT_FALSE(setup().closesMailbox());
  EXPECT_TRUE(program().idle());
  EXPECT_THAT(lastBox(), HasSubstr("Forwarding has been switched off"));
  open();
  EXPECT_TRUE(at("cmdCancel").enabled());
  press("cmdOK");
  EXPECT_EQ(setup_.reopened, 1) << "it is open, and nothing was changed";
}

TEST_F(Setup, AfterTheFormerMailboxIsClosedAMailboxThatCannotBeOpenedIsTold) {
  setup_.saysGoodbye = true;
  setup_.failure = "Another Relaybird has this mailbox.";
  open();
  fillAccount();
  press("cmdOK");
  setup_.onKept({});
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
  setup_.onClosed();
  EXPECT_THAT(lastBox(), HasSubstr("Another Relaybird has this mailbox."));
  EXPECT_TRUE(at("cmdCancel").enabled());
  press("cmdCancel");
  EXPECT_FALSE(setup().visible());
}

TEST_F(Setup, AProgramThatEndsWhileTheFormerMailboxIsClosedSaysNoMore) {
  mail(
      "store=account\naddress=ann@firm.example\nimap_host=mail.firm.example\n"
      "smtp_host=out.firm.example\n");
  main();
  switchOn();
  setup_.saysGoodbye = true;
  open();
  type("txtMailName", "Another Name");
  press("cmdOK");
  program().shutDown();
  const auto boxes = dialogs_.boxes.size();
  setup_.onClosed();
  EXPECT_THAT(dialogs_.boxes, SizeIs(boxes));
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

}  // namespace
}  // namespace relaybird
