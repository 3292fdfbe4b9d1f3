// SPDX-License-Identifier: MIT
#include "engine/status_display.h"

namespace relaybird {
namespace {

constexpr std::chrono::milliseconds kLabelInterval{1000};
// How long the text for a completed check stays.
constexpr std::chrono::seconds kCompletedStands{10};

bool isCompletedCheck(std::int16_t code) {
  return code == kStatusCompleted || code == kStatusCompletedNothingNew;
}

}  // namespace

// Users and their scripts know these texts; they do not change.
std::string_view statusPresetText(std::int16_t code) {
  switch (code) {
    case kStatusIdle:
      return "Currently Idle - Waiting for next inbox check...";
    case kStatusUpdating:
      return "Outlook updating mailbox (send/receive)...";
    case kStatusSynchronizing:
      return "Outlook synchronizing (so that messages are sent)...";
    case kStatusChecking:
      return "Checking inbox now...";
    case kStatusCompleted:
      return "Completed check of inbox";
    case kStatusCompletedNothingNew:
      return "Completed check of inbox (no new messages found)";
    case kStatusError:
      return "Error occurred";
    case kStatusMaximumReached:
      return "Stopped - Reached max. allowed to forward";
    case kStatusOff:
      return "Current Status - Automatic forwarding turned off";
    case kStatusEmpty:
    default:
      return "";
  }
}

StatusDisplay::StatusDisplay(EngineDisplay& display, const EngineState& state, const Clock& clock,
                             TimerMaker& timers)
    : display_(display),
      state_(state),
      clock_(clock),
      tmrForLabel_(timers.makeTimer(kLabelInterval, [this] { tmrForLabelTick(); })) {}

void StatusDisplay::SetStatusLabel(const std::string& text) {
  // Set before events run, so that the timer cannot replace the new text as if it were the old one.
  shown_ = Shown::kOther;
  tmrForLabel_->setEnabled(false);
  display_.lblCurrentActions(text);
  display_.processPendingEvents();
}

void StatusDisplay::SetStatusToPreset(std::int16_t code) {
  SetStatusLabel(std::string(statusPresetText(code)));
  if (isCompletedCheck(code)) {
    watch(Shown::kCompleted);
  }
}

void StatusDisplay::SetStatusToPreset() {
  SetStatusToPreset(state_.forwardingOn ? kStatusIdle : kStatusOff);
}

void StatusDisplay::showSynchronizing() {
  SetStatusLabel("Outlook performing send/receive...");
  watch(Shown::kSynchronizing);
}

void StatusDisplay::ResetMinUntilCheckText() {
  display_.txtMinToNextFwd("--");
}

void StatusDisplay::watch(Shown shown) {
  shown_ = shown;
  shownAt_ = clock_.now();
  tmrForLabel_->setEnabled(true);
}

void StatusDisplay::tmrForLabelTick() {
  // While something runs its text stays.
  if (state_.m_bBusyFwd || state_.syncBusy) {
    return;
  }
  // The end of a synchronisation sets no text itself, so the timer notices it.
  if (shown_ == Shown::kSynchronizing) {
    SetStatusToPreset(kStatusCompleted);
  } else if (clock_.now() - shownAt_ >= kCompletedStands) {
    SetStatusToPreset();
  }
}

}  // namespace relaybird
