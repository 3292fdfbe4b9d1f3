// SPDX-License-Identifier: MIT
// Folding of letter case, compared with the Unicode data where those are installed, and decoding of
// "xn--" labels.
#include "platform/text/matching_text.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>

#include "platform/text/utf8_text.h"
#include "platform/unicode_data.h"

namespace relaybird {
namespace {

TEST(FoldCase, MakesCapitalAndSmallLettersOfEveryScriptOne) {
  const std::pair<const char*, const char*> cases[] = {
      {"RELAYBIRD 42!", "relaybird 42!"},
      {"GRÜẞE ÀÉÎÕÚ Ÿ Ø ÷ ×", "grüße àéîõú ÿ ø ÷ ×"},
      {"ĀČĎĒĞĪĶŁŇŐŔŠŢŪŴŶŽ Ș Ț Ĳ", "āčďēğīķłňőŕšţūŵŷž ș ț ĳ"},
      {"ΑΒΓΔ ΌΣ Ώ ΉΊΎ ΪΫ", "αβγδ όσ ώ ήίύ ϊϋ"},
      {"ЖУК ЁЛКА ЇЖАК Ћ Ў Ґ Ә Ұ", "жук ёлка їжак ћ ў ґ ә ұ"},
      {"ԲԱՐԵՒ", "բարեւ"},                // Armenian
      {"ᲒᲐᲛᲐᲠᲯᲝᲑᲐ Ⴀⴀ", "გამარჯობა ⴀⴀ"},  // Georgian
      {"ꭰᎠ Ꮰ", "ᎠᎠ Ꮰ"},                  // Cherokee, whose capitals are the older letters
      {"ⰀⰁ ⲀⲂ Ꚁ Ꝏ", "ⰰⰱ ⲁⲃ ꚁ ꝏ"},        // Glagolitic, Coptic, old Cyrillic, Latin
      {"ＡＢＣ Ⅷ Ⓐ", "ａｂｃ ⅷ ⓐ"},      // full width, numerals, circled
      {"𐐀𐐁 𐓀 𞤀", "𐐨𐐩 𐓨 𞤢"},              // Deseret, Osage, Adlam
      {"ẸỆ ἈΡΧΉ Ώ", "ẹệ ἀρχή ώ"},        // Vietnamese, polytonic Greek
      {"Kelvin: \u212A, \u212B, ſ, ς, µ", "kelvin: k, å, s, σ, μ"},
      {"İSTANBUL ISPARTA", "istanbul isparta"},
      {"ıstanbul ısparta", "istanbul isparta"},
  };
  for (const auto& [text, folded] : cases) {
    EXPECT_EQ(foldCase(text), folded);
    EXPECT_EQ(foldCase(folded), folded);
  }
}

TEST(FoldCase, LeavesWhatHasNoCaseAlone) {
  for (const std::string text : {"", "日本語 한글 עברית العربية", "😀 ﬁ ª º ¿", "abc äöü αω жяё"}) {
    EXPECT_EQ(foldCase(text), text);
  }
  EXPECT_EQ(foldCase(char32_t{0x110000}), char32_t{0x110000});
}

TEST(FoldCase, IsThatOfTheUnicodeDataForEveryCharacter) {
  std::map<char32_t, char32_t> simple;
  for (const UnicodeLine& line : unicodeLines("CaseFolding.txt")) {
    if (line.fields[0] == "C" || line.fields[0] == "S") {
      simple[line.first] = static_cast<char32_t>(std::stoul(line.fields[1], nullptr, 16));
    }
  }
  if (simple.empty()) {
    GTEST_SKIP() << "the package unicode-data is not installed";
  }
  simple[0x130] = simple[0x131] = U'i';
  for (char32_t code = 0; code <= 0x10FFFF; ++code) {
    const auto found = simple.find(code);
    ASSERT_EQ(foldCase(code), found == simple.end() ? code : found->second) << std::hex << +code;
    ASSERT_EQ(foldCase(foldCase(code)), foldCase(code)) << std::hex << +code;
  }
}

TEST(FoldCase, PassesInvalidBytesThrough) {
  const std::pair<std::string, std::string> cases[] = {
      {"\xC4", "\xC4"},                          // Latin-1
      {"A\xC3", "a\xC3"},                        // cut off
      {"\xC3Z", "\xC3z"},                        // no continuation
      {"\xC1\x81", "\xC1\x81"},                  // too long a form of "A"
      {"\x80\xBF\xFF\xFE", "\x80\xBF\xFF\xFE"},  // no lead
      {"\xE2\x82", "\xE2\x82"},                  // cut off within three
      {"\xED\xA0\x80", "\xED\xA0\x80"},          // half a surrogate pair
      {"\xF4\x90\x80\x80", "\xF4\x90\x80\x80"},  // past the last code
      {"\xE2\xC3\x84", "\xE2\xC3\xA4"},          // a letter after a broken lead
      {std::string("A\0B", 3), std::string("a\0b", 3)},
  };
  for (const auto& [text, folded] : cases) {
    EXPECT_EQ(foldCase(text), folded);
  }
}

TEST(CodedDomain, LabelsAreDecodedWhereverTheyStand) {
  EXPECT_EQ(withDecodedLabels("joe@xn--mnchen-3ya.example"), "joe@m\u00FCnchen.example");
  EXPECT_EQ(withDecodedLabels("joe@a.XN--STRAE-OQA.xn--p1ai"), "joe@a.STRA\u00DFE.\u0440\u0444");
  EXPECT_EQ(withDecodedLabels("xn--fsqu00a.xn--fiqs8s"), "\u4F8B\u5B50.\u4E2D\u56FD");
  EXPECT_EQ(withDecodedLabels("xn--egbpdaj6bu4bxfgehfvwxn"),
            "\u0644\u064A\u0647\u0645\u0627\u0628\u062A\u0643\u0644\u0645\u0648\u0634\u0639\u0631"
            "\u0628\u064A\u061F");
}

TEST(CodedDomain, WhatStandsForNothingStaysAsItIs) {
  for (const std::string text :
       {"", "joe@example.com", "xn--", "joe@xn--.example", "joe@xn--99999999999.example",
        "joe@xn--a-b-\u00FC.example", "joe@axn--mnchen-3ya.example", "a@xn--b\xFF", "a@xn---",
        "a@xn--a-"}) {
    EXPECT_EQ(withDecodedLabels(text), text);
  }
  const std::string overlong = "xn--" + std::string(60, 'a');
  EXPECT_EQ(withDecodedLabels(overlong), overlong);
}

}  // namespace
}  // namespace relaybird
