// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

namespace relaybird::desktop {

/// Hears of the user's log-out and has the session wait for the program's end; and of other ways by
/// which the system asks a program to end. A session that just takes the screen away kills the
/// program, which loses nothing by that. Nothing here waits for the session, but the farewell at
/// log-out.
class SessionEnd {
 public:
  /// `onEnd` begins the program's end; the session waits until this object is destroyed.
  explicit SessionEnd(std::function<void()> onEnd);
  ~SessionEnd();
  SessionEnd(const SessionEnd&) = delete;
  SessionEnd& operator=(const SessionEnd&) = delete;

 private:
  class Client;
  std::unique_ptr<Client> client_;
};

}  // namespace relaybird::desktop
