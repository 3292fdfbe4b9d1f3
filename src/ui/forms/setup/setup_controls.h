// SPDX-License-Identifier: MIT
// The controls of the set-up dialog, in the order of the window, and which of them apply.
#pragma once

#include "ui/forms/model/form.h"

namespace relaybird {

enum SetupTab { kYourMailTab, kServersTab, kSendingTab, kTestTab };

/// Positions of cmbSignIn, and of cmbSmtpSignIn after its first entry.
enum SignInChoicePosition {
  kByKeyring,
  kByCommand,
  kByTokenCommand,
  kByOnlineAccount,
  kByCredential,
};

/// Positions of cmbDelivery.
enum DeliveryPosition { kByAccount, kByOtherServer, kByLocalCommand, kByNothing };

/// Positions of the lists of security. The third entry is there only where the settings have it.
enum SecurityPosition { kSecureTls, kSecureStartTls, kSecureNot };

class SetupControls : public Form {
 public:
  SetupControls();

  Control tabSetup{*this, ControlKind::kTabs, "tabSetup"};

  // Your mail.
  Control lblWhere{*this, ControlKind::kLabel, "lblWhere", "Where is your mail?"};
  Control opbAccount{*this, ControlKind::kOptionButton, "opbAccount",
                     "An &account at a mail provider"};
  Control opbMaildir{*this, ControlKind::kOptionButton, "opbMaildir",
                     "A &Maildir on this computer"};
  Control lblAddress{*this, ControlKind::kLabel, "lblAddress", "Your e-mail address:"};
  Control txtMailAddress{*this, ControlKind::kTextBox, "txtMailAddress"};
  Control lblName{*this, ControlKind::kLabel, "lblName", "Your name:"};
  Control txtMailName{*this, ControlKind::kTextBox, "txtMailName"};
  /// What to do first for mail at this provider; it continues with the page.
  Control lblProvider{*this, ControlKind::kLabel, "lblProvider"};
  Control lnkProviderPage{*this, ControlKind::kLink, "lnkProviderPage"};
  /// What else is known about the provider.
  Control lblProviderMore{*this, ControlKind::kLabel, "lblProviderMore"};
  /// Only for an address whose provider is not known.
  Control lblHostedBy{*this, ControlKind::kLabel, "lblHostedBy", "Provider:"};
  Control cmbHostedBy{*this, ControlKind::kComboBox, "cmbHostedBy"};
  Control lblSignIn{*this, ControlKind::kLabel, "lblSignIn", "Sign in with:"};
  Control cmbSignIn{*this, ControlKind::kComboBox, "cmbSignIn"};
  Control lblPassword{*this, ControlKind::kLabel, "lblPassword", "Password:"};
  Control txtPassword{*this, ControlKind::kTextBox, "txtPassword"};
  Control lblSecretCommand{*this, ControlKind::kLabel, "lblSecretCommand", "Command:"};
  Control txtSecretCommand{*this, ControlKind::kTextBox, "txtSecretCommand"};
  Control lblOnlineAccount{*this, ControlKind::kLabel, "lblOnlineAccount", "Online account:"};
  Control cmbOnlineAccount{*this, ControlKind::kComboBox, "cmbOnlineAccount"};
  Control lblCredential{*this, ControlKind::kLabel, "lblCredential", "Credential:"};
  Control txtCredential{*this, ControlKind::kTextBox, "txtCredential"};
  Control lblFoundMaildir{*this, ControlKind::kLabel, "lblFoundMaildir", "Found here:"};
  Control cmbFoundMaildir{*this, ControlKind::kComboBox, "cmbFoundMaildir"};
  Control lblMaildir{*this, ControlKind::kLabel, "lblMaildir", "Folder:"};
  Control txtMaildir{*this, ControlKind::kTextBox, "txtMaildir"};
  /// The servers that will be asked.
  Control lblServers{*this, ControlKind::kLabel, "lblServers"};

