// SPDX-License-Identifier: MIT
// The forwarding engine: session, pass, schedule and status line put together over one shared
// state. One object per program, on the user-interface thread; front ends drive it and show what it
// reports.
#pragma once

#include "engine/check_schedule.h"
#include "engine/engine_state.h"
#include "engine/inbox_pass.h"
#include "engine/mail_session.h"
#include "engine/report/activity_log.h"
#include "engine/report/alerts.h"
#include "engine/report/engine_display.h"
#include "engine/report/status_display.h"
#include "mail/mail_store.h"
#include "platform/clock.h"
#include "platform/event_queue.h"
#include "prefs/cls_pref.h"

namespace relaybird {

/// Everything the engine needs of the world. All must outlive it.
struct EngineWorld {
  ObjectFactory& objects;
  clsPref& prefs;
  EngineDisplay& display;
  ActivityLog& log;
  Alerts& alerts;
  TraceLog& trace;
  const Clock& clock;
  Sleeper& sleeper;
  TimerMaker& timers;
};

class ForwardingEngine {
 public:
  explicit ForwardingEngine(EngineWorld world);

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
