// SPDX-License-Identifier: MIT
// frmSetup: the dialog that sets up mail: where it is, how to sign in, how forwards leave. It asks
// no server anything before the user presses Test Account, and keeps no password after it is
// closed.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "engine/engine_world.h"
#include "prefs/cls_pref.h"
#include "ui/forms/program_world.h"
#include "ui/forms/setup/mail_setup.h"
#include "ui/forms/setup/provider_choice.h"
#include "ui/forms/setup/setup_controls.h"
#include "ui/forms/setup/setup_transfer.h"
#include "ui/forms/setup/test_message.h"

namespace relaybird {

class frmSetup : public SetupControls {
 public:
  /// All must outlive it.
  frmSetup(const ProgramWorld& world, clsPref& prf, ActivityLog& log);
  ~frmSetup() override;

  /// To be called when the program works with the settings; the error is a sentence for the user.
  using Opened = std::function<void(const Result<void>&)>;
  /// Called after the settings were stored: makes the program work with them. The dialog stays open
  /// until `opened` is called, perhaps inside the reaction.
  void onStored(std::function<void(const Opened& opened)> reaction) {
    onStored_ = std::move(reaction);
  }

  /// Called when a test message has nobody to go to: asks the user for an address to forward to and
  /// stores it. False if there is none afterwards.
  void onAddressMissing(std::function<bool()> reaction) { onAddressMissing_ = std::move(reaction); }

  /// Shows the stored settings in front of the owner.
  void open(Form& owner);
  /// The same for the work of one button, Test Account or Send a Test Message, which is pressed at
  /// once: the dialog closes by itself when that is over.
  void openFor(Form& owner, Control& button);
  /// OK for a caller without a window. False if a value is missing or wrong, which a box has said;
  /// the dialog stays open then with what was entered. Otherwise it closes by itself, at once or
  /// when the keyring has answered, and stored() tells the outcome.
  bool acceptAndClose();
  /// Same as Cancel.
  void closeBox() override {
    if (!closesMailbox()) {
      cancel();
    }
  }
  /// Whether the last OK stored everything.
  bool stored() const { return stored_; }
  /// Whether the keyring or a test is at work, or the mailbox is being closed.
  bool busy() const { return !cmdOK.enabled(); }
  /// Whether OK has stored the settings and the former mailbox is still being closed.
  bool closesMailbox() const { return !cmdCancel.enabled(); }

 protected:
  std::string helpTopic() const override;

 private:
  using Step = std::function<void()>;

  void wire();
  void wireFound(Control& list, Control& field);
  void fillFound();
  void followMailbox();
  void propose();
  void showProvider();
  void showWhatApplies();
  void showServers();
  void showOnlineAccounts();
  void setBusy(bool busy);
  bool checked();
  bool passwordsChecked();
  void accept(Step then);
  void keepPasswords(std::vector<std::pair<AccountSettings, Secret>> passwords, Step then);
  void store(const Step& then);
  void mailboxOpened(const Result<void>& opened, const Step& then);
  void testAccount();
  void addLine(const TestLine& line);
  std::vector<std::string> forwardAddresses() const;
  void sendTest();
  void workIsOver();
  void cancel();
  void forgetPasswords();
  void fail(const std::string& text);

  const ProgramWorld& world_;
  clsPref& prf_;
  TestMessage testMessage_;
  ProviderChoice providers_;
  SetupTransfer transfer_;
  LocalIdentity user_;
  Proposal proposal_;
  std::string onlineNote_;  ///< why there are no online accounts
  bool filling_ = false;
  bool deliveryFollows_ = false;  ///< the user has not chosen how forwards leave
  bool closesAfterWork_ = false;
  bool working_ = false;  ///< a test runs, a test message is on its way, a mailbox is being closed
  bool stored_ = false;
  MailSettings before_;  ///< the stored settings
  bool opened_ = true;   ///< the mailbox of the stored settings could be opened
  bool known_ = false;   ///< whether mail was set up before
  std::function<void(const Opened&)> onStored_ = [](const Opened& opened) { opened({}); };
  std::function<bool()> onAddressMissing_ = [] { return false; };
};

}  // namespace relaybird