  // Servers.
  Control lblImapServer{*this, ControlKind::kLabel, "lblImapServer", "Reading mail (IMAP)"};
  Control lblImapHost{*this, ControlKind::kLabel, "lblImapHost", "Server:"};
  Control txtImapHost{*this, ControlKind::kTextBox, "txtImapHost"};
  Control lblImapPort{*this, ControlKind::kLabel, "lblImapPort", "Port:"};
  Control txtImapPort{*this, ControlKind::kTextBox, "txtImapPort"};
  Control lblImapSecurity{*this, ControlKind::kLabel, "lblImapSecurity", "Encryption:"};
  Control cmbImapSecurity{*this, ControlKind::kComboBox, "cmbImapSecurity"};
  Control lblImapUser{*this, ControlKind::kLabel, "lblImapUser", "User name:"};
  Control txtImapUser{*this, ControlKind::kTextBox, "txtImapUser"};
  Control lblImapFolder{*this, ControlKind::kLabel, "lblImapFolder", "Folder to watch:"};
  Control txtImapFolder{*this, ControlKind::kTextBox, "txtImapFolder"};
  Control lblCaFile{
      *this, ControlKind::kLabel, "lblCaFile",
      "Certificate file (only for a server with a certificate authority of its own):"};
  Control txtCaFile{*this, ControlKind::kTextBox, "txtCaFile"};

  // Sending.
  Control lblDelivery{*this, ControlKind::kLabel, "lblDelivery", "Forwards leave by:"};
  Control cmbDelivery{*this, ControlKind::kComboBox, "cmbDelivery"};
  Control lblSmtpHost{*this, ControlKind::kLabel, "lblSmtpHost", "Server:"};
  Control txtSmtpHost{*this, ControlKind::kTextBox, "txtSmtpHost"};
  Control lblSmtpPort{*this, ControlKind::kLabel, "lblSmtpPort", "Port:"};
  Control txtSmtpPort{*this, ControlKind::kTextBox, "txtSmtpPort"};
  Control lblSmtpSecurity{*this, ControlKind::kLabel, "lblSmtpSecurity", "Encryption:"};
  Control cmbSmtpSecurity{*this, ControlKind::kComboBox, "cmbSmtpSecurity"};
  Control lblSmtpUser{*this, ControlKind::kLabel, "lblSmtpUser", "User name:"};
  Control txtSmtpUser{*this, ControlKind::kTextBox, "txtSmtpUser"};
  Control lblSmtpSignIn{*this, ControlKind::kLabel, "lblSmtpSignIn", "Sign in with:"};
  Control cmbSmtpSignIn{*this, ControlKind::kComboBox, "cmbSmtpSignIn"};
  Control lblSmtpPassword{*this, ControlKind::kLabel, "lblSmtpPassword", "Password:"};
  Control txtSmtpPassword{*this, ControlKind::kTextBox, "txtSmtpPassword"};
  Control lblSmtpSecret{*this, ControlKind::kLabel, "lblSmtpSecret", "Command:"};
  Control txtSmtpSecret{*this, ControlKind::kTextBox, "txtSmtpSecret"};
  Control lblFoundCommand{*this, ControlKind::kLabel, "lblFoundCommand", "Found here:"};
  Control cmbFoundCommand{*this, ControlKind::kComboBox, "cmbFoundCommand"};
  Control lblSendmail{*this, ControlKind::kLabel, "lblSendmail", "Command:"};
  Control txtSendmail{*this, ControlKind::kTextBox, "txtSendmail"};
  Control chkKeepSentCopy{*this, ControlKind::kCheckBox, "chkKeepSentCopy",
                          "&Keep a copy of each forward in the account's Sent folder"};
  Control lblAddressBook{*this, ControlKind::kLabel, "lblAddressBook",
                         "Address book (a vCard file, optional):"};
  Control txtAddressBook{*this, ControlKind::kTextBox, "txtAddressBook"};

  // Test.
  Control lblTest{*this, ControlKind::kLabel, "lblTest"};
  Control cmdTestAccount{*this, ControlKind::kButton, "cmdTestAccount", "&Test Account"};
  Control cmdStopTest{*this, ControlKind::kButton, "cmdStopTest", "St&op"};
  Control lblTestLines{*this, ControlKind::kLabel, "lblTestLines", "Result:"};
  /// A line for each step.
  Control txtTest{*this, ControlKind::kTextBox, "txtTest"};
  Control lblSendTest{
      *this, ControlKind::kLabel, "lblSendTest",
      "A test message goes to the addresses that mail is forwarded to. The settings "
      "are stored first."};
  Control cmdSendTest{*this, ControlKind::kButton, "cmdSendTest", "&Send a Test Message"};

  Control cmdOK{*this, ControlKind::kButton, "cmdOK", "OK"};
  Control cmdCancel{*this, ControlKind::kButton, "cmdCancel", "Cancel"};

  /// Shows the controls that apply to what is chosen now, and hides the others. `choosesProvider`
  /// says whether the user can name the provider of the address.
  void showApplying(bool choosesProvider);

 private:
  void showSignIn(bool choosesProvider);
  void showDelivery();
  void placeOnTabs();
  void fillLists();
};

}  // namespace relaybird
