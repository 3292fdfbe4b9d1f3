// SPDX-License-Identifier: MIT
#include "engine/report/activity_log_model.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/fake_clock.h"

namespace relaybird {
namespace {

/// Every character is 7 pixels wide.
class FakeView : public ActivityLogView {
 public:
  std::int32_t textWidth(const std::string& text) override {
    return 7 * static_cast<std::int32_t>(text.size());
  }
  void lineAdded(const std::string& line, std::int32_t widest) override {
    if (broken) {
      throw std::runtime_error("the window is gone");
    }
    added.push_back(line);
    extent = widest;
  }
  void cleared() override { ++clears; }

  std::vector<std::string> added;
  std::int32_t extent = 0;
  int clears = 0;
  bool broken = false;
};

class ActivityLogModelTest : public testing::Test {
 protected:
  FakeClock clock_;
  FakeView view_;
  ActivityLogModel log_{view_, clock_};
};

TEST_F(ActivityLogModelTest, LinesAreListedInTheOrderInWhichTheyCame) {
  log_.AddToLog("first");
  log_.AddToLog("second");
  EXPECT_EQ(log_.lines(), (std::vector<std::string>{"first", "second"}));
  EXPECT_EQ(view_.added, log_.lines());
}

TEST_F(ActivityLogModelTest, ALineLosesItsLeadingAndTrailingBlanksOnly) {
  log_.AddToLog("  two  words ");
  EXPECT_EQ(log_.lines().at(0), "two  words");
}

TEST_F(ActivityLogModelTest, ATextOfBlanksAloneAddsAnEmptyLine) {
  log_.AddToLog("   ");
  EXPECT_EQ(log_.lines(), std::vector<std::string>{""});
}

TEST_F(ActivityLogModelTest, TheWidestLineIsMeasuredWithTwoBlanksBeforeIt) {
  log_.AddToLog("abc");
  EXPECT_EQ(log_.widestLine(), 35);
  EXPECT_EQ(view_.extent, 35);
}

TEST_F(ActivityLogModelTest, ANarrowerLineLeavesTheExtentUnchanged) {
  log_.AddToLog("a long line");
  const auto widest = log_.widestLine();
  log_.AddToLog("short");
  EXPECT_EQ(log_.widestLine(), widest);
  EXPECT_EQ(view_.extent, widest);
}

TEST_F(ActivityLogModelTest, AfterClearingTheNextLineSetsTheExtentAfresh) {
  log_.AddToLog("a long line");
  log_.ClearLog();
  EXPECT_EQ(log_.widestLine(), 0);
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_EQ(view_.clears, 1);
  log_.AddToLog("x");
  EXPECT_EQ(view_.extent, 21);
}

TEST_F(ActivityLogModelTest, VerboseLinesAreDroppedWhileTheSwitchIsOff) {
  log_.AddToLogV("step");
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_FALSE(log_.verbose());
}

TEST_F(ActivityLogModelTest, VerboseLinesCarryTheTimeAndTheirMark) {
  log_.setVerbose(true);
  log_.AddToLogV("step");
  EXPECT_EQ(log_.lines().at(0), "2026-11-20 15:04:05 [v]-->step");
}

TEST_F(ActivityLogModelTest, AWindowThatFailsDisturbsNobodyAndLosesNoLine) {
  view_.broken = true;
  log_.setVerbose(true);
  EXPECT_NO_THROW(log_.AddToLog("kept"));
  EXPECT_NO_THROW(log_.AddToLogV("kept too"));
  EXPECT_EQ(log_.lines().size(), 2u);
}

TEST_F(ActivityLogModelTest, WithNothingSelectedEveryLineIsCopied) {
  log_.AddToLog("one");
  log_.AddToLog("two");
  EXPECT_EQ(log_.copyText(), "one\r\ntwo\r\n");
}

TEST_F(ActivityLogModelTest, OnlySelectedLinesAreCopiedWhenThereAreAny) {
  for (const char* line : {"one", "two", "three"}) {
    log_.AddToLog(line);
  }
  EXPECT_EQ(log_.copyText({0, 2}), "one\r\nthree\r\n");
}

TEST_F(ActivityLogModelTest, ASelectionPastTheEndIsPassedOver) {
  log_.AddToLog("one");
  EXPECT_EQ(log_.copyText({0, 7}), "one\r\n");
}

TEST_F(ActivityLogModelTest, AnEmptyLogCopiesNothing) {
  EXPECT_EQ(log_.copyText(), "");
}

}  // namespace
}  // namespace relaybird
