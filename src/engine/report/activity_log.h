// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/system/trace_log.h"

namespace relaybird {

/// The log that the user reads. Never fails towards its caller.
class ActivityLog {
 public:
  virtual ~ActivityLog() = default;
  /// Lists a line as given; callers put their own time stamp into it.
  virtual void AddToLog(const std::string& text) = 0;
  /// Lists the current date and time, " [v]-->" and the text, while the verbose switch is on.
  virtual void AddToLogV(const std::string& text) = 0;
  /// Whether AddToLogV lists anything, so that a caller in a loop need not build its text.
  virtual bool verbose() const = 0;
};

}  // namespace relaybird
