// SPDX-License-Identifier: MIT
// The test cycle: one check while forwarding is off, every step of it in the verbose log.
#include <optional>
#include <utility>

#include "ui/forms/main/busy_mark.h"
#include "ui/forms/main/frm_relaybird.h"
#include "ui/forms/main/outgoing_words.h"
#include "ui/forms/settings/frm_prefs.h"

namespace relaybird {
namespace {

// Misspelt from the first release on; people search their logs for it.
constexpr std::string_view kStepPrefix = "cmdFordardNow-->";

constexpr const char* kExplanation =
    "This will run through one cycle of checking/forwarding your inbox messages.  Running through "
    "this cycle is a good way to check for possible problems (especially with your Outlook "
    "configuration) .  As the checking cycle proceeds, and your inbox messages are checked, you "
    "will see the red status message on the main Relaybird dialog box change.  You will receive a "
    "message box telling you when the checking cycle is done.  If you don't receive any error "
    "messages before that then no problems were found.\r\n\r\nClick on OK to continue with the "
    "test and CANCEL to not run the test";

// What the closing box of a test cycle says. Everything is well only when nothing was refused or
// kept back and nothing is still on this computer.
std::string outcomeText(const EngineState& state, const OutgoingState& before,
                        const OutgoingState& after, std::size_t waiting) {
  std::string text = "The checking cycle is done: " +
                     counted(static_cast<std::size_t>(state.itemsVisited),
                             "unread message was looked at", "unread messages were looked at") +
                     " and " +
                     counted(static_cast<std::size_t>(state.forwardedThisPass), "was forwarded.",
                             "were forwarded.") +
                     "\r\n\r\n";
  if (after.outbox.empty()) {
    waiting = 0;
  }
  if (!after.outbox.empty()) {
    text += whatBecame(before, after, waiting) + "\r\n\r\n";
  }
  const std::vector<std::string> holds = whatHoldsBack(after);
  if (!holds.empty()) {
    text += asOneText(holds) + "\r\n\r\n";
  }
  if (!state.lastPassCompleted || state.failedThisPass > 0 || hasProblem(before, after)) {
    return text + "There was a problem; please see the log.";
  }
  return text +
         (waiting > 0 ? "Not all of it has left this computer yet." : "No problems were found.");
}

}  // namespace

template <class Step>
auto frmRelaybird::bracketed(std::string_view name, Step step) {
  const std::string line = std::string(kStepPrefix) + std::string(name);
  log_.AddToLogV(line + "_pre");
  auto result = step();
  log_.AddToLogV(line + "_post");
  return result;
}

bool frmRelaybird::testCycle() {
  log_.AddToLogV("CmdForwardNow Entered");
  cmdForwardNow.setEnabled(false);
  if (!mayTest()) {
    cmdForwardNow.setEnabled(!state().forwardingOn);
    return false;
  }
  runTestCheck();
  return true;
}

bool frmRelaybird::mayTest() {
  if (state().forwardingOn) {
    say("Email forwarding is currently activated.  Please click the 'Stop' button to deactivate to "
        "turn off automatic forwarding before running this test",
        "Can not Continue", BoxIcon::kExclamation);
    return false;
  }
  if (testReport_) {
    say("The forwards of the last test are still being sent.  You will receive its message box "
        "when that is done.  Please run the next test after that.",
        "Can not Continue", BoxIcon::kExclamation);
    return false;
  }
  if (world_.dialogs.messageBox({kExplanation, "Test Explanation:", BoxButtons::kOkCancel}) !=
      BoxAnswer::kOk) {
    log_.AddToLogV("CmdForwardNow Cancelled");
    engine_.status().SetStatusToPreset();
    return false;
  }
  return testPrepared() && testSessionOpens();
}

bool frmRelaybird::testPrepared() {
  state().activationTime = world_.clock.now();
  bracketed("ResetIgnoreList", [this] {
    engine_.pass().ResetIgnoreList();
    return true;
  });
  return testAddressKnown() && testConfirmed();
}

bool frmRelaybird::testAddressKnown() {
  std::string address = bracketed("GetForwardAddress", [this] { return prf_.GetForwardAddress(); });
  if (!address.empty()) {
    return true;
  }
  if (bracketed("GetValidEmail", [&] { return GetValidEmail(address); }) < 0) {
    bracketed("SetStatusToPreset", [this] {
      engine_.status().SetStatusToPreset();
      return true;
    });
    return false;
  }
  bracketed("frmPrefs.txtAddress", [&] {
    forms_->settings.txtAddress.setText(address);
    return true;
  });
  return true;
}

bool frmRelaybird::testConfirmed() {
  std::string question;
  const int count = bracketed("prf.GetFwdConfirmMessage",
                              [&] { return prf_.GetFwdConfirmMessage(question, true); });
  if (addressesListed(count, "preferences") && userConfirms(question, true)) {
    return true;
  }
  engine_.status().SetStatusToPreset();
  if (count == 0) {
    showTypedAddress();
  }
  return false;
}

// The test stores nothing. The box has asked for an address in the settings, where the one that
// was typed needs but an OK.
void frmRelaybird::showTypedAddress() {
  const std::string typed = forms_->settings.txtAddress.text();
  openSettingsAt(kGeneralTab);
  forms_->settings.txtAddress.setText(typed);
}

bool frmRelaybird::testSessionOpens() {
  log_.AddToLogV(std::string(kStepPrefix) + "m_bBusyFwd");
  if (state().m_bBusyFwd || state().passRunning) {
    say("A check is still under way.  Please run the test when it has ended.", "Can not Continue",
        BoxIcon::kExclamation);
    return false;
  }
  const BusyMark busy(state());
  const bool opens = bracketed("ResetOlkObj(False, False, True)",
                               [this] { return openSessionWith(false, false, true); }) &&
                     bracketed("CheckOlkVer", [this] { return checkVersion(); });
  if (!opens) {
    engine_.status().SetStatusToPreset();
  }
  return opens;
}

// The check may first have to wait for a synchronisation; the engine says when it is over.
void frmRelaybird::runTestCheck() {
  state().itemsVisited = 0;
  state().forwardedThisPass = 0;
  state().failedThisPass = 0;
  state().lastPassCompleted = false;
  beforeTest_ = world_.outgoing.state();
  logOutbox();
  state().testCycle = true;
  bracketed("ForwardTrigger", [this] {
    engine_.schedule().ForwardTrigger();
    return true;
  });
  if (!state().testCycle) {
    state().m_bBusyFwd = false;
    engine_.status().SetStatusToPreset();
  }
}

void frmRelaybird::testOver() {
  cmdForwardNow.setEnabled(!state().forwardingOn);
  testReport_ = state();
  // Told from the event queue: the check that this ends is still on the stack.
  world_.events.post([this, window = std::weak_ptr(alive_)] {
    if (!window.expired()) {
      tellOutcomeOnceSent();
    }
  });
}

// What the check has forwarded is counted once it has been sent, or the sending has been given up.
void frmRelaybird::tellOutcomeOnceSent() {
  const bool sending = state().syncBusy && testReport_ && testReport_->forwardedThisPass > 0;
  tmrTestReport_->setEnabled(sending && !state().ending);
  if (!testReport_ || tmrTestReport_->enabled()) {
    return;
  }
  const EngineState report = *std::exchange(testReport_, std::nullopt);
  const std::string outcome =
      outcomeText(report, beforeTest_, world_.outgoing.state(), world_.outgoing.waiting());
  showOutbox();
  say(outcome, "Test Complete", BoxIcon::kNone);
}

}  // namespace relaybird
