// SPDX-License-Identifier: MIT
// What a store has apart from its objects, because no mail application offers it: the state of mail
// that it has accepted but that may not have left this computer yet, notices for the activity log,
// what the user wants at once, whether forwarding is on, and the minutes between the checks.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/clock.h"

namespace relaybird {

/// A line for the activity log, and what it is about.
struct StoreNotice {
  enum class Kind {
    kNote,
    kRefused,  ///< a message was refused for good
    kStopped,  ///< deliveries to an address are stopped until the user resumes them
    kVerbose,  ///< a line of a protocol, for the verbose log alone
  };

  /// Most notices are a line and nothing else.
  StoreNotice(std::string text, Kind what = Kind::kNote) : line(std::move(text)), kind(what) {}

  std::string line;  ///< without a time
  Kind kind;
  /// When it happened; kNoDate: now. Set by threads of the store, whose notices are read later.
  DateTime time = kNoDate;
};

struct OutgoingState {
  /// Where messages wait. Empty for a store without an outbox folder; the other members then mean
  /// nothing.
  std::string outbox;
  std::string waitingFolder;  ///< has a file for each message that waits longer than a moment
  std::string refusedFolder;  ///< has the messages that were refused for good
  bool delivers = true;       ///< false: nothing takes waiting messages off this computer
  std::size_t left = 0;       ///< messages delivered since the program was started
  std::size_t refused = 0;    ///< messages refused for good since then
  std::size_t kept = 0;       ///< messages that wait after a temporary refusal
  std::vector<std::string> stopped;  ///< addresses whose mail waits until the user resumes it
};

/// User-interface thread only.
class OutgoingMail {
 public:
  virtual ~OutgoingMail() = default;
  /// The state now. Never fails, and costs next to nothing.
  virtual OutgoingState state() = 0;
  /// How many messages wait. Reads the disk; 0 where it cannot be read.
  virtual std::size_t waiting() = 0;
  /// The same as of a second ago at most, for what is shown after every message.
  virtual std::size_t recentlyWaiting() { return waiting(); }
  /// Tries all waiting messages now, even those that are not due yet, and resumes stopped
  /// addresses. `done` is called later, never inside this call, once everything has been tried. It
  /// is never called when the store is closed before. Throws MailStoreError where the outbox cannot
  /// be used.
  virtual void tryAgain(std::function<void()> done) = 0;
  /// The user asks for a check that follows: the store forgets the pauses after failed connections
  /// and refused messages, and may ask again for a password that was refused. Not to be called for
  /// a check of the schedule: a wrong password that is repeated locks the account at many
  /// providers. Never fails.
  virtual void userAsks() {}
  /// To be called each minute while the minutes to the next check are counted. A store does now
  /// what it would wake up for before the next minute, so that the computer wakes once for both.
  /// Returns at once and never fails.
  virtual void minutePassed() {}
  /// Forwarding has been switched on or off. While it is off, as at first, a store leaves a
  /// connection that nobody has used for some minutes, and opens none by itself but to finish what
  /// was begun. Returns at once and never fails.
  virtual void forwardingSwitched(bool /*on*/) {}
};

}  // namespace relaybird
