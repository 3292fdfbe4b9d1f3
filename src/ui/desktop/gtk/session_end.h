// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

namespace relaybird::desktop {

/// Hears of the user's log-out from the desktop's session manager (GNOME's interface, which MATE
/// and Cinnamon have too, and Xfce's), and has it wait for the program's end; and of the signals by
/// which others ask for it (SIGTERM, SIGINT, SIGHUP). A session that just takes the screen away
/// kills the program, which loses nothing by that. Nothing here waits for the bus, but for the
/// farewell at log-out.
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
