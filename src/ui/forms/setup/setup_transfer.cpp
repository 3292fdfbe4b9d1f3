// SPDX-License-Identifier: MIT
// What the user types wins: each field remembers the last proposal that was put into it, and takes
// another one only while it shows that proposal or nothing.
#include "ui/forms/setup/setup_transfer.h"

#include <charconv>
#include <utility>

#include "mail/mail_in_words.h"
#include "mail/mail_settings_check.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

// The fourth entry of cmbSmtpSignIn, and the fifth, which is there only where the settings have it.
constexpr int kSmtpWithout = 3;
constexpr int kSmtpAsInFile = 4;

std::uint16_t portOf(const std::string& text) {
  std::uint16_t port = 0;
  const std::string_view digits = trimmed(text);
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), port);
  return read.ec == std::errc{} && read.ptr == digits.data() + digits.size() ? port : 0;
}

Security securityAt(int position) {
  return position == kSecureStartTls ? Security::kStartTls
         : position == kSecureNot    ? Security::kNone
                                     : Security::kTls;
}

int positionOf(Security security) {
  return security == Security::kTls        ? kSecureTls
         : security == Security::kStartTls ? kSecureStartTls
                                           : kSecureNot;
}

SecretSource secretAt(int position) {
  switch (position) {
    case kByCommand:
      return SecretSource::kCommand;
    case kByTokenCommand:
      return SecretSource::kTokenCommand;
    case kByOnlineAccount:
      return SecretSource::kOnlineAccount;
    case kByCredential:
      return SecretSource::kCredential;
    default:
      return SecretSource::kKeyring;
  }
}

int positionOf(SecretSource source) {
  switch (source) {
    case SecretSource::kCommand:
      return kByCommand;
    case SecretSource::kTokenCommand:
      return kByTokenCommand;
    case SecretSource::kOnlineAccount:
      return kByOnlineAccount;
    case SecretSource::kCredential:
      return kByCredential;
    default:
      return kByKeyring;
  }
}

// The method for what the source gives: one that the preference file names stays if it fits.
SignInMethod methodFor(bool token, const std::optional<SignInMethod>& former) {
  const bool formerToken = former == SignInMethod::kXoauth2 || former == SignInMethod::kOauthBearer;
  if (former && formerToken == token) {
    return *former;
  }
  return token ? SignInMethod::kXoauth2 : SignInMethod::kPassword;
}

// A text without blanks around it.
std::string textIn(const Control& field) {
  return std::string(trimmed(field.text()));
}

void setEntries(Control& list, const std::vector<std::string>& entries, int chosen) {
  list.clearList();
  for (const std::string& entry : entries) {
    list.addItem(entry);
  }
  list.setValue(-1);
  list.setValue(chosen);
}

// A connection without encryption can only be kept, not chosen.
void offerSecurities(Control& list, Security chosen) {
  std::vector<std::string> entries = {"TLS", "STARTTLS"};
  if (chosen == Security::kNone) {
    entries.emplace_back("None, as the preference file says");
  }
  setEntries(list, entries, positionOf(chosen));
}

bool looksLikeAddress(const std::string& text) {
  const std::size_t at = text.rfind('@');
  return at != std::string::npos && at > 0 && at + 1 < text.size() &&
         text.find_first_of(kWhiteSpace) == std::string::npos;
}

// The preference file may name an online account in any of these ways.
bool names(const std::string& name, const OnlineAccount& account) {
  return name == account.id || name == account.address || name == account.identity;
}

bool looksLikeHost(const std::string& text) {
  return !text.empty() && text.find_first_of(" \t/@") == std::string::npos;
}

}  // namespace

