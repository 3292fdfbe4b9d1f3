// SPDX-License-Identifier: MIT
// What has to be in place before the first message can be checked. Boxes come up inside these
// calls, and events run while a box waits: nothing that was read before a box may be used after it.
#include "ui/forms/main/forwarding_steps.h"

#include "ui/forms/settings/address_check.h"

namespace relaybird {

ForwardingSteps::ForwardingSteps(const ProgramWorld& world, ActivityLog& log, clsPref& prf,
                                 ForwardingEngine& engine)
    : world_(world), log_(log), prf_(prf), engine_(engine) {}

void ForwardingSteps::say(const std::string& text, const std::string& title, BoxIcon icon) {
  world_.dialogs.messageBox({text, title, BoxButtons::kOk, icon});
}

void ForwardingSteps::logLine(const std::string& text) {
  log_.AddToLog(world_.clock.toText(world_.clock.now()) + "--> " + text);
}

// Objects of an application that has ended fail for good, so they are dropped first.
bool ForwardingSteps::openSession(bool getInbox, bool getSync, bool showStatus) {
  MailSession& session = engine_.session();
  session.dropIfGone();
  if (session.ResetOlkObj(getInbox, getSync, showStatus) >= kSessionReady) {
    return true;
  }
  engine_.status().SetStatusLabel("Error activating Outlook");
  if (!session.storeWords().empty()) {
    logLine(session.storeWords());
  }
  say(session.errorText(), "Error", BoxIcon::kCritical);
  return false;
}

bool ForwardingSteps::checkVersion() {
  if (isApplicationNewEnough()) {
    return true;
  }
  say("Can not continue.  You must have Outlook version 2002 or later.", "Problem",
      BoxIcon::kCritical);
  return false;
}

// An application that cannot report its version is treated like one that is too old.
bool ForwardingSteps::isApplicationNewEnough() {
  try {
    return CheckOlkVer(engine_.session().application()->Version());
  } catch (const MailStoreError& error) {
    logLine(error.what());
    return false;
  }
}

// An empty answer counts as Cancel: the input box cannot distinguish the two.
int ForwardingSteps::GetValidEmail(std::string& address) {
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

bool ForwardingSteps::addressesListed(int count, std::string_view dialogName) {
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

// Mail must only go to addresses that the user has seen: when they change while the question is
// open, it is asked again.
bool ForwardingSteps::userConfirms(std::string question, bool once) {
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

}  // namespace relaybird
