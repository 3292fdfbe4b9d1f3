// SPDX-License-Identifier: MIT
// Switching on goes through steps, each of which may open a box and let events run: open the
// session, ask for an address, store the settings, confirm the addresses. Flags are therefore read
// again behind each of them.
#include "ui/forms/main/forwarding_switch.h"

#include <chrono>

namespace relaybird {

namespace {

// How often a start that waits looks whether the pass has ended.
constexpr std::chrono::milliseconds kStartLook{200};

// Results of the preference object at or below this have been shown to the user already.
constexpr int kToldAlready = -100;

}  // namespace

ForwardingSwitch::ForwardingSwitch(MainControls& window, const ProgramWorld& world,
                                   ActivityLog& log, clsPref& prf, ForwardingEngine& engine,
                                   ForwardingSteps& steps, Attention& attention, OutboxMenu& outbox)
    : window_(window),
      world_(world),
      log_(log),
      prf_(prf),
      engine_(engine),
      steps_(steps),
      attention_(attention),
      outbox_(outbox),
      startTimer_(world.timers.makeTimer(kStartLook, [this] { startTimerTick(); })) {}

// Every step may open a box, and the user may end the program while it waits: `ending` is checked
// before forwarding is switched on.
void ForwardingSwitch::start(bool bAutoStart) {
  world_.trace.trace("StartForwarding Entered");
  if (state().m_bBusyFwd) {
    return;
  }
  if (state().passRunning || state().syncStarting) {
    startLater();
    return;
  }
  startTimer_->setEnabled(false);  // this call replaces a start that waits
  if (!bAutoStart) {
    world_.outgoing.userAsks();
  }
  const bool session = openSession();
  if (!session && !bAutoStart) {
    onNoSession_();
  }
  const bool ready = session && askForAddress() && storeSettings() && confirmAddresses(bAutoStart);
  if (ready && !state().ending) {
    switchOn(bAutoStart);
  } else {
    engine_.status().SetStatusToPreset();
  }
}

// A pass on the stack without the busy flag is one that was stopped.
void ForwardingSwitch::startLater() {
  startTimer_->setEnabled(true);
  engine_.status().SetStatusLabel("Forwarding will be started when the running check has ended...");
}

// A start that waited asks questions: it must not come up over another window or a test.
void ForwardingSwitch::startTimerTick() {
  if (state().forwardingOn || state().ending) {
    startTimer_->setEnabled(false);
    return;
  }
  const bool free = !state().passRunning && !state().syncStarting && !state().m_bBusyFwd &&
                    window_.cmdForwardNow.enabled();
  if (free && window_.modal() == nullptr) {
    startTimer_->setEnabled(false);
    start(false);
  }
}

// The busy flag keeps the minute timer from starting a check while the session is being opened:
// status texts and boxes let events run.
bool ForwardingSwitch::openSession() {
  const BusyMark busy(state());
  return steps_.openSession(true, false, true) && steps_.checkVersion();
}

bool ForwardingSwitch::askForAddress() {
  std::string address = prf_.GetForwardAddress();
  if (!address.empty()) {
    return true;
  }
  if (steps_.GetValidEmail(address) < 0) {
    return false;
  }
  settings_->txtAddress.setText(address);
  return true;
}

// The settings are stored and read back even if nothing was edited: what forwarding uses is then
// exactly what is on disk.
bool ForwardingSwitch::storeSettings() {
  const bool stored =
      judge(prf_.FormToClass()) && judge(prf_.WriteTofile()) && judge(prf_.ReadIniPref());
  if (stored) {
    prf_.UpdateEmailAddrOnMainForm();
  }
  return stored;
}

// Shows the error of a preference operation, unless the operation itself has shown it.
bool ForwardingSwitch::judge(int result) {
  if (result < 0 && result > kToldAlready) {
    world_.dialogs.messageBox({"Error occured:\r\n" + prf_.mstrErrDesc});
  }
  return result >= 0;
}

bool ForwardingSwitch::confirmAddresses(bool bAutoStart) {
  std::string question;
  if (!steps_.addressesListed(prf_.GetFwdConfirmMessage(question), "Settings")) {
    return false;
  }
  return bAutoStart || steps_.userConfirms(question, false);
}

// The activation time decides which messages count as existing, so it is set before any check can
// begin. The count of forwards starts at zero, as the text that the engine reads.
void ForwardingSwitch::switchOn(bool bAutoStart) {
  engine_.pass().ResetIgnoreList();
  attention_.startAnew();
  state().activationTime = world_.clock.now();
  const std::string since = world_.clock.toText(state().activationTime);
  log_.AddToLog("--- Forwarding turned ON at " + since + " ---");
  outbox_.showAndLog();
  state().forwardingOn = true;
  world_.outgoing.forwardingSwitched(true);
  window_.txtRunningSince.setText(since);
  showRunning(true);
  engine_.schedule().startCountdown();
  window_.txtNumberForwarded.setText("0");
  if (prf_.bolFwdOnActivateForwarding() && !bAutoStart) {
    checkAtOnce();
  } else {
    engine_.status().SetStatusToPreset();
  }
}

// A refused check does not touch the status line, so the former text would stay there.
void ForwardingSwitch::checkAtOnce() {
  const DateTime lastPass = state().passStartTime;
  const bool synchronizing = state().syncBusy;
  engine_.schedule().ForwardTrigger();
  if (synchronizing) {
    engine_.status().showSynchronizing();
  } else if (!state().syncBusy && state().passStartTime == lastPass) {
    engine_.status().SetStatusToPreset();
  }
}

void ForwardingSwitch::showRunning(bool running) {
  window_.cmdStop.setEnabled(running);
  window_.cmdStart.setEnabled(!running);
  window_.cmdForwardNow.setEnabled(!running && !state().testCycle);
  window_.mnuStop.setEnabled(running);
  window_.mnuStart.setEnabled(!running);
  window_.txtStatus.setText(running ? "Running" : "Stopped");
  window_.txtStatus.setBackColor(running ? kRunningGreen : kStoppedRed);
  const Colour counters = running ? kLightGreen : kButtonFace;
  window_.txtMinToNextFwd.setBackColor(counters);
  window_.txtNumberForwarded.setBackColor(counters);
}

// The busy flag is cleared at once: a pass that is on the stack without it is a stopped one, and
// ends after its current item.
void ForwardingSwitch::stop() {
  // The trace names the starting routine. Readers of traces know these lines; they stay.
  world_.trace.trace("StartForwarding Entered before busy check");
  state().m_bBusyFwd = false;
  world_.trace.trace("StartForwarding Entered after busy check");
  engine_.pass().stopAfterItem();
  startTimer_->setEnabled(false);
  state().forwardingOn = false;
  world_.outgoing.forwardingSwitched(false);
  window_.txtRunningSince.setText("-");
  engine_.schedule().stopCountdown();
  showRunning(false);
  engine_.status().ResetMinUntilCheckText();
  // The time is that of switching on, or of the last test cycle.
  log_.AddToLog("--- Forwarding turned OFF at " + world_.clock.toText(state().activationTime) +
                " ---");
  engine_.status().SetStatusToPreset();
}

}  // namespace relaybird
