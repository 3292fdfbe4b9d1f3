// SPDX-License-Identifier: MIT
// Section "mail" of the preference file is read and written by the table of its keys
// (mail_setting_keys.h). A line is written only where its meaning changes: users keep their own
// spelling, and a default may change with a later release.
#include "mail/mail_settings.h"

#include <cstdint>

#include "mail/mail_setting_keys.h"
#include "mail/mail_settings_check.h"
#include "platform/paths.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

// The forwarding settings are cut at 254 characters; a path may be longer (PATH_MAX).
constexpr std::size_t kValueSize = 4096;

std::string valueIn(const ProfileReader& file, std::string_view key) {
  return file.get(kMailSection, key, "", kValueSize);
}

// The reader takes one pair of quotes and the blanks around a value away.
std::string inQuotesIfNeeded(const std::string& text) {
  const auto edge = [](char c) { return isBlank(c) || c == '"' || c == '\''; };
  return !text.empty() && (edge(text.front()) || edge(text.back())) ? '"' + text + '"' : text;
}

// Without this an emptied name would come back as the full name of the login.
std::string asWritten(const MailSettingKey& key, const std::string& wanted,
                      const std::string& absent) {
  return key.mayBeNothing() && wanted.empty() && !absent.empty() ? std::string(kNothing)
                                                                 : inQuotesIfNeeded(wanted);
}

}  // namespace

// A path "~" or "~/..." begins in the home folder, and so does a relative one, so that it does not
// depend on where the program was started.
std::string expandedCommand(std::string_view text, const std::string& home) {
  if (text == "~") {
    return home;
  }
  const bool below = text.size() > 1 && text.front() == '~' && isSeparator(text[1]);
  return below ? home + std::string(text.substr(1)) : std::string(text);
}

std::string absolutePath(std::string_view text, const std::string& home) {
  const std::string path = expandedCommand(text, home);
  return path.empty() ? path : std::string(withoutClosingSeparators(pathFrom(home, path)));
}

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

std::string accountName(const AccountSettings& account) {
  const MailServer& server = account.server;
  const std::string port = isLocalHost(server.host) ? ':' + std::to_string(server.port) : "";
  return asciiLower(account.user) + '@' + asciiLower(server.host) + port;
}

// Texts, so that two settings can be compared key by key without a comparison for each type.
std::vector<MailSetting> mailSettingTexts(const MailSettings& settings) {
  std::vector<MailSetting> texts;
  for (const MailSettingKey& key : mailSettingKeys()) {
    texts.push_back({key.name(), key.textIn(settings)});
  }
  return texts;
}

// A value that is not understood gets the default, and an error with it: the dialog can show
// something then, and the program knows not to open a mailbox by a guess.
MailSettingsRead readMailSettings(const ProfileReader& file, const LocalIdentity& user) {
  MailSettingsRead result;
  for (const MailSettingKey& key : mailSettingKeys()) {
    const std::string text = valueIn(file, key.name());
    if (!text.empty() && key.take(result.settings, text, user.homeFolder)) {
      continue;
    }
    if (!text.empty()) {
      result.errors.push_back(std::string(key.name()) + "=" + text +
                              " is not known; it has to be " + key.whatIsAllowed() + ".");
    }
    key.take(result.settings, key.absent(result.settings, user), user.homeFolder);
  }
  for (std::string& error : mailSettingsErrors(result.settings)) {
    result.errors.push_back(std::move(error));
  }
  return result;
}

// A name or an address alone makes no mailbox.
bool namesMailbox(const ProfileReader& file) {
  for (const std::string_view key : {"store", "maildir", "imap_host", "sendmail", "smtp_host"}) {
    if (!valueIn(file, key).empty()) {
      return true;
    }
  }
  return false;
}

bool writeMailSettings(const ProfileReader& before, ProfileWriter& file,
                       const MailSettings& settings, const LocalIdentity& user) {
  for (const MailSettingKey& key : mailSettingKeys()) {
    const std::string wanted = key.textIn(settings);
    // Both are compared as they are read, so that "~/Mail" and its whole path are the same.
    MailSettings asRead = settings;
    key.take(asRead, wanted, user.homeFolder);
    MailSettings other = settings;
    const std::string old = valueIn(before, key.name());
    // An absent key stands for its default, and stays absent while that is what is wanted.
    const std::string absent = key.absent(settings, user);
    const bool known = key.take(other, old.empty() ? absent : old, user.homeFolder);
    if (known && key.textIn(other) == key.textIn(asRead)) {
      continue;
    }
    if (!file.set(kMailSection, key.name(), asWritten(key, wanted, absent))) {
      return false;
    }
  }
  return true;
}

}  // namespace relaybird
