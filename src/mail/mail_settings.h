// SPDX-License-Identifier: MIT
// The user's mailbox and the way that forwards leave, from section "mail" of the preference file.
// Every key is optional. Passwords and tokens are never in the file; it only says where they are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mail/store_world.h"
#include "platform/profile/profile_strings.h"
#include "platform/system/network.h"

namespace relaybird {

enum class MailboxKind {
  kMaildir,  ///< a folder on this computer
  kAccount,  ///< an account at a provider, over IMAP
};

/// How forwards leave this computer.
enum class DeliveryKind {
  kNone,      ///< they stay in the outbox
  kSendmail,  ///< by a command that takes a message on its standard input
  kSmtp,      ///< to a server
};

/// Where a password or an access token comes from.
enum class SecretSource {
  kKeyring,        ///< the desktop's keyring keeps the password
  kCommand,        ///< a command prints the password
  kTokenCommand,   ///< a command prints an OAuth 2 access token
  kCredential,     ///< a file in $CREDENTIALS_DIRECTORY, where the service manager puts it
  kOnlineAccount,  ///< the desktop's online accounts give out an access token
  kSameAsImap,     ///< for SMTP alone: the secret of the IMAP server
};

/// A server, and how the user signs in there.
struct AccountSettings {
  MailServer server;  ///< without a host: not set up
  /// The host once more, if Security::kNone is meant for one that is not on this computer.
  std::string unencryptedHost;
  std::string user;
  /// Nothing: without signing in, which only SMTP allows.
  std::optional<SignInMethod> signIn = SignInMethod::kPassword;
  SecretSource secret = SecretSource::kKeyring;
  std::string secretCommand;  ///< for the two commands; "~/" at its beginning is expanded
  std::string secretName;     ///< the name of the credential, or of the online account
};

/// Paths are absolute, without a closing separator.
struct MailSettings {
  MailSettings() { smtp.server.protocol = MailProtocol::kSmtp; }

  MailboxKind mailbox = MailboxKind::kMaildir;
  std::string maildir;  ///< the inbox: a folder with new/ and cur/
  /// The Maildir in which forwards wait for delivery, made when it is missing; empty: one of the
  /// mailbox's own in the state folder.
  std::string outbox;
  std::string address;      ///< the user's own address, which forwards come from
  std::string name;         ///< the user's own name; may be empty
  std::string addressBook;  ///< a vCard file that names of recipients are looked up in, or empty
  /// How many messages may leave for one address within an hour; nothing: the delivery's default.
  std::optional<std::size_t> mostPerHour;
  AccountSettings imap;
  std::string folder = "INBOX";  ///< the account's folder that is watched, as people write it
  DeliveryKind delivery = DeliveryKind::kNone;
  std::string sendmail;  ///< the command of DeliveryKind::kSendmail
  AccountSettings smtp;
  bool keepSentCopy = false;  ///< a copy of each forward goes into the account's Sent folder

  /// The settings whose secret the SMTP server gets: those of the IMAP server for kSameAsImap.
  const AccountSettings& smtpSecretOwner() const {
    return smtp.secret == SecretSource::kSameAsImap ? imap : smtp;
  }
};

/// A path as the user writes it: "~", or one that is relative to the home folder, without closing
/// separators. Empty stays empty.
std::string absolutePath(std::string_view text, const std::string& home);
/// A command as the user writes it; "~/" at its beginning is the home folder.
std::string expandedCommand(std::string_view text, const std::string& home);

/// The port that such servers have by default (RFC 8314).
std::uint16_t usualPort(MailProtocol protocol, Security security);

/// Whether a connection to this host does not leave the computer, by its name: "localhost",
/// "*.localhost", 127.0.0.0/8, ::1.
bool isLocalHost(std::string_view host);

/// "user@host", the same for every way of writing it. An account stays the same when its server is
/// reached through another port. On this computer several bridges may serve the same user, each
/// through a port of its own, so there the port belongs to the name.
std::string accountName(const AccountSettings& account);

/// A key of the section and its value as a text.
struct MailSetting {
  std::string_view key;
  std::string text;
};
/// All keys with their values, in the order of writing.
std::vector<MailSetting> mailSettingTexts(const MailSettings& settings);

struct MailSettingsRead {
  MailSettings settings;
  /// A sentence for the user for each value that is not one of its key, and for what is missing or
  /// contradicts; such a key has its default in `settings`. A mailbox must not be opened with any.
  std::vector<std::string> errors;
};

/// Reads the section. A key with an empty value counts as absent: the user has cleared the line.
/// The value "-" of a text or a path is nothing, also where the default is something. max_per_hour
/// that is no number counts as absent too, so that a typing error does not switch the limit off.
/// Any thread.
MailSettingsRead readMailSettings(const ProfileReader& file, const LocalIdentity& user);

/// Whether the section names a mailbox or a way out at all; if not, nobody has set up mail yet.
bool namesMailbox(const ProfileReader& file);

/// Sets the keys whose values differ from those in `before`, the file as it is; other lines keep
/// their spelling, and a default is not written where the key is absent. A path or command may
/// begin with
/// "~/". False if `file` refuses a value. Does not commit.
bool writeMailSettings(const ProfileReader& before, ProfileWriter& file,
                       const MailSettings& settings, const LocalIdentity& user);

}  // namespace relaybird
