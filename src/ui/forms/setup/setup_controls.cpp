// SPDX-License-Identifier: MIT
#include "ui/forms/setup/setup_controls.h"

#include <algorithm>

namespace relaybird {

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
  placeFrom(lblHostedBy, kServersTab);
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

}  // namespace relaybird
