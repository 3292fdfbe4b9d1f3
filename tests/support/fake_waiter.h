// SPDX-License-Identifier: MIT
// A loop in virtual time: a wait that would sleep moves the clock instead, and one that would sleep
// for ever ends the loop.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/main_loop.h"

namespace relaybird {

class FakeWaiter : public EventWaiter {
 public:
  using Limit = std::optional<std::chrono::milliseconds>;

  std::chrono::milliseconds steadyTime() const override { return now; }
  std::vector<std::function<void()>> wait(Limit limit) override {
    limits.push_back(limit);
    if (woken.exchange(false) || !fromSystem.empty()) {
      return std::exchange(fromSystem, {});
    }
    if (limit) {
      now += *limit;
    } else {
      ++endlessWaits;
      onEndlessWait();
    }
    return {};
  }
  void wake() override { woken = true; }

  std::chrono::milliseconds now{0};
  std::vector<Limit> limits;  ///< of the waits until now
  int endlessWaits = 0;
  std::function<void()> onEndlessWait = [] {};
  /// What the next wait returns.
  std::vector<std::function<void()>> fromSystem;
  std::atomic<bool> woken{false};
};

}  // namespace relaybird
