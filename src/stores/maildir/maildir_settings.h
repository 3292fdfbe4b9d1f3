// SPDX-License-Identifier: MIT
// The Maildir store's settings, from section "mail" of the preference file.
#pragma once

#include <string>

#include "stores/mailbox/mailbox_settings.h"

namespace relaybird {

struct MaildirSettings : MailboxSettings {
  std::string maildir;   ///< the inbox: a folder with new/ and cur/
  std::string sendmail;  ///< a command that takes a message for delivery; empty: nothing leaves
};

/// The shared keys (mailbox_settings.h), and two more, both optional:
///   maildir   default ~/Maildir
///   sendmail  default none: forwards stay in the outbox; "~/" at its beginning is expanded
MaildirSettings readMaildirSettings(const ProfileReader& file, const LocalIdentity& user,
                                    const std::string& stateFolder);

}  // namespace relaybird
