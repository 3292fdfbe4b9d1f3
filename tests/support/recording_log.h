// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "engine/engine_world.h"
#include "platform/clock.h"

namespace relaybird {

/// Keeps the lines in the order of the calls. Verbose lines are kept, as the log lists them, while
/// `verboseOn` is set; their time stamp needs the clock and is left out without one.
class RecordingLog : public ActivityLog {
 public:
  explicit RecordingLog(const Clock* clock = nullptr) : clock_(clock) {}

  void AddToLog(const std::string& text) override { record(text); }
  void AddToLogV(const std::string& text) override {
    if (verboseOn) {
      record((clock_ ? clock_->toText(clock_->now()) : "") + " [v]-->" + text);
    }
  }
  bool verbose() const override { return verboseOn; }

  std::vector<std::string> lines;
  bool verboseOn = false;
  /// Told of every line too, to keep one record of several fakes.
  std::function<void(const std::string&)> onLine;

 private:
  void record(const std::string& line) {
    lines.push_back(line);
    if (onLine) {
      onLine(line);
    }
  }

  const Clock* clock_;
};

class RecordingTrace : public TraceLog {
 public:
  void trace(const std::string& text) override { lines.push_back(text); }

  std::vector<std::string> lines;
};

}  // namespace relaybird
