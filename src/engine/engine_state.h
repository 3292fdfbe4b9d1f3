// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "platform/clock.h"

namespace relaybird {

/// The running state that the session, the pass and the schedule share. Touched on the
/// user-interface thread alone, so the flags are all that keeps work from overlapping.
struct EngineState {
  bool m_bBusyFwd = false;    ///< a start, a test cycle or a pass is running
  bool syncBusy = false;      ///< a synchronisation that we started is running
  bool sendSync = false;      ///< and it was started after a pass, to send the forwards
  bool testCycle = false;     ///< the check was asked for by the test cycle
  bool forwardingOn = false;  ///< automatic forwarding is switched on

  DateTime activationTime = kNoDate;  ///< when forwarding was switched on
  DateTime passStartTime = kNoDate;
  DateTime syncStartTime = kNoDate;

  std::int32_t minutesLeft = 0;  ///< until the next check
  std::int16_t forwardedThisPass = 0;
  bool lastPassCompleted = false;  ///< the last pass ran and met no fault
};

}  // namespace relaybird
