// SPDX-License-Identifier: MIT
// What the forwarding engine shows while it works: the few fields of the main window that it reads
// and writes. Front ends implement it over their window; all calls come on the user-interface
// thread.
#pragma once

#include <string>

namespace relaybird {

class EngineDisplay {
 public:
  virtual ~EngineDisplay() = default;

  /// The status line.
  virtual void lblCurrentActions(const std::string& text) = 0;
  /// The running count of forwards, as the text that stands in the field.
  virtual std::string txtNumberForwarded() const = 0;
  virtual void txtNumberForwarded(const std::string& text) = 0;
  /// Minutes to the next check.
  virtual void txtMinToNextFwd(const std::string& text) = 0;
  /// Whether the test-cycle command can be used.
  virtual void cmdForwardNow(bool enabled) = 0;

  /// Draws what has changed at once, also in the middle of long work.
  virtual void repaint() = 0;
  /// Lets events that already wait run before the caller goes on.
  virtual void processPendingEvents() = 0;
};

}  // namespace relaybird
