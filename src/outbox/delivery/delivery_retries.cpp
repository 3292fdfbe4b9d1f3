// SPDX-License-Identifier: MIT
// A refusal is one of three kinds: of one message, of everything, or of one message in words that
// may mean everything. The third kind makes the rules here: it must neither let one odd message
// hold up all mail for hours, nor move mail to failed/ that an exhausted account could not send.
#include "outbox/delivery/delivery_retries.h"

#include <algorithm>
#include <utility>

namespace relaybird {

namespace {

// After so many refusals in a row the transport is to blame, not the messages.
constexpr int kEnoughRefusals = 10;

// Whether the server has answered so to one message, and may answer others in another way.
bool cameFromOne(const Outcome& outcome) {
  return outcome.everything &&
         (outcome.cause == Outcome::Cause::kMessage || outcome.cause == Outcome::Cause::kLimit);
}

bool isLimit(const Outcome& outcome) {
  return outcome.everything && outcome.cause == Outcome::Cause::kLimit;
}

}  // namespace

bool DeliveryRetries::isHeldBack(const std::string& name) const {
  const auto retry = retries_.find(name);
  return (retry != retries_.end() && !isDue(retry->second)) || held_.contains(name);
}

// Otherwise the messages that end a series would end each one, and the rest would never be tried.
void DeliveryRetries::putTriedLast(std::vector<WaitingMessage>& messages) const {
  if (!othersFirst_) {
    return;
  }
  const auto tried = [this](const WaitingMessage& message) {
    const auto retry = retries_.find(message.name);
    return retry == retries_.end() ? std::optional<DateTime>() : retry->second.refused;
  };
  std::stable_sort(messages.begin(), messages.end(),
                   [&](const WaitingMessage& one, const WaitingMessage& other) {
                     return tried(one) < tried(other);
                   });
}

void DeliveryRetries::putOff(const std::string& name, const Outcome& outcome) {
  Retry& retry = retries_[name];
  const bool cut = outcome.everything && outcome.cause == Outcome::Cause::kConnection;
  const std::chrono::minutes most = cut ? kLongestRetryOfConnection : kLongestRetry;
  postpone(retry, most);
  if (outcome.kind == Outcome::Kind::kUnknown) {
    retry.wait = std::max(retry.wait, kRetryAfterNoAnswer);
  }
  if (outcome.everything || ++refusalsInRow_ >= kEnoughRefusals) {
    pause(retry, outcome, most);
  }
}

std::chrono::microseconds DeliveryRetries::blame(const std::string& name) {
  const DateTime now = clock_.now();
  Blame& blame = blamed_.try_emplace(name, Blame{.last = now}).first->second;
  blame.time += std::clamp<std::chrono::microseconds>(now - blame.last, {}, kLongestRetry);
  blame.last = now;
  return blame.time;
}

bool DeliveryRetries::doubt(const std::string& name, Doubt what) {
  if (what == Doubt::kWaits) {
    postpone(retries_[name], kLongestRetry);
  }
  const auto [told, isNew] = doubts_.emplace(name, what);
  return std::exchange(told->second, what) != what || isNew;
}

// `retry` is the message's that the outcome was for.
void DeliveryRetries::pause(Retry& retry, const Outcome& outcome, std::chrono::minutes most) {
  othersFirst_ = othersFirst_ || !outcome.everything || cameFromOne(outcome);
  if (cameFromOne(outcome) && !accountHeld_) {
    // Soon the next message shows whether the account is meant.
    pause_ = {};
    postpone(pause_, most);
    retry.wait = isLimit(outcome) ? kLongestRetry : retry.wait;
  } else {
    postpone(pause_, most);
    pause_.wait = isLimit(outcome) ? kRetryAfterLimit : pause_.wait;
  }
  refusalsInRow_ = 0;
  seriesEnded_ = true;
}

bool DeliveryRetries::waitForAnswer(const std::string& name, DateTime sent) {
  const Retry retry{.refused = sent, .wait = kRetryAfterNoAnswer};
  return !isDue(retry) && retries_.emplace(name, retry).second;
}

// A limit of the account shows in the answers for two messages with no success between them; one
// alone may have another meaning.
bool DeliveryRetries::concernsAll(const std::string& name, const Outcome& outcome) {
  if (!cameFromOne(outcome)) {
    return outcome.everything;
  }
  if (suspect_.empty()) {
    suspect_ = name;
  }
  accountHeld_ = accountHeld_ || suspect_ != name;
  return accountHeld_;
}

void DeliveryRetries::taken() {
  pause_ = {};
  refusalsInRow_ = 0;
  suspect_.clear();
  accountHeld_ = false;
}

void DeliveryRetries::refused(const std::string& name) {
  refusalsInRow_ = 0;
  if (suspect_ == name) {
    suspect_.clear();
  }
}

void DeliveryRetries::keepOnly(const std::unordered_set<std::string>& names) {
  std::erase_if(retries_, [&](const auto& item) { return !names.contains(item.first); });
  std::erase_if(doubts_, [&](const auto& item) { return !names.contains(item.first); });
  std::erase_if(blamed_, [&](const auto& item) { return !names.contains(item.first); });
  std::erase_if(held_, [&](const std::string& name) { return !names.contains(name); });
}

void DeliveryRetries::endWaits() {
  taken();
  retries_.clear();
  doubts_.clear();
  othersFirst_ = false;
}

std::optional<DateTime> DeliveryRetries::next(bool othersWait) const {
  // One message may wait for an hour, while the pause for all others is a minute.
  if (othersWait && pause_.wait.count() > 0) {
    return pause_.due();
  }
  std::optional<DateTime> next;
  for (const auto& [name, retry] : retries_) {
    if (!next || retry.due() < *next) {
      next = retry.due();
    }
  }
  if (next && pause_.wait.count() > 0) {
    next = std::max(*next, pause_.due());
  }
  return next;
}

// A clock that was set back must not prolong the waiting time.
bool DeliveryRetries::isDue(const Retry& retry) const {
  const DateTime now = clock_.now();
  return retry.wait.count() == 0 || now >= retry.due() || now < retry.refused;
}

void DeliveryRetries::postpone(Retry& retry, std::chrono::minutes most) const {
  retry.refused = clock_.now();
  retry.wait = std::clamp(2 * retry.wait, kFirstRetry, most);
}

}  // namespace relaybird
