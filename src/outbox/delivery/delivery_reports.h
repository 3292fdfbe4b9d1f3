// SPDX-License-Identifier: MIT
// Tells the user what becomes of the messages in the outbox, in words for the log, and counts it.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "mail/outgoing_mail.h"
#include "outbox/delivery/transport.h"
#include "platform/clock.h"
#include "platform/event_queue.h"
#include "platform/result.h"

namespace relaybird {

struct DeliveryCounts {
  std::size_t left = 0;              ///< handed over since the program began
  std::size_t refused = 0;           ///< refused for good since then
  std::size_t kept = 0;              ///< wait after a temporary refusal
  std::vector<std::string> stopped;  ///< addresses whose mail waits until the user releases them
};

/// Speaks on the delivery's thread and is heard on the user-interface thread, through the event
/// queue. What has not been heard when this object is destroyed is dropped.
class DeliveryReports {
 public:
  /// `folder` is the outbox's, for the user. The clock and the queue must outlive this object.
  DeliveryReports(const Clock& clock, EventQueue& events, std::function<void(StoreNotice)> notice,
                  std::string folder);

  /// A line for the log.
  void say(StoreNotice notice);
  /// Calls each of these that is not empty, on the user-interface thread.
  void post(std::vector<std::function<void()>> calls);

  /// The message was taken for `taken` of its `named` recipients.
  void left(const std::string& title, std::size_t taken, std::size_t named);
  /// Refused for good; for these recipients, or for all where none is named.
  void refused(const std::string& title, const std::vector<std::string>& recipients,
               const std::string& words);
  /// The message stays in the outbox. What keeps everything back is told once, not at every try of
  /// the following months.
  void kept(const std::string& title, const Outcome& outcome);
  /// Nothing more leaves for that address, for which `most` messages have left within an hour.
  void stopped(const std::string& address, std::size_t most);
  /// Says so if the record of a delivery failed.
  void sayIfFailed(const Result<void>& recorded);
  /// What keeps everything back is told anew.
  void forgetWhatWasTold() { toldOfAll_.clear(); }

  /// Any thread.
  DeliveryCounts counts() const;
  void setKept(std::size_t kept);
  void setStopped(const std::set<std::string>& addresses);

 private:
  struct CallBacks;

  const Clock& clock_;
  EventQueue& events_;
  /// Owned here only: a late event finds it gone and does nothing.
  std::shared_ptr<CallBacks> callBacks_;
  std::string folder_;
  std::string toldOfAll_;  ///< the code or words of why nothing can leave, as told last

  mutable std::mutex mutex_;  ///< for counts_
  DeliveryCounts counts_;
};

}  // namespace relaybird
