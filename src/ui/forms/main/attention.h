// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>

#include "engine/report/alerts.h"
#include "platform/clock.h"
#include "ui/forms/form_world.h"

namespace relaybird {

/// Makes one notification of each cause, however many events it has: the next one of the same cause
/// comes only after the cause has gone away in between, or forwarding was switched on anew. Refused
/// messages, whose cause is never seen to go away, make one a day at most. While the user looks at
/// the program, the windows tell it all.
class Attention : public Alerts {
 public:
  /// Both must outlive it.
  Attention(Notifications& notifications, const Clock& clock)
      : notifications_(notifications), clock_(clock) {}

  void checkFailed(const std::string& words) override;
  void mailboxReached() override;
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
  std::map<std::string, DateTime> told_;  ///< when, by cause
  int failedChecks_ = 0;                  ///< in a row
};

}  // namespace relaybird
