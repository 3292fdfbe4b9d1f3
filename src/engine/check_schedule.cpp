// SPDX-License-Identifier: MIT
// Two timers drive the schedule: tmrMinute counts down to the next check, tmrSync watches a running
// synchronisation. Checks never overlap: one that finds another check or a synchronisation running
// is refused and logged, not queued. Many calls here let events run (every status text does), so
// the state is read again after them, and what may open a box comes last.
#include "engine/check_schedule.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

#include "engine/inbox_pass.h"
#include "platform/text/number_text.h"

namespace relaybird {
namespace {

constexpr std::chrono::milliseconds kMinute{60000};
constexpr std::chrono::milliseconds kSyncWatch{10000};
// How long a synchronisation may take before its check runs without it.
constexpr std::chrono::seconds kSyncGivenUpAfter{900};

}  // namespace

CheckSchedule::CheckSchedule(const EngineWorld& world, EngineState& state, StatusDisplay& status,
                             MailSession& session, InboxPass& pass)
    : world_(world),
      state_(state),
      status_(status),
      session_(session),
      pass_(pass),
      tmrMinute_(world.timers.makeTimer(kMinute, [this] { tmrMinuteTick(); })),
      tmrSync_(world.timers.makeTimer(kMinute, [this] { tmrSyncTick(); })) {}

void CheckSchedule::startCountdown() {
  checkDropped_ = false;
  resetMinutesLeft();
  tmrMinute_->setEnabled(true);
}

void CheckSchedule::stopCountdown() {
  tmrMinute_->setEnabled(false);
  checkDropped_ = state_.syncBusy || state_.syncStarting;
}
// The check of a synchronisation that still runs is dropped at its end, in checkAfterSync().

void CheckSchedule::resetMinutesLeft() {
  // A number of minutes that does not fit waits as long as possible. It must never turn into a
  // short wait.
  const auto minutes = toInt32(roundHalfEven(world_.prefs.GetMinLeft()));
  state_.minutesLeft =
      std::max(minutes.value_or(std::numeric_limits<std::int32_t>::max()), kFewestMinutes);
  showMinutesLeft();
}

void CheckSchedule::showMinutesLeft() {
  world_.display.txtMinToNextFwd(std::to_string(state_.minutesLeft));
}

void CheckSchedule::tmrMinuteTick() {
  if (state_.minutesLeft > 0) {
    --state_.minutesLeft;
    showMinutesLeft();
  }
  // While anything else runs, the count stays at 0: the check comes with the first minute after it.
  const bool syncs = state_.syncBusy || state_.syncStarting;
  if (state_.minutesLeft == 0 && !state_.m_bBusyFwd && !state_.passRunning && !syncs) {
    ForwardTrigger();
    // The user may have switched off during the check.
    if (tmrMinute_->enabled()) {
      resetMinutesLeft();
    }
  }
}

// All refusals end a test cycle, which waits for exactly this check.
void CheckSchedule::ForwardTrigger() {
  if (state_.ending) {
    return;
  }
  world_.trace.trace("ForwardTrigger Entered");
  const auto refuse = [this](const char* why) {
    world_.log.AddToLog(world_.clock.toText(world_.clock.now()) + "-->" + why);
    pass_.endTestCycle();
  };
  if (state_.m_bBusyFwd || state_.passRunning) {
    refuse("Could not check emails because still busy from previous check");
  } else if (state_.syncBusy || state_.syncStarting) {
    refuse("Could not check emails because currently busy synchronizing inbox");
  } else if (!session_.IsOutlookOpen()) {
    // The application does not answer. A synchronisation starts it and fetches mail; the pass
    // follows at its end.
    session_.dropIfGone();
    SyncStart();
  } else {
    pass_.ForwardMail();
  }
}

void CheckSchedule::SyncStart(bool sendSync) {
  // The pass at the end of an inbox synchronisation has sent something. That synchronisation still
  // counts as running, so this one starts after it.
  if (insideSyncEnd_ && sendSync) {
    sendSyncWaits_ = true;
    return;
  }
  world_.trace.trace("SyncStart Entered");
  if (!openForSync(sendSync)) {
    return;
  }
  state_.syncStartTime = world_.clock.now();
  state_.syncBusy = true;
  state_.sendSync = state_.sendSync || sendSync;
  checkDropped_ = false;
  tmrSync_->setInterval(kSyncWatch);
  tmrSync_->setEnabled(true);
  // Held here too, because events may release the session.
  const std::shared_ptr<SyncObject> sync = session_.syncObject();
  status_.showSynchronizing();
  try {
    // The status text has let events run.
    if (!state_.ending) {
      sync->Start();
    }
  } catch (const MailStoreError& error) {
    const bool forwards = std::exchange(state_.sendSync, false);
    state_.syncBusy = false;
    tmrSync_->setEnabled(false);
    // An application that still answers is kept: the next check runs its pass at once.
    session_.dropIfGone();
    status_.SetStatusToPreset();
    // Last, because the status line lets events run and the end of a test cycle opens a box.
    failSync(forwards, error.what(), {});
  }
}

// False: there is nothing to synchronise, which has been logged. To open the session can take as
// long as a server lets wait, and the user may switch off meanwhile.
bool CheckSchedule::openForSync(bool sendSync) {
  // The send synchronisation of a pass is not what the user stops.
  const bool forCheck = !sendSync && !state_.passRunning;
  if (forCheck) {
    state_.syncStarting = true;
    state_.stopPass = false;
    checkDropped_ = false;
  }
  const bool opened = session_.ResetOlkObj(true, true, false) >= kSessionReady;
  if (forCheck) {
    state_.syncStarting = false;
    state_.stopPass = false;
  }
  if (forCheck && checkDropped_) {
    status_.SetStatusToPreset();
    dropCheck();
    return false;
  }
  if (!opened) {
    failSync(sendSync, session_.errorText(), session_.storeWords());
  }
  return opened;
}

// A failed send synchronisation raises no alert: its check has done its work.
void CheckSchedule::failSync(bool sendSync, const std::string& text,
                             const std::string& storeWords) {
  const std::string now = world_.clock.toText(world_.clock.now());
  world_.log.AddToLog(now + "--> Inbox Sync failed: " + text);
  if (!storeWords.empty()) {
    world_.log.AddToLog(now + "--> " + storeWords);
  }
  if (!sendSync) {
    world_.alerts.checkFailed(storeWords.empty() ? text : storeWords);
  }
  pass_.endTestCycle();
}

void CheckSchedule::m_sync_SyncEnd() {
  world_.trace.trace(std::string("SyncEnd Entered (busy=") + (state_.syncBusy ? "true" : "false") +
                     ")");
  if (insideSyncEnd_) {
    // The end of another synchronisation, started by the user. The pass after the first one still
    // runs, and the flag is cleared at its end.
    pass_.ForwardMail();
    return;
  }
  if (!state_.syncBusy) {
    world_.trace.trace("m_sync_SyncEnd - Busy is false so exit");
    tmrSync_->setEnabled(false);
    state_.sendSync = false;
    pass_.endTestCycle();
    return;
  }
  tmrSync_->setEnabled(false);
  if (state_.sendSync) {
    world_.trace.trace("m_sync_SyncEnd-WasBusySendSync-NowReset+Exit");
    state_.sendSync = false;
    state_.syncBusy = false;
    pass_.endTestCycle();
    return;
  }
  finishInboxSync();
}

void CheckSchedule::finishInboxSync() {
  insideSyncEnd_ = true;
  checkAfterSync();
  insideSyncEnd_ = false;
  state_.syncBusy = false;
  if (sendSyncWaits_) {
    sendSyncWaits_ = false;
    SyncStart(true);
  }
}

void CheckSchedule::checkAfterSync() {
  if (state_.ending) {
    return;
  }
  if (checkDropped_) {
    dropCheck();
  } else {
    pass_.ForwardMail();
  }
}

void CheckSchedule::dropCheck() {
  world_.log.AddToLog(world_.clock.toText(world_.clock.now()) +
                      "--> Email check dropped: forwarding was switched off");
  pass_.endTestCycle();
}

// Otherwise every check would be refused until the synchronisation is given up.
void CheckSchedule::sessionReleased() {
  if (!state_.syncBusy || insideSyncEnd_) {
    return;
  }
  tmrSync_->setEnabled(false);
  state_.syncBusy = false;
  state_.sendSync = false;
  world_.log.AddToLog(world_.clock.toText(world_.clock.now()) +
                      "--> Synchronization ended early: the mailbox was closed or its connection "
                      "lost");
  pass_.endTestCycle();
}

// Notices only a synchronisation whose end is never reported.
void CheckSchedule::tmrSyncTick() {
  world_.trace.trace("TmrSync Entered");
  if (world_.clock.now() - state_.syncStartTime >= kSyncGivenUpAfter) {
    giveUpSync();
  }
}

void CheckSchedule::giveUpSync() {
  state_.syncBusy = false;
  tmrSync_->setEnabled(false);
  const std::string now = world_.clock.toText(world_.clock.now());
  // The check of a send synchronisation is over already, so nothing follows.
  if (state_.sendSync) {
    world_.log.AddToLog(now + "--> Send/receive synchronization timed out.");
    world_.trace.trace("TmrSync timed out for a send sync");
    state_.sendSync = false;
    return;
  }
  world_.log.AddToLog(now + "--> Inbox synchronization timed out.");
  world_.trace.trace("TmrSync timed out for an inbox sync");
  world_.trace.trace("TmrSync To Trigger Fwd now");
  // What has arrived so far is forwarded even if the synchronisation never ended.
  checkAfterSync();
}

}  // namespace relaybird