void SetupTransfer::fill(const MailSettings& settings, const LocalIdentity& user, bool known) {
  former_ = settings;
  user_ = user;
  offered_.clear();
  chosen_.clear();
  SetupControls& w = window_;
  const bool account = !known || settings.mailbox == MailboxKind::kAccount;
  (account ? w.opbAccount : w.opbMaildir).setValue(1);
  // The address that stands for "none" is that of the user on this computer.
  w.txtMailAddress.setText(settings.address == user.userAtHost ? "" : settings.address);
  w.txtMailName.setText(settings.name);
  w.txtMaildir.setText(shownPath(settings.maildir, user.homeFolder));
  w.txtAddressBook.setText(shownPath(settings.addressBook, user.homeFolder));
  fillServer(settings.imap);
  w.txtImapFolder.setText(settings.folder);
  w.txtCaFile.setText(shownPath(settings.imap.server.caFile, user.homeFolder));
  w.cmbSignIn.setValue(positionOf(settings.imap.secret));
  w.txtSecretCommand.setText(shownPath(settings.imap.secretCommand, user.homeFolder));
  w.txtCredential.setText(settings.imap.secret == SecretSource::kCredential
                              ? settings.imap.secretName
                              : "relaybird.imap");
  fillServer(settings.smtp);
  // A server that wants no sign-in must not be shown as the account's: that would sign in.
  const bool own = settings.smtp.secret != SecretSource::kSameAsImap || !settings.smtp.signIn;
  const bool foreign = own && positionOf(settings.smtp.secret) > kByTokenCommand;
  std::vector<std::string> ways(w.cmbSmtpSignIn.list().begin(), w.cmbSmtpSignIn.list().begin() + 4);
  if (foreign) {
    ways.emplace_back("As the preference file says");
  }
  setEntries(w.cmbSmtpSignIn, ways,
             !settings.smtp.signIn ? kSmtpWithout
             : foreign             ? kSmtpAsInFile
             : own                 ? positionOf(settings.smtp.secret)
                                   : static_cast<int>(kByKeyring));
  w.txtSmtpSecret.setText(shownPath(settings.smtp.secretCommand, user.homeFolder));
  w.txtSendmail.setText(shownPath(settings.sendmail, user.homeFolder));
  w.chkKeepSentCopy.setValue(settings.keepSentCopy ? 1 : 0);
  int delivery = kByNothing;
  if (!known || (settings.delivery == DeliveryKind::kSmtp && account && !own)) {
    delivery = kByAccount;
  } else if (settings.delivery == DeliveryKind::kSmtp) {
    delivery = kByOtherServer;
  } else if (settings.delivery == DeliveryKind::kSendmail) {
    delivery = kByLocalCommand;
  }
  w.cmbDelivery.setValue(delivery);
  if (!known) {
    for (const Control* list : {&w.cmbSignIn, &w.cmbImapSecurity, &w.cmbSmtpSecurity}) {
      chosen_[list] = list->value();
    }
  }
}

void SetupTransfer::fillServer(const AccountSettings& account) {
  const bool imap = account.server.protocol == MailProtocol::kImap;
  const bool known = !account.server.host.empty();
  SetupControls& w = window_;
  (imap ? w.txtImapHost : w.txtSmtpHost).setText(account.server.host);
  (imap ? w.txtImapPort : w.txtSmtpPort).setText(known ? std::to_string(account.server.port) : "");
  offerSecurities(imap ? w.cmbImapSecurity : w.cmbSmtpSecurity, account.server.security);
  (imap ? w.txtImapUser : w.txtSmtpUser).setText(known ? account.user : "");
}

// What the test and the store are given is absolute, as in settings that were read from the file.
std::string SetupTransfer::pathIn(const Control& field) const {
  return absolutePath(textIn(field), user_.homeFolder);
}

void SetupTransfer::readServer(AccountSettings& account) const {
  const SetupControls& w = window_;
  const bool imap = account.server.protocol == MailProtocol::kImap;
  account.server.host = textIn(imap ? w.txtImapHost : w.txtSmtpHost);
  account.server.security = securityAt((imap ? w.cmbImapSecurity : w.cmbSmtpSecurity).value());
  account.server.port = portOf((imap ? w.txtImapPort : w.txtSmtpPort).text());
  // The field shows the file of the server for reading. One of its own for sending stays until the
  // field is changed.
  const std::string caFile = pathIn(w.txtCaFile);
  if (imap || account.server.host.empty() || former_.smtp.server.host.empty() ||
      caFile != former_.imap.server.caFile) {
    account.server.caFile = caFile;
  }
  account.user = textIn(imap ? w.txtImapUser : w.txtSmtpUser);
}

// The file may name an online account by its address, which people can read. A choice of the same
// account keeps that.
void SetupTransfer::readImapSecret(AccountSettings& imap) const {
  const SetupControls& w = window_;
  imap.secret = secretAt(w.cmbSignIn.value());
  imap.secretCommand = expandedCommand(textIn(w.txtSecretCommand), user_.homeFolder);
  bool token = imap.secret == SecretSource::kTokenCommand;
  if (imap.secret == SecretSource::kOnlineAccount) {
    if (const OnlineAccount* account = onlineAccount()) {
      if (!names(imap.secretName, *account)) {
        imap.secretName = account->id;
      }
      token = account->token;
    } else {
      token = true;  // as the settings are; nothing is known about the account yet
    }
  } else {
    imap.secretName =
        imap.secret == SecretSource::kCredential ? textIn(w.txtCredential) : std::string();
  }
  imap.signIn = methodFor(token, imap.signIn);
}

