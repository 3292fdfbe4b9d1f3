// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "engine/engine_world.h"
#include "platform/clock.h"
#include "ui/forms/form_world.h"

namespace relaybird {

/// Turns the engine's alerts into notifications, one for each cause: the next one of the same cause
/// comes only after the cause has disappeared or forwarding was switched on again. Refused
/// messages, whose cause never disappears, make at most one a day. While the user looks at the
/// program there are none, since the windows show everything. Also records since when checks have
/// failed.
class Attention : public Alerts {
 public:
  /// A series of failed checks that includes the last check.
  struct Failure {
    std::string since;  ///< date and time of the first failure
    std::string words;  ///< error text of the last failure
  };

  /// Both must outlive it. `onFailure` is called whenever failure() has changed; it must not run
  /// events.
  Attention(Notifications& notifications, const Clock& clock, std::function<void()> onFailure)
      : notifications_(notifications), clock_(clock), onFailure_(std::move(onFailure)) {}

  /// Empty before the first check and after one that succeeded.
  const std::optional<Failure>& failure() const { return failure_; }

  void checkFailed(const std::string& words) override;
  void checkCompleted() override;
  void forwardRefused(const std::string& words) override;
  void addressStopped(const std::string& words) override;
  void maximumReached() override;

  /// The user has released the stopped addresses.
  void addressesGoOn();
  /// Forwarding was switched on: every cause may be notified again.
  void startAnew();

 private:
  void notify(const Notification& notification);
  void causeEnded(const std::string& cause);

  Notifications& notifications_;
  const Clock& clock_;
  std::function<void()> onFailure_;
  std::map<std::string, DateTime> notified_;  ///< time of the notification, by cause
  int failedChecks_ = 0;                      ///< in a row, since forwarding was switched on
  std::optional<Failure> failure_;
};

}  // namespace relaybird
