// SPDX-License-Identifier: MIT
// The status line: its fixed texts, and the texts that replace themselves after a while.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "engine/engine_world.h"
#include "platform/event_queue.h"

namespace relaybird {

/// Codes of the fixed status texts. Every other code shows an empty line.
enum StatusPreset : std::int16_t {
  kStatusIdle = 0,
  kStatusUpdating = 1,
  kStatusSynchronizing = 5,
  kStatusChecking = 10,
  kStatusCompleted = 15,
  kStatusCompletedNothingNew = 18,
  kStatusError = 20,
  kStatusMaximumReached = 23,
  kStatusEmpty = 25,
  kStatusOff = 30,
};

/// The text of a preset code; empty for an unknown one.
std::string_view statusPresetText(std::int16_t code);

class StatusDisplay {
 public:
  /// All must outlive it.
  StatusDisplay(EngineDisplay& display, const EngineState& state, const Clock& clock,
                TimerMaker& timers);

  /// Shows the text at once: pending events run before it returns, so that the text is visible
  /// while the caller continues with long work.
  void SetStatusLabel(const std::string& text);
  void SetStatusToPreset(std::int16_t code);
  /// The resting text: idle while forwarding is on, turned off while it is off.
  void SetStatusToPreset();
  /// Shows that a synchronisation runs. Once nothing runs any more, the text for a completed check
  /// replaces this one.
  void showSynchronizing();
  void ResetMinUntilCheckText();

  const Timer& tmrForLabel() const { return *tmrForLabel_; }

 private:
  /// The kind of text that is shown: the last two are replaced after a while.
  enum class Shown { kOther, kSynchronizing, kCompleted };

  void tmrForLabelTick();
  void watch(Shown shown);

  EngineDisplay& display_;
  const EngineState& state_;
  const Clock& clock_;
  Shown shown_ = Shown::kOther;
  DateTime shownAt_ = kNoDate;
  /// Runs only while a text is shown that will be replaced.
  std::unique_ptr<Timer> tmrForLabel_;
};

}  // namespace relaybird
