// SPDX-License-Identifier: MIT
// One poll over all watched descriptors and an eventfd, which wakes it when another thread posts.
// The calls that it returns may destroy watches, the waiter and one another, so that each looks
// first whether its watch is still wanted.
#include "platform/posix/poll_waiter.h"

#include <fcntl.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <list>
#include <system_error>
#include <utility>

#include "platform/clock.h"
#include "platform/posix/descriptor.h"

namespace relaybird {
namespace {

using std::chrono::milliseconds;

struct WatchState {
  int descriptor = -1;
  std::function<void()> onReadable;
  bool active = true;
};

}  // namespace

// Shared with the watches, which may outlive the waiter; they hold it weakly.
struct PollWaiter::State {
  explicit State(PollCalls with)
      : calls(std::move(with)), wake(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    if (!wake) {
      throw std::system_error(errno, std::system_category(), "eventfd");
    }
  }

  PollCalls calls;
  Descriptor wake;
  std::list<std::shared_ptr<WatchState>> watches;
};

namespace {

class DescriptorWatch : public PollWaiter::Watch {
 public:
  DescriptorWatch(const std::shared_ptr<PollWaiter::State>& waiter,
                  std::shared_ptr<WatchState> state)
      : waiter_(waiter), state_(std::move(state)) {}
  ~DescriptorWatch() override {
    state_->active = false;
    if (const auto waiter = waiter_.lock()) {
      waiter->watches.remove(state_);
    }
  }

 private:
  std::weak_ptr<PollWaiter::State> waiter_;
  std::shared_ptr<WatchState> state_;
};

int pollTimeout(std::optional<milliseconds> limit) {
  if (!limit) {
    return -1;
  }
  return static_cast<int>(
      std::clamp<std::int64_t>(limit->count(), 0, std::numeric_limits<int>::max()));
}

}  // namespace

PollCalls systemPollCalls() {
  return {relaybird::steadyTime, [](pollfd* descriptors, nfds_t count, int timeout) {
            return ::poll(descriptors, count, timeout);
          }};
}

PollWaiter::PollWaiter(PollCalls calls) : state_(std::make_shared<State>(std::move(calls))) {}
PollWaiter::~PollWaiter() = default;

milliseconds PollWaiter::steadyTime() const {
  return state_->calls.steadyTime();
}

void PollWaiter::wake() {
  const std::uint64_t one = 1;
  // Fails only when the counter is full, and then the poll returns anyway.
  [[maybe_unused]] const auto written = ::write(state_->wake.get(), &one, sizeof one);
}

std::vector<std::function<void()>> PollWaiter::wait(std::optional<milliseconds> limit) {
  std::vector<pollfd> descriptors{{state_->wake.get(), POLLIN, 0}};
  // A copy, because the calls that follow may add and remove watches.
  const std::vector<std::shared_ptr<WatchState>> polled(state_->watches.begin(),
                                                        state_->watches.end());
  for (const auto& watch : polled) {
    descriptors.push_back({watch->descriptor, POLLIN, 0});
  }
  if (state_->calls.poll(descriptors.data(), descriptors.size(), pollTimeout(limit)) <= 0) {
    return {};
  }
  if (descriptors.front().revents != 0) {
    std::uint64_t count = 0;
    // Reading resets the counter; otherwise every later poll would return at once.
    [[maybe_unused]] const auto got = ::read(state_->wake.get(), &count, sizeof count);
  }
  std::vector<std::function<void()>> ready;
  for (std::size_t i = 0; i < polled.size(); ++i) {
    // Also an error or the end of a stream: its reader learns that from its read.
    const short events = descriptors[i + 1].revents;
    if (events == 0) {
      continue;
    }
    ready.emplace_back([watch = polled[i]] {
      if (watch->active) {
        watch->onReadable();
      }
    });
    // A descriptor that its owner has closed would spin the loop; reported once, then dropped.
    if ((events & POLLNVAL) != 0) {
      state_->watches.remove(polled[i]);
    }
  }
  return ready;
}

std::unique_ptr<PollWaiter::Watch> PollWaiter::watchReadable(int descriptor,
                                                             std::function<void()> onReadable) {
  auto watch = std::make_shared<WatchState>();
  watch->descriptor = descriptor;
  watch->onReadable = std::move(onReadable);
  state_->watches.push_back(watch);
  return std::make_unique<DescriptorWatch>(state_, std::move(watch));
}

}  // namespace relaybird
