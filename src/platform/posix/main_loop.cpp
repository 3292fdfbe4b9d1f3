// SPDX-License-Identifier: MIT
// One round serves everything that waits once: posted events, due timers, readable descriptors;
// then the loop sleeps in poll until the next timer is due. An eventfd among the descriptors wakes
// it when another thread posts. Callbacks may destroy timers and watches and run loops of their
// own, so state is shared and looked up again after every call.
#include "platform/posix/main_loop.h"

#include <fcntl.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <deque>
#include <limits>
#include <list>
#include <mutex>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/posix/descriptor.h"

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

struct WatchState {
  int descriptor = -1;
  std::function<void()> onReadable;
  bool active = true;
};

}  // namespace

// Shared with timers and watches, which may outlive the loop; they hold it weakly. Only `posted`
// and the eventfd are touched by other threads.
struct MainLoop::State {
  explicit State(MainLoopSystem with)
      : system(std::move(with)), wake(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    if (!wake) {
      throw std::system_error(errno, std::system_category(), "eventfd");
    }
  }

  void wakeUp() {
    const std::uint64_t one = 1;
    // Fails only when the counter is full, and then the loop wakes anyway.
    [[maybe_unused]] const auto written = ::write(wake.get(), &one, sizeof one);
  }
  std::size_t waiting() {
    const std::lock_guard lock(mutex);
    return posted.size();
  }
  bool runPosted();
  std::shared_ptr<TimerState> firstDue(milliseconds now) const;
  bool runTimer(milliseconds now);
  int pollTimeout(bool mayWait);
  std::vector<std::shared_ptr<WatchState>> readyWatches(int timeout);
  void runRound(bool mayWait, const std::function<bool()>& enough);

  MainLoopSystem system;
  Descriptor wake;
  std::mutex mutex;
  std::deque<std::function<void()>> posted;  // guarded by the mutex
  std::list<std::shared_ptr<TimerState>> timers;
  std::list<std::shared_ptr<WatchState>> watches;
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
  const auto late = (system.steadyTime() - timer->due) / timer->interval;
  timer->due += timer->interval * (late + 1);
  timer->tick();
  return true;
}

int MainLoop::State::pollTimeout(bool mayWait) {
  if (!mayWait || quitting || waiting() > 0) {
    return 0;
  }
  auto next = milliseconds::max();
  for (const auto& timer : timers) {
    if (timer->running()) {
      next = std::min(next, timer->due);
    }
  }
  if (next == milliseconds::max()) {
    return -1;
  }
  const auto left = (next - system.steadyTime()).count();
  return static_cast<int>(std::clamp<std::int64_t>(left, 0, std::numeric_limits<int>::max()));
}

std::vector<std::shared_ptr<WatchState>> MainLoop::State::readyWatches(int timeout) {
  std::vector<pollfd> descriptors{{wake.get(), POLLIN, 0}};
  // A copy, because the callbacks that follow may add and remove watches.
  const std::vector<std::shared_ptr<WatchState>> polled(watches.begin(), watches.end());
  for (const auto& watch : polled) {
    descriptors.push_back({watch->descriptor, POLLIN, 0});
  }
  if (system.poll(descriptors.data(), descriptors.size(), timeout) <= 0) {
    return {};
  }
  if (descriptors.front().revents != 0) {
    std::uint64_t count = 0;
    // Reading resets the counter; otherwise every later poll would return at once.
    [[maybe_unused]] const auto got = ::read(wake.get(), &count, sizeof count);
  }
  std::vector<std::shared_ptr<WatchState>> ready;
  for (std::size_t i = 0; i < polled.size(); ++i) {
    // Also an error or the end of a stream: its reader learns that from its read.
    const short events = descriptors[i + 1].revents;
    if (events == 0) {
      continue;
    }
    ready.push_back(polled[i]);
    // A descriptor that its owner has closed would spin the loop; reported once, then dropped.
    if ((events & POLLNVAL) != 0) {
      watches.remove(polled[i]);
    }
  }
  return ready;
}

// Everything gets its turn once: the events that wait now, due timers, descriptors. What an event
// adds waits for the next round, so that no source can starve the others.
void MainLoop::State::runRound(bool mayWait, const std::function<bool()>& enough) {
  for (std::size_t left = waiting(); left > 0 && runPosted(); --left) {
    if (enough()) {
      return;
    }
  }
  const milliseconds now = system.steadyTime();
  while (runTimer(now)) {
    if (enough()) {
      return;
    }
  }
  for (const auto& watch : readyWatches(pollTimeout(mayWait))) {
    // Destroyed by the callback of another one in this round.
    if (!watch->active) {
      continue;
    }
    watch->onReadable();
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
    state_->due = loop->system.steadyTime() + state_->interval;
    state_->turn = loop->nextTurn++;
  }

  std::weak_ptr<MainLoop::State> loop_;
  std::shared_ptr<TimerState> state_;
};

class DescriptorWatch : public MainLoop::Watch {
 public:
  DescriptorWatch(const std::shared_ptr<MainLoop::State>& loop, std::shared_ptr<WatchState> state)
      : loop_(loop), state_(std::move(state)) {}
  ~DescriptorWatch() override {
    state_->active = false;
    if (const auto loop = loop_.lock()) {
      loop->watches.remove(state_);
    }
  }

 private:
  std::weak_ptr<MainLoop::State> loop_;
  std::shared_ptr<WatchState> state_;
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

MainLoopSystem posixMainLoopSystem() {
  return {[] {
            return std::chrono::duration_cast<milliseconds>(
                std::chrono::steady_clock::now().time_since_epoch());
          },
          [](pollfd* descriptors, nfds_t count, int timeout) {
            return ::poll(descriptors, count, timeout);
          }};
}

MainLoop::MainLoop(MainLoopSystem system) : state_(std::make_shared<State>(std::move(system))) {}

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
    state_->wakeUp();
  }
}

std::unique_ptr<Timer> MainLoop::makeTimer(milliseconds interval, std::function<void()> tick) {
  auto timer = std::make_shared<TimerState>();
  timer->interval = interval;
  timer->tick = std::move(tick);
  state_->timers.push_back(timer);
  return std::make_unique<LoopTimer>(state_, std::move(timer));
}

std::unique_ptr<MainLoop::Watch> MainLoop::watchReadable(int descriptor,
                                                         std::function<void()> onReadable) {
  auto watch = std::make_shared<WatchState>();
  watch->descriptor = descriptor;
  watch->onReadable = std::move(onReadable);
  state_->watches.push_back(watch);
  return std::make_unique<DescriptorWatch>(state_, std::move(watch));
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
  state_->wakeUp();
}

}  // namespace relaybird
