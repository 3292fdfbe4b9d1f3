// SPDX-License-Identifier: MIT
// One table has the keys of the section. Each row says where the value is in the settings, in which
// form the file has it, and what an absent key stands for. A default may depend on keys that come
// earlier in the table: sending by SMTP is the default once there is a server for it. So the rows
// are read from top to bottom, and what depends on several keys is checked at the end.
#include "mail/mail_settings.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <span>
#include <utility>
#include <variant>

#include "platform/paths.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

using S = MailSettings;

// The forwarding settings are cut at 254 characters; a path may be longer (PATH_MAX).
constexpr std::size_t kValueSize = 4096;

// An empty value counts as absent, so "nothing" is written like this where the default is
// something.
constexpr std::string_view kNothing = "-";

// The places of values, by the form that they have in the file.
struct Text {
  std::string& (*at)(S&);
};
struct Path {
  std::string& (*at)(S&);
};
struct Command {
  std::string& (*at)(S&);
};
struct Port {
  std::uint16_t& (*at)(S&);
};
struct Flag {
  bool& (*at)(S&);
};
struct Limit {
  std::optional<std::size_t>& (*at)(S&);
};
template <class T>
struct Choice {
  T& (*at)(S&);
};
using SignInChoice = std::optional<SignInMethod>;
using Place =
    std::variant<Text, Path, Command, Port, Flag, Limit, Choice<MailboxKind>, Choice<DeliveryKind>,
                 Choice<Security>, Choice<SignInChoice>, Choice<SecretSource>>;

template <class T>
struct Named {
  std::string_view name;
  T value;
};

// A default for a key that is absent or empty.
using Default = std::string (*)(const S&, const LocalIdentity&);

std::string none(const S& /*settings*/, const LocalIdentity& /*user*/) {
  return {};
}

struct Row {
  std::string_view key;
  Place place;
  Default absent = none;
};

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

bool givesToken(SecretSource source) {
  return source == SecretSource::kTokenCommand || source == SecretSource::kOnlineAccount;
}

