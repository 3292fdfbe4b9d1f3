// SPDX-License-Identifier: MIT
// What the main window tells of mail that has not left this computer, and what its user can do
// about it.
#include <memory>
#include <utility>

#include "ui/forms/main/frm_relaybird.h"
#include "ui/forms/main/outgoing_words.h"

namespace relaybird {

void frmRelaybird::wireOutbox() {
  mnuTryAgain.onClick([this] { tryAgain(); });
  mnuOpenWaiting.onClick([this] { openFolder(world_.outgoing.state().waitingFolder); });
  mnuOpenRefused.onClick([this] { openFolder(world_.outgoing.state().refusedFolder); });
  mnuOutbox.setVisible(!world_.outgoing.state().outbox.empty());
}

void frmRelaybird::showOutbox(const std::string& words) {
  lblOutbox.setText(words);
  lblOutbox.setVisible(!words.empty());
}

void frmRelaybird::showOutbox() {
  showOutbox(asOneText(whatHoldsBack(world_.outgoing.state())));
}

// At every start and test, so that a log of any length tells it somewhere above.
void frmRelaybird::logOutbox() {
  const OutgoingState state = world_.outgoing.state();
  const std::vector<std::string> sentences = whatHoldsBack(state);
  for (const std::string& sentence : sentences) {
    logLine(sentence);
  }
  if (!state.stopped.empty()) {
    attention_.addressStopped(asOneText(sentences));
  }
  showOutbox();
}

void frmRelaybird::logLine(const std::string& words) {
  log_.AddToLog(nowText() + "--> " + words);
}

void frmRelaybird::tryAgain() {
  const OutgoingState before = world_.outgoing.state();
  const std::size_t waiting = world_.outgoing.waiting();
  if (!before.delivers || (waiting == 0 && before.stopped.empty())) {
    const std::string words =
        before.delivers ? "Nothing waits in the outbox." : asOneText(whatHoldsBack(before));
    logLine(words);
    showOutbox(words);
    return;
  }
  mnuTryAgain.setEnabled(false);
  logLine("Trying again now: " + counted(waiting, "message waits", "messages wait") +
          " in the outbox.");
  attention_.addressesGoOn();
  try {
    world_.outgoing.tryAgain([this, before, window = std::weak_ptr(alive_)] {
      if (!window.expired()) {
        triedAgain(before);
      }
    });
  } catch (const MailStoreError& error) {
    mnuTryAgain.setEnabled(true);
    logLine(error.what());
    say(error.what(), "Error", BoxIcon::kExclamation);
  }
}

void frmRelaybird::triedAgain(const OutgoingState& before) {
  mnuTryAgain.setEnabled(true);
  logLine("Tried again: " + whatBecame(before, world_.outgoing.state(), world_.outgoing.waiting()));
  showOutbox();
}

void frmRelaybird::openFolder(const std::string& folder) {
  const auto there = world_.files.inspect(folder);
  const Result<void> shown = there ? world_.folderViewer.show(folder) : Result<void>(there.error());
  if (!shown) {
    say("Could not open the folder " + folder + ":\r\n" + shown.error().text, "Error",
        BoxIcon::kExclamation);
  }
}

}  // namespace relaybird
