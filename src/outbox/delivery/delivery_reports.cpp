// SPDX-License-Identifier: MIT
#include "outbox/delivery/delivery_reports.h"

#include <utility>

#include "outbox/delivery/outgoing_message.h"
#include "platform/paths.h"

namespace relaybird {

// Shared with the posted events, which may run after this object has gone: the queue belongs to the
// program, and a store can be closed while it is full.
struct DeliveryReports::CallBacks {
  std::function<void(StoreNotice)> notice;
};

DeliveryReports::DeliveryReports(const Clock& clock, EventQueue& events,
                                 std::function<void(StoreNotice)> notice, std::string folder)
    : clock_(clock),
      events_(events),
      callBacks_(std::make_shared<CallBacks>()),
      folder_(std::move(folder)) {
  callBacks_->notice = std::move(notice);
}

void DeliveryReports::say(StoreNotice notice) {
  notice.time = clock_.now();
  events_.post([to = std::weak_ptr(callBacks_), notice = std::move(notice)] {
    const auto callBacks = to.lock();
    if (callBacks && callBacks->notice) {
      callBacks->notice(notice);
    }
  });
}

void DeliveryReports::post(std::vector<std::function<void()>> calls) {
  for (auto& call : calls) {
    if (!call) {
      continue;
    }
    events_.post([to = std::weak_ptr(callBacks_), call = std::move(call)] {
      if (to.lock()) {
        call();
      }
    });
  }
}

void DeliveryReports::left(const std::string& title, std::size_t taken, std::size_t named) {
  // The server works again: the next outage is news, even if its reason is the same.
  toldOfAll_.clear();
  {
    const std::lock_guard lock(mutex_);
    ++counts_.left;
  }
  const std::string who = taken == named ? ""
                                         : " to " + std::to_string(taken) + " of " +
                                               std::to_string(named) + " recipients";
  say("Handed over for delivery" + who + ": \"" + title + "\"");
}

// The place is named, as what was refused is not sent by anybody else: the user has to look at it.
void DeliveryReports::refused(const std::string& title, const std::vector<std::string>& recipients,
                              const std::string& words) {
  {
    const std::lock_guard lock(mutex_);
    ++counts_.refused;
  }
  std::string whom;
  for (const std::string& address : recipients) {
    whom += (whom.empty() ? " for " : ", ") + address;
  }
  say({"Refused for good" + whom + ": \"" + title + "\": " + oneLine(words) + ". It is now in " +
           joinPath(folder_, "failed"),
       StoreNotice::Kind::kRefused});
}

void DeliveryReports::kept(const std::string& title, const Outcome& outcome) {
  // Servers put numbers of the session into their words, so these differ at every try.
  const std::string& reason = outcome.code.empty() ? outcome.words : outcome.code;
  if (outcome.everything && std::exchange(toldOfAll_, reason) == reason) {
    return;
  }
  const bool unknown = outcome.kind == Outcome::Kind::kUnknown;
  // A title can be a file name, which anybody may have chosen.
  say((unknown ? "Sent, but no answer came, so it may have arrived; kept for a later try under the "
                 "same Message-ID: \""
               : "Kept for a later try: \"") +
      oneLine(title) + "\": " + oneLine(outcome.words));
}

void DeliveryReports::stopped(const std::string& address, std::size_t most) {
  say({"Stopped forwarding to " + address + ": " + std::to_string(most) +
           " messages have left for it within an hour, which is the most that the settings allow. "
           "What is for it waits in " +
           folder_ + " until you choose Try Again Now (in the console: retry)",
       StoreNotice::Kind::kStopped});
}

void DeliveryReports::sayIfFailed(const Result<void>& recorded) {
  if (!recorded) {
    say("What was handed over could not be taken out of the outbox: " + recorded.error().text);
  }
}

DeliveryCounts DeliveryReports::counts() const {
  const std::lock_guard lock(mutex_);
  return counts_;
}

void DeliveryReports::setKept(std::size_t kept) {
  const std::lock_guard lock(mutex_);
  counts_.kept = kept;
}

void DeliveryReports::setStopped(const std::set<std::string>& addresses) {
  const std::lock_guard lock(mutex_);
  counts_.stopped.assign(addresses.begin(), addresses.end());
}

}  // namespace relaybird
