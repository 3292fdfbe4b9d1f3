// SPDX-License-Identifier: MIT
// What depends on several keys at once. Each mistake names the key and what to write there, because
// settings may have been made with an editor, and the program opens no mailbox with any of them.
#include "mail/mail_settings_check.h"

#include <utility>

#include "mail/mail_setting_keys.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

// The checks of one server. `prefix` begins the names of its keys.
class ServerCheck {
 public:
  ServerCheck(const AccountSettings& account, std::string prefix, std::vector<std::string>& errors)
      : account_(account), prefix_(std::move(prefix)), errors_(errors) {}

  // The secret may be that of the other server. Its source decides which methods are possible.
  void run(const AccountSettings& secretOwner) {
    checkHost();
    if (account_.signIn) {
      checkUser();
      checkSecret();
      checkMethod(secretOwner.secret);
    }
  }

 private:
  std::string key(const char* name) const { return prefix_ + name; }

  void checkHost() {
    const std::string& host = account_.server.host;
    if (host.empty()) {
      errors_.push_back(key("host") + " is missing: it is the name of the mail server.");
      return;
    }
    if (host.find_first_of(" \t/:@") != std::string::npos && !isAddressText(host)) {
      errors_.push_back(key("host") + "=" + host + " is not the name of a server.");
    }
    if (account_.server.security == Security::kNone && !isLocalHost(host) &&
        !equalsAsciiCase(account_.unencryptedHost, host)) {
      errors_.push_back(key("security") + "=none sends the password to " + host +
                        " so that others can read it on the way. If you want that, say so a second "
                        "time: " +
                        key("unencrypted") + "=" + host + ".");
    }
  }

  // An IPv6 address is the only host with colons.
  static bool isAddressText(std::string_view host) {
    return host.find_first_not_of("0123456789abcdefABCDEF:.%") == std::string_view::npos;
  }

  // Only servers that want a sign-in get here. Some relays in an own network want none.
  void checkUser() {
    if (account_.user.empty()) {
      errors_.push_back(key("user") + " is missing: it is the user name at " +
                        account_.server.host + ".");
    }
  }

  // A missing password in the keyring is no mistake of the file: it shows when it is asked for.
  void checkSecret() {
    const SecretSource source = account_.secret;
    const bool command = source == SecretSource::kCommand || source == SecretSource::kTokenCommand;
    if (command && account_.secretCommand.empty()) {
      errors_.push_back(key("secret_command") + " is missing: it is the command that prints the " +
                        (source == SecretSource::kCommand ? "password." : "access token."));
    }
    if (source == SecretSource::kOnlineAccount && account_.secretName.empty()) {
      errors_.push_back(key("secret_name") + " is missing: it names the online account.");
    }
  }

  // An online account gives what it has, a password or a token.
  void checkMethod(SecretSource source) {
    if (source == SecretSource::kOnlineAccount) {
      return;
    }
    if (takesToken(account_.signIn) && !givesToken(source)) {
      errors_.push_back(key("sign_in") + " needs an access token, so " + key("secret") +
                        " has to be token-command or online-account.");
    } else if (!takesToken(account_.signIn) && source == SecretSource::kTokenCommand) {
      errors_.push_back(key("sign_in") +
                        " needs a password, but the secret is an access token; "
                        "leave " +
                        key("sign_in") + " out, or set it to xoauth2 or oauthbearer.");
    }
  }

  const AccountSettings& account_;
  std::string prefix_;
  std::vector<std::string>& errors_;
};

}  // namespace

// Servers that are not in use are not checked: settings of a former account may stay in the file.
std::vector<std::string> mailSettingsErrors(const MailSettings& settings) {
  std::vector<std::string> errors;
  if (settings.mailbox == MailboxKind::kAccount) {
    ServerCheck(settings.imap, "imap_", errors).run(settings.imap);
    if (!settings.imap.signIn) {
      errors.emplace_back(
          "imap_sign_in=none is not possible: nobody reads mail without signing in.");
    }
    if (settings.imap.secret == SecretSource::kSameAsImap) {
      errors.emplace_back("imap_secret=same is not possible: it has to say where the password is.");
    }
  }
  if (settings.delivery == DeliveryKind::kSmtp) {
    ServerCheck(settings.smtp, "smtp_", errors).run(settings.smtpSecretOwner());
    if (settings.mailbox != MailboxKind::kAccount && settings.smtp.signIn &&
        settings.smtp.secret == SecretSource::kSameAsImap) {
      errors.emplace_back(
          "smtp_secret is missing: without an account there is no password to share, so say where "
          "the password is: keyring, command, token-command, credential or online-account.");
    }
  }
  if (settings.delivery == DeliveryKind::kSendmail && settings.sendmail.empty()) {
    errors.emplace_back("sendmail is missing: delivery=sendmail needs the command.");
  }
  return errors;
}

}  // namespace relaybird
