// SPDX-License-Identifier: MIT
// What a store tells of the mail that it has accepted and that may not have left this computer yet,
// and the user's word to try again. Beside the mail store's own objects, because no mail
// application offers it.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace relaybird {

struct OutgoingState {
  /// Where messages wait; empty where the store keeps no outbox that can be looked into, and then
  /// nothing below means anything.
  std::string outbox;
  std::string waitingFolder;         ///< in it, a file for each message that waits
  std::string refusedFolder;         ///< in it, what was refused for good
  bool delivers = true;              ///< false: nothing takes what waits off this computer
  std::size_t left = 0;              ///< messages that left since the program was started
  std::size_t refused = 0;           ///< that were refused for good since then
  std::size_t kept = 0;              ///< that wait because they were refused for the time being
  std::vector<std::string> stopped;  ///< addresses that nothing leaves for until the user says so
};

/// User-interface thread alone.
class OutgoingMail {
 public:
  virtual ~OutgoingMail() = default;
  /// How things stand now. Never fails, and costs next to nothing.
  virtual OutgoingState state() = 0;
  /// How many messages wait. Looks at the disk; 0 where it cannot be read.
  virtual std::size_t waiting() = 0;
  /// Tries all that waits at once, also what is not due yet, and lets stopped addresses go on.
  /// `done` is called later, never inside this call, once everything has been tried; never when the
  /// store is closed before. Throws MailStoreError where the outbox cannot be used.
  virtual void tryAgain(std::function<void()> done) = 0;
};

}  // namespace relaybird
