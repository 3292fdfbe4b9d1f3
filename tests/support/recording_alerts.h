// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "engine/engine_world.h"

namespace relaybird {

/// Keeps what it was told, a line each, in the order of the calls.
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
