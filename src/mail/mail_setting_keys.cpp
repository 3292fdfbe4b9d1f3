// SPDX-License-Identifier: MIT
// One row for each key. A default may depend on keys that come earlier in the table: sending by
// SMTP is the default once there is a server for it. So the rows are read from top to bottom. The
// kind of a place decides how a text is read and written: Taking and textIn() have a case for each.
#include "mail/mail_setting_keys.h"

#include <array>
#include <charconv>
#include <span>
#include <type_traits>
#include <utility>

#include "platform/paths.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

using namespace mail_place;  // NOLINT(google-build-using-namespace)
using S = MailSettings;
using SignInChoice = MailSettingKey::SignInChoice;

template <class T>
struct Named {
  std::string_view name;
  T value;
};

// These names are in the files of users: they are never renamed, and new ones are added.
constexpr std::array kMailboxKinds = {Named<MailboxKind>{"maildir", MailboxKind::kMaildir},
                                      Named<MailboxKind>{"account", MailboxKind::kAccount}};
constexpr std::array kDeliveryKinds = {Named<DeliveryKind>{"none", DeliveryKind::kNone},
                                       Named<DeliveryKind>{"sendmail", DeliveryKind::kSendmail},
                                       Named<DeliveryKind>{"smtp", DeliveryKind::kSmtp}};
constexpr std::array kSecurities = {Named<Security>{"tls", Security::kTls},
                                    Named<Security>{"starttls", Security::kStartTls},
                                    Named<Security>{"none", Security::kNone}};
constexpr std::array kSignIns = {
    Named<SignInChoice>{"password", SignInMethod::kPassword},
    Named<SignInChoice>{"plain", SignInMethod::kPlain},
    Named<SignInChoice>{"login", SignInMethod::kLogin},
    Named<SignInChoice>{"xoauth2", SignInMethod::kXoauth2},
    Named<SignInChoice>{"oauthbearer", SignInMethod::kOauthBearer},
    Named<SignInChoice>{"none", std::nullopt},
};
constexpr std::array kSecrets = {
    Named<SecretSource>{"keyring", SecretSource::kKeyring},
    Named<SecretSource>{"command", SecretSource::kCommand},
    Named<SecretSource>{"token-command", SecretSource::kTokenCommand},
    Named<SecretSource>{"credential", SecretSource::kCredential},
    Named<SecretSource>{"online-account", SecretSource::kOnlineAccount},
    Named<SecretSource>{"same", SecretSource::kSameAsImap},
};

constexpr std::span<const Named<MailboxKind>> namesOf(Choice<MailboxKind> /*place*/) {
  return kMailboxKinds;
}
constexpr std::span<const Named<DeliveryKind>> namesOf(Choice<DeliveryKind> /*place*/) {
  return kDeliveryKinds;
}
constexpr std::span<const Named<Security>> namesOf(Choice<Security> /*place*/) {
  return kSecurities;
}
constexpr std::span<const Named<SignInChoice>> namesOf(Choice<SignInChoice> /*place*/) {
  return kSignIns;
}
constexpr std::span<const Named<SecretSource>> namesOf(Choice<SecretSource> /*place*/) {
  return kSecrets;
}

template <class T>
std::string nameIn(std::span<const Named<T>> names, const T& value) {
  for (const Named<T>& named : names) {
    if (named.value == value) {
      return std::string(named.name);
    }
  }
  return {};
}

// Depends on the encryption, which therefore comes first in the table.
std::string usualPortText(const MailServer& server) {
  return std::to_string(usualPort(server.protocol, server.security));
}

// XOAUTH2 is what the large providers take. OAUTHBEARER, its standard, is taken by few.
std::string usualSignIn(const AccountSettings& account) {
  return givesToken(account.secret) ? "xoauth2" : "password";
}

// A unit of the service manager names the credential likewise, so nothing has to be set.
std::string usualSecretName(const AccountSettings& account, std::string_view credential) {
  return account.secret == SecretSource::kCredential ? std::string(credential) : std::string();
}

// A command wins, so that settings of earlier releases, which knew nothing else, keep their
// meaning.
std::string usualDelivery(const S& s, const LocalIdentity& /*user*/) {
  if (!s.sendmail.empty()) {
    return "sendmail";
  }
  return s.smtp.server.host.empty() ? "none" : "smtp";
}

// The authority of one server is no reason to believe it about another one.
std::string caFileOfSameHost(const S& s) {
  return equalsAsciiCase(s.imap.server.host, s.smtp.server.host) ? s.imap.server.caFile : "";
}

// A whole number without sign or blanks; nothing if the text is not one or it does not fit.
template <class T>
std::optional<T> wholeNumber(std::string_view text) {
  T number = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  return read.ec == std::errc{} && read.ptr == end ? std::optional(number) : std::nullopt;
}

