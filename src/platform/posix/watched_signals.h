// SPDX-License-Identifier: MIT
#pragma once

#include <signal.h>

#include <vector>

#include "platform/posix/descriptor.h"

namespace relaybird {

/// A signal to be heard of.
struct WatchedSignal {
  int number = 0;
  /// After the first one the signal does again what it did before it was watched: one who asks a
  /// second time is not kept waiting.
  bool once = false;
};

/// Turns signals into something to read. Not a signalfd: that needs the signals blocked, and a
/// program started meanwhile would inherit the block and not hear them any more. A signal that the
/// process was started to ignore stays ignored. Each signal is watched by one object per process at
/// a time, else std::logic_error. Destroying it restores what was there before.
class WatchedSignals {
 public:
  explicit WatchedSignals(const std::vector<WatchedSignal>& signals);
  ~WatchedSignals();
  WatchedSignals(const WatchedSignals&) = delete;
  WatchedSignals& operator=(const WatchedSignals&) = delete;

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

  void watch(const WatchedSignal& signal);
  void restore();

  Descriptor reading_;
  Descriptor writing_;
  std::vector<Former> former_;
};

}  // namespace relaybird
