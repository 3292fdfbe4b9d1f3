// SPDX-License-Identifier: MIT
#include "engine/forwarding_engine.h"

namespace relaybird {

// Session and pass call back into the schedule, which is made after them; the calls come only once
// the engine runs.
ForwardingEngine::ForwardingEngine(EngineWorld world)
    : status_(world.display, state_, world.clock, world.timers),
      session_(world.objects, state_, status_, [this] { schedule_.m_sync_SyncEnd(); }),
      pass_({world.objects, world.prefs, world.display, world.log, world.alerts, world.trace,
             world.clock, world.sleeper},
            state_, status_, session_, [this] { schedule_.SyncStart(true); }),
      schedule_({world.prefs, world.display, world.log, world.alerts, world.trace, world.clock,
                 world.timers},
                state_, status_, session_, pass_) {}

}  // namespace relaybird
