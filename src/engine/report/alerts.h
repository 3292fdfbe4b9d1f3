// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace relaybird {

/// Told by the engine of what a user has to know who does not look at the window. It reports every
/// single event; whoever listens decides how many of them make a message. Never fails towards its
/// caller, and runs no events.
class Alerts {
 public:
  virtual ~Alerts() = default;
  /// A check could not be made, or broke off. `words` says why.
  virtual void checkFailed(const std::string& words) = 0;
  /// A check has come to its end.
  virtual void checkCompleted() = 0;
  /// A message was refused for good and is not tried again. `words` says which and why.
  virtual void forwardRefused(const std::string& words) = 0;
  /// Nothing more leaves for an address until the user says otherwise. `words` says which and why.
  virtual void addressStopped(const std::string& words) = 0;
  /// Nothing more is forwarded until forwarding is switched on anew.
  virtual void maximumReached() = 0;
};

}  // namespace relaybird
