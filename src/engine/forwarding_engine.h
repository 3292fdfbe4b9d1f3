// SPDX-License-Identifier: MIT
// The forwarding engine: session, pass, schedule and status line over one shared state. One object
// per program, used on the user-interface thread only; front ends drive it and show its reports.
#pragma once

#include "engine/check_schedule.h"
#include "engine/engine_world.h"
#include "engine/inbox_pass.h"
#include "engine/mail_session.h"
#include "engine/status_display.h"

namespace relaybird {

class ForwardingEngine {
 public:
  /// Session and pass call back into the schedule, which is made after them; those calls come only
  /// once the engine runs.
  explicit ForwardingEngine(const EngineWorld& world)
      : status_(world.display, state_, world.clock, world.timers),
        session_(
            world.objects, state_, status_, [this] { schedule_.m_sync_SyncEnd(); },
            [this] { schedule_.sessionReleased(); }),
        pass_(world, state_, status_, session_, [this] { schedule_.SyncStart(true); }),
        schedule_(world, state_, status_, session_, pass_) {}

  EngineState& state() { return state_; }
  const EngineState& state() const { return state_; }
  StatusDisplay& status() { return status_; }
  MailSession& session() { return session_; }
  InboxPass& pass() { return pass_; }
  CheckSchedule& schedule() { return schedule_; }

 private:
  EngineState state_;
  StatusDisplay status_;
  MailSession session_;
  InboxPass pass_;
  CheckSchedule schedule_;
};

}  // namespace relaybird
