// SPDX-License-Identifier: MIT
// The search in a list of lines: which line is the next hit, and how many lines it examines for it.
#include "ui/forms/log/line_search.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace relaybird {
namespace {

class LineSearchTest : public testing::Test {
 protected:
  // "7", or "7*" after wrapping around; "-" for no hit.
  static std::string said(const std::optional<LineSearch::Hit>& hit) {
    if (!hit) {
      return "-";
    }
    return std::to_string(hit->line) + (hit->aroundTheEnd ? "*" : "");
  }
  std::string type(const std::string& text, std::size_t from = 0) {
    return said(search_.type(text, from));
  }
  std::string next(std::size_t from) { return said(search_.next(from)); }
  std::string previous(std::size_t from) { return said(search_.previous(from)); }

  std::vector<std::string> lines_{"apple", "Banana", "cherry", "banana split", "date"};
  LineSearch search_{lines_};
};

TEST_F(LineSearchTest, FindsTheFirstLineFromWhereTheUserIsAndGoesAroundTheEnd) {
  EXPECT_EQ(type("an"), "1");
  search_.forget();
  EXPECT_EQ(type("an", 2), "3");
  search_.forget();
  EXPECT_EQ(type("an", 4), "1*");
}

TEST_F(LineSearchTest, LetterCaseDoesNotCountInAnyScript) {
  lines_.emplace_back("НОВОЕ письмо");
  lines_.emplace_back("STRASSE ÄÖÜ");
  EXPECT_EQ(type("bANANA"), "1");
  EXPECT_EQ(type("новое П"), "5");
  EXPECT_EQ(type("äöü"), "6");
}

TEST_F(LineSearchTest, ATextThatGrowsStaysOnItsLineWhileThatHasIt) {
  EXPECT_EQ(type("b"), "1");
  EXPECT_EQ(type("ba", 1), "1");
  EXPECT_EQ(type("banana s", 1), "3");
}

TEST_F(LineSearchTest, ATextThatShrinksGoesBackToWhereTheTypingBegan) {
  EXPECT_EQ(type("banana s"), "3");
  EXPECT_EQ(type("banana", 3), "1");
}

TEST_F(LineSearchTest, AUserWhoHasGoneElsewhereBeginsThere) {
  EXPECT_EQ(type("banana s"), "3");
  EXPECT_EQ(type("a", 4), "4");
}

TEST_F(LineSearchTest, NothingIsFoundInNoLinesAndForNoText) {
  EXPECT_EQ(type(""), "-");
  EXPECT_EQ(next(0), "-");
  EXPECT_EQ(previous(0), "-");
  EXPECT_EQ(type("zebra"), "-");
  EXPECT_EQ(next(2), "-");
  EXPECT_EQ(previous(2), "-");
  lines_.clear();
  search_.forget();
  EXPECT_EQ(type("a"), "-");
  EXPECT_EQ(next(0), "-");
  EXPECT_EQ(previous(0), "-");
}

TEST_F(LineSearchTest, NextAndPreviousGoFromHitToHitAndAround) {
  EXPECT_EQ(type("banana"), "1");
  EXPECT_EQ(next(1), "3");
  EXPECT_EQ(next(3), "1*");
  EXPECT_EQ(previous(1), "3*");
  EXPECT_EQ(previous(3), "1");
  EXPECT_EQ(next(4), "1*");
}

TEST_F(LineSearchTest, TheOnlyHitIsFoundAgain) {
  EXPECT_EQ(type("cherry"), "2");
  EXPECT_EQ(next(2), "2*");
  EXPECT_EQ(previous(2), "2*");
}

TEST_F(LineSearchTest, LinesThatHaveComeSinceThenAreFound) {
  EXPECT_EQ(type("elder"), "-");
  lines_.emplace_back("elderberry");
  EXPECT_EQ(type("elderb", 0), "5");
  lines_.emplace_back("elder");
  EXPECT_EQ(type("elder", 5), "5");
  EXPECT_EQ(next(5), "6");
  EXPECT_EQ(next(6), "5*");
}

TEST_F(LineSearchTest, LinesThatHaveComeDuringATypingAreFoundInTheirPlace) {
  EXPECT_EQ(type("d", 3), "4");
  lines_.emplace_back("dragon fruit");
  EXPECT_EQ(type("dr", 4), "5");
}

// Each letter must be found at once even in a list of a million lines.

TEST_F(LineSearchTest, ALongTextIsTypedAtTheCostOfOneLookAtEachLine) {
  const std::string wanted = "abcdefghijklmnopqrstuvwxyz";
  lines_.assign(20'000, "some other line");
  lines_.back() = "here: " + wanted;
  for (std::size_t length = 1; length <= wanted.size(); ++length) {
    ASSERT_NE(type(wanted.substr(0, length)), "-") << length;
  }
  EXPECT_LE(search_.examined(), lines_.size() + wanted.size());
}

TEST_F(LineSearchTest, WhatIsNotThereIsNotLookedForAgain) {
  lines_.assign(20'000, "some other line");
  EXPECT_EQ(type("x"), "-");
  const std::size_t once = search_.examined();
  EXPECT_EQ(once, lines_.size());
  EXPECT_EQ(type("xy"), "-");
  EXPECT_EQ(next(7), "-");
  EXPECT_EQ(previous(7), "-");
  EXPECT_EQ(search_.examined(), once);
  lines_.emplace_back("one more");
  EXPECT_EQ(type("xyz"), "-");
  EXPECT_EQ(search_.examined(), once + 1);
}

TEST_F(LineSearchTest, GoingFromHitToHitLooksAtEachLineBetweenThemOnce) {
  lines_.assign(20'000, "some other line");
  for (std::size_t line = 0; line < lines_.size(); line += 10) {
    lines_[line] = "hit";
  }
  EXPECT_EQ(type("hit"), "0");
  for (std::size_t line = 0; line + 10 < lines_.size(); line += 10) {
    ASSERT_EQ(next(line), std::to_string(line + 10));
  }
  EXPECT_LE(search_.examined(), lines_.size() + 1);
}

}  // namespace
}  // namespace relaybird
