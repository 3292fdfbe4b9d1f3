// SPDX-License-Identifier: MIT
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

// Between two looks for events. A picture stands no longer than that unpainted.
constexpr int kLook = 10;  // milliseconds

// The innermost sleep on the stack of the one thread that has windows.
const WxSleeper* asleep = nullptr;

class Sleeping {
 public:
  explicit Sleeping(const WxSleeper& sleeper) : outer_(std::exchange(asleep, &sleeper)) {}
  ~Sleeping() { asleep = outer_; }
  Sleeping(const Sleeping&) = delete;
  Sleeping& operator=(const Sleeping&) = delete;

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

// Looks for the end of the check, which nobody reports here.
class WxSleeper::KeptInput : private wxTimer {
 public:
  explicit KeptInput(const std::function<bool()>& checkRuns) : checkRuns_(checkRuns) {}

  void add(wxEvtHandler* handler, std::function<void()> action) {
    kept_.push_back({handler, std::move(action)});
    Start(kLook);
  }

 private:
  struct Kept {
    wxWeakRef<wxEvtHandler> handler;
    std::function<void()> action;
  };

  bool mayRun() const { return asleep == nullptr && !yielding() && !checkRuns_(); }

  void Notify() override {
    if (!mayRun()) {
      return;
    }
    Stop();
    // Each as an event of its own: a box that it opens would hold up this timer.
    for (Kept& each : std::exchange(kept_, {})) {
      if (wxEvtHandler* const handler = each.handler.get()) {
        handler->CallAfter([this, handler, action = std::move(each.action)] {
          // Another check may have begun since.
          mayRun() ? action() : add(handler, action);
        });
      }
    }
  }

  const std::function<bool()>& checkRuns_;
  std::vector<Kept> kept_;
};

WxSleeper::WxSleeper(std::function<bool()> over, std::function<bool()> checkRuns)
    : over_(std::move(over)), checkRuns_(std::move(checkRuns)) {}

WxSleeper::~WxSleeper() = default;

void WxSleeper::sleep(std::chrono::milliseconds duration) {
  using Clock = std::chrono::steady_clock;
  const Sleeping sleeping(*this);
  const auto end = Clock::now() + duration;
  while (!over_() && Clock::now() < end) {
    runEvents();
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    wxMilliSleep(static_cast<unsigned long>(std::clamp<long long>(left.count(), 0, kLook)));
  }
}

bool WxSleeper::sleeping() {
  return asleep != nullptr;
}

void WxSleeper::afterCheck(wxEvtHandler& handler, std::function<void()> action) {
  auto& kept = asleep->keptInput_;
  if (!kept) {
    kept = std::make_unique<KeptInput>(asleep->checkRuns_);
  }
  kept->add(&handler, std::move(action));
}

}  // namespace relaybird::desktop
