// SPDX-License-Identifier: MIT
// Which controls apply follows from what the controls show, and from nothing else: the function can
// be called after any change, and console and window hide the same.
#include "ui/forms/setup/setup_controls.h"

#include <algorithm>
#include <initializer_list>

namespace relaybird {

namespace {

void showAll(std::initializer_list<Control*> controls, bool visible) {
  for (Control* control : controls) {
    control->setVisible(visible);
  }
}

}  // namespace

SetupControls::SetupControls() : Form("frmSetup", "Set Up Mail") {
  placeOnTabs();
  fillLists();
  for (Control* option : {&opbAccount, &opbMaildir}) {
    option->setGroup("where");
  }
  for (Control* password : {&txtPassword, &txtSmtpPassword}) {
    password->hideText();
  }
  txtTest.lock();
  for (Control* asking : {&cmdOK, &cmdTestAccount, &cmdSendTest, &lnkProviderPage}) {
    asking->setAsks();
  }
  setDefaultButton(cmdOK);
  // Escape closes the dialog everywhere; users of many programs expect this one too.
  cmdCancel.setShortcut("Ctrl+W");
  cmdStopTest.setEnabled(false);
  cmdStopTest.setWhyDisabled("No test is running.");
}

// A control belongs to the tab of the first control of a tab at or before it.
void SetupControls::placeOnTabs() {
  const auto& all = controls();
  const auto placeFrom = [&](Control& first, int tab) {
    for (auto at = std::find(all.begin(), all.end(), &first); at != all.end(); ++at) {
      if (*at == &cmdOK) {
        break;
      }
      (*at)->setTab(tab);
    }
  };
  placeFrom(lblWhere, kYourMailTab);
  placeFrom(lblImapServer, kServersTab);
  placeFrom(lblDelivery, kSendingTab);
  placeFrom(lblTest, kTestTab);
}

void SetupControls::fillLists() {
  for (const char* tab : {"Your Mail", "Servers", "Sending", "Test"}) {
    tabSetup.addItem(tab);
  }
  for (const char* way :
       {"A password, kept in the keyring", "A command that prints the password",
        "A command that prints an OAuth 2 token", "An account of the desktop's online accounts",
        "A credential of the system service"}) {
    cmbSignIn.addItem(way);
  }
  for (const char* way : {"A password, kept in the keyring", "A command that prints the password",
                          "A command that prints an OAuth 2 token", "Nothing: no sign-in"}) {
    cmbSmtpSignIn.addItem(way);
  }
  // The account first: it needs no further answer.
  for (const char* way :
       {"The account's own server (SMTP)", "Another server (SMTP)",
        "A command on this computer, like sendmail", "Nothing: they stay in the outbox"}) {
    cmbDelivery.addItem(way);
  }
  for (Control* list : {&cmbImapSecurity, &cmbSmtpSecurity}) {
    list->addItem("TLS");
    list->addItem("STARTTLS");
  }
}

void SetupControls::showApplying(bool choosesProvider) {
  showSignIn(choosesProvider);
  showDelivery();
}

// Controls that do not apply are hidden, except for a whole tab: an empty one looks broken.
void SetupControls::showSignIn(bool choosesProvider) {
  const bool account = opbAccount.checked();
  const int signIn = cmbSignIn.value();
  showAll({&lblSignIn, &cmbSignIn}, account);
  showAll({&lblProvider}, !lblProvider.text().empty());
  showAll({&lnkProviderPage}, !lnkProviderPage.text().empty());
  showAll({&lblProviderMore}, !lblProviderMore.text().empty());
  showAll({&lblHostedBy, &cmbHostedBy}, account && choosesProvider);
  showAll({&lblPassword, &txtPassword}, account && signIn == kByKeyring);
  showAll({&lblSecretCommand, &txtSecretCommand},
          account && (signIn == kByCommand || signIn == kByTokenCommand));
  showAll({&lblOnlineAccount, &cmbOnlineAccount}, account && signIn == kByOnlineAccount);
  showAll({&lblCredential, &txtCredential}, account && signIn == kByCredential);
  // The last entry stands for one that was not found.
  showAll({&lblFoundMaildir, &cmbFoundMaildir}, !account && cmbFoundMaildir.list().size() > 1);
  showAll({&lblMaildir, &txtMaildir}, !account);
  for (Control* field :
       {&txtImapHost, &txtImapPort, &cmbImapSecurity, &txtImapUser, &txtImapFolder}) {
    field->setWhyDisabled("A Maildir on this computer needs no server.");
    field->setEnabled(account);
  }
}

void SetupControls::showDelivery() {
  const int delivery = cmbDelivery.value();
  const bool smtp = delivery == kByAccount || delivery == kByOtherServer;
  const bool ownSecret = delivery == kByOtherServer;
  const int signIn = cmbSmtpSignIn.value();
  showAll({&lblSmtpHost, &txtSmtpHost, &lblSmtpPort, &txtSmtpPort, &lblSmtpSecurity,
           &cmbSmtpSecurity, &lblSmtpUser, &txtSmtpUser},
          smtp);
  showAll({&lblSmtpSignIn, &cmbSmtpSignIn}, ownSecret);
  showAll({&lblSmtpPassword, &txtSmtpPassword}, ownSecret && signIn == kByKeyring);
  showAll({&lblSmtpSecret, &txtSmtpSecret},
          ownSecret && (signIn == kByCommand || signIn == kByTokenCommand));
  showAll({&lblFoundCommand, &cmbFoundCommand},
          delivery == kByLocalCommand && cmbFoundCommand.list().size() > 1);
  showAll({&lblSendmail, &txtSendmail}, delivery == kByLocalCommand);
  showAll({&chkKeepSentCopy}, opbAccount.checked() && smtp);
}

}  // namespace relaybird
