// SPDX-License-Identifier: MIT
#include "ui/console/text/word_wrap.h"

#include <gtest/gtest.h>

namespace relaybird {
namespace {

TEST(WordWrap, LeavesAlineThatFitsAsItIs) {
  EXPECT_EQ(wrapped("short line", 20, ""), "short line\n");
  EXPECT_EQ(wrapped("", 20, "  "), "\n");
  EXPECT_EQ(wrapped("   ", 20, ""), "\n");
}

TEST(WordWrap, BreaksAtTheLastBlankThatFits) {
  EXPECT_EQ(wrapped("one two three four", 9, ""), "one two\nthree\nfour\n");
  EXPECT_EQ(wrapped("one two three four", 13, ""), "one two three\nfour\n");
}

TEST(WordWrap, KeepsDoubledBlanksWithinALine) {
  EXPECT_EQ(wrapped("one.  two three", 9, ""), "one.  two\nthree\n");
}

TEST(WordWrap, AWordTooLongStandsAlone) {
  EXPECT_EQ(wrapped("a unbreakable b", 5, ""), "a\nunbreakable\nb\n");
}

TEST(WordWrap, IndentsEveryPart) {
  EXPECT_EQ(wrapped("one two three", 9, "  "), "  one two\n  three\n");
}

TEST(WordWrap, HangsBelowTheTextOfAListEntry) {
  EXPECT_EQ(wrapped("- one two three", 9, ""), "- one two\n  three\n");
  EXPECT_EQ(wrapped("  deep line here", 11, ""), "  deep line\n  here\n");
}

TEST(WordWrap, CountsCharactersNotBytes) {
  EXPECT_EQ(wrapped("äöü äöü", 7, ""), "äöü äöü\n");
}

TEST(WordWrap, AScreenNarrowerThanTheIndentStillGetsEveryWord) {
  EXPECT_EQ(wrapped("- a b", 1, "    "), "    - a\n      b\n");
}

}  // namespace
}  // namespace relaybird
