// SPDX-License-Identifier: MIT
// One round serves everything that waits once: posted events, due timers, what the system has; then
// the loop sleeps until the next timer is due or something comes. Callbacks may destroy timers and
// run loops of their own, so state is shared and looked up again after every call.
#include "platform/main_loop.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <deque>
#include <list>
#include <mutex>
#include <utility>

namespace relaybird {
namespace {

using std::chrono::milliseconds;

struct TimerState {
  milliseconds interval{0};
  std::function<void()> tick;
  bool enabled = false;
  milliseconds due{0};
  std::uint64_t turn = 0;  // order of enabling: decides between two that are due at the same time

  // An interval of 0 never ticks: it would leave no time for anything else.
  bool running() const { return enabled && interval.count() > 0; }
};

}  // namespace

// Shared with the timers, which may outlive the loop; they hold it weakly. Other threads touch
// `posted`, `quitting` and the waiter's wake() alone.
struct MainLoop::State {
  explicit State(std::shared_ptr<EventWaiter> with) : waiter(std::move(with)) {}

  std::size_t waiting() {
    const std::lock_guard lock(mutex);
    return posted.size();
  }
  bool runPosted();
  std::shared_ptr<TimerState> firstDue(milliseconds now) const;
  bool runTimer(milliseconds now);
  std::optional<milliseconds> untilNext(bool mayWait);
  void runRound(bool mayWait, const std::function<bool()>& enough);

  const std::shared_ptr<EventWaiter> waiter;
  std::mutex mutex;
  std::deque<std::function<void()>> posted;  // guarded by the mutex
  std::list<std::shared_ptr<TimerState>> timers;
  std::uint64_t nextTurn = 0;
  int depth = 0;  // how many run() and runUntil() are inside one another
  std::atomic<bool> quitting{false};
};

// Runs the oldest posted event; false where no event waits.
bool MainLoop::State::runPosted() {
  std::function<void()> event;
  {
    const std::lock_guard lock(mutex);
    if (posted.empty()) {
      return false;
    }
    event = std::move(posted.front());
    posted.pop_front();
  }
  // Outside the lock: the event may post others, or run a loop of its own.
  event();
  return true;
}

std::shared_ptr<TimerState> MainLoop::State::firstDue(milliseconds now) const {
  std::shared_ptr<TimerState> first;
  for (const auto& timer : timers) {
    if (!timer->running() || timer->due > now) {
      continue;
    }
    if (!first || std::pair(timer->due, timer->turn) < std::pair(first->due, first->turn)) {
      first = timer;
    }
  }
  return first;
}

// Runs the tick that has been due longest; false where no timer is due.
bool MainLoop::State::runTimer(milliseconds now) {
  const auto timer = firstDue(now);
  if (!timer) {
    return false;
  }
  // Ticks that were missed are dropped, and the next one keeps the timer's rhythm. Set before the
  // call, because the tick may change the interval or destroy the timer.
  const auto late = (waiter->steadyTime() - timer->due) / timer->interval;
  timer->due += timer->interval * (late + 1);
  timer->tick();
  return true;
}

// How long the loop may sleep; none for without end.
std::optional<milliseconds> MainLoop::State::untilNext(bool mayWait) {
  if (!mayWait || quitting || waiting() > 0) {
    return milliseconds(0);
  }
  auto next = milliseconds::max();
  for (const auto& timer : timers) {
    if (timer->running()) {
      next = std::min(next, timer->due);
    }
  }
  if (next == milliseconds::max()) {
    return std::nullopt;
  }
  return std::max(next - waiter->steadyTime(), milliseconds(0));
}

// Everything gets its turn once: the events that wait now, due timers, the system. What an event
// adds waits for the next round, so that no source can starve the others.
void MainLoop::State::runRound(bool mayWait, const std::function<bool()>& enough) {
  for (std::size_t left = waiting(); left > 0 && runPosted(); --left) {
    if (enough()) {
      return;
    }
  }
  const milliseconds now = waiter->steadyTime();
  while (runTimer(now)) {
    if (enough()) {
      return;
    }
  }
  for (const auto& serve : waiter->wait(untilNext(mayWait))) {
    serve();
    if (enough()) {
      return;
    }
  }
}

namespace {

class LoopTimer : public Timer {
 public:
  LoopTimer(const std::shared_ptr<MainLoop::State>& loop, std::shared_ptr<TimerState> state)
      : loop_(loop), state_(std::move(state)) {}
  ~LoopTimer() override {
    // A tick of this timer may be running. It holds the state, which is marked so that it never
    // ticks again.
    state_->enabled = false;
    if (const auto loop = loop_.lock()) {
      loop->timers.remove(state_);
    }
  }

  void setInterval(milliseconds interval) override {
    state_->interval = interval;
    restart();
  }
  void setEnabled(bool enabled) override {
    // Enabling a running timer again must not postpone its tick.
    if (enabled == state_->enabled) {
      return;
    }
    state_->enabled = enabled;
    restart();
  }
  bool enabled() const override { return state_->enabled; }

 private:
  void restart() {
    const auto loop = loop_.lock();
    if (!loop) {
      return;
    }
    state_->due = loop->waiter->steadyTime() + state_->interval;
    state_->turn = loop->nextTurn++;
  }

  std::weak_ptr<MainLoop::State> loop_;
  std::shared_ptr<TimerState> state_;
};

// Counts nested loops, also when an event throws. quit() ends all of them; the outermost takes the
// request back.
class Depth {
 public:
  explicit Depth(MainLoop::State& state) : state_(state) { ++state_.depth; }
  ~Depth() {
    if (--state_.depth == 0) {
      state_.quitting = false;
    }
  }
  Depth(const Depth&) = delete;
  Depth& operator=(const Depth&) = delete;

 private:
  MainLoop::State& state_;
};

}  // namespace

MainLoop::MainLoop(std::shared_ptr<EventWaiter> waiter)
    : state_(std::make_shared<State>(std::move(waiter))) {}

MainLoop::~MainLoop() {
  // Destroying an event may post another one: so it happens outside the lock, and that one is
  // dropped too.
  std::deque<std::function<void()>> dropped;
  const std::lock_guard lock(state_->mutex);
  dropped.swap(state_->posted);
}

void MainLoop::post(std::function<void()> event) {
  bool first = false;
  {
    const std::lock_guard lock(state_->mutex);
    first = state_->posted.empty();
    state_->posted.push_back(std::move(event));
  }
  // The loop checks the queue before it sleeps, so only the first event can find it asleep.
  if (first) {
    state_->waiter->wake();
  }
}

std::unique_ptr<Timer> MainLoop::makeTimer(milliseconds interval, std::function<void()> tick) {
  auto timer = std::make_shared<TimerState>();
  timer->interval = interval;
  timer->tick = std::move(tick);
  state_->timers.push_back(timer);
  return std::make_unique<LoopTimer>(state_, std::move(timer));
}

void MainLoop::run() {
  (void)runUntil([] { return false; });
}

bool MainLoop::runUntil(const std::function<bool()>& done) {
  // Keeps the state alive if an event destroys the loop.
  const auto state = state_;
  const Depth depth(*state);
  const auto enough = [&] { return state->quitting || done(); };
  bool isDone = done();
  while (!isDone && !state->quitting) {
    state->runRound(true, enough);
    isDone = done();
  }
  return isDone;
}

void MainLoop::processPending() {
  const auto state = state_;
  state->runRound(false, [] { return false; });
}

void MainLoop::quit() {
  state_->quitting = true;
  state_->waiter->wake();
}

}  // namespace relaybird
