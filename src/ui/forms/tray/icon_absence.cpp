// SPDX-License-Identifier: MIT
#include "ui/forms/tray/icon_absence.h"

#include <utility>

namespace relaybird {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;

constexpr int kLongestAbsence = 10;  // seconds

}  // namespace

IconAbsence::IconAbsence(TimerMaker& timers, std::function<void()> look, std::function<void()> lost)
    : look_(std::move(look)),
      lost_(std::move(lost)),
      timer_(timers.makeTimer(seconds{1}, [this] { tick(); })) {}

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
      lost();  // nothing of this object after that
    }
  } else if (other) {
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