// With the account's own server, the sign-in is that of the account in every respect but the name.
void SetupTransfer::readSmtpSecret(MailSettings& result) const {
  const SetupControls& w = window_;
  AccountSettings& smtp = result.smtp;
  const int way = w.cmbSmtpSignIn.value();
  if (w.cmbDelivery.value() == kByAccount) {
    smtp.secret = SecretSource::kSameAsImap;
    const bool token = result.imap.signIn == SignInMethod::kXoauth2 ||
                       result.imap.signIn == SignInMethod::kOauthBearer;
    smtp.signIn = methodFor(token, smtp.signIn);
  } else if (way == kSmtpWithout) {
    smtp.signIn.reset();
  } else if (way != kSmtpAsInFile) {
    smtp.secret = secretAt(way);
    smtp.secretCommand = expandedCommand(textIn(w.txtSmtpSecret), user_.homeFolder);
    smtp.secretName.clear();
    smtp.signIn = methodFor(smtp.secret == SecretSource::kTokenCommand, smtp.signIn);
  }
}

void SetupTransfer::readDelivery(MailSettings& result) const {
  const SetupControls& w = window_;
  const int way = w.cmbDelivery.value();
  // A command that was only found is not stored.
  result.sendmail = way == kByLocalCommand
                        ? expandedCommand(textIn(w.txtSendmail), user_.homeFolder)
                        : former_.sendmail;
  result.delivery = way == kByLocalCommand ? DeliveryKind::kSendmail
                    : way == kByNothing    ? DeliveryKind::kNone
                                           : DeliveryKind::kSmtp;
  if (result.delivery == DeliveryKind::kSmtp) {
    readServer(result.smtp);
    readSmtpSecret(result);
  }
  result.keepSentCopy = result.mailbox == MailboxKind::kAccount && w.chkKeepSentCopy.checked();
}

MailSettings SetupTransfer::settings() const {
  const SetupControls& w = window_;
  MailSettings result = former_;
  result.mailbox = w.opbAccount.checked() ? MailboxKind::kAccount : MailboxKind::kMaildir;
  const std::string address = textIn(w.txtMailAddress);
  result.address = address.empty() ? user_.userAtHost : address;
  result.name = textIn(w.txtMailName);
  result.addressBook = pathIn(w.txtAddressBook);
  if (result.mailbox == MailboxKind::kMaildir) {
    result.maildir = pathIn(w.txtMaildir);
  } else {
    readServer(result.imap);
    readImapSecret(result.imap);
    const std::string folder = textIn(w.txtImapFolder);
    result.folder = folder.empty() ? "INBOX" : folder;
  }
  readDelivery(result);
  return result;
}

// In the order of the tabs, so that the first one is where a reader would begin. The checks of the
// file come last: their sentences name keys, which the dialog does not show.
std::vector<SetupMistake> SetupTransfer::mistakes() const {
  const MailSettings s = settings();
  std::vector<SetupMistake> found;
  const auto check = [&](bool good, SetupTab tab, const char* text) {
    if (!good) {
      found.push_back({tab, text});
    }
  };
  const std::string address = textIn(window_.txtMailAddress);
  const bool account = s.mailbox == MailboxKind::kAccount;
  if (account || !address.empty()) {
    check(looksLikeAddress(address), kYourMailTab,
          "Enter your e-mail address, like name@example.org.");
  }
  if (!account) {
    check(!s.maildir.empty(), kYourMailTab, "Enter the folder of the Maildir.");
  } else {
    check(
        looksLikeHost(s.imap.server.host), kServersTab,
        "Enter the name of the server for reading mail (IMAP). Your provider's web site tells it.");
    check(s.imap.server.port != 0, kServersTab,
          "The port of the server for reading mail is a number from 1 to 65535, usually 993.");
    check(!s.imap.user.empty(), kServersTab,
          "Enter your user name at the server for reading mail.");
    const bool command =
        s.imap.secret == SecretSource::kCommand || s.imap.secret == SecretSource::kTokenCommand;
    check(!command || !s.imap.secretCommand.empty(), kYourMailTab,
          "Enter the command that prints the password or the token.");
    check(
        s.imap.secret != SecretSource::kOnlineAccount || !s.imap.secretName.empty(), kYourMailTab,
        "Choose one of the desktop's online accounts. You set them up in the desktop's settings.");
    check(s.imap.secret != SecretSource::kCredential || !s.imap.secretName.empty(), kYourMailTab,
          "Enter the name of the credential.");
  }
  check(account || window_.cmbDelivery.value() != kByAccount, kSendingTab,
        "A Maildir has no server of its own: choose another way for forwards to leave.");
  if (s.delivery == DeliveryKind::kSmtp) {
    check(
        looksLikeHost(s.smtp.server.host), kSendingTab,
        "Enter the name of the server for sending mail (SMTP). Your provider's web site tells it.");
    check(
        s.smtp.server.port != 0, kSendingTab,
        "The port of the server for sending mail is a number from 1 to 65535, usually 465 or 587.");
    check(!s.smtp.signIn || !s.smtp.user.empty(), kSendingTab,
          "Enter your user name at the server for sending mail.");
    const bool command = s.smtp.signIn && (s.smtp.secret == SecretSource::kCommand ||
                                           s.smtp.secret == SecretSource::kTokenCommand);
    check(!command || !s.smtp.secretCommand.empty(), kSendingTab,
          "Enter the command that prints the password or the token for sending.");
  }
  check(s.delivery != DeliveryKind::kSendmail || !s.sendmail.empty(), kSendingTab,
        "Enter the command that takes messages for delivery, like /usr/sbin/sendmail.");
  if (found.empty()) {
    for (std::string& error : mailSettingsErrors(s)) {
      found.push_back({kServersTab, std::move(error)});
    }
  }
  return found;
}

