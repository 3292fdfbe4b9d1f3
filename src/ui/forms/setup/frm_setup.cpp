// SPDX-License-Identifier: MIT
// Reactions of the set-up dialog. What its controls mean is in setup_transfer.h; here is when a
// proposal is made, which controls apply, and the way of OK: check, keep the passwords, store the
// settings, open the mailbox. The keyring and the test report later, so these ways are cut into
// steps; Cancel forgets the reports that are still to come.
#include "ui/forms/setup/frm_setup.h"

#include <algorithm>
#include <array>
#include <utility>

#include "mail/mail_store.h"
#include "mail/sign_in_source.h"
#include "platform/text/ascii_text.h"
#include "ui/forms/main/outbox_menu.h"

namespace relaybird {

namespace {

constexpr const char* kTitle = "Set Up Mail";

std::string nameOf(Security security) {
  return security == Security::kTls        ? "TLS"
         : security == Security::kStartTls ? "STARTTLS"
                                           : "no encryption";
}

std::string serverText(const MailServer& server) {
  return server.host + ", port " + std::to_string(server.port) + " (" + nameOf(server.security) +
         ")";
}

// The secret is filed under these, so a kept password serves as long as they stay.
bool sameSecretKey(const AccountSettings& a, const AccountSettings& b) {
  return a.server.host == b.server.host && a.server.port == b.server.port && a.user == b.user &&
         a.secret == b.secret;
}

bool sameSettings(const MailSettings& a, const MailSettings& b) {
  const auto all = mailSettingTexts(a);
  const auto others = mailSettingTexts(b);
  return std::equal(all.begin(), all.end(), others.begin(), others.end(),
                    [](const MailSetting& one, const MailSetting& other) {
                      return one.key == other.key && one.text == other.text;
                    });
}

// The providers that run mailboxes of other domains, by their names.
std::vector<const MailProvider*> hosts() {
  std::vector<const MailProvider*> found;
  for (const MailProvider& provider : mailProviders()) {
    if ((provider.traits & kOwnDomains) != 0) {
      found.push_back(&provider);
    }
  }
  return found;
}

}  // namespace

frmSetup::frmSetup(const ProgramWorld& world, clsPref& prf, ActivityLog& log)
    : world_(world), prf_(prf), log_(log), transfer_(*this) {
  fillProviders();
  wire();
}

frmSetup::~frmSetup() = default;

std::string frmSetup::helpTopic() const {
  return "set-up";
}

void frmSetup::wire() {
  for (Control* option : {&opbAccount, &opbMaildir}) {
    option->onClick([this] {
      followMailbox();
      showWhatApplies();
    });
  }
  txtMailAddress.onChange([this] { propose(); });
  cmbHostedBy.onClick([this] { propose(); });
  cmbSignIn.onClick([this] {
    showProvider(proposal_);
    showWhatApplies();
    showOnlineAccounts();
  });
  cmbOnlineAccount.onClick([this] { transfer_.proposeOnlineAccount(); });
  cmbDelivery.onClick([this] {
    deliveryFollows_ = deliveryFollows_ && filling_;
    showWhatApplies();
  });
  cmbSmtpSignIn.onClick([this] { showWhatApplies(); });
  cmbImapSecurity.onClick([this] {
    transfer_.securityChosen(cmbImapSecurity, txtImapPort, MailProtocol::kImap);
    showServers();
  });
  cmbSmtpSecurity.onClick([this] {
    transfer_.securityChosen(cmbSmtpSecurity, txtSmtpPort, MailProtocol::kSmtp);
    showServers();
  });
  for (Control* field : {&txtImapHost, &txtImapPort, &txtImapUser, &txtSmtpHost, &txtSmtpPort,
                         &txtSmtpUser, &txtSendmail, &txtMaildir}) {
    field->onChange([this] { showServers(); });
  }
  cmbFoundMaildir.onClick([this] {
    const auto position = static_cast<std::size_t>(cmbFoundMaildir.value());
    if (!filling_ && position < cmbFoundMaildir.list().size()) {
      txtMaildir.setText(cmbFoundMaildir.list()[position]);
    }
  });
  cmbFoundCommand.onClick([this] {
    const auto position = static_cast<std::size_t>(cmbFoundCommand.value());
    if (!filling_ && position < cmbFoundCommand.list().size()) {
      txtSendmail.setText(cmbFoundCommand.list()[position]);
    }
  });
  lnkProviderPage.onClick([this] {
    if (const auto shown = world_.folderViewer.browse(lnkProviderPage.text()); !shown) {
      fail("Could not open the page " + lnkProviderPage.text() + ":\r\n" + shown.error().text);
    }
  });
  cmdTestAccount.onClick([this] { testAccount(); });
  cmdStopTest.onClick([this] { world_.setup.stopTest(); });
  cmdSendTest.onClick([this] { accept([this] { sendTest(); }); });
  cmdOK.onClick([this] { accept([this] { hide(); }); });
  cmdCancel.onClick([this] { cancel(); });
}

// Until the user has chosen how forwards leave, the usual way of the mailbox is proposed. A Maildir
// has no server of its own in any case.
void frmSetup::followMailbox() {
  if (filling_) {
    return;
  }
  filling_ = true;
  if (opbMaildir.checked() && cmbDelivery.value() == kByAccount) {
    cmbDelivery.setValue(txtSendmail.text().empty() ? kByNothing : kByLocalCommand);
  } else if (opbAccount.checked() && deliveryFollows_) {
    cmbDelivery.setValue(kByAccount);
  }
  filling_ = false;
}

void frmSetup::fillProviders() {
  cmbHostedBy.addItem("As the address says");
  for (const MailProvider* provider : hosts()) {
    cmbHostedBy.addItem(std::string(provider->name));
  }
}

void frmSetup::open(Form& owner) {
  if (visible()) {
    return;
  }
  const auto file = world_.profiles.read(prf_.GetPrefIniFname());
  const LocalIdentity user = world_.setup.user();
  MailSettingsRead read = readMailSettings(*file, user);
  before_ = std::move(read.settings);
  // OK has to store and open then, even if nothing is changed: mistakes are shown as defaults.
  opened_ = opened_ && read.errors.empty() && world_.setup.whyClosed().empty();
  known_ = namesMailbox(*file);
  stored_ = false;
  onlineNote_.clear();
  txtTest.setText("");
  tabSetup.setValue(kYourMailTab);
  closesAfterWork_ = false;
  deliveryFollows_ = !known_;
  filling_ = true;
  cmbHostedBy.setValue(0);
  transfer_.setOnlineAccounts({});
  transfer_.fill(before_, user, known_);
  fillFound();
  forgetPasswords();
  filling_ = false;
  propose();
  showWhatApplies();
  showOnlineAccounts();
  setBusy(false);
  showModal(owner);
}

void frmSetup::acceptAndClose() {
  closesAfterWork_ = true;
  cmdOK.click();
  if (visible() && !busy()) {
    cancel();
  }
}

void frmSetup::openFor(Form& owner, Control& button) {
  open(owner);
  closesAfterWork_ = true;
  button.click();
  // A question was declined, or something is missing: nothing was begun.
  if (!working_) {
    workIsOver();
  }
}

void frmSetup::workIsOver() {
  working_ = false;
  if (std::exchange(closesAfterWork_, false)) {
    cancel();
  }
}

// The first one that was found is proposed where none is set.
void frmSetup::fillFound() {
  const auto fill = [](Control& list, const std::vector<std::string>& found) {
    list.clearList();
    for (const std::string& each : found) {
      list.addItem(each);
    }
  };
  const auto choose = [](Control& list, const Control& field) {
    const auto& all = list.list();
    const auto at = std::find(all.begin(), all.end(), field.text());
    list.setValue(at == all.end() ? -1 : static_cast<int>(at - all.begin()));
  };
  const std::vector<std::string> maildirs = world_.setup.foundMaildirs();
  const std::vector<std::string> commands = world_.setup.foundCommands();
  fill(cmbFoundMaildir, maildirs);
  fill(cmbFoundCommand, commands);
  if (!known_ && !maildirs.empty()) {
    txtMaildir.setText(maildirs.front());
  }
  if (txtSendmail.text().empty() && !commands.empty()) {
    txtSendmail.setText(commands.front());
  }
  choose(cmbFoundMaildir, txtMaildir);
  choose(cmbFoundCommand, txtSendmail);
}

void frmSetup::propose() {
  if (filling_) {
    return;
  }
  const std::string address(trimmed(txtMailAddress.text()));
  const std::vector<const MailProvider*> all = hosts();
  const auto host = static_cast<std::size_t>(cmbHostedBy.value() - 1);
  const Proposal byAddress = proposalFor(address);
  proposal_ = host < all.size() && byAddress.kind != Proposal::Kind::kNoAddress
                  ? proposalFrom(*all[host], address)
                  : byAddress;
  filling_ = true;
  transfer_.propose(proposal_);
  filling_ = false;
  showProvider(proposal_);
  showWhatApplies();
  showOnlineAccounts();
}

void frmSetup::showProvider(const Proposal& proposal) {
  std::string text;
  if (proposal.kind == Proposal::Kind::kFound) {
    text = proposal.provider + ": settings from the built-in list of " +
           std::string(kProviderListDate) + ".";
  }
  for (const std::string& remark : proposal.remarks) {
    text += (text.empty() ? "" : "\r\n") + remark;
  }
  if (!onlineNote_.empty() && cmbSignIn.value() == kByOnlineAccount) {
    text += (text.empty() ? "" : "\r\n") + onlineNote_;
  }
  lblProvider.setText(text);
  lnkProviderPage.setText(proposal.page);
  lblPassword.setText(proposal.signIn == ProviderSignIn::kAppPassword ? "App password:"
                                                                      : "Password:");
}

void frmSetup::showWhatApplies() {
  const bool account = opbAccount.checked();
  const auto show = [](std::initializer_list<Control*> controls, bool visible) {
    for (Control* control : controls) {
      control->setVisible(visible);
    }
  };
  const int signIn = cmbSignIn.value();
  show({&lblSignIn, &cmbSignIn, &lblServers}, account);
  show({&lblProvider}, account && !lblProvider.text().empty());
  show({&lnkProviderPage}, account && !lnkProviderPage.text().empty());
  show({&lblPassword, &txtPassword}, account && signIn == kByKeyring);
  show({&lblSecretCommand, &txtSecretCommand},
       account && (signIn == kByCommand || signIn == kByTokenCommand));
  show({&lblOnlineAccount, &cmbOnlineAccount}, account && signIn == kByOnlineAccount);
  show({&lblCredential, &txtCredential}, account && signIn == kByCredential);
  show({&lblFoundMaildir, &cmbFoundMaildir}, !account && !cmbFoundMaildir.list().empty());
  show({&lblMaildir, &txtMaildir}, !account);
  for (Control* field :
       {&cmbHostedBy, &txtImapHost, &txtImapPort, &cmbImapSecurity, &txtImapUser, &txtImapFolder}) {
    field->setWhyDisabled("A Maildir on this computer needs no server.");
    field->setEnabled(account);
  }
  const int delivery = cmbDelivery.value();
  const bool smtp = delivery == kByAccount || delivery == kByOtherServer;
  const bool ownSecret = delivery == kByOtherServer;
  const int smtpSignIn = cmbSmtpSignIn.value();
  show({&lblSmtpHost, &txtSmtpHost, &lblSmtpPort, &txtSmtpPort, &lblSmtpSecurity, &cmbSmtpSecurity,
        &lblSmtpUser, &txtSmtpUser},
       smtp);
  show({&lblSmtpSignIn, &cmbSmtpSignIn}, ownSecret);
  show({&lblSmtpPassword, &txtSmtpPassword}, ownSecret && smtpSignIn == kByKeyring);
  show({&lblSmtpSecret, &txtSmtpSecret},
       ownSecret && (smtpSignIn == kByCommand || smtpSignIn == kByTokenCommand));
  show({&lblFoundCommand, &cmbFoundCommand},
       delivery == kByLocalCommand && !cmbFoundCommand.list().empty());
  show({&lblSendmail, &txtSendmail}, delivery == kByLocalCommand);
  show({&chkKeepSentCopy}, account && smtp);
  showServers();
}

// Everybody who will be asked something is named before it is asked.
void frmSetup::showServers() {
  const MailSettings settings = transfer_.settings();
  const bool account = settings.mailbox == MailboxKind::kAccount;
  std::string reading = "Mail is read from the Maildir " + settings.maildir;
  if (account) {
    reading = settings.imap.server.host.empty()
                  ? "The server for reading mail is not known yet: enter it under Servers"
                  : "Mail is read from " + serverText(settings.imap.server);
  }
  std::string sending = "forwards stay in the outbox on this computer";
  if (settings.delivery == DeliveryKind::kSmtp) {
    sending = settings.smtp.server.host.empty()
                  ? "the server for sending is not known yet: enter it under Sending"
                  : "forwards leave by " + serverText(settings.smtp.server);
  } else if (settings.delivery == DeliveryKind::kSendmail) {
    sending = "forwards leave by the command " + settings.sendmail;
  }
  const std::string text = reading + "; " + sending + ".";
  lblServers.setText(text);
  lblTest.setText(text +
                  " Nothing is sent there before you press Test Account, Send a Test "
                  "Message or OK.");
  lblSendTest.setText(
      "A test message goes to the addresses that mail is forwarded to. The settings are stored "
      "first.");
}

void frmSetup::showOnlineAccounts() {
  if (filling_ || cmbSignIn.value() != kByOnlineAccount || !opbAccount.checked() ||
      !cmbOnlineAccount.list().empty()) {
    return;
  }
  world_.setup.listOnlineAccounts([this](const OnlineAccountList& list) {
    onlineNote_.clear();
    if (list.failure) {
      onlineNote_ = list.failure->words;
    } else if (list.accounts.empty()) {
      onlineNote_ =
          "The desktop has no online account with mail. You add one in the desktop's settings, "
          "under Online Accounts.";
    }
    transfer_.setOnlineAccounts(list.accounts);
    transfer_.proposeOnlineAccount();
    showProvider(proposal_);
    showWhatApplies();
  });
}

void frmSetup::setBusy(bool busy) {
  for (Control* button : {&cmdOK, &cmdTestAccount, &cmdSendTest}) {
    button->setWhyDisabled("Something is still going on.");
    button->setEnabled(!busy);
  }
}

void frmSetup::fail(const std::string& text) {
  world_.dialogs.messageBox({text, kTitle, BoxButtons::kOk, BoxIcon::kExclamation});
  workIsOver();
}

// Shows the first mistake and the tab where it is.
bool frmSetup::checked() {
  const std::vector<SetupMistake> mistakes = transfer_.mistakes();
  if (!mistakes.empty()) {
    tabSetup.setValue(mistakes.front().tab);
    fail(mistakes.front().text);
    return false;
  }
  return passwordsChecked(transfer_.settings());
}

bool frmSetup::passwordsChecked(const MailSettings& settings) {
  const bool byPassword = settings.imap.secret != SecretSource::kTokenCommand &&
                          settings.imap.secret != SecretSource::kOnlineAccount;
  if (settings.mailbox == MailboxKind::kAccount && byPassword &&
      proposal_.signIn == ProviderSignIn::kOauthOnly &&
      settings.imap.server.host == proposal_.imap.host) {
    tabSetup.setValue(kYourMailTab);
    fail(proposal_.remarks.front());
    return false;
  }
  if (settings.mailbox == MailboxKind::kAccount && settings.imap.secret == SecretSource::kKeyring &&
      txtPassword.text().empty() && !(known_ && sameSecretKey(settings.imap, before_.imap))) {
    tabSetup.setValue(kYourMailTab);
    fail("Enter the password. It is kept in the keyring, not in a file.");
    return false;
  }
  const bool ownSmtpPassword = settings.delivery == DeliveryKind::kSmtp && settings.smtp.signIn &&
                               settings.smtp.secret == SecretSource::kKeyring;
  if (ownSmtpPassword && txtSmtpPassword.text().empty() &&
      !(known_ && sameSecretKey(settings.smtp, before_.smtp))) {
    tabSetup.setValue(kSendingTab);
    fail("Enter the password of the server for sending. It is kept in the keyring, not in a file.");
    return false;
  }
  const TypedSecrets typed = typedSecrets();
  for (const Secret* each : {&typed.imap, &typed.smtp}) {
    const std::string_view bytes = each->bytes();
    if (!bytes.empty() && trimmed(bytes).size() != bytes.size() &&
        world_.dialogs.messageBox(
            {"The password begins or ends with a blank, which often is a slip in copying. Is it "
             "meant so?",
             kTitle, BoxButtons::kYesNo}) != BoxAnswer::kYes) {
      return false;
    }
  }
  return true;
}

// App passwords of the provider are shown with blanks that do not belong to them. The provider may
// be the one that runs the user's own domain, so it is taken from the proposal.
TypedSecrets frmSetup::typedSecrets() const {
  TypedSecrets typed;
  if (cmbSignIn.value() == kByKeyring && opbAccount.checked()) {
    const bool own = equalsAsciiCase(trimmed(txtImapHost.text()), proposal_.imap.host);
    typed.imap = withoutGroups(Secret(txtPassword.text()), own ? proposal_.appPasswordLength : 0);
  }
  if (cmbDelivery.value() == kByOtherServer && cmbSmtpSignIn.value() == kByKeyring) {
    typed.smtp = Secret(txtSmtpPassword.text());
  }
  return typed;
}

void frmSetup::accept(Step then) {
  stored_ = false;
  if (!checked()) {
    return;
  }
  const MailSettings settings = transfer_.settings();
  const TypedSecrets typed = typedSecrets();
  std::vector<std::pair<AccountSettings, Secret>> passwords;
  if (!typed.imap.empty()) {
    passwords.emplace_back(settings.imap, typed.imap);
  }
  if (!typed.smtp.empty()) {
    passwords.emplace_back(settings.smtp, typed.smtp);
  }
  if (passwords.empty() && known_ && opened_ && sameSettings(settings, before_)) {
    stored_ = true;
    then();
    return;
  }
  setBusy(true);
  keepPasswords(std::move(passwords), std::move(then));
}

// One after the other, as each may ask the user to unlock the keyring.
void frmSetup::keepPasswords(std::vector<std::pair<AccountSettings, Secret>> passwords, Step then) {
  if (passwords.empty()) {
    store(then);
    return;
  }
  const auto [account, password] = std::move(passwords.back());
  passwords.pop_back();
  world_.setup.keepPassword(account, password, [this, passwords, then](const Result<void>& kept) {
    if (!kept) {
      setBusy(false);
      fail("The password could not be kept: " + kept.error().text +
           "\r\n\r\nWithout a keyring, choose a command that prints the password, or a "
           "credential of the system service.");
      return;
    }
    keepPasswords(passwords, then);
  });
}

void frmSetup::store(const Step& then) {
  setBusy(false);
  const std::string name = prf_.GetPrefIniFname();
  const auto before = world_.profiles.read(name);
  const auto writer = world_.profiles.write(name);
  MailSettings settings = transfer_.settings();
  const LocalIdentity user = world_.setup.user();
  // Whether mail is set up is read from the file, so the kind of the mailbox is always written.
  const bool written =
      writer->set(kMailSection, "store",
                  settings.mailbox == MailboxKind::kAccount ? "account" : "maildir") &&
      writeMailSettings(*before, *writer, settings, user) && writer->commit();
  if (!written) {
    fail("The settings could not be stored in " + name + ":\r\n" + writer->error());
    return;
  }
  forgetPasswords();
  before_ = std::move(settings);
  known_ = true;
  stored_ = true;
  const auto opened = onStored_();
  opened_ = static_cast<bool>(opened);
  if (!opened) {
    fail("The settings are stored, but the mailbox could not be opened:\r\n" + opened.error().text);
    return;
  }
  then();
}

void frmSetup::testAccount() {
  if (!checked()) {
    return;
  }
  tabSetup.setValue(kTestTab);
  txtTest.setText("");
  setBusy(true);
  working_ = true;
  cmdStopTest.setEnabled(true);
  world_.setup.test(
      transfer_.settings(), typedSecrets(), [this](const TestLine& line) { addLine(line); },
      [this](bool good) {
        setBusy(false);
        cmdStopTest.setEnabled(false);
        addLine({good ? TestLine::Kind::kGood : TestLine::Kind::kProblem,
                 good
                     ? "The test is over: all is well."
                     : "The test is over, and not all is well. Nothing is tried again by itself."});
        workIsOver();
      });
}

void frmSetup::addLine(const TestLine& line) {
  static constexpr std::array<const char*, 4> kMarks = {"", "OK: ", "Problem: ", "What to do: "};
  txtTest.setText(txtTest.text() + (txtTest.text().empty() ? "" : "\r\n") +
                  kMarks[static_cast<std::size_t>(line.kind)] + line.text);
}

// Mail goes to no address that the user has not confirmed.
void frmSetup::sendTest() {
  tabSetup.setValue(kTestTab);
  std::vector<std::string> addresses;
  for (const std::string& address : prf_.fields().mstrFwdToAddress) {
    if (!address.empty()) {
      addresses.push_back(address);
    }
  }
  if (addresses.empty()) {
    fail("There is no address to forward to yet. Enter one in the settings (Edit, Settings...).");
    return;
  }
  std::string question = "A test message will be sent to:\r\n";
  for (const std::string& address : addresses) {
    question += "\r\n" + address;
  }
  if (world_.dialogs.messageBox({question + "\r\n\r\nSend it now?", kTitle, BoxButtons::kYesNo}) ==
      BoxAnswer::kYes) {
    sendTestTo(addresses);
  }
}

// The message takes the way of every forward: through the outbox.
void frmSetup::sendTestTo(const std::vector<std::string>& addresses) {
  try {
    const auto application = createAs<Application>(world_.objects, prog_id::kApplication);
    const auto item = required(application->CreateItem(kMailItemKind), "message");
    item->Subject("Test message from Relaybird");
    item->Body(
        "This message shows that Relaybird can send mail to this address.\r\n"
        "Mail that passes your rules will come the same way.\r\n");
    const auto recipients = required(item->Recipients(), "recipients");
    for (const std::string& address : addresses) {
      recipients->Add(address);
    }
    if (!recipients->ResolveAll()) {
      addLine({TestLine::Kind::kProblem,
               "An address to forward to is not a valid one. Correct it "
               "in the settings."});
      return;
    }
    const OutgoingState before = world_.outgoing.state();
    item->send();
    log_.AddToLog(world_.clock.toText(world_.clock.now()) + "--> Test message stored for " +
                  std::to_string(addresses.size()) +
                  (addresses.size() == 1 ? " address." : " addresses."));
    addLine({TestLine::Kind::kGood, "The test message is in the outbox."});
    if (!before.delivers) {
      addLine({TestLine::Kind::kProblem, joinSentences(holdReasons(before))});
      return;
    }
    working_ = true;
    setBusy(true);
    world_.outgoing.tryAgain([this, before, alive = std::weak_ptr(alive_)] {
      if (alive.expired()) {
        return;
      }
      setBusy(false);
      const OutgoingState after = world_.outgoing.state();
      const bool good = !hasProblem(before, after) && world_.outgoing.waiting() == 0;
      addLine(
          {good ? TestLine::Kind::kGood : TestLine::Kind::kProblem,
           outcomeOf(before, after, world_.outgoing.waiting()) +
               (good ? " Look at the phone or the mailbox that it went to." : " See the log.")});
      workIsOver();
    });
  } catch (const MailStoreError& error) {
    working_ = false;
    setBusy(false);
    addLine({TestLine::Kind::kProblem,
             std::string("The test message could not be sent: ") + error.what()});
  }
}

void frmSetup::forgetPasswords() {
  txtPassword.setText("");
  txtSmtpPassword.setText("");
}

void frmSetup::cancel() {
  world_.setup.forgetReports();
  world_.setup.stopTest();
  cmdStopTest.setEnabled(false);
  closesAfterWork_ = false;
  working_ = false;
  setBusy(false);
  forgetPasswords();
  hide();
}

}  // namespace relaybird
