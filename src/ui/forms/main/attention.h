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

/// Makes one notification of each cause, however many events it has: the next one of the same cause
/// comes only after the cause has gone away in between, or forwarding was switched on anew. Refused
/// messages, whose cause is never seen to go away, make one a day at most. While the user looks at
/// the program, the windows tell it all. Keeps besides since when checks have failed.
class Attention : public Alerts {
 public:
  /// Checks that have failed, the last one included.
  struct Failure {
    std::string since;  ///< date and time of the first one in a row
    std::string words;  ///< of the last one
  };

  /// Both must outlive it. `onFailure` is called whenever failure() has changed, and must run no
  /// events.
  Attention(Notifications& notifications, const Clock& clock, std::function<void()> onFailure)
      : notifications_(notifications), clock_(clock), onFailure_(std::move(onFailure)) {}

  /// None where the last check succeeded, and before the first one.
  const std::optional<Failure>& failure() const { return failure_; }

  void checkFailed(const std::string& words) override;
  void checkCompleted() override;
  void forwardRefused(const std::string& words) override;
  void addressStopped(const std::string& words) override;
  void maximumReached() override;

  /// The user has let stopped addresses go on.
  void addressesGoOn();
  /// Forwarding was switched on: what comes now is news again.
  void startAnew();

 private:
  void tell(const Notification& notification);
  void over(const std::string& cause);

  Notifications& notifications_;
  const Clock& clock_;
  std::function<void()> onFailure_;
  std::map<std::string, DateTime> told_;  ///< when, by cause
  int failedChecks_ = 0;                  ///< in a row, since forwarding was switched on
  std::optional<Failure> failure_;
};

}  // namespace relaybird
