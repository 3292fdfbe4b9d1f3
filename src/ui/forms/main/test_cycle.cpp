// SPDX-License-Identifier: MIT
// The test cycle works in two halves. run() asks the user, checks what switching on checks, and
// starts one check through the scheduler. checkEnded() comes from the engine, at once or after a
// synchronisation; the result is then shown from a timer, as soon as nothing is being sent.
#include "ui/forms/main/test_cycle.h"

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "ui/forms/main/frm_relaybird.h"
#include "ui/forms/settings/frm_prefs.h"

namespace relaybird {
namespace {

// Misspelt since the first release; users search their logs for it.
constexpr std::string_view kStepPrefix = "cmdFordardNow-->";

// How often the timer looks whether the forwards of a test have been sent.
constexpr std::chrono::milliseconds kSentLook{500};

constexpr const char* kExplanation =
    "This will run through one cycle of checking/forwarding your inbox messages.  Running through "
    "this cycle is a good way to check for possible problems (especially with your Outlook "
    "configuration) .  As the checking cycle proceeds, and your inbox messages are checked, you "
    "will see the red status message on the main Relaybird dialog box change.  You will receive a "
    "message box telling you when the checking cycle is done.  If you don't receive any error "
    "messages before that then no problems were found.\r\n\r\nClick on OK to continue with the "
    "test and CANCEL to not run the test";

// The text of the closing box. It reports success only when no mail was refused or held back and
// none is still on this computer.
std::string resultText(const EngineState& state, const OutgoingState& before,
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
    text += outcomeOf(before, after, waiting) + "\r\n\r\n";
  }
  const std::vector<std::string> holds = holdReasons(after);
  if (!holds.empty()) {
    text += joinSentences(holds) + "\r\n\r\n";
  }
  if (!state.lastPassCompleted || state.failedThisPass > 0 || hasProblem(before, after)) {
    return text + "There was a problem; please see the log.";
  }
  return text +
         (waiting > 0 ? "Not all of it has left this computer yet." : "No problems were found.");
}

}  // namespace

// Surrounds a step with two lines in the verbose log, so that a step that hangs can be seen there.
template <class Step>
auto TestCycle::bracketed(std::string_view name, Step step) {
  const std::string line = std::string(kStepPrefix) + std::string(name);
  log_.AddToLogV(line + "_pre");
  auto result = step();
  log_.AddToLogV(line + "_post");
  return result;
}

TestCycle::TestCycle(frmRelaybird& window, const ProgramWorld& world, ActivityLog& log,
                     ForwardingSteps& steps, OutboxMenu& outbox)
    : window_(window),
      world_(world),
      log_(log),
      prf_(window.prf()),
      engine_(window.engine()),
      steps_(steps),
      outbox_(outbox),
      sentTimer_(world.timers.makeTimer(kSentLook, [this] { tellResultOnceSent(); })) {}

// The button is disabled first, because the boxes that follow let events run and a second click
// must not start a second test.
bool TestCycle::run() {
  log_.AddToLogV("CmdForwardNow Entered");
  window_.cmdForwardNow.setEnabled(false);
  if (!isAllowed()) {
    window_.cmdForwardNow.setEnabled(!state().forwardingOn);
    return false;
  }
  runCheck();
  return true;
}