class Taking {
 public:
  Taking(S& settings, std::string_view text, const std::string& home)
      : settings_(settings), text_(text), home_(home) {}

  // A name or a folder may begin with "~": only paths and commands are expanded.
  bool operator()(Text place) const {
    place.at(settings_) = text_ == kNothing ? "" : text_;
    return true;
  }
  // The program may be started from any folder, as a service or from a menu, so a path is made
  // absolute when it is read.
  bool operator()(Path place) const {
    place.at(settings_) = text_ == kNothing ? "" : absolutePath(text_, home_);
    return true;
  }
  bool operator()(Command place) const {
    place.at(settings_) = expandedCommand(text_, home_);
    return true;
  }
  // Port 0 would let the system choose one, which no server listens on.
  bool operator()(Port place) const {
    const auto port = wholeNumber<std::uint16_t>(text_);
    if (!port || *port == 0) {
      return false;
    }
    place.at(settings_) = *port;
    return true;
  }
  // All spellings that people try.
  bool operator()(Flag place) const {
    for (const auto& [name, value] : kFlags) {
      if (equalsAsciiCase(text_, name)) {
        place.at(settings_) = value;
        return true;
      }
    }
    return false;
  }
  // A text that is no number counts as absent, not as a mistake: the limit that protects strangers
  // from a storm of mail must not stop the whole program by a typing error, nor vanish.
  bool operator()(Limit place) const {
    const auto number = wholeNumber<std::size_t>(text_);
    place.at(settings_) = number && *number > 0 ? number : std::nullopt;
    return true;
  }
  template <class T>
  bool operator()(Choice<T> place) const {
    for (const Named<T>& named : namesOf(place)) {
      if (equalsAsciiCase(named.name, text_)) {
        place.at(settings_) = named.value;
        return true;
      }
    }
    return false;
  }

 private:
  static constexpr std::array<std::pair<std::string_view, bool>, 6> kFlags = {
      {{"1", true}, {"0", false}, {"true", true}, {"false", false}, {"yes", true}, {"no", false}}};

  S& settings_;
  std::string_view text_;
  const std::string& home_;
};

}  // namespace

// An online account may give a password instead. What it gives is known only when it is asked, so
// the settings count it among the tokens, and the sign-in follows what comes.
bool givesToken(SecretSource source) {
  return source == SecretSource::kTokenCommand || source == SecretSource::kOnlineAccount;
}

// Without a method none is needed, so it takes none.
bool takesToken(const SignInChoice& method) {
  return method == SignInMethod::kXoauth2 || method == SignInMethod::kOauthBearer;
}

