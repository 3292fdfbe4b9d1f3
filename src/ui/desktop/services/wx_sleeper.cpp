// SPDX-License-Identifier: MIT
// A pause inside a check, during which the event loop runs.
//
// The check waits on the stack below the events that run here. A box opened by such an event would
// block the check until it is answered. So user input that may open a box is deferred:
// DeferredInput polls for the end of the check and then posts the actions as ordinary events.
#include "ui/desktop/services/wx_sleeper.h"

#include <wx/evtloop.h>
#include <wx/timer.h>
#include <wx/utils.h>
#include <wx/weakref.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace relaybird::desktop {
namespace {

// The interval at which a sleep runs events. A window stays unpainted no longer than that.
constexpr int kPollInterval = 10;  // milliseconds

// The innermost sleep on the stack of the user-interface thread; null if none.
const WxSleeper* innermostSleep = nullptr;

class SleepScope {
 public:
  explicit SleepScope(const WxSleeper& sleeper) : outer_(std::exchange(innermostSleep, &sleeper)) {}
  ~SleepScope() { innermostSleep = outer_; }
  SleepScope(const SleepScope&) = delete;
  SleepScope& operator=(const SleepScope&) = delete;

 private:
  const WxSleeper* const outer_;
};

bool yielding() {
  const wxEventLoopBase* const loop = wxEventLoopBase::GetActive();
  return loop != nullptr && loop->IsYielding();
}

void runEvents() {
  wxEventLoopBase* const loop = wxEventLoopBase::GetActive();
  if (loop != nullptr && !loop->IsYielding()) {
    loop->Yield(true);
  }
}

}  // namespace

// Actions that wait for the end of the check. A timer polls for it, as its end is not reported
// here.
class WxSleeper::DeferredInput : private wxTimer {
 public:
  explicit DeferredInput(const std::function<bool()>& checkRuns) : checkRuns_(checkRuns) {}

  void add(wxEvtHandler* handler, std::function<void()> action) {
    actions_.push_back({handler, std::move(action)});
    Start(kPollInterval);
  }

 private:
  struct Deferred {
    wxWeakRef<wxEvtHandler> handler;
    std::function<void()> action;
  };

  bool mayRun() const { return innermostSleep == nullptr && !yielding() && !checkRuns_(); }

  void Notify() override {
    if (!mayRun()) {
      return;
    }
    Stop();
    // Each in an event of its own: a box opened within this tick would block the timer.
    for (Deferred& each : std::exchange(actions_, {})) {
      if (wxEvtHandler* const handler = each.handler.get()) {
        handler->CallAfter([this, handler, action = std::move(each.action)] {
          // Another check may have started in the meantime.
          mayRun() ? action() : add(handler, action);
        });
      }
    }
  }

  const std::function<bool()>& checkRuns_;
  std::vector<Deferred> actions_;
};

WxSleeper::WxSleeper(std::function<bool()> interrupted, std::function<bool()> checkRuns)
    : interrupted_(std::move(interrupted)), checkRuns_(std::move(checkRuns)) {}

WxSleeper::~WxSleeper() = default;

void WxSleeper::sleep(std::chrono::milliseconds duration) {
  using Clock = std::chrono::steady_clock;
  const SleepScope scope(*this);
  const auto end = Clock::now() + duration;
  // Asked before every round: the program may end during the pause.
  while (!interrupted_() && Clock::now() < end) {
    runEvents();
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    wxMilliSleep(static_cast<unsigned long>(std::clamp<long long>(left.count(), 0, kPollInterval)));
  }
}

void WxSleeper::runPendingEvents() {
  const SleepScope scope(*this);
  runEvents();
}

bool WxSleeper::sleeping() {
  return innermostSleep != nullptr;
}

void WxSleeper::afterCheck(wxEvtHandler& handler, std::function<void()> action) {
  auto& deferred = innermostSleep->deferred_;
  if (!deferred) {
    deferred = std::make_unique<DeferredInput>(innermostSleep->checkRuns_);
  }
  deferred->add(&handler, std::move(action));
}

}  // namespace relaybird::desktop