// The conditions are checked before the explanation, so that nobody reads it in vain.
bool TestCycle::isAllowed() {
  if (state().forwardingOn) {
    steps_.say(
        "Email forwarding is currently activated.  Please click the 'Stop' button to deactivate to "
        "turn off automatic forwarding before running this test",
        "Can not Continue", BoxIcon::kExclamation);
    return false;
  }
  if (result_) {
    steps_.say(
        "The forwards of the last test are still being sent.  You will receive its message box "
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
  return isPrepared() && opensSession();
}

// A test looks at all unread mail again, so the ignore list is emptied. Its activation time makes
// the rule about existing messages work as in a real start.
bool TestCycle::isPrepared() {
  state().activationTime = world_.clock.now();
  bracketed("ResetIgnoreList", [this] {
    engine_.pass().ResetIgnoreList();
    return true;
  });
  return hasAddress() && isConfirmed();
}

// An address that is typed here goes into the settings dialog and no further: a test stores
// nothing.
bool TestCycle::hasAddress() {
  std::string address = bracketed("GetForwardAddress", [this] { return prf_.GetForwardAddress(); });
  if (!address.empty()) {
    return true;
  }
  if (bracketed("GetValidEmail", [&] { return steps_.GetValidEmail(address); }) < 0) {
    bracketed("SetStatusToPreset", [this] {
      engine_.status().SetStatusToPreset();
      return true;
    });
    return false;
  }
  bracketed("frmPrefs.txtAddress", [&] {
    window_.settings().txtAddress.setText(address);
    return true;
  });
  return true;
}

bool TestCycle::isConfirmed() {
  std::string question;
  const int count = bracketed("prf.GetFwdConfirmMessage",
                              [&] { return prf_.GetFwdConfirmMessage(question, true); });
  if (steps_.addressesListed(count, "preferences") && steps_.userConfirms(question, true)) {
    return true;
  }
  engine_.status().SetStatusToPreset();
  if (count == 0) {
    showTypedAddress();
  }
  return false;
}

// The test stores nothing. The box has just sent the user to the settings: they open with the
// address that was typed, so that OK is all that is left to do.
void TestCycle::showTypedAddress() {
  const std::string typed = window_.settings().txtAddress.text();
  window_.openSettingsAt(kGeneralTab);
  window_.settings().txtAddress.setText(typed);
}

// The inbox is left to the check itself; here only the application and its version are tried.
bool TestCycle::opensSession() {
  log_.AddToLogV(std::string(kStepPrefix) + "m_bBusyFwd");
  if (state().m_bBusyFwd || state().passRunning) {
    steps_.say("A check is still under way.  Please run the test when it has ended.",
               "Can not Continue", BoxIcon::kExclamation);
    return false;
  }
  const BusyMark busy(state());
  world_.outgoing.userAsks();
  const bool opens = bracketed("ResetOlkObj(False, False, True)",
                               [this] { return steps_.openSession(false, false, true); }) &&
                     bracketed("CheckOlkVer", [this] { return steps_.checkVersion(); });
  if (!opens) {
    engine_.status().SetStatusToPreset();
    window_.offerSetup();
  }
  return opens;
}

// The check may first wait for a synchronisation: the engine then calls checkEnded() later.
void TestCycle::runCheck() {
  state().itemsVisited = 0;
  state().forwardedThisPass = 0;
  state().failedThisPass = 0;
  state().lastPassCompleted = false;
  before_ = world_.outgoing.state();
  outbox_.showAndLog();
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

// The state is copied: the next check would overwrite its counts while this test still waits for
// its forwards to be sent.
void TestCycle::checkEnded() {
  window_.cmdForwardNow.setEnabled(!state().forwardingOn);
  result_ = state();
  // Posted, because the check that ends here is still on the stack.
  world_.events.post([this, alive = std::weak_ptr(alive_)] {
    if (!alive.expired()) {
      tellResultOnceSent();
    }
  });
}

// The forwards of the check can be counted only after the synchronisation that sends them.
void TestCycle::tellResultOnceSent() {
  const bool sending = state().syncBusy && result_ && result_->forwardedThisPass > 0;
  sentTimer_->setEnabled(sending && !state().ending);
  if (!result_ || sentTimer_->enabled()) {
    return;
  }
  const EngineState check = *std::exchange(result_, std::nullopt);
  const std::string text =
      resultText(check, before_, world_.outgoing.state(), world_.outgoing.waiting());
  outbox_.show();
  steps_.say(text, "Test Complete", BoxIcon::kNone);
}

}  // namespace relaybird
