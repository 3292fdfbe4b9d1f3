// SPDX-License-Identifier: MIT
// The text forms of settings in the file, and counting and cutting UTF-8 text.
#include "prefs/preference_file.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/text/utf8_text.h"

namespace relaybird {
namespace {

TEST(BooleanText, ReadsOneAndTrueAndNothingElseAsTrue) {
  for (const char* text : {"1", " 1 ", "true", "True", "TRUE", "tRuE", " true "}) {
    EXPECT_TRUE(booleanFromText(text)) << text;
  }
  for (const char* text : {"0", "", " ", "-1", "yes", "2", "t", "false", "False", "01", "1.0",
                           "trues", "tru", "\x15rue", "11"}) {
    EXPECT_FALSE(booleanFromText(text)) << text;
  }
}

TEST(BooleanText, IsWrittenAsADigit) {
  EXPECT_EQ(textFromBoolean(true), "1");
  EXPECT_EQ(textFromBoolean(false), "0");
}

TEST(WholeText, RoundsHalvesToTheEvenNeighbour) {
  EXPECT_EQ(wholeFromText16("0.5"), 0);
  EXPECT_EQ(wholeFromText16("1.5"), 2);
  EXPECT_EQ(wholeFromText16("2.5"), 2);
  EXPECT_EQ(wholeFromText16("-2.5"), -2);
  EXPECT_EQ(wholeFromText16("2.51"), 3);
  EXPECT_EQ(wholeFromText32("1000.5"), 1000);
  EXPECT_EQ(wholeFromText32("501x"), 501);
  EXPECT_EQ(wholeFromText32("many"), 0);
}

TEST(WholeText, MustFitItsField) {
  EXPECT_EQ(wholeFromText16("32767"), 32767);
  EXPECT_EQ(wholeFromText16("32767.4"), 32767);
  EXPECT_EQ(wholeFromText16("32768"), std::nullopt);
  EXPECT_EQ(wholeFromText16("-32768"), -32768);
  EXPECT_EQ(wholeFromText16("-32769"), std::nullopt);
  EXPECT_EQ(wholeFromText32("2147483647"), 2147483647);
  EXPECT_EQ(wholeFromText32("2147483648"), std::nullopt);
  EXPECT_EQ(wholeFromText32("-2147483649"), std::nullopt);
  EXPECT_EQ(wholeFromText32("1e300"), std::nullopt);
}

TEST(ShiftedText, MovesEveryCharacterBySeventeenAndBack) {
  EXPECT_EQ(shifted("abc 9"), "rst1J");
  EXPECT_EQ(unshifted("rst1J"), "abc 9");
  EXPECT_EQ(shifted(""), "");
}

TEST(ShiftedText, ComesBackWholeForEveryCharacter) {
  std::string all;
  for (std::int32_t code = 0; code < 0x110000; code += code < 0x900 ? 1 : 251) {
    appendCharacter(all, code);
  }
  EXPECT_EQ(unshifted(shifted(all)), all);
}

TEST(ShiftedText, NeverBreaksALine) {
  std::string all;
  for (std::int32_t code = 1; code < 0x10000; ++code) {
    appendCharacter(all, code);
  }
  EXPECT_EQ(shifted(all).find_first_of(std::string_view("\r\n\0", 3)), std::string::npos);
}

TEST(ShiftedText, StopsAtTheLowerEnd) {
  EXPECT_EQ(unshifted("\x05"
                      "r"),
            std::string("\0a", 2));
}

TEST(Utf8Text, CountsCharactersNotBytes) {
  EXPECT_EQ(characterCount(""), 0u);
  EXPECT_EQ(characterCount("abc"), 3u);
  EXPECT_EQ(characterCount("\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"), 3u);
}

TEST(Utf8Text, CountsEveryStrayByteAsACharacter) {
  EXPECT_EQ(characterCount("\x80\x80"), 2u);
  EXPECT_EQ(characterCount("\xC3"), 1u);
  EXPECT_EQ(characterCount("\xE2\x82z"), 3u);
  EXPECT_EQ(characterCount("\xFF\xFE"), 2u);
}

TEST(Utf8Text, ABeginningHasSoManyCharacters) {
  const std::string text = "a\xC3\xA4\xFF\xE2\x82\xAC";
  EXPECT_EQ(firstCharacters(text, 0), "");
  EXPECT_EQ(firstCharacters(text, 2), "a\xC3\xA4");
  EXPECT_EQ(firstCharacters(text, 3), "a\xC3\xA4\xFF");
  EXPECT_EQ(firstCharacters(text, 4), text);
  EXPECT_EQ(firstCharacters(text, 99), text);
  EXPECT_EQ(firstCharacters("", 5), "");
}

TEST(Utf8Text, CutsOffOnlyAnUnfinishedCharacter) {
  EXPECT_EQ(withoutBrokenEnd("ab"), "ab");
  EXPECT_EQ(withoutBrokenEnd("a\xC3\xA4"), "a\xC3\xA4");
  EXPECT_EQ(withoutBrokenEnd("a\xC3"), "a");
  EXPECT_EQ(withoutBrokenEnd("a\xF0\x9F\x98"), "a");
  EXPECT_EQ(withoutBrokenEnd("\x80\x80"), "\x80\x80");
  EXPECT_EQ(withoutBrokenEnd(""), "");
}

}  // namespace
}  // namespace relaybird
