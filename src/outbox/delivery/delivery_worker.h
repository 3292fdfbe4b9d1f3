// SPDX-License-Identifier: MIT
// Takes what waits in the outbox, oldest first, and hands it to a transport.
//
// What was taken is removed. What was refused for the time being stays and is tried again a minute
// later, then after twice that, up to an hour; five days after it was written (RFC 5321, 4.5.4.1) a
// further refusal counts as final. What was refused for good moves to failed/. These waits are
// known to this object alone: a new start tries everything at once.
//
// An address that more leaves for within an hour than is allowed is stopped (hourly_limit.h): its
// messages stay, over new starts too, until tryAgain(). A message with several recipients waits
// whole while one of them is stopped. A transport takes a message for all or for none, so to part
// it would mean to remember durably who has had it already. Forwards of one user all go to the same
// addresses, which come to the limit together.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <vector>

#include "mail/outgoing_mail.h"
#include "outbox/delivery/hourly_limit.h"
#include "outbox/delivery/transport.h"
#include "outbox/outbox.h"
#include "platform/clock.h"
#include "platform/event_queue.h"
#include "platform/file_system.h"
#include "platform/system/executor.h"

namespace relaybird {

inline constexpr std::chrono::minutes kFirstRetry{1};
inline constexpr std::chrono::minutes kLongestRetry{60};
inline constexpr std::chrono::days kGiveUpAfter{5};

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

  struct Counts {
    std::size_t left = 0;              ///< handed over since this object was made
    std::size_t refused = 0;           ///< refused for good since then
    std::size_t kept = 0;              ///< wait because the last try was refused for the time being
    std::vector<std::string> stopped;  ///< addresses that nothing more leaves for
  };

  explicit DeliveryWorker(Setting setting);
  /// Stops a delivery under way and waits for its end. Nothing is called back any more.
  ~DeliveryWorker();
  DeliveryWorker(const DeliveryWorker&) = delete;
  DeliveryWorker& operator=(const DeliveryWorker&) = delete;

  /// Begins to deliver what waits and is due. `done`, which may be empty, is called on the
  /// user-interface thread, never inside this call, when everything that waited now has been tried.
  void flush(std::function<void()> done);

  /// The user's word: as flush(), but waits are over and stopped addresses go on.
  void tryAgain(std::function<void()> done);

  Counts counts() const;
  /// Where an outbox's deliveries remember what HourlyLimit does.
  static std::string limitFile(const std::string& outboxFolder);

  /// When the earliest message that was kept is due again; nothing while none was kept.
  std::optional<DateTime> nextAttempt() const;

 private:
  struct Retry {
    DateTime refused = kNoDate;
    std::chrono::minutes wait{0};
    DateTime due() const { return refused + wait; }
  };
  struct CallBacks;

  enum class Fate { kGone, kKept };

  void begin(std::function<void()> done, bool afresh);
  void work();
  bool nextTask(std::vector<std::function<void()>>& waiters);
  void startAfresh();
  void deliverWaiting();
  void collect();
  Fate deliverOne(const WaitingMessage& message);
  bool mustWait(const WaitingMessage& message, const OutgoingMessage& outgoing);
  Fate handOver(const Outbox::Claim& claim, const WaitingMessage& message, std::string bytes);
  Fate taken(const Outbox::Claim& claim, const std::string& title);
  Fate refused(const Outbox::Claim& claim, const WaitingMessage& message, const std::string& title,
               const std::string& words);
  Fate kept(const WaitingMessage& message, const std::string& title, const Outcome& outcome);
  bool isDue(const Retry& retry) const;
  void postpone(Retry& retry) const;
  void say(StoreNotice notice);
  void postDone(std::vector<std::function<void()>> waiters);
  void tellStopped(const std::string& address);
  void publish();

  Setting setting_;
  std::shared_ptr<CallBacks> callBacks_;  ///< held by this object alone: late events find nobody
  std::stop_source stop_;

  // For the executor's thread alone.
  std::vector<WaitingMessage> known_;     ///< what waits, oldest first
  std::map<std::string, Retry> retries_;  ///< by file name
  Retry pause_;                           ///< of the transport as a whole
  HourlyLimit limit_;
  std::set<std::string> held_;  ///< files for an address that is stopped
  bool afresh_ = false;
  int refusalsInRow_ = 0;
  bool listingFailed_ = false;  ///< and is to be tried again
  bool untriedFirst_ = false;   ///< the last series was ended by single messages
  bool seriesEnded_ = false;
  DateTime listed_ = kNoDate;  ///< when the folder was last read

  mutable std::mutex mutex_;  ///< for all below
  std::condition_variable idle_;
  bool working_ = false;
  bool wanted_ = false;
  bool afreshWanted_ = false;
  std::vector<std::function<void()>> waiters_;
  std::optional<DateTime> nextAttempt_;
  Counts counts_;
};

}  // namespace relaybird