// The order of the rows is also the order of the lines in a new file: the mailbox, the server for
// reading, the way out.
const std::vector<MailSettingKey>& mailSettingKeys() {
  using U = LocalIdentity;
  static const std::vector<MailSettingKey> table = {
      {"store", Choice<MailboxKind>{[](S& s) -> auto& { return s.mailbox; }},
       [](const S&, const U&) -> std::string { return "maildir"; }},
      {"maildir", Path{[](S& s) -> auto& { return s.maildir; }},
       [](const S&, const U& user) { return joinPath(user.homeFolder, "Maildir"); }},
      {"outbox", Path{[](S& s) -> auto& { return s.outbox; }}},
      {"address", Text{[](S& s) -> auto& { return s.address; }},
       [](const S&, const U& user) { return user.userAtHost; }},
      {"name", Text{[](S& s) -> auto& { return s.name; }},
       [](const S&, const U& user) { return user.fullName; }},
      {"address_book", Path{[](S& s) -> auto& { return s.addressBook; }}},
      // Absent in most files: the delivery has a limit of its own.
      {"max_per_hour", Limit{[](S& s) -> auto& { return s.mostPerHour; }}},

      {"imap_host", Text{[](S& s) -> auto& { return s.imap.server.host; }}},
      {"imap_security", Choice<Security>{[](S& s) -> auto& { return s.imap.server.security; }},
       [](const S&, const U&) -> std::string { return "tls"; }},
      {"imap_port", Port{[](S& s) -> auto& { return s.imap.server.port; }},
       [](const S& s, const U&) { return usualPortText(s.imap.server); }},
      // The host once more: who copies a line about encryption from the web does not switch it off
      // by that alone.
      {"imap_unencrypted", Text{[](S& s) -> auto& { return s.imap.unencryptedHost; }}},
      {"imap_ca_file", Path{[](S& s) -> auto& { return s.imap.server.caFile; }}},
      {"imap_user", Text{[](S& s) -> auto& { return s.imap.user; }},
       [](const S& s, const U&) { return s.address; }},
      {"imap_secret", Choice<SecretSource>{[](S& s) -> auto& { return s.imap.secret; }},
       [](const S&, const U&) -> std::string { return "keyring"; }},
      {"imap_secret_command", Command{[](S& s) -> auto& { return s.imap.secretCommand; }}},
      {"imap_secret_name", Text{[](S& s) -> auto& { return s.imap.secretName; }},
       [](const S& s, const U&) { return usualSecretName(s.imap, "relaybird.imap"); }},
      {"imap_sign_in", Choice<SignInChoice>{[](S& s) -> auto& { return s.imap.signIn; }},
       [](const S& s, const U&) { return usualSignIn(s.imap); }},
      {"imap_folder", Text{[](S& s) -> auto& { return s.folder; }},
       [](const S&, const U&) -> std::string { return "INBOX"; }},

      {"sendmail", Command{[](S& s) -> auto& { return s.sendmail; }}},
      {"smtp_host", Text{[](S& s) -> auto& { return s.smtp.server.host; }}},
      {"smtp_security", Choice<Security>{[](S& s) -> auto& { return s.smtp.server.security; }},
       [](const S&, const U&) -> std::string { return "tls"; }},
      {"smtp_port", Port{[](S& s) -> auto& { return s.smtp.server.port; }},
       [](const S& s, const U&) { return usualPortText(s.smtp.server); }},
      {"smtp_unencrypted", Text{[](S& s) -> auto& { return s.smtp.unencryptedHost; }}},
      {"smtp_ca_file", Path{[](S& s) -> auto& { return s.smtp.server.caFile; }},
       [](const S& s, const U&) { return caFileOfSameHost(s); }},
      // At nearly all providers one user name and one password serve for both servers.
      {"smtp_user", Text{[](S& s) -> auto& { return s.smtp.user; }},
       [](const S& s, const U&) { return s.imap.user; }},
      {"smtp_secret", Choice<SecretSource>{[](S& s) -> auto& { return s.smtp.secret; }},
       [](const S&, const U&) -> std::string { return "same"; }},
      {"smtp_secret_command", Command{[](S& s) -> auto& { return s.smtp.secretCommand; }}},
      {"smtp_secret_name", Text{[](S& s) -> auto& { return s.smtp.secretName; }},
       [](const S& s, const U&) { return usualSecretName(s.smtp, "relaybird.smtp"); }},
      {"smtp_sign_in", Choice<SignInChoice>{[](S& s) -> auto& { return s.smtp.signIn; }},
       [](const S& s, const U&) { return usualSignIn(s.smtpSecretOwner()); }},
      {"delivery", Choice<DeliveryKind>{[](S& s) -> auto& { return s.delivery; }}, usualDelivery},
      {"keep_sent_copy", Flag{[](S& s) -> auto& { return s.keepSentCopy; }},
       [](const S&, const U&) -> std::string { return "0"; }},
  };
  return table;
}

bool MailSettingKey::take(MailSettings& settings, std::string_view text,
                          const std::string& home) const {
  return std::visit(Taking(settings, text, home), place_);
}

// The places give access for changes, so a copy is asked.
std::string MailSettingKey::textIn(const MailSettings& settings) const {
  S s = settings;
  return std::visit(
      [&](auto place) -> std::string {
        using P = decltype(place);
        if constexpr (std::is_same_v<P, Port>) {
          return std::to_string(place.at(s));
        } else if constexpr (std::is_same_v<P, Flag>) {
          return place.at(s) ? "1" : "0";
        } else if constexpr (std::is_same_v<P, Limit>) {
          return place.at(s) ? std::to_string(*place.at(s)) : "";
        } else if constexpr (requires { namesOf(place); }) {
          return nameIn(namesOf(place), place.at(s));
        } else {
          return place.at(s);
        }
      },
      place_);
}

std::string MailSettingKey::absent(const MailSettings& settings, const LocalIdentity& user) const {
  return absent_ == nullptr ? std::string() : absent_(settings, user);
}

// Shown behind the value that was refused, so that a person with an editor need not look it up.
std::string MailSettingKey::whatIsAllowed() const {
  return std::visit(
      [](auto which) -> std::string {
        using P = decltype(which);
        if constexpr (std::is_same_v<P, Port>) {
          return "a number from 1 to 65535";
        } else if constexpr (std::is_same_v<P, Flag>) {
          return "1 or 0";
        } else if constexpr (requires { namesOf(which); }) {
          std::string known;
          for (const auto& named : namesOf(which)) {
            known += (known.empty() ? "" : ", ") + std::string(named.name);
          }
          return "one of " + known;
        } else {
          return "a text";
        }
      },
      place_);
}

bool MailSettingKey::mayBeNothing() const {
  return std::holds_alternative<Text>(place_) || std::holds_alternative<Path>(place_);
}

}  // namespace relaybird
