// SPDX-License-Identifier: MIT
// Carries out what became of a message: records who has it, moves it or a copy to failed/, or keeps
// it for a later try, and tells the user.
//
// A server may take a message for some of its recipients only. That they have it is recorded first;
// recipients refused for good then get a copy of the message in failed/ that is addressed to them
// alone, and the message stays for those who are to be tried again.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "outbox/delivery/delivery_reports.h"
#include "outbox/delivery/delivery_retries.h"
#include "outbox/delivery/hourly_limit.h"
#include "outbox/delivery/transport.h"
#include "outbox/delivery_queue.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

/// After that a further temporary refusal counts as final (RFC 5321, 4.5.4.1), unless it concerns
/// everything that waits.
inline constexpr std::chrono::days kGiveUpAfter{5};
/// And only if it was tried so long itself: an outage, or a computer that was switched off, may
/// have used up the days.
inline constexpr std::chrono::hours kTriedAtLeast{4};
/// Much less is enough after that time: a program that never runs for hours would try it for ever.
/// But more than servers delay what they see for the first time.
inline constexpr std::chrono::days kGiveUpSoonerAfter{30};
inline constexpr std::chrono::minutes kTriedAtLeastThen{30};

/// A message that is being delivered.
struct MessageUnderWay {
  DeliveryQueue::Claim claim;
  std::size_t place;  ///< in its series
  WaitingMessage message;
  std::string title;
  std::vector<std::string> named = {};       ///< all recipients that the message names
  std::vector<std::string> recipients = {};  ///< those that it is sent to now
  std::uint64_t size = 0;                    ///< in bytes
  bool begun = false;                        ///< recorded as begun for this try
};

/// What the parts of a delivery share; all are used on its thread only.
struct DeliveryParts {
  FileSystem& files;
  const Clock& clock;
  DeliveryQueue& queue;
  DeliveryRetries& retries;
  HourlyLimit& limit;
  DeliveryReports& reports;
};

class DeliverySettlement {
 public:
  explicit DeliverySettlement(DeliveryParts parts) : parts_(parts) {}

  /// Carries out the verdict. A message that all recipients have must be on record as delivered
  /// (DeliveryQueue::delivered()) already. True if it has left the outbox.
  bool settle(const MessageUnderWay& one, const Outcome& outcome);
  /// The message as it is can never leave: moves it to failed/. True as above.
  bool refuse(const MessageUnderWay& one, const std::string& words);
  /// The message could not be tried.
  void keep(const WaitingMessage& message, const std::string& title, const Outcome& outcome);
  /// Nobody is left to whom the message is to be sent: it leaves the outbox.
  void remove(const MessageUnderWay& one);

 private:
  bool settleFor(const MessageUnderWay& one, const std::vector<std::string>& recipients,
                 const Outcome& outcome);
  bool settleEach(const MessageUnderWay& one, const Outcome& outcome);
  bool isYoung(const WaitingMessage& message);
  bool refuseFor(const MessageUnderWay& one, const std::vector<std::string>& recipients,
                 const std::string& words);
  bool isWhole(const MessageUnderWay& one, const std::vector<std::string>& recipients) const;
  Result<void> putAside(const MessageUnderWay& one, const std::vector<std::string>& recipients,
                        const std::string& words);
  void taken(const MessageUnderWay& one, const std::vector<std::string>& recipients);
  void tellRefused(const MessageUnderWay& one, const std::vector<std::string>& recipients,
                   const std::string& words);

  DeliveryParts parts_;
};

}  // namespace relaybird