bool takesToken(const SignInChoice& method) {
  return method == SignInMethod::kXoauth2 || method == SignInMethod::kOauthBearer;
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

std::string usualPortText(const MailServer& server) {
  return std::to_string(usualPort(server.protocol, server.security));
}

std::string usualSignIn(const AccountSettings& account) {
  return givesToken(account.secret) ? "xoauth2" : "password";
}

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

const std::vector<Row>& rows() {
  using U = LocalIdentity;
  static const std::vector<Row> table = {
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
      {"max_per_hour", Limit{[](S& s) -> auto& { return s.mostPerHour; }}},

      {"imap_host", Text{[](S& s) -> auto& { return s.imap.server.host; }}},
      {"imap_security", Choice<Security>{[](S& s) -> auto& { return s.imap.server.security; }},
       [](const S&, const U&) -> std::string { return "tls"; }},
      {"imap_port", Port{[](S& s) -> auto& { return s.imap.server.port; }},
       [](const S& s, const U&) { return usualPortText(s.imap.server); }},
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

// A path "~" or "~/..." begins in the home folder, and so does a relative one, so that it does not
// depend on where the program was started.
std::string expandHome(std::string_view text, const std::string& home) {
  if (text == "~") {
    return home;
  }
  const bool below = text.size() > 1 && text.front() == '~' && isSeparator(text[1]);
  return below ? home + std::string(text.substr(1)) : std::string(text);
}

std::string asPath(std::string_view text, const std::string& home) {
  const std::string path = expandHome(text, home);
  return path.empty() ? path : std::string(withoutClosingSeparators(pathFrom(home, path)));
}

// A whole number without sign or blanks; nothing if the text is not one or it does not fit.
template <class T>
std::optional<T> wholeNumber(std::string_view text) {
  T number = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  return read.ec == std::errc{} && read.ptr == end ? std::optional(number) : std::nullopt;
}

// Puts a text from the file into the settings. False: the text is not a value of this kind, and the
// settings are unchanged.
class Taking {
 public:
  Taking(S& settings, std::string_view text, const std::string& home)
      : settings_(settings), text_(text), home_(home) {}

  bool operator()(Text place) const {
    place.at(settings_) = text_ == kNothing ? "" : text_;
    return true;
  }
  bool operator()(Path place) const {
    place.at(settings_) = text_ == kNothing ? "" : asPath(text_, home_);
    return true;
  }
  bool operator()(Command place) const {
    place.at(settings_) = expandHome(text_, home_);
    return true;
  }
  bool operator()(Port place) const {
    const auto port = wholeNumber<std::uint16_t>(text_);
    if (!port || *port == 0) {
      return false;
    }
    place.at(settings_) = *port;
    return true;
  }
  bool operator()(Flag place) const {
    for (const auto& [name, value] : kFlags) {
      if (equalsAsciiCase(text_, name)) {
        place.at(settings_) = value;
        return true;
      }
    }
    return false;
  }
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

// The value in the form of the file. The places give access for changes; nothing is changed here.
std::string textOf(const Row& row, S& s) {
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
      row.place);
}

std::string whatIsAllowed(const Place& place) {
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
      place);
}

std::string valueIn(const ProfileReader& file, std::string_view key) {
  return file.get(kMailSection, key, "", kValueSize);
}

// The checks of one server. `prefix` begins the names of its keys.
class ServerCheck {
 public:
  ServerCheck(const AccountSettings& account, std::string prefix, std::vector<std::string>& errors)
      : account_(account), prefix_(std::move(prefix)), errors_(errors) {}

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

  void checkUser() {
    if (account_.user.empty()) {
      errors_.push_back(key("user") + " is missing: it is the user name at " +
                        account_.server.host + ".");
    }
  }

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

// The reader takes one pair of quotes and the blanks around a value away.
std::string inQuotesIfNeeded(const std::string& text) {
  const auto edge = [](char c) { return isBlank(c) || c == '"' || c == '\''; };
  return !text.empty() && (edge(text.front()) || edge(text.back())) ? '"' + text + '"' : text;
}

// Without this an emptied name would come back as the full name of the login.
std::string asWritten(const Row& row, const std::string& wanted, const std::string& absent) {
  const bool text =
      std::holds_alternative<Text>(row.place) || std::holds_alternative<Path>(row.place);
  return text && wanted.empty() && !absent.empty() ? std::string(kNothing)
                                                   : inQuotesIfNeeded(wanted);
}

}  // namespace

// RFC 8314 for TLS from the beginning, RFC 9051 and RFC 6409 for STARTTLS.
std::uint16_t usualPort(MailProtocol protocol, Security security) {
  const bool imap = protocol == MailProtocol::kImap;
  switch (security) {
    case Security::kTls:
      return imap ? 993 : 465;
    case Security::kStartTls:
      return imap ? 143 : 587;
    case Security::kNone:
      break;
  }
  return imap ? 143 : 25;
}

// Names below localhost never leave the computer either (RFC 6761, 6.3).
bool isLocalHost(std::string_view host) {
  const std::string name = asciiLower(host);
  if (name == "localhost" || name.ends_with(".localhost") || name == "::1") {
    return true;
  }
  // "127.example.org" is a name like any other.
  return name.starts_with("127.") && name.find_first_not_of("0123456789.") == std::string::npos;
}

std::vector<MailSetting> mailSettingTexts(const MailSettings& settings) {
  S s = settings;
  std::vector<MailSetting> texts;
  for (const Row& row : rows()) {
    texts.push_back({row.key, textOf(row, s)});
  }
  return texts;
}

MailSettingsRead readMailSettings(const ProfileReader& file, const LocalIdentity& user) {
  MailSettingsRead result;
  for (const Row& row : rows()) {
    const std::string text = valueIn(file, row.key);
    if (!text.empty() && std::visit(Taking(result.settings, text, user.homeFolder), row.place)) {
      continue;
    }
    if (!text.empty()) {
      result.errors.push_back(std::string(row.key) + "=" + text + " is not known; it has to be " +
                              whatIsAllowed(row.place) + ".");
    }
    const std::string fallback = row.absent(result.settings, user);
    std::visit(Taking(result.settings, fallback, user.homeFolder), row.place);
  }
  for (std::string& error : mailSettingsErrors(result.settings)) {
    result.errors.push_back(std::move(error));
  }
  return result;
}

bool namesMailbox(const ProfileReader& file) {
  for (const std::string_view key : {"store", "maildir", "imap_host", "sendmail", "smtp_host"}) {
    if (!valueIn(file, key).empty()) {
      return true;
    }
  }
  return false;
}

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

bool writeMailSettings(const ProfileReader& before, ProfileWriter& file,
                       const MailSettings& settings, const LocalIdentity& user) {
  S given = settings;
  for (const Row& row : rows()) {
    const std::string wanted = textOf(row, given);
    // Both are compared as they are read, so that "~/Mail" and its whole path are the same.
    S asRead = settings;
    std::visit(Taking(asRead, wanted, user.homeFolder), row.place);
    S other = settings;
    const std::string old = valueIn(before, row.key);
    // An absent key stands for its default, and stays absent while that is what is wanted.
    const std::string absent = row.absent(settings, user);
    const std::string& stands = old.empty() ? absent : old;
    const bool known = std::visit(Taking(other, stands, user.homeFolder), row.place);
    if (known && textOf(row, other) == textOf(row, asRead)) {
      continue;
    }
    if (!file.set(kMailSection, row.key, asWritten(row, wanted, absent))) {
      return false;
    }
  }
  return true;
}

}  // namespace relaybird
