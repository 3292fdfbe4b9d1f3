// SPDX-License-Identifier: MIT
// Reactions of the set-up dialog. What its controls mean is in setup_transfer.h, which of them
// apply in setup_controls.h; here is when a proposal is made, and the way of OK: check, keep the
// passwords, store the settings, open the mailbox. The keyring and the test report later, so these
// ways are cut into steps; Cancel forgets the reports that are still to come.
#include "ui/forms/setup/frm_setup.h"

#include <algorithm>
#include <array>
#include <utility>

#include "mail/mail_in_words.h"
#include "platform/text/ascii_text.h"
#include "ui/forms/setup/setup_advice.h"
#include "ui/forms/setup/setup_secrets.h"

namespace relaybird {

namespace {

constexpr const char* kTitle = "Set Up Mail";

bool sameSettings(const MailSettings& a, const MailSettings& b) {
  const auto all = mailSettingTexts(a);
  const auto others = mailSettingTexts(b);
  return std::equal(all.begin(), all.end(), others.begin(), others.end(),
                    [](const MailSetting& one, const MailSetting& other) {
                      return one.key == other.key && one.text == other.text;
                    });
}

// Shows which entry of the list the field has: the last one stands for a text of the user's own.
void followField(Control& list, const Control& field) {
  const auto& all = list.list();
  const auto at = std::find(all.begin(), all.end() - 1, std::string(trimmed(field.text())));
  list.setValue(static_cast<int>(at - all.begin()));
}

}  // namespace

frmSetup::frmSetup(const ProgramWorld& world, clsPref& prf, ActivityLog& log)
    : world_(world), prf_(prf), testMessage_(world, log), transfer_(*this) {
  for (const std::string& entry : providers_.entries()) {
    cmbHostedBy.addItem(entry);
  }
  cmdCancel.setWhyDisabled("The former mailbox is being closed.");
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
      showProvider();
      showWhatApplies();
    });
  }
  txtMailAddress.onChange([this] { propose(); });
  cmbHostedBy.onClick([this] { propose(); });
  cmbSignIn.onClick([this] {
    showProvider();
    showWhatApplies();
    showOnlineAccounts();
  });
  cmbOnlineAccount.onClick([this] { transfer_.proposeOnlineAccount(); });
  cmbDelivery.onClick([this] {
    deliveryFollows_ = deliveryFollows_ && filling_;
    showProvider();
    showWhatApplies();
  });
  cmbSmtpSignIn.onClick([this] {
    showProvider();
    showWhatApplies();
  });
  cmbImapSecurity.onClick([this] {
    transfer_.securityChosen(cmbImapSecurity, txtImapPort, MailProtocol::kImap);
    showServers();
  });
  cmbSmtpSecurity.onClick([this] {
    transfer_.securityChosen(cmbSmtpSecurity, txtSmtpPort, MailProtocol::kSmtp);
    showServers();
  });
  for (Control* field : {&txtImapPort, &txtImapUser, &txtSmtpPort, &txtSmtpUser}) {
    field->onChange([this] { showServers(); });
  }
  for (Control* host : {&txtImapHost, &txtSmtpHost}) {
    host->onChange([this] {
      showProvider();
      showWhatApplies();
    });
  }
  wireFound(cmbFoundMaildir, txtMaildir);
  wireFound(cmbFoundCommand, txtSendmail);
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

