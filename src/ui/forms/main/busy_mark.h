// SPDX-License-Identifier: MIT
#pragma once

#include "engine/engine_state.h"

namespace relaybird {

/// Keeps the engine marked as busy for a scope, so that no way out of it leaves the mark behind.
class BusyMark {
 public:
  explicit BusyMark(EngineState& state) : state_(state) { state_.m_bBusyFwd = true; }
  ~BusyMark() { state_.m_bBusyFwd = false; }
  BusyMark(const BusyMark&) = delete;
  BusyMark& operator=(const BusyMark&) = delete;

 private:
  EngineState& state_;
};

}  // namespace relaybird
