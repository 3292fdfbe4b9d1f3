// SPDX-License-Identifier: MIT
#include "message/text/clean_text.h"

#include <gtest/gtest.h>

namespace relaybird {
namespace {

TEST(WithoutControls, EscapeSequencesAndControlCharactersGo) {
  EXPECT_EQ(withoutControls("a\x1b[1;31mb\x1b[0mc"), "abc");
  EXPECT_EQ(withoutControls("\x1b]0;title\x07x\x1b]0;t\x1b\\y\x1bPq\nz"), "xy\nz");
  EXPECT_EQ(withoutControls("a\x08\x7f\tb\fc\xC2\x9B"
                            "d\xC2\x85"
                            "e\x1b"),
            "a\tb\ncd\ne");
  EXPECT_EQ(withoutControls("Käse €\n"), "Käse €\n");
}

TEST(WithoutFillers, FillersOfShortTextVanish) {
  EXPECT_EQ(withoutFillers("Hi\u034f \u200c\u00a0\u034f \u200c\u2007\u00ad there"), "Hi there");
  EXPECT_EQ(withoutFillers("\u3164\u115f\u200b\ufeffx\u2060"), "x");
  EXPECT_EQ(withoutFillers("a\u200db\u200cc"), "abc");
  EXPECT_EQ(withoutFillers("a  b\n  c"), "a  b\n  c");
  EXPECT_EQ(withoutFillers("a\u00a0b \u2007\u2007 c"), "a\u00a0b c");
}

TEST(WithoutFillers, JoinersStayWhereTheyJoin) {
  for (const char* text :
       {"👩\u200d👩\u200d👧", "❤\ufe0f\u200d🔥", "1\ufe0f\u20e3", "می\u200cخواهم", "क्\u200dष",
        "🏴\U000e0067\U000e0062\U000e0065\U000e006e\U000e0067\U000e007f"}) {
    EXPECT_EQ(withoutFillers(text), text);
  }
}

TEST(Unflowed, LinesBecomeParagraphs) {
  EXPECT_EQ(unflowed("one \ntwo\nthree\n", false), "one two\nthree\n");
  EXPECT_EQ(unflowed("one \ntwo", false), "one two");
  EXPECT_EQ(unflowed("日 \n本\n", true), "日本\n");
  EXPECT_EQ(unflowed(" >not quoted\n From me\n  two\n", false), ">not quoted\nFrom me\n two\n");
}

TEST(Unflowed, QuotedLinesStayApartByTheirDepth) {
  EXPECT_EQ(unflowed("> a \n> b\n>> c \n> d\ne \n> f\n", false), "> a b\n>> c \n> d\ne \n> f\n");
}

TEST(Unflowed, ASignatureAndAnEmptyLineEndAParagraph) {
  EXPECT_EQ(unflowed("a \n-- \nme \ntoo\n", false), "a \n-- \nme too\n");
  EXPECT_EQ(unflowed("a \n\nb\n", false), "a \n\nb\n");
}

}  // namespace
}  // namespace relaybird
