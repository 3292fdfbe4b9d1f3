// SPDX-License-Identifier: MIT
// When a check runs, and the send/receive around it: a minute timer counts down to the next check;
// a check runs its pass at once while the mail application is open, and starts a synchronisation
// first while it is not; a pass that sent something is followed by a synchronisation that sends. A
// synchronisation without an end is given up after fifteen minutes.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "engine/engine_world.h"
#include "engine/mail_session.h"
#include "engine/status_display.h"
#include "platform/clock.h"
#include "platform/event_queue.h"
#include "prefs/cls_pref.h"

namespace relaybird {

class InboxPass;

class CheckSchedule {
 public:
  /// All must outlive it.
  CheckSchedule(const EngineWorld& world, EngineState& state, StatusDisplay& status,
                MailSession& session, InboxPass& pass);

  /// Asks for a check now. Refused and logged while a pass or a synchronisation runs.
  void ForwardTrigger();
  /// Starts a synchronisation; `sendSync` says that its purpose is to send the forwards of a pass.
  /// A failure is logged.
  void SyncStart(bool sendSync = false);
  /// Handles the end of a synchronisation, ours or the user's.
  void m_sync_SyncEnd();
  /// The session has dropped its objects: the end of a synchronisation that runs is not reported
  /// any more.
  void sessionReleased();

  /// Sets the minutes to the next check from the preferences, shows them and starts counting. A
  /// check that stopCountdown() dropped takes place after all if its synchronisation still runs.
  void startCountdown();
  /// Stops counting, and drops a check that waits for its synchronisation. The caller
  /// updates the field.
  void stopCountdown();

  const Timer& tmrMinute() const { return *tmrMinute_; }
  const Timer& tmrSync() const { return *tmrSync_; }

 private:
  void tmrMinuteTick();
  void tmrSyncTick();
  void resetMinutesLeft();
  void showMinutesLeft();
  void finishInboxSync();
  void checkAfterSync();
  bool openForSync(bool sendSync);
  void dropCheck();
  void giveUpSync();
  void failSync(bool sendSync, const std::string& text, const std::string& storeWords);

  EngineWorld world_;
  EngineState& state_;
  StatusDisplay& status_;
  MailSession& session_;
  InboxPass& pass_;
  /// While the end of an inbox synchronisation is being handled, its flag is still set; a send
  /// synchronisation asked for by the pass then waits until the flag is cleared.
  bool insideSyncEnd_ = false;
  bool sendSyncWaits_ = false;
  /// The user has switched off since the running synchronisation was started for a check.
  bool checkDropped_ = false;
  std::unique_ptr<Timer> tmrMinute_;
  std::unique_ptr<Timer> tmrSync_;
};

}  // namespace relaybird
