// SPDX-License-Identifier: MIT
// The sentences about unsent mail, and the Outbox menu of the main window. A try to send again ends
// in a callback of the store, which may come after the window is gone: the callback therefore holds
// a weak pointer and does nothing then.
#include "ui/forms/main/outbox_menu.h"

namespace relaybird {

std::string counted(std::size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

// A state without an outbox folder is that of a store without an outbox: nothing can wait there.
std::vector<std::string> holdReasons(const OutgoingState& state) {
  if (state.outbox.empty()) {
    return {};
  }
  std::vector<std::string> sentences;
  if (!state.delivers) {
    sentences.push_back("No delivery command is set: forwards wait in the outbox " + state.outbox +
                        ".");
  }
  for (const std::string& address : state.stopped) {
    sentences.push_back("Forwarding to " + address +
                        " is stopped, because too much has left for it within an hour; it goes on "
                        "when you choose Try Again Now.");
  }
  if (state.kept > 0) {
    sentences.push_back(counted(state.kept, "message was", "messages were") +
                        " refused for now and kept for a later try.");
  }
  return sentences;
}

bool hasProblem(const OutgoingState& before, const OutgoingState& after) {
  return after.refused > before.refused || after.kept > 0 || !after.stopped.empty();
}

std::string joinSentences(const std::vector<std::string>& sentences) {
  std::string text;
  for (const std::string& sentence : sentences) {
    text += (text.empty() ? "" : " ") + sentence;
  }
  return text;
}

std::string outcomeOf(const OutgoingState& before, const OutgoingState& after,
                      std::size_t waiting) {
  const std::size_t refused = after.refused - before.refused;
  std::string text = counted(after.left - before.left, "message has left", "messages have left") +
                     " this computer, ";
  if (refused > 0) {
    text += counted(refused, "was", "were") + " refused for good, ";
  }
  if (waiting == 0) {
    return text + "and none waits.";
  }
  return text + "and " + counted(waiting, "waits", "wait") + " in the outbox " + after.outbox + ".";
}

OutboxMenu::OutboxMenu(MainControls& window, const ProgramWorld& world, ActivityLog& log,
                       Attention& attention)
    : window_(window), world_(world), log_(log), attention_(attention) {
  window_.mnuTryAgain.onClick([this] { tryAgain(); });
  window_.mnuOpenWaiting.onClick([this] { openFolder(world_.outgoing.state().waitingFolder); });
  window_.mnuOpenRefused.onClick([this] { openFolder(world_.outgoing.state().refusedFolder); });
  window_.mnuOutbox.setVisible(!world_.outgoing.state().outbox.empty());
}

void OutboxMenu::showText(const std::string& text) {
  window_.lblOutbox.setText(text);
  window_.lblOutbox.setVisible(!text.empty());
  onShow_();
}

void OutboxMenu::show() {
  showText(joinSentences(holdReasons(world_.outgoing.state())));
}

// Called at every start and every test, so that a long log mentions it more than once.
void OutboxMenu::showAndLog() {
  const OutgoingState state = world_.outgoing.state();
  const std::vector<std::string> sentences = holdReasons(state);
  for (const std::string& sentence : sentences) {
    logLine(sentence);
  }
  if (!state.stopped.empty()) {
    attention_.addressStopped(joinSentences(sentences));
  }
  show();
}

void OutboxMenu::logLine(const std::string& text) {
  log_.AddToLog(world_.clock.toText(world_.clock.now()) + "--> " + text);
}

void OutboxMenu::showError(const std::string& text) {
  world_.dialogs.messageBox({text, "Error", BoxButtons::kOk, BoxIcon::kExclamation});
}

// The entry stays disabled until the store calls back, so that two tries never overlap. Stopped
// addresses are released even if nothing waits for them.
void OutboxMenu::tryAgain() {
  const OutgoingState before = world_.outgoing.state();
  const std::size_t waiting = world_.outgoing.waiting();
  if (!before.delivers || (waiting == 0 && before.stopped.empty())) {
    const std::string text =
        before.delivers ? "Nothing waits in the outbox." : joinSentences(holdReasons(before));
    logLine(text);
    showText(text);
    return;
  }
  window_.mnuTryAgain.setEnabled(false);
  logLine("Trying again now: " + counted(waiting, "message waits", "messages wait") +
          " in the outbox.");
  attention_.addressesGoOn();
  try {
    world_.outgoing.tryAgain([this, before, alive = std::weak_ptr(alive_)] {
      if (!alive.expired()) {
        triedAgain(before);
      }
    });
  } catch (const MailStoreError& error) {
    window_.mnuTryAgain.setEnabled(true);
    logLine(error.what());
    showError(error.what());
  }
}

void OutboxMenu::triedAgain(const OutgoingState& before) {
  window_.mnuTryAgain.setEnabled(true);
  logLine("Tried again: " + outcomeOf(before, world_.outgoing.state(), world_.outgoing.waiting()));
  show();
}

// Reports a missing folder itself, because a file manager may fail silently.
void OutboxMenu::openFolder(const std::string& folder) {
  const auto found = world_.files.inspect(folder);
  const Result<void> shown = found ? world_.folderViewer.show(folder) : Result<void>(found.error());
  if (!shown) {
    showError("Could not open the folder " + folder + ":\r\n" + shown.error().text);
  }
}

}  // namespace relaybird
