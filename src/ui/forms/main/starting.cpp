// SPDX-License-Identifier: MIT
// Switching forwarding on and off.
#include "ui/forms/main/busy_mark.h"
#include "ui/forms/main/frm_relaybird.h"
#include "ui/forms/settings/email_address.h"
#include "ui/forms/settings/frm_prefs.h"

namespace relaybird {
namespace {

// Results of the preference object from here down have been told to the user already.
constexpr int kToldAlready = -100;

}  // namespace

void frmRelaybird::StartForwarding(bool bAutoStart) {
  world_.trace.trace("StartForwarding Entered");
  if (state().m_bBusyFwd) {
    return;
  }
  if (state().passRunning) {
    startLater();
    return;
  }
  startTimer_->setEnabled(false);  // a start that waited is this one
  const bool ready =
      openSession() && askForAddress() && storeSettings() && confirmAddresses(bAutoStart);
  if (ready && !state().ending) {
    switchOn(bAutoStart);
  } else {
    engine_.status().SetStatusToPreset();
  }
}

// Only a pass that was stopped runs without the busy flag.
void frmRelaybird::startLater() {
  startTimer_->setEnabled(true);
  engine_.status().SetStatusLabel("Forwarding will be started when the running check has ended...");
}

// Neither over another window or a test, nor after one that has begun in the meantime.
void frmRelaybird::startTimerTick() {
  if (state().forwardingOn || state().ending) {
    startTimer_->setEnabled(false);
    return;
  }
  const bool free = !state().passRunning && !state().m_bBusyFwd && cmdForwardNow.enabled();
  if (free && modal() == nullptr) {
    startTimer_->setEnabled(false);
    StartForwarding();
  }
}

bool frmRelaybird::openSession() {
  const BusyMark busy(state());
  return openSessionWith(true, false, true) && checkVersion();
}

bool frmRelaybird::openSessionWith(bool getInbox, bool getSync, bool showStatus) {
  MailSession& session = engine_.session();
  session.dropIfGone();
  if (session.ResetOlkObj(getInbox, getSync, showStatus) >= kSessionReady) {
    return true;
  }
  engine_.status().SetStatusLabel("Error activating Outlook");
  if (!session.storeWords().empty()) {
    log_.AddToLog(nowText() + "--> " + session.storeWords());
  }
  say(session.errorText(), "Error", BoxIcon::kCritical);
  return false;
}

bool frmRelaybird::checkVersion() {
  if (checkApplication()) {
    return true;
  }
  say("Can not continue.  You must have Outlook version 2002 or later.", "Problem",
      BoxIcon::kCritical);
  return false;
}

bool frmRelaybird::checkApplication() {
  try {
    return CheckOlkVer(engine_.session().application()->Version());
  } catch (const MailStoreError& error) {
    log_.AddToLog(nowText() + "--> " + error.what());
    return false;
  }
}

bool frmRelaybird::askForAddress() {
  std::string address = prf_.GetForwardAddress();
  if (!address.empty()) {
    return true;
  }
  if (GetValidEmail(address) < 0) {
    return false;
  }
  forms_->settings.txtAddress.setText(address);
  return true;
}

bool frmRelaybird::storeSettings() {
  const bool stored =
      judge(prf_.FormToClass()) && judge(prf_.WriteTofile()) && judge(prf_.ReadIniPref());
  if (stored) {
    prf_.UpdateEmailAddrOnMainForm();
  }
  return stored;
}

bool frmRelaybird::judge(int result) {
  if (result < 0 && result > kToldAlready) {
    world_.dialogs.messageBox({"Error occured:\r\n" + prf_.mstrErrDesc});
  }
  return result >= 0;
}

bool frmRelaybird::confirmAddresses(bool bAutoStart) {
  std::string question;
  if (!addressesListed(prf_.GetFwdConfirmMessage(question), "Settings")) {
    return false;
  }
  return bAutoStart || userConfirms(question, false);
}

// Asks again when the addresses have become others while the question stood there.
bool frmRelaybird::userConfirms(std::string question, bool once) {
  std::string asked;
  do {
    asked = question;
    if (world_.dialogs.messageBox({asked, "Please Confirm:", BoxButtons::kYesNo}) !=
        BoxAnswer::kYes) {
      return false;
    }
    prf_.GetFwdConfirmMessage(question, once);
  } while (question != asked);
  return true;
}

bool frmRelaybird::addressesListed(int count, std::string_view dialogName) {
  if (count < 0) {
    world_.dialogs.messageBox(
        {"Error Encountered in generating confirm statement for address confirmation before "
         "starting forwarding."});
  } else if (count == 0) {
    say("No valid Email addresses listed for forwarding.  In the " + std::string(dialogName) +
            " dialog box please enter at least one valid email address to forward your messages "
            "to.",
        "Problem", BoxIcon::kCritical);
  }
  return count > 0;
}

void frmRelaybird::switchOn(bool bAutoStart) {
  engine_.pass().ResetIgnoreList();
  attention_.startAnew();
  state().activationTime = world_.clock.now();
  const std::string since = world_.clock.toText(state().activationTime);
  log_.AddToLog("--- Forwarding turned ON at " + since + " ---");
  logOutbox();
  state().forwardingOn = true;
  txtRunningSince.setText(since);
  showRunning(true);
  engine_.schedule().startCountdown();
  txtNumberForwarded.setText("0");
  if (prf_.bolFwdOnActivateForwarding() && !bAutoStart) {
    checkAtOnce();
  } else {
    engine_.status().SetStatusToPreset();
  }
}

// A check that was refused leaves the status line with what stood there before.
void frmRelaybird::checkAtOnce() {
  const DateTime lastPass = state().passStartTime;
  const bool synchronizing = state().syncBusy;
  engine_.schedule().ForwardTrigger();
  if (synchronizing) {
    engine_.status().showSynchronizing();
  } else if (!state().syncBusy && state().passStartTime == lastPass) {
    engine_.status().SetStatusToPreset();
  }
}

void frmRelaybird::showRunning(bool running) {
  cmdStop.setEnabled(running);
  cmdStart.setEnabled(!running);
  cmdForwardNow.setEnabled(!running && !state().testCycle);
  mnuStop.setEnabled(running);
  mnuStart.setEnabled(!running);
  txtStatus.setText(running ? "Running" : "Stopped");
  txtStatus.setBackColor(running ? kRunningGreen : kStoppedRed);
  const Colour counters = running ? kLightGreen : kButtonFace;
  txtMinToNextFwd.setBackColor(counters);
  txtNumberForwarded.setBackColor(counters);
}

void frmRelaybird::StopForwarding() {
  // The trace names the starting routine; whoever reads traces knows the lines so.
  world_.trace.trace("StartForwarding Entered before busy check");
  state().m_bBusyFwd = false;
  world_.trace.trace("StartForwarding Entered after busy check");
  engine_.pass().stopAfterItem();
  startTimer_->setEnabled(false);
  state().forwardingOn = false;
  txtRunningSince.setText("-");
  engine_.schedule().stopCountdown();
  showRunning(false);
  engine_.status().ResetMinUntilCheckText();
  // The time is that of switching on, or of the last test cycle.
  log_.AddToLog("--- Forwarding turned OFF at " + world_.clock.toText(state().activationTime) +
                " ---");
  engine_.status().SetStatusToPreset();
}

int frmRelaybird::GetValidEmail(std::string& address) {
  while (!bolCheckEmailAddress(log_, address)) {
    const std::string prompt =
        address.empty()
            ? "You don't seem to have a valid Email address set in the preferences for your mail "
              "to be forwarded to.  Please enter a valid forwarding Email address:"
            : address +
                  " is not a valid Email address.   Please enter a valid Email address to "
                  "continue,  or press cancel";
    address = world_.dialogs.inputBox({prompt, "Invalid Email Address", address});
    if (address.empty()) {
      return -1;
    }
  }
  return 1;
}

}  // namespace relaybird
