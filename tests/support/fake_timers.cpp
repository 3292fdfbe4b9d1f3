// SPDX-License-Identifier: MIT
// Ticks run inside advance(), each at its own time on the fake clock. Timers and events are looked
// up anew after every call, because a tick may make, stop or destroy any of them.
#include "support/fake_timers.h"

#include <algorithm>
#include <utility>

namespace relaybird {

struct FakeTimers::State {
  std::chrono::microseconds interval{0};
  std::function<void()> tick;
  bool enabled = false;
  std::chrono::microseconds due{0};
  std::uint64_t turn = 0;
};

class FakeTimers::FakeTimer : public Timer {
 public:
  FakeTimer(FakeTimers& owner, std::shared_ptr<State> state)
      : owner_(owner), state_(std::move(state)) {}
  ~FakeTimer() override {
    state_->enabled = false;
    owner_.states_.remove(state_);
  }

  void setInterval(std::chrono::milliseconds interval) override {
    state_->interval = interval;
    restart();
  }
  void setEnabled(bool enabled) override {
    if (enabled == state_->enabled) {
      return;
    }
    state_->enabled = enabled;
    restart();
  }
  bool enabled() const override { return state_->enabled; }

 private:
  void restart() {
    state_->due = owner_.clock_.elapsed() + state_->interval;
    state_->turn = owner_.nextTurn_++;
  }

  FakeTimers& owner_;
  std::shared_ptr<State> state_;
};

std::unique_ptr<Timer> FakeTimers::makeTimer(std::chrono::milliseconds interval,
                                             std::function<void()> tick) {
  auto state = std::make_shared<State>();
  state->interval = interval;
  state->tick = std::move(tick);
  states_.push_back(state);
  return std::make_unique<FakeTimer>(*this, std::move(state));
}

std::shared_ptr<FakeTimers::State> FakeTimers::earliestDue(std::chrono::microseconds limit) const {
  std::shared_ptr<State> earliest;
  for (const auto& state : states_) {
    // An interval of 0 would tick forever without time passing.
    if (!state->enabled || state->interval.count() <= 0 || state->due > limit) {
      continue;
    }
    if (!earliest ||
        std::pair(state->due, state->turn) < std::pair(earliest->due, earliest->turn)) {
      earliest = state;
    }
  }
  return earliest;
}

void FakeTimers::advance(std::chrono::microseconds duration) {
  const auto target = clock_.elapsed() + duration;
  while (const auto state = earliestDue(target)) {
    if (state->due > clock_.elapsed()) {
      clock_.advance(state->due - clock_.elapsed());
    }
    const auto missed = (clock_.elapsed() - state->due) / state->interval;
    state->due += state->interval * (missed + 1);
    state->tick();
  }
  if (target > clock_.elapsed()) {
    clock_.advance(target - clock_.elapsed());
  }
}

std::size_t FakeTimers::enabledCount() const {
  return static_cast<std::size_t>(std::count_if(states_.begin(), states_.end(),
                                                [](const auto& state) { return state->enabled; }));
}

void FakeEventQueue::post(std::function<void()> event) {
  const std::lock_guard lock(mutex_);
  events_.push_back(std::move(event));
}

bool FakeEventQueue::runOne() {
  std::function<void()> event;
  {
    const std::lock_guard lock(mutex_);
    if (events_.empty()) {
      return false;
    }
    event = std::move(events_.front());
    events_.pop_front();
  }
  event();
  return true;
}

std::size_t FakeEventQueue::runPending() {
  std::size_t ran = 0;
  for (std::size_t left = waiting(); left > 0 && runOne(); --left) {
    ++ran;
  }
  return ran;
}

std::size_t FakeEventQueue::runUntilIdle(std::size_t limit) {
  std::size_t ran = 0;
  while (ran < limit && runOne()) {
    ++ran;
  }
  return ran;
}

std::size_t FakeEventQueue::waiting() const {
  const std::lock_guard lock(mutex_);
  return events_.size();
}

}  // namespace relaybird
