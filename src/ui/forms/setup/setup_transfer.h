// SPDX-License-Identifier: MIT
// Settings into the controls of the set-up dialog and back, and proposals into those controls that
// the user has not filled.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "mail/mail_settings.h"
#include "mail/providers.h"
#include "ui/forms/setup/setup_controls.h"

namespace relaybird {

/// Something in the dialog that is missing or wrong.
struct SetupMistake {
  SetupTab tab = kYourMailTab;
  std::string text;
};

class SetupTransfer {
 public:
  /// `window` must outlive it.
  explicit SetupTransfer(SetupControls& window) : window_(window) {}

  /// Shows the settings. `known` says whether they were set up; if not, an account is shown, with
  /// nothing filled in but the user's name.
  void fill(const MailSettings& settings, const LocalIdentity& user, bool known);
  /// The settings that the controls show. What has no control keeps its value.
  MailSettings settings() const;
  /// What is missing or wrong; the first one is the first to correct.
  std::vector<SetupMistake> mistakes() const;

  /// Puts servers and user names into the fields that are empty or still have an earlier proposal.
  /// A guess is no proposal: fields get nothing from it.
  void propose(const Proposal& proposal);
  /// The accounts that cmbOnlineAccount lists.
  void setOnlineAccounts(std::vector<OnlineAccount> accounts);
  /// The chosen one; null for none.
  const OnlineAccount* onlineAccount() const;
  /// Puts what the chosen online account says into the fields.
  void proposeOnlineAccount();
  /// Another security was chosen: a usual port becomes the usual one of the new security.
  void securityChosen(Control& security, Control& port, MailProtocol protocol);

 private:
  void offer(Control& field, const std::string& text);
  void choose(Control& list, int position);
  void offerServer(const MailServer& server, const std::string& user);
  void fillServer(const AccountSettings& account);
  std::string pathIn(const Control& field) const;
  void readServer(AccountSettings& account) const;
  void readImapSecret(AccountSettings& imap) const;
  void readDelivery(MailSettings& result) const;
  void readSmtpSecret(MailSettings& result) const;

  SetupControls& window_;
  MailSettings former_;  ///< what fill() got
  LocalIdentity user_;
  std::vector<OnlineAccount> accounts_;
  std::map<const Control*, std::string> offered_;  ///< the last proposal for a field
  std::map<const Control*, int> chosen_;           ///< the last proposal for a list
};

}  // namespace relaybird