// Field and list follow each other, so that what is watched or run is always in the field.
void frmSetup::wireFound(Control& list, Control& field) {
  list.onClick([this, &list, &field] {
    const auto position = static_cast<std::size_t>(list.value());
    if (!filling_ && position + 1 < list.list().size()) {
      field.setText(list.list()[position]);
    }
  });
  field.onChange([this, &list, &field] {
    if (!filling_) {
      filling_ = true;
      followField(list, field);
      filling_ = false;
    }
    showServers();
  });
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

// What the file has counts, not what the program uses: an editor may have changed it since.
void frmSetup::open(Form& owner) {
  if (visible()) {
    return;
  }
  const auto file = world_.profiles.read(prf_.GetPrefIniFname());
  user_ = world_.setup.user();
  MailSettingsRead read = readMailSettings(*file, user_);
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
  transfer_.fill(before_, user_, known_);
  fillFound();
  forgetPasswords();
  filling_ = false;
  propose();
  showWhatApplies();
  showOnlineAccounts();
  setBusy(false);
  showModal(owner);
}

// A dialog that stayed open after its work would block whoever does not see it.
bool frmSetup::acceptAndClose() {
  closesAfterWork_ = false;
  cmdOK.click();
  closesAfterWork_ = visible() && busy();
  if (visible() && stored_ && !busy()) {
    cancel();
  }
  return stored_ || busy() || !visible();
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
  const auto fill = [this](Control& list, const std::vector<std::string>& found,
                           const char* other) {
    list.clearList();
    for (const std::string& each : found) {
      list.addItem(shownPath(each, user_.homeFolder));
    }
    list.addItem(other);
  };
  fill(cmbFoundMaildir, world_.setup.foundMaildirs(), "Another folder");
  fill(cmbFoundCommand, world_.setup.foundCommands(), "Another command");
  if (!known_ && cmbFoundMaildir.list().size() > 1) {
    txtMaildir.setText(cmbFoundMaildir.list().front());
  }
  if (txtSendmail.text().empty() && cmbFoundCommand.list().size() > 1) {
    txtSendmail.setText(cmbFoundCommand.list().front());
  }
  followField(cmbFoundMaildir, txtMaildir);
  followField(cmbFoundCommand, txtSendmail);
}

void frmSetup::propose() {
  if (filling_) {
    return;
  }
  proposal_ = providers_.proposal(txtMailAddress.text(), cmbHostedBy.value());
  filling_ = true;
  transfer_.propose(proposal_);
  filling_ = false;
  showProvider();
  showWhatApplies();
  showOnlineAccounts();
}

void frmSetup::showProvider() {
  SetupAdvice advice =
      setupAdvice(transfer_.settings(), txtMailAddress.text(), proposal_, user_.userAtHost);
  if (opbAccount.checked() && !onlineNote_.empty() && cmbSignIn.value() == kByOnlineAccount) {
    addAdviceLine(advice.more, onlineNote_);
  }
  lblProvider.setText(advice.first);
  lnkProviderPage.setText(advice.page);
  lblProviderMore.setText(advice.more);
  lblPassword.setText(advice.passwordLabel);
  lblSmtpPassword.setText(advice.smtpPasswordLabel);
}

void frmSetup::showWhatApplies() {
  showApplying(ProviderChoice::offered(txtMailAddress.text()));
  showServers();
}

// Everybody who will be asked something is named before it is asked.
void frmSetup::showServers() {
  const MailSettings settings = transfer_.settings();
  const std::string text = serversText(settings, user_.homeFolder);
  const bool whole =
      (settings.mailbox == MailboxKind::kMaildir || !settings.imap.server.host.empty()) &&
      (settings.delivery != DeliveryKind::kSmtp || !settings.smtp.server.host.empty());
  lblServers.setText(text + (whole ? " Test Account, under Test, tries both." : ""));
  lblTest.setText(text +
                  " Nothing is sent there before you press Test Account, Send a Test "
                  "Message or OK.");
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
    showProvider();
    showWhatApplies();
  });
}

// Cancel stays enabled: a keyring may wait for a password that the user does not know. Only while a
// mailbox is closed, which the user cannot stop, it is not.
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
  return passwordsChecked();
}

bool frmSetup::passwordsChecked() {
  const TypedSecrets typed = typedSecrets(*this);
  const MailSettings settings = transfer_.settings();
  const auto mistake =
      secretMistake(settings, typed, knownForReading(settings, txtMailAddress.text(), proposal_),
                    known_ ? &before_ : nullptr);
  if (mistake) {
    tabSetup.setValue(mistake->tab);
    fail(mistake->text);
    return false;
  }
  return !hasBlanksAround(typed) ||
         world_.dialogs.messageBox(
             {"The password begins or ends with a blank, which often is a slip in copying. Is it "
              "meant so?",
              kTitle, BoxButtons::kYesNo}) == BoxAnswer::kYes;
}

