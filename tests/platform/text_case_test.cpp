// SPDX-License-Identifier: MIT
#include "platform/text/text_case.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace relaybird {
namespace {

TEST(UpperCase, FoldsTheLettersOfTheCoveredScripts) {
  const std::pair<const char*, const char*> cases[] = {
      {"", ""},
      {"relaybird 42!", "RELAYBIRD 42!"},
      {"grüße àéîõú ÿ ø ÷ ×", "GRÜßE ÀÉÎÕÚ Ÿ Ø ÷ ×"},
      {"āčďēğīķłňőŕšţūŵŷž", "ĀČĎĒĞĪĶŁŇŐŔŠŢŪŴŶŽ"},
      {"ș ț ĳ", "Ș Ț Ĳ"},
      {"ĸ ŉ ı ſ", "ĸ ŉ I S"},
      {"αβγδ ός ώ ήίύ ϊϋ ΐ", "ΑΒΓΔ ΌΣ Ώ ΉΊΎ ΪΫ ΐ"},
      {"жук ёлка їжак ћ ў ґ ә ұ", "ЖУК ЁЛКА ЇЖАК Ћ Ў Ґ Ә Ұ"},
      {"ӂ ӏ ӑ ԯ", "Ӂ Ӏ Ӑ Ԯ"},
  };
  for (const auto& [text, upper] : cases) EXPECT_EQ(upperCase(text), upper);
}

TEST(UpperCase, LeavesCapitalsAndOtherScriptsAlone) {
  for (const std::string text :
       {"ABC ÄÖÜ ΑΩ ЖЯЁ ŁŽŸ İ", "日本語 한글 עברית العربية", "😀 ﬁ ⅷ", "ª º ¿"}) {
    EXPECT_EQ(upperCase(text), text);
  }
}

TEST(UpperCase, IsTheSameTwice) {
  std::string all;
  for (unsigned letter = 0x80; letter < 0x800; ++letter) {
    all += static_cast<char>(0xC0 | letter >> 6);
    all += static_cast<char>(0x80 | (letter & 0x3F));
  }
  EXPECT_NE(upperCase(all), all);
  EXPECT_EQ(upperCase(upperCase(all)), upperCase(all));
}

TEST(UpperCase, PassesInvalidBytesThrough) {
  const std::pair<std::string, std::string> cases[] = {
      {"\xE4", "\xE4"},                          // Latin-1
      {"a\xC3", "A\xC3"},                        // cut off
      {"\xC3z", "\xC3Z"},                        // no continuation
      {"\xC1\xA1", "\xC1\xA1"},                  // too long a form of "a"
      {"\x80\xBF\xFF\xFE", "\x80\xBF\xFF\xFE"},  // no lead
      {"\xE2\x82", "\xE2\x82"},                  // cut off within three
      {"\xED\xA0\x80", "\xED\xA0\x80"},          // half a surrogate pair
      {"\xE2\xC3\xA4", "\xE2\xC3\x84"},          // a letter after a broken lead
      {std::string("a\0b", 3), std::string("A\0B", 3)},
  };
  for (const auto& [text, upper] : cases) EXPECT_EQ(upperCase(text), upper);
}

}  // namespace
}  // namespace relaybird
