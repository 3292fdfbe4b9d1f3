// SPDX-License-Identifier: MIT
#include "ui/desktop/desk/wx_sleeper.h"

#include <wx/evtloop.h>
#include <wx/utils.h>
#include <wx/weakref.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace relaybird::desktop {
namespace {

/// Between two looks for events. A picture stands no longer than that unpainted.
constexpr unsigned long kLook = 10;  // milliseconds

struct Kept {
  wxWeakRef<wxEvtHandler> handler;
  std::function<void()> action;
};

/// How many sleeps are on the stack of the one thread that has windows, and what waits for their
/// end.
int sleeps = 0;
std::vector<Kept> kept;

class Sleeping {
 public:
  Sleeping() { ++sleeps; }
  ~Sleeping() {
    if (--sleeps > 0) {
      return;
    }
    for (Kept& each : std::exchange(kept, {})) {
      if (each.handler) {
        each.handler->CallAfter(each.action);
      }
    }
  }
  Sleeping(const Sleeping&) = delete;
  Sleeping& operator=(const Sleeping&) = delete;
};

void runEvents() {
  wxEventLoopBase* const loop = wxEventLoopBase::GetActive();
  if (loop != nullptr && !loop->IsYielding()) {
    loop->Yield(true);
  }
}

}  // namespace

void WxSleeper::sleep(std::chrono::milliseconds duration) {
  using Clock = std::chrono::steady_clock;
  const Sleeping sleeping;
  const auto end = Clock::now() + duration;
  while (!over_() && Clock::now() < end) {
    runEvents();
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    wxMilliSleep(std::clamp<long long>(left.count(), 0, kLook));
  }
}

bool WxSleeper::sleeping() {
  return sleeps > 0;
}

void WxSleeper::afterwards(wxEvtHandler& handler, std::function<void()> action) {
  kept.push_back({&handler, std::move(action)});
}

}  // namespace relaybird::desktop
