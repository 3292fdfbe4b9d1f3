// SPDX-License-Identifier: MIT
#include "ui/forms/main/mailbox_line.h"

#include <algorithm>
#include <vector>

#include "ui/forms/main/outbox_menu.h"
#include "ui/forms/setup/mail_setup.h"

namespace relaybird {

std::string watchedText(const MailSettings& settings) {
  if (settings.mailbox == MailboxKind::kMaildir) {
    return "Watches the Maildir " + settings.maildir + ".";
  }
  const std::string folder =
      settings.folder == "INBOX" ? "the inbox" : "the folder " + settings.folder;
  return "Watches " + folder + " of " + settings.address + " at " + settings.imap.server.host + ".";
}

std::string deliveryText(const MailSettings& settings) {
  switch (settings.delivery) {
    case DeliveryKind::kSmtp:
      return "Forwards leave by " + settings.smtp.server.host;
    case DeliveryKind::kSendmail:
      return "Forwards leave by the command " + settings.sendmail;
    case DeliveryKind::kNone:
      break;
  }
  return "Forwards stay in the outbox on this computer";
}

MailboxLine::MailboxLine(MainControls& window, const ProgramWorld& world, clsPref& prf)
    : window_(window), world_(world), prf_(prf) {}

// A Maildir in the usual place is watched even if nobody has set it up.
void MailboxLine::read() {
  const auto file = world_.profiles.read(prf_.GetPrefIniFname());
  const MailSettingsRead read = readMailSettings(*file, world_.setup.user());
  const std::vector<std::string> found = world_.setup.foundMaildirs();
  noMailbox_ = !namesMailbox(*file) &&
               std::find(found.begin(), found.end(), read.settings.maildir) == found.end();
  watched_ = noMailbox_ ? "No mailbox yet." : watchedText(read.settings);
  delivery_ = deliveryText(read.settings);
  const std::string closed = world_.setup.whyClosed();
  mistaken_ = !read.errors.empty() || !closed.empty();
  if (!read.errors.empty()) {
    watched_ = "The mail settings have a mistake: " + read.errors.front();
  } else if (!closed.empty()) {
    watched_ = closed;
  }
  since_ = world_.clock.toText(world_.clock.now());
  show();
}

void MailboxLine::show() {
  if (watched_.empty()) {
    return;  // not read yet
  }
  std::string text = watched_;
  if (!noMailbox_ && !mistaken_) {
    text += " " + delivery_;
    const OutgoingState state = world_.outgoing.state();
    if (!state.outbox.empty()) {
      const std::size_t waiting = world_.outgoing.waiting();
      text += ": " + std::to_string(waiting) + (waiting == 1 ? " waits, " : " wait, ") +
              std::to_string(state.left) + (state.left == 1 ? " has" : " have") + " left since " +
              since_;
    }
    text += ".";
  }
  if (window_.lblMailbox.text() != text) {
    window_.lblMailbox.setText(text);
  }
  window_.cmdSetUpMail.setVisible(noMailbox_ || mistaken_);
}

}  // namespace relaybird
