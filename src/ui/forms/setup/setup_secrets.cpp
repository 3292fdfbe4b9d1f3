// SPDX-License-Identifier: MIT
#include "ui/forms/setup/setup_secrets.h"

#include <string_view>

#include "mail/sign_in_source.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

// The keyring files a secret under these, so a kept password serves as long as they stay.
bool sameSecretKey(const AccountSettings& a, const AccountSettings& b) {
  return a.server.host == b.server.host && a.server.port == b.server.port && a.user == b.user &&
         a.secret == b.secret;
}

// A provider without passwords refuses every one, and some lock an account that is tried often.
bool takesNoPassword(const MailSettings& settings, const Proposal& proposal) {
  const bool byPassword = settings.imap.secret != SecretSource::kTokenCommand &&
                          settings.imap.secret != SecretSource::kOnlineAccount;
  return settings.mailbox == MailboxKind::kAccount && byPassword &&
         proposal.signIn == ProviderSignIn::kOauthOnly &&
         settings.imap.server.host == proposal.imap.host;
}

}  // namespace

// Some providers show app passwords with blanks that do not belong to them.
TypedSecrets typedSecrets(const SetupControls& window) {
  TypedSecrets typed;
  const auto withoutGroupsAt = [&](MailProtocol protocol, const Control& host,
                                   const Control& password) {
    const MailServer server{protocol, std::string(trimmed(host.text())), 0, Security::kTls, {}};
    return withoutGroups(Secret(password.text()),
                         appPasswordLengthAt(server, window.txtMailAddress.text()));
  };
  if (window.cmbSignIn.value() == kByKeyring && window.opbAccount.checked()) {
    typed.imap = withoutGroupsAt(MailProtocol::kImap, window.txtImapHost, window.txtPassword);
  }
  if (window.cmbDelivery.value() == kByOtherServer && window.cmbSmtpSignIn.value() == kByKeyring) {
    typed.smtp = withoutGroupsAt(MailProtocol::kSmtp, window.txtSmtpHost, window.txtSmtpPassword);
  }
  return typed;
}

std::optional<SetupMistake> secretMistake(const MailSettings& settings, const TypedSecrets& typed,
                                          const Proposal& proposal, const MailSettings* kept) {
  if (takesNoPassword(settings, proposal)) {
    return SetupMistake{kYourMailTab, proposal.remarks.front()};
  }
  if (settings.mailbox == MailboxKind::kAccount && settings.imap.secret == SecretSource::kKeyring &&
      typed.imap.empty() && (kept == nullptr || !sameSecretKey(settings.imap, kept->imap))) {
    return SetupMistake{kYourMailTab,
                        "Enter the password. It is kept in the keyring, not in a file."};
  }
  const bool own = settings.delivery == DeliveryKind::kSmtp && settings.smtp.signIn &&
                   settings.smtp.secret == SecretSource::kKeyring;
  if (own && typed.smtp.empty() && (kept == nullptr || !sameSecretKey(settings.smtp, kept->smtp))) {
    return SetupMistake{
        kSendingTab,
        "Enter the password of the server for sending. It is kept in the keyring, not in a file."};
  }
  return std::nullopt;
}

bool hasBlanksAround(const TypedSecrets& typed) {
  for (const Secret* each : {&typed.imap, &typed.smtp}) {
    const std::string_view bytes = each->bytes();
    if (trimmed(bytes).size() != bytes.size()) {
      return true;
    }
  }
  return false;
}

std::vector<std::pair<AccountSettings, Secret>> passwordsToKeep(const MailSettings& settings,
                                                                const TypedSecrets& typed) {
  std::vector<std::pair<AccountSettings, Secret>> passwords;
  if (!typed.imap.empty()) {
    passwords.emplace_back(settings.imap, typed.imap);
  }
  if (!typed.smtp.empty()) {
    passwords.emplace_back(settings.smtp, typed.smtp);
  }
  return passwords;
}

}  // namespace relaybird
