// SPDX-License-Identifier: MIT
#include "platform/posix/posix_sleeper.h"

#include <thread>

namespace relaybird {

void PosixSleeper::sleep(std::chrono::milliseconds duration) {
  // The standard library's sleep goes on after a signal until the time is over.
  std::this_thread::sleep_for(duration);
}

}  // namespace relaybird
