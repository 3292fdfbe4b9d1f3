// SPDX-License-Identifier: MIT
// Timers, the event queue, the screen and the clipboard, implemented by wxWidgets.
//
// Events are queued here and each one wakes the toolkit by CallAfter(), which is safe from any
// thread. The queue is shared with the pending calls, so that calls that arrive after the WxLoop is
// destroyed find an empty queue and do nothing.
#include "ui/desktop/services/wx_loop.h"

#include <wx/app.h>
#include <wx/dcscreen.h>
#include <wx/evtloop.h>
#include <wx/settings.h>
#include <wx/timer.h>
#include <wx/toplevel.h>

#include <deque>
#include <mutex>
#include <utility>

#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/services/guarded.h"
#include "ui/desktop/widgets/text.h"

namespace relaybird::desktop {
namespace {

class WxTimer : public Timer, private wxTimer {
 public:
  WxTimer(std::chrono::milliseconds interval, std::function<void()> tick)
      : interval_(interval), tick_(std::move(tick)) {}

  void setInterval(std::chrono::milliseconds interval) override {
    interval_ = interval;
    if (enabled_) {
      start();
    }
  }
  void setEnabled(bool enabled) override {
    if (std::exchange(enabled_, enabled) == enabled) {
      return;
    }
    if (enabled) {
      start();
    } else {
      Stop();
    }
  }
  bool enabled() const override { return enabled_; }

 private:
  // An interval of 0 is no interval: the timer is enabled but does not tick.
  void start() {
    if (interval_.count() > 0) {
      Start(static_cast<int>(interval_.count()));
    } else {
      Stop();
    }
  }
  void Notify() override { guarded(tick_); }

  std::chrono::milliseconds interval_;
  std::function<void()> tick_;
  bool enabled_ = false;
};

}  // namespace

// Outlives the WxLoop while calls into it are pending in the toolkit.
class WxLoop::Queue : public std::enable_shared_from_this<Queue> {
 public:
  void post(std::function<void()> event) {
    {
      const std::lock_guard lock(mutex_);
      events_.push_back(std::move(event));
    }
    // One call for each event, so that other events of the toolkit run between two of ours.
    wxAppConsole::GetInstance()->CallAfter([queue = shared_from_this()] { queue->runOne(); });
  }
  // The pending calls find nothing afterwards. Called on the user-interface thread, as they are.
  void close() {
    const std::lock_guard lock(mutex_);
    events_.clear();
  }

 private:
  void runOne() {
    std::function<void()> event;
    {
      const std::lock_guard lock(mutex_);
      if (events_.empty()) {
        return;
      }
      event = std::move(events_.front());
      events_.pop_front();
    }
    guarded(event);
  }

  std::mutex mutex_;
  std::deque<std::function<void()>> events_;
};

WxLoop::WxLoop() : queue_(std::make_shared<Queue>()) {}

WxLoop::~WxLoop() {
  queue_->close();
}

void WxLoop::post(std::function<void()> event) {
  queue_->post(std::move(event));
}

std::unique_ptr<Timer> WxLoop::makeTimer(std::chrono::milliseconds interval,
                                         std::function<void()> tick) {
  return std::make_unique<WxTimer>(interval, std::move(tick));
}

// Why not wxApp::ExitMainLoop(): it does nothing while the loop of a modal box is active.
void endMainLoop() {
  if (wxEventLoopBase* const loop = wxAppConsole::GetInstance()->GetMainLoop()) {
    loop->ScheduleExit();
  }
}

WxScreen::WxScreen(std::function<void()> onEnd) : onEnd_(std::move(onEnd)) {}

// Paints at once, without running other events.
void WxScreen::repaint() {
  for (wxWindow* window : wxTopLevelWindows) {
    if (window->IsShown()) {
      window->Update();
    }
  }
}

void WxScreen::processPendingEvents() {
  wxEventLoopBase* loop = wxEventLoopBase::GetActive();
  if (loop != nullptr && !loop->IsYielding()) {
    loop->Yield(true);
  }
}

bool WxScreen::canMinimise() const {
  return windowsCanBeMinimised();
}

std::int32_t WxScreen::textWidth(const std::string& text) const {
  wxScreenDC screen;
  screen.SetFont(wxSystemSettings::GetFont(wxSYS_DEFAULT_GUI_FONT));
  return screen.GetTextExtent(toWx(text)).GetWidth();
}

Result<void> WxClipboard::setText(const std::string& text) {
  // By way of wxString, which replaces bytes that are not valid UTF-8.
  if (!putOnClipboard(fromWx(toWx(text)))) {
    return Error{0, "The clipboard cannot be written now."};
  }
  return {};
}

}  // namespace relaybird::desktop
