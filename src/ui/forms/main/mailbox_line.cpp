// SPDX-License-Identifier: MIT
#include "ui/forms/main/mailbox_line.h"

#include <algorithm>
#include <vector>

#include "mail/mail_in_words.h"
#include "ui/forms/main/outbox_menu.h"
#include "ui/forms/setup/mail_setup.h"

namespace relaybird {

MailboxLine::MailboxLine(MainControls& window, const ProgramWorld& world, clsPref& prf)
    : window_(window), world_(world), prf_(prf) {}

void MailboxLine::read() {
  since_ = world_.clock.toText(world_.clock.now());
  const std::string program = world_.setup.givenMailbox();
  given_ = !program.empty();
  if (given_) {
    const std::string closed = world_.setup.whyClosed();
    mistaken_ = !closed.empty();
    watched_ = mistaken_ ? closed : "Watches the inbox of " + program + ".";
    delivery_ = "Forwards leave by " + program;
    noMailbox_ = false;
  } else {
    readSettings();
  }
  show();
}

// A Maildir in the usual place is watched even if nobody has set it up.
void MailboxLine::readSettings() {
  const auto file = world_.profiles.read(prf_.GetPrefIniFname());
  const LocalIdentity user = world_.setup.user();
  const MailSettingsRead read = readMailSettings(*file, user);
  const std::vector<std::string> found = world_.setup.foundMaildirs();
  noMailbox_ = !namesMailbox(*file) &&
               std::find(found.begin(), found.end(), read.settings.maildir) == found.end();
  watched_ = noMailbox_ ? "No mailbox yet." : watchedText(read.settings, user.homeFolder);
  delivery_ = deliveryText(read.settings, user.homeFolder);
  const std::string closed = world_.setup.whyClosed();
  mistaken_ = !read.errors.empty() || !closed.empty();
  if (!read.errors.empty()) {
    watched_ = "The mail settings have a mistake: " + read.errors.front();
  } else if (!closed.empty()) {
    watched_ = closed;
  }
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
      const std::size_t waiting = world_.outgoing.recentlyWaiting();
      text += ": " + std::to_string(waiting) + (waiting == 1 ? " waits, " : " wait, ") +
              std::to_string(state.left) + (state.left == 1 ? " has" : " have") + " left since " +
              since_;
    }
    text += ".";
  }
  if (window_.lblMailbox.text() != text) {
    window_.lblMailbox.setText(text);
  }
  window_.cmdSetUpMail.setVisible(!given_ && (noMailbox_ || mistaken_));
  window_.mnuSetUpMail.setVisible(!given_);
  // Where forwards would wait is of no use to somebody who has no mail yet.
  if (noMailbox_) {
    window_.lblOutbox.setVisible(false);
  }
}

}  // namespace relaybird
