// SPDX-License-Identifier: MIT
// When a session that has no connection may try to connect. A connection that is lost in the middle
// of work is replaced at once, once; after that with growing pauses, varied at random so that many
// programs do not return to a server at the same moment. Times are those of Network::steadyTime().
#pragma once

#include <algorithm>
#include <chrono>

#include "platform/system/random_bytes.h"

namespace relaybird {

/// The pause before the second try to connect; it doubles up to the longest.
inline constexpr std::chrono::seconds kFirstPause{5};
inline constexpr std::chrono::minutes kLongestPause{10};
/// The pause before a try that the user asks for.
inline constexpr std::chrono::seconds kUsersPause{2};

class ReconnectPauses {
 public:
  using Time = std::chrono::milliseconds;

  /// At first both moments are past.
  explicit ReconnectPauses(RandomBytes random);

  /// A try has failed, or a connection is lost. `stable`: it had lived so long that it is not
  /// counted with what failed before. Returns whether it is the first failure since then.
  bool failed(Time now, bool stable);
  /// Begins the pause after that. `again`: what was under way may have another try at once.
  /// `wanted`: something is wanted now.
  void begin(bool again, bool wanted);
  /// The failures before are forgiven: the next try is kUsersPause after the last one.
  void userAsks();

  /// The next try that the session makes by itself.
  Time byItself() const { return byItself_; }
  /// The next try because something is wanted.
  Time ifWanted() const { return std::min(byItself_, ifWanted_); }

 private:
  RandomBytes random_;
  int failures_ = 0;
  Time failedAt_{0};
  Time byItself_{0};
  Time ifWanted_{0};
};

}  // namespace relaybird
