// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "platform/clock.h"

namespace relaybird {

/// The running state that the session, the pass and the schedule share. Used on the
/// user-interface thread only, so these flags suffice to keep work from overlapping.
struct EngineState {
  bool m_bBusyFwd = false;    ///< a start, a test cycle or a pass is running
  bool syncBusy = false;      ///< a synchronisation that we started is running
  bool sendSync = false;      ///< and it was started after a pass, to send the forwards
  bool testCycle = false;     ///< the check was asked for by the test cycle
  bool forwardingOn = false;  ///< automatic forwarding is switched on

  DateTime activationTime = kNoDate;  ///< when forwarding was switched on
  DateTime passStartTime = kNoDate;
  DateTime syncStartTime = kNoDate;

  std::int32_t minutesLeft = 0;   ///< until the next check
  std::int16_t itemsInPass = 0;   ///< how many items the pass walks
  std::int16_t itemsVisited = 0;  ///< how many of them it has reached
  std::int16_t forwardedThisPass = 0;
  std::int16_t failedThisPass = 0;  ///< items that should have been forwarded but failed
  bool lastPassCompleted = false;   ///< the last pass ran without a fault

  bool passRunning = false;  ///< a pass is on the stack; m_bBusyFwd is also cleared from outside
  bool stopPass = false;     ///< the pass ends after the current item
  bool ending = false;       ///< the program ends: a pass ends as above, nothing else starts
};

}  // namespace relaybird
