// SPDX-License-Identifier: MIT
// Two threads share this object. The user-interface thread makes requests (flush, tryAgain), the
// executor's thread works through the outbox (work). Requests during a run are combined into one
// further run. The executor's thread posts notices and callbacks to the event queue; they are
// dropped if the worker is gone by then.
#include "outbox/delivery/delivery_worker.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <iterator>
#include <unordered_set>
#include <utility>

#include "outbox/delivery/outgoing_message.h"
#include "platform/text/character_kind.h"

namespace relaybird {

namespace {

constexpr std::size_t kMessageLimit = std::size_t{256} << 20;
// How often the folder is read for messages that others put there.
constexpr std::chrono::minutes kListAgain{1};
// After so many refusals in a row the transport is to blame, not the messages.
constexpr int kEnoughRefusals = 10;

}  // namespace

struct DeliveryWorker::CallBacks {
  std::function<void(StoreNotice)> notice;
};

DeliveryWorker::DeliveryWorker(Setting setting)
    : setting_(std::move(setting)),
      callBacks_(std::make_shared<CallBacks>()),
      limit_(setting_.files, setting_.clock, limitFile(setting_.outbox.folder()),
             setting_.mostPerHour) {
  callBacks_->notice = std::move(setting_.notice);
  publish();
}

std::string DeliveryWorker::limitFile(const std::string& outboxFolder) {
  return outboxFolder + "/recent-deliveries";
}

DeliveryWorker::~DeliveryWorker() {
  stop_.request_stop();
  std::unique_lock lock(mutex_);
  idle_.wait(lock, [this] { return !working_; });
}

void DeliveryWorker::flush(std::function<void()> done) {
  begin(std::move(done), false);
}

void DeliveryWorker::tryAgain(std::function<void()> done) {
  begin(std::move(done), true);
}

void DeliveryWorker::begin(std::function<void()> done, bool afresh) {
  if (!setting_.transport) {
    postDone({std::move(done)});
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    waiters_.push_back(std::move(done));
    wanted_ = true;
    afreshWanted_ = afreshWanted_ || afresh;
    if (std::exchange(working_, true)) {
      return;
    }
  }
  setting_.executor.run([this] { work(); });
}

DeliveryWorker::Counts DeliveryWorker::counts() const {
  const std::lock_guard lock(mutex_);
  return counts_;
}

std::optional<DateTime> DeliveryWorker::nextAttempt() const {
  const std::lock_guard lock(mutex_);
  return nextAttempt_;
}

void DeliveryWorker::work() {
  std::vector<std::function<void()>> waiters;
  while (nextTask(waiters)) {
    if (std::exchange(afresh_, false)) {
      startAfresh();
    }
    deliverWaiting();
    publish();
    postDone(std::exchange(waiters, {}));
  }
}

bool DeliveryWorker::nextTask(std::vector<std::function<void()>>& waiters) {
  const std::lock_guard lock(mutex_);
  if (wanted_ && !stop_.stop_requested()) {
    wanted_ = false;
    afresh_ = std::exchange(afreshWanted_, false);
    waiters = std::exchange(waiters_, {});
    return true;
  }
  working_ = false;
  idle_.notify_all();  // under the lock: the object may be destroyed once it is released
  return false;
}

// Also reads the folder again: the user may just have put a message back.
void DeliveryWorker::startAfresh() {
  retries_.clear();
  pause_ = {};
  refusalsInRow_ = 0;
  held_.clear();
  listed_ = kNoDate;
  for (const std::string& address : limit_.stopped()) {
    say("Mail may leave again for " + address);
  }
  limit_.lift();
}

void DeliveryWorker::deliverWaiting() {
  collect();
  seriesEnded_ = !isDue(pause_);
  if (untriedFirst_) {
    std::stable_partition(known_.begin(), known_.end(), [this](const WaitingMessage& message) {
      return !retries_.contains(message.name);
    });
  }
  std::vector<WaitingMessage> left;
  for (WaitingMessage& message : known_) {
    const bool tried = !seriesEnded_ && !stop_.stop_requested();
    if (!tried || deliverOne(message) == Fate::kKept) {
      left.push_back(std::move(message));
    }
  }
  known_ = std::move(left);
  if (auto finished = setting_.outbox.finishDeliveries(); !finished) {
    say("The outbox could not be brought up to date: " + finished.error().text);
  }
}

void DeliveryWorker::collect() {
  auto arrivals = setting_.outbox.takeArrivals();
  const DateTime now = setting_.clock.now();
  const bool recent = listed_ <= now && now < listed_ + kListAgain;
  if (arrivals && recent) {
    std::move(arrivals->begin(), arrivals->end(), std::back_inserter(known_));
    return;
  }
  auto listed = setting_.outbox.waiting();
  listingFailed_ = false;
  if (!listed) {
    say("The outbox cannot be read: " + listed.error().text);
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
  std::erase_if(retries_, [&](const auto& item) { return !names.contains(item.first); });
  std::erase_if(held_, [&](const std::string& name) { return !names.contains(name); });
}

DeliveryWorker::Fate DeliveryWorker::deliverOne(const WaitingMessage& message) {
  const auto retry = retries_.find(message.name);
  if (retry != retries_.end() && !isDue(retry->second)) {
    return Fate::kKept;
  }
  if (held_.contains(message.name)) {
    return Fate::kKept;
  }
  const auto claim = setting_.outbox.claim(message.name);
  if (!claim) {
    return Fate::kGone;  // another delivery has it, or had it
  }
  auto bytes = readFile(setting_.files, setting_.outbox.pathOf(*claim), kMessageLimit + 1);
  if (bytes) {
    return handOver(*claim, message, std::move(*bytes));
  }
  if (bytes.error().code == ENOENT) {
    retries_.erase(message.name);
    return Fate::kGone;
  }
  return kept(message, message.name, {Outcome::Kind::kTemporary, bytes.error().text, false});
}

DeliveryWorker::Fate DeliveryWorker::handOver(const Outbox::Claim& claim,
                                              const WaitingMessage& message, std::string bytes) {
  const std::string title = messageSubject(bytes);
  if (bytes.size() > kMessageLimit) {
    return refused(claim, message, title, "The message is too large");
  }
  const auto outgoing = prepareMessage(std::move(bytes));
  if (!outgoing) {
    return refused(claim, message, title, outgoing.error().text);
  }
  if (mustWait(message, *outgoing)) {
    return Fate::kKept;
  }
  const Outcome outcome = setting_.transport->deliver(*outgoing, stop_.get_token());
  if (outcome.kind == Outcome::Kind::kDelivered) {
    // The hand-over is recorded first: the count may get lost, that record may not.
    const Fate fate = taken(claim, title);
    limit_.count(outgoing->envelope.recipients);
    return fate;
  }
  if (outcome.kind == Outcome::Kind::kCancelled) {
    return Fate::kKept;
  }
  if (outcome.kind == Outcome::Kind::kPermanent) {
    return refused(claim, message, title, outcome.words);
  }
  if (setting_.clock.now() - message.modified < kGiveUpAfter) {
    return kept(message, title, outcome);
  }
  return refused(claim, message, title, outcome.words + "\nGiven up after five days.");
}

bool DeliveryWorker::mustWait(const WaitingMessage& message, const OutgoingMessage& outgoing) {
  const HourlyLimit::Verdict verdict = limit_.ask(outgoing.envelope.recipients);
  for (const std::string& address : verdict.stoppedNow) {
    tellStopped(address);
  }
  if (verdict.waitsFor.empty()) {
    return false;
  }
  held_.insert(message.name);
  say("Waits because " + verdict.waitsFor + " is stopped: \"" + outgoing.subject + "\"");
  return true;
}

void DeliveryWorker::tellStopped(const std::string& address) {
  publish();
  say({"Stopped forwarding to " + address + ": " + std::to_string(limit_.most()) +
           " messages have left for it within an hour, which is the most that the settings allow. "
           "What is for it waits in " +
           setting_.outbox.folder() + " until you choose Try Again Now (in the console: retry)",
       StoreNotice::Kind::kStopped});
}

DeliveryWorker::Fate DeliveryWorker::taken(const Outbox::Claim& claim, const std::string& title) {
  retries_.erase(claim.name());
  pause_ = {};
  refusalsInRow_ = 0;
  {
    const std::lock_guard lock(mutex_);
    ++counts_.left;
    counts_.kept = retries_.size();
  }
  say("Handed over for delivery: \"" + title + "\"");
  if (auto noted = setting_.outbox.delivered(claim); !noted) {
    say("It could not be taken out of the outbox: " + noted.error().text);
  }
  return Fate::kGone;
}

DeliveryWorker::Fate DeliveryWorker::refused(const Outbox::Claim& claim,
                                             const WaitingMessage& message,
                                             const std::string& title, const std::string& words) {
  refusalsInRow_ = 0;
  auto moved = setting_.outbox.refuse(claim, linesWithCodes(words));
  if (!moved) {
    return kept(message, title,
                {Outcome::Kind::kTemporary, words + "; " + moved.error().text, false});
  }
  retries_.erase(claim.name());
  {
    const std::lock_guard lock(mutex_);
    ++counts_.refused;
    counts_.kept = retries_.size();
  }
  say({"Refused for good: \"" + title + "\": " + oneLine(words) + ". It is now in " +
           setting_.outbox.folder() + "/failed",
       StoreNotice::Kind::kRefused});
  return Fate::kGone;
}

DeliveryWorker::Fate DeliveryWorker::kept(const WaitingMessage& message, const std::string& title,
                                          const Outcome& outcome) {
  postpone(retries_[message.name]);
  if (outcome.everything || ++refusalsInRow_ >= kEnoughRefusals) {
    // Otherwise the same messages would end every series before the later ones are tried.
    untriedFirst_ = !outcome.everything;
    postpone(pause_);
    refusalsInRow_ = 0;
    seriesEnded_ = true;
  }
  {
    const std::lock_guard lock(mutex_);
    counts_.kept = retries_.size();
  }
  say("Kept for a later try: \"" + oneLine(title) + "\": " + oneLine(outcome.words));
  return Fate::kKept;
}

// A clock that was set back must not prolong the waiting time.
bool DeliveryWorker::isDue(const Retry& retry) const {
  const DateTime now = setting_.clock.now();
  return retry.wait.count() == 0 || now >= retry.due() || now < retry.refused;
}

void DeliveryWorker::postpone(Retry& retry) const {
  retry.refused = setting_.clock.now();
  retry.wait = std::clamp(2 * retry.wait, kFirstRetry, kLongestRetry);
}

void DeliveryWorker::publish() {
  std::optional<DateTime> next;
  for (const auto& [name, retry] : retries_) {
    if (!next || retry.due() < *next) {
      next = retry.due();
    }
  }
  if (next && pause_.wait.count() > 0) {
    next = std::max(*next, pause_.due());
  }
  if (!next && listingFailed_) {
    next = setting_.clock.now() + kListAgain;
  }
  const std::lock_guard lock(mutex_);
  nextAttempt_ = next;
  counts_.kept = retries_.size();
  counts_.stopped.assign(limit_.stopped().begin(), limit_.stopped().end());
}

void DeliveryWorker::say(StoreNotice notice) {
  notice.time = setting_.clock.now();
  setting_.events.post([to = std::weak_ptr(callBacks_), notice = std::move(notice)] {
    const auto callBacks = to.lock();
    if (callBacks && callBacks->notice) {
      callBacks->notice(notice);
    }
  });
}

void DeliveryWorker::postDone(std::vector<std::function<void()>> waiters) {
  for (auto& done : waiters) {
    if (!done) {
      continue;
    }
    setting_.events.post([to = std::weak_ptr(callBacks_), done = std::move(done)] {
      if (to.lock()) {
        done();
      }
    });
  }
}

}  // namespace relaybird
