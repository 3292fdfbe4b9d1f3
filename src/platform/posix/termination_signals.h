// SPDX-License-Identifier: MIT
#pragma once

#include <signal.h>

#include <array>

#include "platform/posix/descriptor.h"

namespace relaybird {

/// Turns SIGTERM and SIGINT into something to read. Not a signalfd: that needs the signals blocked,
/// and a program started meanwhile would inherit the block and not hear them any more. One at a
/// time per process, else std::logic_error. Destroying it restores what was there before.
class TerminationSignals {
 public:
  TerminationSignals();
  ~TerminationSignals();
  TerminationSignals(const TerminationSignals&) = delete;
  TerminationSignals& operator=(const TerminationSignals&) = delete;

  /// Readable while a signal waits.
  int descriptor() const { return reading_.get(); }
  /// The number of a signal that has come; 0 where none waits.
  int take();

 private:
  struct Former {
    int signal;
    struct sigaction action;
    bool replaced;
  };

  Descriptor reading_;
  Descriptor writing_;
  std::array<Former, 2> former_{{{SIGTERM, {}, false}, {SIGINT, {}, false}}};
};

}  // namespace relaybird
