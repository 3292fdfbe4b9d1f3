// SPDX-License-Identifier: MIT
// The engine's window in a program that has none: log lines go to standard output as they happen.
#pragma once

#include <functional>
#include <ostream>
#include <string>

#include "engine/report/activity_log_model.h"
#include "engine/report/engine_display.h"

namespace relaybird {

class CheckConsole : public EngineDisplay, public ActivityLogView {
 public:
  /// `out` must outlive it. `pending` runs the events that wait.
  CheckConsole(std::ostream& out, std::function<void()> pending);

  void lblCurrentActions(const std::string&) override {}
  std::string txtNumberForwarded() const override { return forwarded_; }
  void txtNumberForwarded(const std::string& text) override { forwarded_ = text; }
  void txtMinToNextFwd(const std::string&) override {}
  void cmdForwardNow(bool) override {}
  void repaint() override {}
  void processPendingEvents() override { pending_(); }

  /// A column is as wide as another; nothing here scrolls sideways.
  std::int32_t textWidth(const std::string& text) override;
  void lineAdded(const std::string& line, std::int32_t widest) override;
  void cleared() override {}

 private:
  std::ostream& out_;
  std::function<void()> pending_;
  std::string forwarded_ = "0";
};

}  // namespace relaybird
