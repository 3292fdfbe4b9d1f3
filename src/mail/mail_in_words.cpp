// SPDX-License-Identifier: MIT
#include "mail/mail_in_words.h"

#include "platform/paths.h"

namespace relaybird {

namespace {

std::string serverText(const MailServer& server) {
  const char* const encryption = server.security == Security::kTls        ? "TLS"
                                 : server.security == Security::kStartTls ? "STARTTLS"
                                                                          : "no encryption";
  return server.host + ", port " + std::to_string(server.port) + " (" + encryption + ")";
}

}  // namespace

std::string shownPath(const std::string& path, std::string_view home) {
  // A service may have the root folder as its home; "~" would then hide which folder is meant.
  if (home.size() <= 1 || !path.starts_with(home) ||
      (path.size() > home.size() && !isSeparator(path[home.size()]))) {
    return path;
  }
  return "~" + path.substr(home.size());
}

// The host is named, not the provider: the user sees where the mail really comes from.
std::string watchedText(const MailSettings& settings, std::string_view home) {
  if (settings.mailbox == MailboxKind::kMaildir) {
    return "Watches the Maildir " + shownPath(settings.maildir, home) + ".";
  }
  const std::string folder =
      settings.folder == "INBOX" ? "the inbox" : "the folder " + settings.folder;
  return "Watches " + folder + " of " + settings.address + " at " + settings.imap.server.host + ".";
}

// Without a full stop, as numbers may follow.
std::string deliveryText(const MailSettings& settings, std::string_view home) {
  switch (settings.delivery) {
    case DeliveryKind::kSmtp:
      return "Forwards leave by " + settings.smtp.server.host;
    case DeliveryKind::kSendmail:
      return "Forwards leave by the command " + shownPath(settings.sendmail, home);
    case DeliveryKind::kNone:
      break;
  }
  return "Forwards stay in the outbox on this computer";
}

// Shown before anything is sent to anybody, so port and encryption belong to it.
std::string serversText(const MailSettings& settings, std::string_view home) {
  std::string reading = "Mail is read from the Maildir " + shownPath(settings.maildir, home);
  if (settings.mailbox == MailboxKind::kAccount) {
    reading = settings.imap.server.host.empty()
                  ? "The server for reading mail is not known yet: enter it under Servers"
                  : "Mail is read from " + serverText(settings.imap.server);
  } else if (settings.maildir.empty()) {
    reading = "The folder of the Maildir is not known yet: enter it under Your Mail";
  }
  std::string sending = "forwards stay in the outbox on this computer";
  if (settings.delivery == DeliveryKind::kSmtp) {
    sending = settings.smtp.server.host.empty()
                  ? "the server for sending is not known yet: enter it under Sending"
                  : "forwards leave by " + serverText(settings.smtp.server);
  } else if (settings.delivery == DeliveryKind::kSendmail) {
    sending = "forwards leave by the command " + shownPath(settings.sendmail, home);
  }
  return reading + "; " + sending + ".";
}

}  // namespace relaybird