void SetupTransfer::offer(Control& field, const std::string& text) {
  const auto last = offered_.find(&field);
  const std::string now = textIn(field);
  if (!now.empty() && (last == offered_.end() || now != last->second)) {
    // What the user typed by himself may be the same text, and then follows later proposals.
    if (now == text) {
      offered_[&field] = text;
    }
    return;
  }
  offered_[&field] = text;
  if (field.text() != text) {
    field.setText(text);
  }
}

// A list always has a value. It follows proposals while it shows the last one; a stored choice that
// differs from the first proposal stays.
void SetupTransfer::choose(Control& list, int position) {
  const auto last = chosen_.find(&list);
  if (last == chosen_.end() ? list.value() == position : list.value() == last->second) {
    chosen_[&list] = position;
    list.setValue(position);
  }
}

// The port is offered after the encryption, whose choice may change it.
void SetupTransfer::offerServer(const MailServer& server, const std::string& user) {
  SetupControls& w = window_;
  const bool imap = server.protocol == MailProtocol::kImap;
  Control& host = imap ? w.txtImapHost : w.txtSmtpHost;
  offer(host, server.host);
  offer(imap ? w.txtImapUser : w.txtSmtpUser, user);
  // Another server than the proposed one has its own encryption and port.
  if (host.text() == server.host) {
    if (!server.host.empty()) {
      choose(imap ? w.cmbImapSecurity : w.cmbSmtpSecurity, positionOf(server.security));
    }
    offer(imap ? w.txtImapPort : w.txtSmtpPort,
          server.host.empty() ? "" : std::to_string(server.port));
  }
}

void SetupTransfer::propose(const Proposal& proposal) {
  if (proposal.kind == Proposal::Kind::kFound) {
    offerServer(proposal.imap, proposal.imapUser);
    offerServer(proposal.smtp, proposal.smtpUser);
    choose(window_.cmbSignIn,
           proposal.signIn == ProviderSignIn::kOauthOnly ? kByOnlineAccount : kByKeyring);
  } else {
    // The servers of the address that was typed before are not those of this one.
    offerServer({MailProtocol::kImap, {}, 0, Security::kTls, {}}, proposal.imapUser);
    offerServer({MailProtocol::kSmtp, {}, 0, Security::kTls, {}}, proposal.smtpUser);
    choose(window_.cmbSignIn, kByKeyring);
  }
}

// The only one there is, is chosen; of several none, because each is another mailbox.
void SetupTransfer::setOnlineAccounts(std::vector<OnlineAccount> accounts) {
  accounts_ = std::move(accounts);
  std::vector<std::string> entries;
  int chosen = accounts_.size() == 1 ? 0 : -1;
  for (const OnlineAccount& account : accounts_) {
    if (names(former_.imap.secretName, account)) {
      chosen = static_cast<int>(entries.size());
    }
    entries.push_back(account.identity + " (" + account.provider + ")" +
                      (account.needsAttention ? ", sign in again in the desktop's settings" : ""));
  }
  setEntries(window_.cmbOnlineAccount, entries, chosen);
}

const OnlineAccount* SetupTransfer::onlineAccount() const {
  const auto position = static_cast<std::size_t>(window_.cmbOnlineAccount.value());
  return position < accounts_.size() ? &accounts_[position] : nullptr;
}

// The desktop knows address and servers of its accounts, and these win over the built-in list.
void SetupTransfer::proposeOnlineAccount() {
  const OnlineAccount* account = onlineAccount();
  if (account == nullptr) {
    return;
  }
  offer(window_.txtMailAddress, account->address);
  if (account->imap) {
    offerServer(account->imap->server, account->imap->user);
  }
  if (account->smtp) {
    offerServer(account->smtp->server, account->smtp->user);
  }
}

void SetupTransfer::securityChosen(Control& security, Control& port, MailProtocol protocol) {
  const Security now = securityAt(security.value());
  const std::uint16_t shown = portOf(port.text());
  for (const Security other : {Security::kTls, Security::kStartTls, Security::kNone}) {
    if (other != now && shown == usualPort(protocol, other)) {
      port.setText(std::to_string(usualPort(protocol, now)));
      return;
    }
  }
}

}  // namespace relaybird
