// SPDX-License-Identifier: MIT
// What has changed in a folder since a moment that the server numbers (CONDSTORE and QRESYNC, RFC
// 7162), gathered from the responses that tell it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>

#include "stores/account/imap_response.h"
#include "stores/account/uid_set.h"

namespace relaybird {

/// A folder at an earlier moment.
struct ImapMoment {
  std::uint32_t uidValidity = 0;
  std::uint64_t modSeq = 0;  ///< the server's number of the moment; 0: none is known
};

/// Every message is in one set at most.
struct ImapChanges {
  UidSet unread;  ///< changed or new, and unread
  UidSet others;  ///< changed or new, and read or being deleted
  UidSet vanished;
  bool whole = true;  ///< false: there are more, so that only a list of all tells the truth
};

/// More changes are not kept: a list of all unread messages is shorter then.
inline constexpr std::size_t kMostChanges = 50'000;

class ImapChangeGatherer {
 public:
  /// Messages that have vanished count at any time: UIDs never return.
  void vanished(const UidSet& uids);
  /// Something was said that cannot be used, such as a number of a message instead of its UID.
  void miss() { missed_ = true; }

  /// Flags count only between begin() and take(), when the server was asked for them.
  void begin();
  bool active() const { return active_; }
  void flags(const ImapFetch& fetch);
  /// Everything since begin(), and all that has vanished since the last take() or forget().
  ImapChanges take();

  /// Everything before is in the list that is asked for now.
  void forget();
  /// Whether something was missed since the last take() or forget().
  bool missed() const { return missed_; }

 private:
  bool active_ = false;
  bool missed_ = false;
  std::unordered_map<std::uint32_t, bool> unread_;  // the latest of what was said of a message
  UidGathering vanished_{kMostChanges};
};

}  // namespace relaybird
