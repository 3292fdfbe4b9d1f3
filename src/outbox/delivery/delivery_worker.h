// SPDX-License-Identifier: MIT
// Takes the messages that wait in the outbox, oldest first, and hands them to a transport.
//
// A message that was accepted is removed. One that was refused temporarily stays and is tried again
// later (delivery_retries.h), for five days. One that was refused for good moves to failed/
// (delivery_settlement.h).
//
// When the whole message was sent but its answer got lost, it may have arrived. It is tried again
// after ten minutes at the earliest, with the same Message-ID, by which mail programs and servers
// recognise the second one, unless the transport finds out that it has arrived. The same is found
// out after a crash during a try; but a message to several, of which it is not known then for whom
// the try was, is sent again. While the transport cannot find it out, the message waits, for a day
// at most, and the others go on.
//
// An address that exceeds its limit of messages an hour is stopped (hourly_limit.h): its messages
// stay, after new starts too, until tryAgain(). A message with several recipients waits as a whole
// while one of them is stopped. Forwards of one user all go to the same addresses, which reach the
// limit together.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "mail/outgoing_mail.h"
#include "outbox/delivery/delivery_reports.h"
#include "outbox/delivery/delivery_retries.h"
#include "outbox/delivery/hourly_limit.h"
#include "outbox/delivery/transport.h"
#include "outbox/outbox.h"
#include "platform/clock.h"
#include "platform/event_queue.h"
#include "platform/file_system.h"
#include "platform/system/executor.h"

namespace relaybird {

/// Made, used and destroyed on the user-interface thread; the work is done on the executor's.
class DeliveryWorker {
 public:
  /// All that is referred to must outlive the worker.
  struct Setting {
    FileSystem& files;
    const Clock& clock;
    Outbox& outbox;
    Transport* transport = nullptr;  ///< none: messages stay in the outbox
    Executor& executor;
    EventQueue& events;
    /// Told, on the user-interface thread, what became of each message.
    std::function<void(StoreNotice)> notice;
    std::size_t mostPerHour = kMostPerHour;  ///< messages to one address
  };

  using Counts = DeliveryCounts;

  explicit DeliveryWorker(Setting setting);
  /// Stops a delivery under way and waits for its end. No callback is called after that.
  ~DeliveryWorker();
  DeliveryWorker(const DeliveryWorker&) = delete;
  DeliveryWorker& operator=(const DeliveryWorker&) = delete;

  /// Stops a delivery under way, without waiting for its end; nothing is delivered any more. True:
  /// nothing is under way, so that the worker can be destroyed without a wait. False: `stopped` is
  /// called on the user-interface thread, never inside this call, once that is so. Called once at
  /// most.
  bool stop(std::function<void()> stopped);

  /// Starts to deliver the messages that are due. `done`, which may be empty, is called on the
  /// user-interface thread, never inside this call, once everything that waits now has been tried.
  void flush(std::function<void()> done);

  /// At the request of the user: as flush(), but ends all waiting times, except of messages that
  /// may have arrived, and resumes stopped addresses.
  void tryAgain(std::function<void()> done);

  /// The user asks for a check, and may have mended what held the messages back: as tryAgain(), but
  /// stopped addresses stay stopped.
  void userAsks();

  Counts counts() const { return reports_.counts(); }
  /// The file that HourlyLimit keeps for an outbox.
  static std::string limitFile(const std::string& outboxFolder);

  /// When the earliest message that was kept, or that waits behind one, is due again; nothing if no
  /// message was kept.
  std::optional<DateTime> nextAttempt() const;

 private:
  /// What a request ends: in this order, each also what is before it.
  enum class Afresh { kNothing, kWaits, kWaitsAndStops };

  void begin(std::function<void()> done, Afresh afresh);
  void work();
  bool nextTask();
  MessageFeed::Rest rest();
  void finishDeliveries();
  bool listedLately() const;
  void startAfresh(Afresh afresh);
  void deliverWaiting();
  void collect();
  void publish();

  Setting setting_;
  std::stop_source stop_;

  // Used by the executor's thread only, but for the counts in the reports.
  std::vector<std::function<void()>> served_;  ///< for those who wait for the series under way
  std::vector<WaitingMessage> known_;          ///< what waits, oldest first
  DeliveryRetries retries_;
  HourlyLimit limit_;
  DeliveryReports reports_;
  Afresh afresh_ = Afresh::kNothing;
  bool listingFailed_ = false;  ///< and is to be tried again
  std::string outOfDate_;       ///< why the outbox could not be brought up to date, as was told
  DateTime listed_ = kNoDate;   ///< when the folder was last read

  mutable std::mutex mutex_;  ///< for all below
  std::condition_variable idle_;
  bool working_ = false;
  bool wanted_ = false;
  Afresh afreshWanted_ = Afresh::kNothing;
  std::vector<std::function<void()>> waiters_;
  std::function<void()> stopped_;  ///< for the one who stops it
  std::optional<DateTime> nextAttempt_;
  DateTime published_ = kNoDate;  ///< when that was so
};

}  // namespace relaybird