void frmSetup::accept(Step then) {
  stored_ = false;
  if (!checked()) {
    return;
  }
  const MailSettings settings = transfer_.settings();
  auto passwords = passwordsToKeep(settings, typedSecrets(*this));
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
  const std::string name = prf_.GetPrefIniFname();
  const auto before = world_.profiles.read(name);
  const auto writer = world_.profiles.write(name);
  MailSettings settings = transfer_.settings();
  // Whether mail is set up is read from the file, so the kind of the mailbox is always written.
  const bool written =
      writer->set(kMailSection, "store",
                  settings.mailbox == MailboxKind::kAccount ? "account" : "maildir") &&
      writeMailSettings(*before, *writer, settings, user_) && writer->commit();
  if (!written) {
    setBusy(false);
    fail("The settings could not be stored in " + name + ":\r\n" + writer->error());
    return;
  }
  forgetPasswords();
  before_ = std::move(settings);
  known_ = true;
  stored_ = true;
  // The settings are in force already, so there is nothing to cancel.
  cmdCancel.setEnabled(false);
  working_ = true;
  onStored_([this, then](const Result<void>& opened) { mailboxOpened(opened, then); });
}

void frmSetup::mailboxOpened(const Result<void>& opened, const Step& then) {
  cmdCancel.setEnabled(true);
  setBusy(false);
  working_ = false;
  opened_ = static_cast<bool>(opened);
  if (!opened) {
    fail("The settings are stored, but the mailbox could not be opened:\r\n" + opened.error().text);
    return;
  }
  then();
  if (!working_) {
    workIsOver();
  }
}

// Tests what the dialog shows, so that a mistake is found before it replaces settings that work.
void frmSetup::testAccount() {
  if (!checked()) {
    return;
  }
  tabSetup.setValue(kTestTab);
  txtTest.setText("");
  setBusy(true);
  working_ = true;
  cmdStopTest.setEnabled(true);
  const MailSettings settings = transfer_.settings();
  // Whoever tests without the window sees this line alone before the servers are asked.
  addLine({TestLine::Kind::kNote, serversText(settings, user_.homeFolder)});
  world_.setup.test(
      settings, typedSecrets(*this), [this](const TestLine& line) { addLine(line); },
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

std::vector<std::string> frmSetup::forwardAddresses() const {
  std::vector<std::string> addresses = prf_.fields().mstrFwdToAddress;
  std::erase(addresses, "");
  return addresses;
}

// Mail goes to no address that the user has not confirmed.
void frmSetup::sendTest() {
  tabSetup.setValue(kTestTab);
  std::vector<std::string> addresses = forwardAddresses();
  if (addresses.empty() && onAddressMissing_()) {
    addresses = forwardAddresses();
  }
  if (addresses.empty()) {
    fail("There is no address to forward to yet. Enter one in the settings (Edit, Settings...).");
    return;
  }
  std::string question = "A test message will be sent to:\r\n";
  for (const std::string& address : addresses) {
    question += "\r\n" + address;
  }
  if (world_.dialogs.messageBox({question + "\r\n\r\nSend it now?", kTitle, BoxButtons::kYesNo}) !=
      BoxAnswer::kYes) {
    return;
  }
  working_ = testMessage_.send(
      addresses, [this](const TestLine& line) { addLine(line); },
      [this] {
        setBusy(false);
        workIsOver();
      });
  setBusy(working_);
}

// A form lives as long as the program, so its fields would keep them.
void frmSetup::forgetPasswords() {
  txtPassword.setText("");
  txtSmtpPassword.setText("");
}

// A test or a question of the keyring may still be going on; its report must not reach the next
// dialog.
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
