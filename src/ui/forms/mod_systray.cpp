// SPDX-License-Identifier: MIT
// The replaced window procedure may be removed while it runs, by what a message causes: procedures
// and listeners are therefore copied before they are called.
#include "ui/forms/mod_systray.h"

#include <algorithm>
#include <utility>

#include "platform/text/utf8_text.h"

namespace relaybird {
namespace {

// The replacement's result for the message that it handles itself.
constexpr std::intptr_t kTaken = -1;

}  // namespace

std::string_view NotifyIconRecord::tipText() const {
  const auto end = std::find(tip.begin(), tip.end(), '\0');
  return {tip.data(), static_cast<std::size_t>(end - tip.begin())};
}

// The field has 64 bytes. A cut inside a UTF-8 sequence would show a replacement character.
void NotifyIconRecord::setTip(std::string_view text) {
  if (text.size() >= tip.size()) {
    text = withoutBrokenEnd(text.substr(0, tip.size() - 1));
  }
  tip.fill('\0');
  std::copy(text.begin(), text.end(), tip.begin());
}

modSystray::modSystray(TrayPlatform& platform, std::function<void()> onRightButton)
    : platform_(platform), onRightButton_(std::move(onRightButton)) {}

modSystray::~modSystray() {
  unhook();
}

void modSystray::addIcon(std::string_view toolTip) {
  record_.window = platform_.mainWindow();
  record_.icon = platform_.mainIcon();
  record_.setTip(toolTip);
  platform_.addIcon(record_);
}

void modSystray::deleteIcon() {
  platform_.deleteIcon(record_);
}

void modSystray::hook() {
  if (hooked_) {
    return;
  }
  window_ = platform_.mainWindow();
  // The former procedure gets all messages that are not ours, and is put back by unhook().
  previous_ = platform_.replaceProcedure(
      window_, [this](const WindowMessage& message) { return replacementProcedure(message); });
  platform_.onIconLost([this] { lost(); });
  hooked_ = true;
}

void modSystray::unhook() {
  if (!hooked_) {
    return;
  }
  platform_.onIconLost(nullptr);
  platform_.replaceProcedure(window_, std::exchange(previous_, nullptr));
  hooked_ = false;
}

void modSystray::lost() {
  // A copy, because the call may set another listener.
  if (const std::function<void()> listener = onLost_) {
    listener();
  }
}

std::intptr_t modSystray::replacementProcedure(const WindowMessage& message) {
  if (!hooked_) {
    return 0;
  }
  if (message.message == kTrayCallbackMessage && message.low == kRightButtonDown) {
    onRightButton_();
    return kTaken;
  }
  // A copy, because handling the message may call unhook().
  const WindowProcedure previous = previous_;
  return previous ? previous(message) : 0;
}

namespace {

using std::chrono::minutes;
using std::chrono::seconds;

// A panel that restarts is back sooner.
constexpr int kLongestAbsence = 10;  // seconds

}  // namespace

IconAbsence::IconAbsence(TimerMaker& timers, std::function<void()> look, std::function<void()> lost)
    : look_(std::move(look)),
      lost_(std::move(lost)),
      timer_(timers.makeTimer(seconds{1}, [this] { tick(); })) {}

// Each change of state starts the count again: only an uninterrupted absence is a loss.
void IconAbsence::seen(IconArea area) {
  const bool other = std::exchange(last_, area) != area;
  if (other) {
    secondsGone_ = 0;
  }
  if (area == IconArea::kShown) {
    timer_->setEnabled(false);
  } else if (area == IconArea::kGone && secondsGone_ >= kLongestAbsence) {
    timer_->setEnabled(false);
    if (const auto lost = std::exchange(lost_, nullptr)) {
      lost();  // may have destroyed this object
    }
  } else if (other) {
    // An icon that is held back (the screen is locked) is no loss, and is looked at rarely.
    lookAgainIn(area == IconArea::kGone ? seconds{1} : minutes{1});
  }
}

void IconAbsence::tick() {
  ++secondsGone_;
  look_();
}

void IconAbsence::lookAgainIn(std::chrono::milliseconds interval) {
  timer_->setEnabled(false);
  timer_->setInterval(interval);
  timer_->setEnabled(true);
}

}  // namespace relaybird
