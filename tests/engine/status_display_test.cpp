// SPDX-License-Identifier: MIT
// The texts of the status line, and how long each stays. Time passes by the fake clock and its
// timers.
#include "engine/status_display.h"

#include <gtest/gtest.h>

#include "support/fake_clock.h"
#include "support/fake_timers.h"
#include "support/recording_reports.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;

class StatusDisplayTest : public testing::Test {
 protected:
  FakeClock clock_;
  FakeTimers timers_{clock_};
  RecordingDisplay display_;
  EngineState state_;
  StatusDisplay status_{display_, state_, clock_, timers_};
};

TEST_F(StatusDisplayTest, EveryCodeShowsItsText) {
  const std::vector<std::pair<std::int16_t, std::string>> texts = {
      {0, "Currently Idle - Waiting for next inbox check..."},
      {1, "Outlook updating mailbox (send/receive)..."},
      {5, "Outlook synchronizing (so that messages are sent)..."},
      {10, "Checking inbox now..."},
      {15, "Completed check of inbox"},
      {18, "Completed check of inbox (no new messages found)"},
      {20, "Error occurred"},
      {23, "Stopped - Reached max. allowed to forward"},
      {25, ""},
      {30, "Current Status - Automatic forwarding turned off"},
  };
  for (const auto& [code, text] : texts) {
    status_.SetStatusToPreset(code);
    EXPECT_EQ(display_.status, text) << code;
  }
}

TEST_F(StatusDisplayTest, AnUnknownCodeEmptiesTheLine) {
  status_.SetStatusLabel("something");
  status_.SetStatusToPreset(7);
  EXPECT_EQ(display_.status, "");
}

TEST_F(StatusDisplayTest, ATextIsShownBeforePendingEventsRun) {
  std::string shownThen;
  display_.onProcessPendingEvents = [&] { shownThen = display_.status; };
  status_.SetStatusLabel("busy");
  EXPECT_EQ(shownThen, "busy");
}

TEST_F(StatusDisplayTest, TheRestingTextFollowsWhetherForwardingIsOn) {
  status_.SetStatusToPreset();
  EXPECT_EQ(display_.status, statusPresetText(30));
  state_.forwardingOn = true;
  status_.SetStatusToPreset();
  EXPECT_EQ(display_.status, statusPresetText(0));
}

TEST_F(StatusDisplayTest, TheMinutesFieldIsResetToDashes) {
  status_.ResetMinUntilCheckText();
  EXPECT_EQ(display_.minutes, "--");
}

TEST_F(StatusDisplayTest, ACompletedCheckGivesWayToTheRestingTextAfterTenSeconds) {
  state_.forwardingOn = true;
  for (const std::int16_t code : {kStatusCompleted, kStatusCompletedNothingNew}) {
    status_.SetStatusToPreset(code);
    timers_.advance(9s);
    EXPECT_EQ(display_.status, statusPresetText(code));
    timers_.advance(1s);
    EXPECT_EQ(display_.status, statusPresetText(kStatusIdle));
  }
}

TEST_F(StatusDisplayTest, ACompletedTextStandsWhileSomethingRuns) {
  status_.SetStatusToPreset(kStatusCompleted);
  state_.syncBusy = true;
  timers_.advance(60s);
  EXPECT_EQ(display_.status, statusPresetText(kStatusCompleted));
  state_.syncBusy = false;
  timers_.advance(1s);
  EXPECT_EQ(display_.status, statusPresetText(kStatusOff));
}

TEST_F(StatusDisplayTest, OtherTextsStandForEver) {
  status_.SetStatusToPreset(kStatusMaximumReached);
  timers_.advance(600s);
  EXPECT_EQ(display_.status, statusPresetText(kStatusMaximumReached));
}

TEST_F(StatusDisplayTest, AfterASynchronisationTheEndOfTheCheckIsShownAndThenTheRestingText) {
  state_.forwardingOn = true;
  state_.syncBusy = true;
  status_.showSynchronizing();
  EXPECT_EQ(display_.status, "Outlook performing send/receive...");
  timers_.advance(5s);
  EXPECT_EQ(display_.status, "Outlook performing send/receive...");
  state_.syncBusy = false;
  timers_.advance(1s);
  EXPECT_EQ(display_.status, statusPresetText(kStatusCompleted));
  timers_.advance(10s);
  EXPECT_EQ(display_.status, statusPresetText(kStatusIdle));
}

TEST_F(StatusDisplayTest, NoTimerRunsWhileNothingHasToGiveWay) {
  status_.SetStatusLabel("busy");
  EXPECT_EQ(timers_.enabledCount(), 0u);
  status_.SetStatusToPreset(kStatusCompleted);
  EXPECT_EQ(timers_.enabledCount(), 1u);
  timers_.advance(10s);
  EXPECT_EQ(timers_.enabledCount(), 0u);
}

}  // namespace
}  // namespace relaybird
