// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "engine/engine_world.h"

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

  /// What waits to be run, e.g. a FakeEventQueue's runPending.
  std::function<void()> onProcessPendingEvents;
  /// Told of every call too, to keep one record of several fakes.
  std::function<void(const std::string&)> onCall;

 private:
  void record(const std::string& call) {
    calls.push_back(call);
    if (onCall) {
      onCall(call);
    }
  }
};

}  // namespace relaybird
