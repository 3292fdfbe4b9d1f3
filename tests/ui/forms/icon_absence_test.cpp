// SPDX-License-Identifier: MIT
// When the notification area counts as lost: the desktop's answers come from the test, seconds pass
// by the fake clock.
#include "ui/forms/mod_systray.h"

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <utility>

#include "support/fake_clock.h"
#include "support/fake_timers.h"

namespace relaybird {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;

// Every look finds the area's state at that time.
class IconAbsenceTest : public testing::Test {
 protected:
  void become(IconArea area) {
    area_ = area;
    absence_->seen(area);
  }

  void pass(std::chrono::microseconds time) {
    for (auto left = time; left > std::chrono::microseconds{0}; left -= seconds{1}) {
      timers_.advance(seconds{1});
      if (std::exchange(asked_, false) && absence_) {
        absence_->seen(area_);
      }
    }
  }

  FakeClock clock_;
  FakeTimers timers_{clock_};
  IconArea area_ = IconArea::kShown;
  bool asked_ = false;
  int looks_ = 0;
  int losses_ = 0;
  std::optional<IconAbsence> absence_{std::in_place, timers_,
                                      [this] {
                                        asked_ = true;
                                        ++looks_;
                                      },
                                      [this] { ++losses_; }};
};

TEST_F(IconAbsenceTest, NothingTicksWhileIconsAreShown) {
  become(IconArea::kShown);
  EXPECT_EQ(timers_.enabledCount(), 0U);
  become(IconArea::kGone);
  EXPECT_EQ(timers_.enabledCount(), 1U);
  become(IconArea::kShown);
  EXPECT_EQ(timers_.enabledCount(), 0U);
  pass(minutes{5});
  EXPECT_EQ(looks_, 0);
}

TEST_F(IconAbsenceTest, TenSecondsAreALossAndNoneIsToldTwice) {
  become(IconArea::kGone);
  pass(seconds{9});
  EXPECT_EQ(losses_, 0);
  pass(seconds{1});
  EXPECT_EQ(losses_, 1);
  EXPECT_EQ(looks_, 10);
  EXPECT_EQ(timers_.enabledCount(), 0U);
  become(IconArea::kGone);
  pass(minutes{5});
  become(IconArea::kShown);
  become(IconArea::kGone);
  pass(minutes{5});
  EXPECT_EQ(losses_, 1);
}

TEST_F(IconAbsenceTest, SignsOfChangeInBetweenDoNotShortenTheTime) {
  become(IconArea::kGone);
  for (int second = 0; second < 9; ++second) {
    for (int sign = 0; sign < 5; ++sign) {
      become(IconArea::kGone);
    }
    pass(seconds{1});
  }
  EXPECT_EQ(losses_, 0);
}

TEST_F(IconAbsenceTest, WhatIsBackInTimeCountsFromTheBeginningWhenItGoesOnceMore) {
  become(IconArea::kGone);
  pass(seconds{9});
  area_ = IconArea::kShown;  // found by the next look, without a sign
  pass(seconds{1});
  EXPECT_EQ(timers_.enabledCount(), 0U);
  become(IconArea::kGone);
  pass(seconds{9});
  EXPECT_EQ(losses_, 0);
  pass(seconds{1});
  EXPECT_EQ(losses_, 1);
}

TEST_F(IconAbsenceTest, ALockedScreenIsNoLossAndIsLookedAtEveryMinute) {
  become(IconArea::kGone);
  pass(seconds{5});
  looks_ = 0;
  become(IconArea::kHeldBack);
  pass(minutes{60});
  EXPECT_EQ(losses_, 0);
  EXPECT_EQ(looks_, 60);
}

TEST_F(IconAbsenceTest, AfterAnUnlockTheTimeBeginsAnew) {
  become(IconArea::kHeldBack);
  pass(minutes{60});
  area_ = IconArea::kGone;
  pass(minutes{1});
  EXPECT_EQ(losses_, 0);
  pass(seconds{9});
  EXPECT_EQ(losses_, 0);
  pass(seconds{1});
  EXPECT_EQ(losses_, 1);
}

TEST_F(IconAbsenceTest, ALossMayEndIt) {
  int losses = 0;
  absence_.emplace(
      timers_, [this] { asked_ = true; },
      [this, &losses] {
        ++losses;
        absence_.reset();
      });
  become(IconArea::kGone);
  pass(minutes{1});
  EXPECT_EQ(losses, 1);
  EXPECT_EQ(timers_.enabledCount(), 0U);
}

}  // namespace
}  // namespace relaybird
