// SPDX-License-Identifier: MIT
#pragma once

#include "platform/clock.h"

namespace relaybird {

class PosixSleeper : public Sleeper {
 public:
  /// Sleeps the whole time on the steady clock, signals or not. Nothing for a negative duration.
  void sleep(std::chrono::milliseconds duration) override;
};

}  // namespace relaybird
