// SPDX-License-Identifier: MIT
// The mail settings as sentences for the user. A path in the home folder begins with "~", as people
// write it; all sentences take the home folder for that.
#pragma once

#include <string>
#include <string_view>

#include "mail/mail_settings.h"

namespace relaybird {

/// "~/Maildir" for a path in the home folder; any other text, a command for example, as it is. The
/// settings read the result as the same path again.
std::string shownPath(const std::string& path, std::string_view home);

/// "Watches the inbox of ann@example.org at imap.example.org."
std::string watchedText(const MailSettings& settings, std::string_view home);
/// "Forwards leave by smtp.example.org"
std::string deliveryText(const MailSettings& settings, std::string_view home);
/// Both with the servers as they will be asked, or what is missing: "Mail is read from
/// imap.example.org, port 993 (TLS); forwards leave by ..."
std::string serversText(const MailSettings& settings, std::string_view home);

}  // namespace relaybird
