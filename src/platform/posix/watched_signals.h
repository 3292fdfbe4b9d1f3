// SPDX-License-Identifier: MIT
#pragma once

#include <signal.h>

#include <vector>

#include "platform/posix/descriptor.h"

namespace relaybird {

/// A signal to watch.
struct WatchedSignal {
  int number = 0;
  /// The second signal has its former effect again: a user who asks twice is not kept waiting.
  bool once = false;
};

/// Turns signals into readable bytes. Not a signalfd: that needs the signals blocked, and a program
/// started meanwhile would inherit the block. A signal that was ignored when the process started
/// stays ignored. Each signal is watched by one object per process at a time, else
/// std::logic_error. Destroying it restores the former handlers.
class WatchedSignals {
 public:
  explicit WatchedSignals(const std::vector<WatchedSignal>& signals);
  ~WatchedSignals();
  WatchedSignals(const WatchedSignals&) = delete;
  WatchedSignals& operator=(const WatchedSignals&) = delete;

  /// Readable while a signal waits.
  int descriptor() const { return reading_.get(); }
  /// The number of a signal that has arrived; 0 if none waits.
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
