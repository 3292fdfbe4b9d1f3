// SPDX-License-Identifier: MIT
// Two threads share this object. The user-interface thread makes requests (flush, tryAgain), the
// executor's thread works through the outbox (work). Requests during a run are combined into one
// further run. The executor's thread posts notices and callbacks to the event queue; they are
// dropped if the worker is gone by then.
#include "outbox/delivery/delivery_worker.h"

#include <algorithm>
#include <iterator>
#include <unordered_set>
#include <utility>

#include "outbox/delivery/delivery_series.h"

namespace relaybird {

namespace {

// How often the folder is read for messages that others put there.
constexpr std::chrono::minutes kListAgain{1};

}  // namespace

DeliveryWorker::DeliveryWorker(Setting setting)
    : setting_(std::move(setting)),
      retries_(setting_.clock),
      limit_(setting_.files, setting_.clock, limitFile(setting_.outbox.folder()),
             setting_.mostPerHour),
      reports_(setting_.clock, setting_.events, std::move(setting_.notice),
               setting_.outbox.folder()) {
  publish();
}

std::string DeliveryWorker::limitFile(const std::string& outboxFolder) {
  return joinPath(outboxFolder, "recent-deliveries");
}

DeliveryWorker::~DeliveryWorker() {
  stop_.request_stop();
  std::unique_lock lock(mutex_);
  idle_.wait(lock, [this] { return !working_; });
}

bool DeliveryWorker::stop(std::function<void()> stopped) {
  stop_.request_stop();
  const std::lock_guard lock(mutex_);
  if (!working_) {
    return true;
  }
  stopped_ = std::move(stopped);
  return false;
}

void DeliveryWorker::flush(std::function<void()> done) {
  begin(std::move(done), Afresh::kNothing);
}

void DeliveryWorker::tryAgain(std::function<void()> done) {
  begin(std::move(done), Afresh::kWaitsAndStops);
}

void DeliveryWorker::userAsks() {
  begin({}, Afresh::kWaits);
}

void DeliveryWorker::begin(std::function<void()> done, Afresh afresh) {
  if (!setting_.transport) {
    // Nothing leaves this program, so there is nothing to wait for.
    reports_.post({std::move(done)});
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    waiters_.push_back(std::move(done));
    wanted_ = true;
    afreshWanted_ = std::max(afreshWanted_, afresh);
    // A run that is under way takes the request as its next round.
    if (std::exchange(working_, true)) {
      setting_.transport->wake();
      return;
    }
  }
  setting_.executor.run([this] { work(); });
}

std::optional<DateTime> DeliveryWorker::nextAttempt() const {
  const DateTime now = setting_.clock.now();
  const std::lock_guard lock(mutex_);
  // A clock that was set back must not prolong the waiting time.
  return nextAttempt_ && now < published_ ? now : nextAttempt_;
}

void DeliveryWorker::work() {
  while (nextTask()) {
    if (const Afresh afresh = std::exchange(afresh_, Afresh::kNothing);
        afresh != Afresh::kNothing) {
      startAfresh(afresh);
    }
    deliverWaiting();
    publish();
    // After publish(), so that those who are called see the new counts.
    reports_.post(std::exchange(served_, {}));
  }
}

bool DeliveryWorker::nextTask() {
  const std::lock_guard lock(mutex_);
  if (wanted_ && !stop_.stop_requested()) {
    wanted_ = false;
    afresh_ = std::exchange(afreshWanted_, Afresh::kNothing);
    served_ = std::exchange(waiters_, {});
    return true;
  }
  working_ = false;
  reports_.post({std::exchange(stopped_, {})});
  idle_.notify_all();  // under the lock: the object may be destroyed once it is released
  return false;
}

// The series has tried everything that it knows. Those who asked for that before it looked for
// messages the last time have what they asked for. It takes over who has asked since then, and
// looks once more.
MessageFeed::Rest DeliveryWorker::rest() {
  const auto waits = [](const std::function<void()>& done) { return static_cast<bool>(done); };
  if (std::any_of(served_.begin(), served_.end(), waits)) {
    finishDeliveries();
    publish();
    reports_.post(std::exchange(served_, {}));
  }
  served_.clear();
  const std::lock_guard lock(mutex_);
  if (afreshWanted_ != Afresh::kNothing || stop_.stop_requested() || !listedLately()) {
    return MessageFeed::Rest::kEnd;
  }
  if (!std::exchange(wanted_, false)) {
    return MessageFeed::Rest::kWait;
  }
  served_ = std::exchange(waiters_, {});
  return MessageFeed::Rest::kAskAgain;
}

// Also reads the folder again: the user may just have put a message back.
void DeliveryWorker::startAfresh(Afresh afresh) {
  setting_.transport->tryAgain();
  retries_.endWaits();
  reports_.forgetWhatWasTold();
  listed_ = kNoDate;
  if (afresh != Afresh::kWaitsAndStops) {
    return;
  }
  retries_.release();
  for (const std::string& address : limit_.stopped()) {
    reports_.say("Mail may leave again for " + address);
  }
  limit_.lift();
}

void DeliveryWorker::deliverWaiting() {
  collect();
  retries_.beginSeries();
  retries_.putTriedLast(known_);
  if (!retries_.seriesEnded()) {
    const DeliveryParts parts{setting_.files, setting_.clock, setting_.outbox.queue(),
                              retries_,       limit_,         reports_};
    DeliverySeries series(parts, *setting_.transport, stop_.get_token(), std::move(known_),
                          [this] { return rest(); });
    setting_.transport->deliverAll(series, stop_.get_token());
    known_ = series.whatIsLeft();
  }
  finishDeliveries();
}

void DeliveryWorker::finishDeliveries() {
  const auto finished = setting_.outbox.queue().finishDeliveries();
  const std::string trouble = finished ? "" : finished.error().text;
  // What is not done is tried again with the next series, for as long as the disk refuses.
  if (std::exchange(outOfDate_, trouble) != trouble && !finished) {
    reports_.say("The outbox could not be brought up to date: " + trouble);
  }
}

bool DeliveryWorker::listedLately() const {
  const DateTime now = setting_.clock.now();
  // A clock that was set back does not make the last reading recent.
  return listed_ <= now && now < listed_ + kListAgain;
}

void DeliveryWorker::collect() {
  auto arrivals = setting_.outbox.queue().takeArrivals();
  const DateTime now = setting_.clock.now();
  if (arrivals && listedLately()) {
    std::move(arrivals->begin(), arrivals->end(), std::back_inserter(known_));
    return;
  }
  auto listed = setting_.outbox.queue().waiting();
  listingFailed_ = false;
  if (!listed) {
    reports_.say("The outbox cannot be read: " + listed.error().text);
    // The arrivals can be delivered nevertheless, and the listing is tried again.
    if (arrivals) {
      std::move(arrivals->begin(), arrivals->end(), std::back_inserter(known_));
    }
    listingFailed_ = true;
    return;
  }
  known_ = std::move(*listed);
  listed_ = now;
  std::unordered_set<std::string> names;
  for (const WaitingMessage& message : known_) {
    names.insert(message.name);
  }
  retries_.keepOnly(names);
}

void DeliveryWorker::publish() {
  const bool othersWait = std::any_of(
      known_.begin(), known_.end(),
      [this](const WaitingMessage& message) { return retries_.isUntried(message.name); });
  std::optional<DateTime> next = retries_.next(othersWait);
  if (!next && listingFailed_) {
    next = setting_.clock.now() + kListAgain;
  }
  reports_.setKept(retries_.count());
  reports_.setStopped(limit_.stopped());
  const std::lock_guard lock(mutex_);
  nextAttempt_ = next;
  published_ = setting_.clock.now();
}

}  // namespace relaybird
