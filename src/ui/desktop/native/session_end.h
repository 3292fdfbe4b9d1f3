// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

namespace relaybird::desktop {

/// Calls back when the user logs out or a signal asks the program to end (SIGTERM and the like). At
/// log-out the session waits for the program. A session that takes the display away without notice
/// kills the program; no state is lost by that. No call blocks, except for sending the response to
/// the session manager in the destructor.
class SessionEnd {
 public:
  /// `onEnd` starts the shutdown of the program. At log-out the session waits until this object is
  /// destroyed.
  explicit SessionEnd(std::function<void()> onEnd);
  ~SessionEnd();
  SessionEnd(const SessionEnd&) = delete;
  SessionEnd& operator=(const SessionEnd&) = delete;

 private:
  class Client;
  std::unique_ptr<Client> client_;
};

}  // namespace relaybird::desktop
