// SPDX-License-Identifier: MIT
// Which messages of the outbox are not tried now, and until when.
//
// A message that was refused temporarily waits for a minute, then for twice that, up to an hour.
// What keeps everything back makes the series end and the transport pause in the same way.
//
// An answer to one message can make everything wait, because it reads like a limit of the account.
// The next series then begins with another message. If that one gets such an answer too, the
// account is to blame, and no message is given up for it. Otherwise the first message alone is, and
// waits by itself.
//
// All this is kept in memory only: after a new start everything is tried at once.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

#include "outbox/delivery/transport.h"
#include "outbox/delivery_queue.h"
#include "platform/clock.h"

namespace relaybird {

inline constexpr std::chrono::minutes kFirstRetry{1};
inline constexpr std::chrono::minutes kLongestRetry{60};
/// While there is no connection: short, so that little is late when there is one again.
inline constexpr std::chrono::minutes kLongestRetryOfConnection{5};
/// Quotas of a day and blocks of an account last for hours.
inline constexpr std::chrono::hours kRetryAfterLimit{4};
/// Longer than servers and their checks take to pass on what they have accepted.
inline constexpr std::chrono::minutes kRetryAfterNoAnswer{10};
/// So long after its answer got lost a message is sent again although it could not be found out
/// whether it has arrived. An outage of the server that could tell, or a password that somebody has
/// to correct, is over by then as a rule. After that it is worse if the message never leaves than
/// if it comes twice: the second one has the same Message-ID.
inline constexpr std::chrono::hours kLongestDoubt{24};

/// One thread. Messages are named by their files.
class DeliveryRetries {
 public:
  explicit DeliveryRetries(const Clock& clock) : clock_(clock) {}

  /// A series begins; it ends at once if the transport pauses.
  void beginSeries() { seriesEnded_ = !isDue(pause_); }
  /// Whether nothing more is to be tried in this series.
  bool seriesEnded() const { return seriesEnded_; }
  /// Whether it is not the message's turn: it was kept and is not due, or it is held.
  bool isHeldBack(const std::string& name) const;
  /// Whether the message was put off, due or not.
  bool wasPutOff(const std::string& name) const { return retries_.contains(name); }
  /// What was not tried yet goes first, then what was tried longest ago, if single messages have
  /// ended a series before it was the others' turn. Otherwise the order stays.
  void putTriedLast(std::vector<WaitingMessage>& messages) const;

  /// A message was not taken: it waits, and the series may end.
  void putOff(const std::string& name, const Outcome& outcome);
  /// The message was sent at that moment, and no answer is known. True if it has to wait, as if it
  /// had been put off then.
  bool waitForAnswer(const std::string& name, DateTime sent);
  /// What is done with a message of which it cannot be found out whether it has arrived.
  enum class Doubt { kWaits, kSentAllTheSame };
  /// With kWaits the message waits as if it had been refused. That says nothing about the
  /// transport, so the series goes on. Whether the user has yet to be told.
  bool doubt(const std::string& name, Doubt what);
  /// It was found out.
  void endDoubt(const std::string& name) { doubts_.erase(name); }
  /// Whether nobody would be served now, so that the message is not to blame. Asked once for each
  /// outcome, before putOff().
  bool concernsAll(const std::string& name, const Outcome& outcome);
  /// The message was refused itself. Returns for how long that has been so in this run. Of the time
  /// between two refusals no more than kLongestRetry counts: nobody may have tried it meanwhile, or
  /// the clock may have been set.
  std::chrono::microseconds blame(const std::string& name);
  /// The message waits until release(), as an address of it is stopped.
  void hold(const std::string& name) { held_.insert(name); }

  /// A message was taken, or a part of its recipients: the transport works.
  void taken();
  /// The message was refused for good, which says nothing about the others.
  void refused(const std::string& name);
  /// The message is no longer in the outbox.
  void drop(const std::string& name) {
    retries_.erase(name);
    doubts_.erase(name);
    blamed_.erase(name);
  }
  /// Drops what others have removed from the outbox.
  void keepOnly(const std::unordered_set<std::string>& names);
  /// Everything that is not held may be tried at once.
  void endWaits();
  /// Nothing is held any more.
  void release() { held_.clear(); }

  /// How many messages were put off.
  std::size_t count() const { return retries_.size(); }
  /// When the earliest of them is due again. With `othersWait` there are messages that were not
  /// put off: these are due as soon as the transport does not pause.
  std::optional<DateTime> next(bool othersWait) const;
  /// Whether the message is neither put off nor held.
  bool isUntried(const std::string& name) const {
    return !wasPutOff(name) && !held_.contains(name);
  }

 private:
  struct Retry {
    DateTime refused = kNoDate;
    std::chrono::minutes wait{0};
    DateTime due() const { return refused + wait; }
  };
  struct Blame {
    DateTime last = kNoDate;
    std::chrono::microseconds time{0};
  };
  bool isDue(const Retry& retry) const;
  void postpone(Retry& retry, std::chrono::minutes most) const;
  void pause(Retry& retry, const Outcome& outcome, std::chrono::minutes most);

  const Clock& clock_;
  std::map<std::string, Retry> retries_;
  Retry pause_;  ///< of the transport as a whole
  std::set<std::string> held_;
  std::map<std::string, Doubt> doubts_;  ///< as the user was told
  std::map<std::string, Blame> blamed_;
  int refusalsInRow_ = 0;
  bool othersFirst_ = false;  ///< single messages have ended a series before the others' turn
  std::string suspect_;       ///< the message whose answer held everything back
  bool accountHeld_ = false;  ///< another message got such an answer too
  bool seriesEnded_ = false;
};

}  // namespace relaybird
