// SPDX-License-Identifier: MIT
// Fakes that record what the engine reports: the display, the log, the alerts and the trace.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "engine/engine_world.h"
#include "platform/clock.h"

namespace relaybird {

/// Keeps the fields as a window would, and every change in the order of the calls: "status: TEXT",
/// "forwarded: TEXT", "minutes: TEXT", "forward now: on", "forward now: off", "repaint", "events".
class RecordingDisplay : public EngineDisplay {
 public:
  void lblCurrentActions(const std::string& text) override {
    status = text;
    statuses.push_back(text);
    record("status: " + text);
  }
  std::string txtNumberForwarded() const override { return forwarded; }
  void txtNumberForwarded(const std::string& text) override {
    forwarded = text;
    record("forwarded: " + text);
  }
  void txtMinToNextFwd(const std::string& text) override {
    minutes = text;
    record("minutes: " + text);
  }
  void cmdForwardNow(bool enabled) override {
    forwardNow = enabled;
    record(enabled ? "forward now: on" : "forward now: off");
  }
  void repaint() override { record("repaint"); }
  void processPendingEvents() override {
    record("events");
    if (onProcessPendingEvents) {
      onProcessPendingEvents();
    }
  }

  std::vector<std::string> calls;
  std::vector<std::string> statuses;  ///< every text the status line has shown
  std::string status;
  std::string forwarded = "0";
  std::string minutes;
  bool forwardNow = true;

  /// Runs pending events, e.g. a FakeEventQueue's runPending.
  std::function<void()> onProcessPendingEvents;
  /// Called for every call too, to keep one record of several fakes.
  std::function<void(const std::string&)> onCall;

 private:
  void record(const std::string& call) {
    calls.push_back(call);
    if (onCall) {
      onCall(call);
    }
  }
};

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
  /// Called for every line too, to keep one record of several fakes.
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

/// Keeps one line for each alert, in the order of the calls.
class RecordingAlerts : public Alerts {
 public:
  void checkFailed(const std::string& words) override { lines.push_back("failed: " + words); }
  void checkCompleted() override { lines.push_back("completed"); }
  void forwardRefused(const std::string& words) override { lines.push_back("refused: " + words); }
  void addressStopped(const std::string& words) override { lines.push_back("stopped: " + words); }
  void maximumReached() override { lines.push_back("maximum"); }

  std::vector<std::string> lines;
};

}  // namespace relaybird
