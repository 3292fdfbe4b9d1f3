// SPDX-License-Identifier: MIT
// Takes the messages that wait in the outbox, oldest first, and hands them to a transport.
//
// A message that was accepted is removed. One that was refused temporarily stays and is tried again
// after a minute, then after twice that, up to an hour; five days after it was written (RFC 5321,
// 4.5.4.1) a further refusal counts as final, unless it concerns everything that waits. One that
// was refused for good moves to failed/. These waiting times are kept in this object only: after a
// new start everything is tried at once.
//
// An answer to one message can make everything wait, because it reads like a limit of the account.
// The next series then begins with another message. If that one gets such an answer too, the
// account is to blame, and no message is given up for it. Otherwise the first message alone is, and
// waits by itself.
//
// A server may take a message for some of its recipients only. That they have it is recorded first;
// recipients refused for good then get a copy of the message in failed/ that is addressed to them
// alone, and the message stays for those who are to be tried again.
//
// When the whole message was sent but its answer got lost, it may have arrived. It is tried again
// after ten minutes at the earliest, with the same Message-ID, by which mail programs and servers
// recognise the second one, unless the transport finds out that it has arrived.
//
// An address that exceeds its limit of messages an hour is stopped (hourly_limit.h): its messages
// stay, after new starts too, until tryAgain(). A message with several recipients waits as a whole
// while one of them is stopped. Forwards of one user all go to the same addresses, which reach the
// limit together.
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
/// While there is no connection: short, so that little is late when there is one again.
inline constexpr std::chrono::minutes kLongestRetryOfConnection{5};
inline constexpr std::chrono::days kGiveUpAfter{5};
/// Quotas of a day and blocks of an account last for hours.
inline constexpr std::chrono::hours kRetryAfterLimit{4};
/// Longer than servers and their checks take to pass on what they have accepted.
inline constexpr std::chrono::minutes kRetryAfterNoAnswer{10};

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
    std::size_t kept = 0;              ///< wait after a temporary refusal
    std::vector<std::string> stopped;  ///< addresses whose mail waits until tryAgain()
  };

  explicit DeliveryWorker(Setting setting);
  /// Stops a delivery under way and waits for its end. No callback is called after that.
  ~DeliveryWorker();
  DeliveryWorker(const DeliveryWorker&) = delete;
  DeliveryWorker& operator=(const DeliveryWorker&) = delete;

  /// Starts to deliver the messages that are due. `done`, which may be empty, is called on the
  /// user-interface thread, never inside this call, once everything that waits now has been tried.
  void flush(std::function<void()> done);

  /// At the request of the user: as flush(), but ends all waiting times, except of messages that
  /// may have arrived, and resumes stopped addresses.
  void tryAgain(std::function<void()> done);

  Counts counts() const;
  /// The file that HourlyLimit keeps for an outbox.
  static std::string limitFile(const std::string& outboxFolder);

  /// When the earliest message that was kept is due again; nothing if no message was kept.
  std::optional<DateTime> nextAttempt() const;

 private:
  struct Retry {
    DateTime refused = kNoDate;
    std::chrono::minutes wait{0};
    DateTime due() const { return refused + wait; }
  };
  struct CallBacks;
  class Series;
  struct UnderWay;

  void begin(std::function<void()> done, bool afresh);
  void work();
  bool nextTask(std::vector<std::function<void()>>& waiters);
  void startAfresh();
  void deliverWaiting();
  void collect();
  bool mustWait(const WaitingMessage& message, const OutgoingMessage& outgoing);
  void taken(const UnderWay& one, const std::vector<std::string>& recipients);
  bool isWhole(const UnderWay& one, const std::vector<std::string>& recipients) const;
  void refused(const UnderWay& one, const std::vector<std::string>& recipients,
               const std::string& words);
  void kept(const WaitingMessage& message, const std::string& title, const Outcome& outcome);
  void putOff(const WaitingMessage& message, const Outcome& outcome);
  bool concernsAll(const WaitingMessage& message, const Outcome& outcome);
  void putTriedLast();
  Result<void> putAside(const UnderWay& one, const std::vector<std::string>& recipients,
                        const std::string& words);
  bool isDue(const Retry& retry) const;
  bool isHeldBack(const WaitingMessage& message) const;
  void postpone(Retry& retry, std::chrono::minutes most) const;
  void say(StoreNotice notice);
  void sayIfFailed(const Result<void>& recorded);
  void postDone(std::vector<std::function<void()>> waiters);
  void tellStopped(const std::string& address);
  void publish();

  Setting setting_;
  /// Owned here only: a late event finds it gone and does nothing.
  std::shared_ptr<CallBacks> callBacks_;
  std::stop_source stop_;

  // Used by the executor's thread only.
  std::vector<WaitingMessage> known_;     ///< what waits, oldest first
  std::map<std::string, Retry> retries_;  ///< by file name
  Retry pause_;                           ///< of the transport as a whole
  HourlyLimit limit_;
  std::set<std::string> held_;  ///< files for an address that is stopped
  bool afresh_ = false;
  int refusalsInRow_ = 0;
  bool listingFailed_ = false;  ///< and is to be tried again
  bool othersFirst_ = false;    ///< single messages have ended a series before the others' turn
  std::string suspect_;         ///< the file whose answer held everything back
  bool accountHeld_ = false;    ///< another message got such an answer too
  bool seriesEnded_ = false;
  std::string toldOfAll_;      ///< the code or words of why nothing can leave, as told last
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
