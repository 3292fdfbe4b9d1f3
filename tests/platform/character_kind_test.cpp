// SPDX-License-Identifier: MIT
// The kinds of invisible characters, compared with the Unicode data where those are installed, and
// the forms in which lines show them.
#include "platform/text/character_kind.h"

#include <gtest/gtest.h>

#include <set>

#include "platform/unicode_data.h"

namespace relaybird {
namespace {

using Kind = CharacterKind;

TEST(CharacterKind, TellsWhatAReaderDoesNotSee) {
  const std::pair<Kind, std::u32string> cases[] = {
      {Kind::kOrdinary, U"aZ~é日א🏴\u0600\u06DD\u2500\uFFFD"},
      {Kind::kBlank, U" \u00A0\u2007\u202F\u2800\u3000"},
      {Kind::kControl, std::u32string(U"\0\t\r\n\x1B\x7F\x80\x85\x9F", 9)},
      {Kind::kLineBreak, U"\u2028\u2029"},
      {Kind::kDirection, U"\u202A\u202E\u2066\u2069"},
      {Kind::kDirectionMark, U"\u061C\u200E\u200F"},
      {Kind::kFiller,
       U"\u00AD\u034F\u115F\u1160\u180E\u200B\u2060\u3164\uFEFF\uFFA0\uFFF9\U000E0041"},
      {Kind::kJoiner, U"\u200C\u200D\uFE0F\U000E0100"},
  };
  for (const auto& [kind, codes] : cases) {
    for (const char32_t code : codes) {
      EXPECT_EQ(kindOf(code), kind) << std::hex << +code;
    }
  }
  EXPECT_EQ(kindOf(0x110000), Kind::kOrdinary);
}

std::set<char32_t> withProperty(const std::string& file, const std::string& property) {
  std::set<char32_t> codes;
  for (const UnicodeLine& line : unicodeLines(file)) {
    if (line.fields[0] != property) {
      continue;
    }
    for (char32_t code = line.first; code <= line.last; ++code) {
      codes.insert(code);
    }
  }
  return codes;
}

TEST(CharacterKind, KnowsEveryCharacterThatTheUnicodeDataCallInvisible) {
  const auto ignorable = withProperty("DerivedCoreProperties.txt", "Default_Ignorable_Code_Point");
  if (ignorable.empty()) {
    GTEST_SKIP() << "the package unicode-data is not installed";
  }
  const auto white = withProperty("PropList.txt", "White_Space");
  const auto turning = withProperty("PropList.txt", "Bidi_Control");
  const auto joining = withProperty("PropList.txt", "Join_Control");
  const auto selecting = withProperty("PropList.txt", "Variation_Selector");
  for (char32_t code = 0; code <= 0x10FFFF; ++code) {
    const Kind kind = kindOf(code);
    const bool control = code < 0x20 || (code >= 0x7F && code < 0xA0);
    EXPECT_EQ(kind == Kind::kControl, control) << std::hex << +code;
    EXPECT_EQ(kind == Kind::kBlank || kind == Kind::kLineBreak,
              code == 0x2800 || (!control && white.contains(code)))
        << std::hex << +code;
    EXPECT_EQ(kind == Kind::kDirection || kind == Kind::kDirectionMark, turning.contains(code))
        << std::hex << +code;
    EXPECT_EQ(kind == Kind::kJoiner, joining.contains(code) || selecting.contains(code))
        << std::hex << +code;
    const bool note = code >= 0xFFF9 && code <= 0xFFFB;
    EXPECT_EQ(kind == Kind::kFiller, note || (ignorable.contains(code) && !turning.contains(code) &&
                                              !joining.contains(code) && !selecting.contains(code)))
        << std::hex << +code;
  }
}

TEST(WithCodes, NothingThatStrangersWroteTurnsHidesOrBreaksALine) {
  EXPECT_EQ(withCodes("pay \u202Egpj.exe"), "pay <U+202E>gpj.exe");
  EXPECT_EQ(withCodes("a\u200Bb\uFEFFc\u00ADd\u3164e"), "a<U+200B>b<U+FEFF>c<U+00AD>d<U+3164>e");
  EXPECT_EQ(withCodes("a\r\nb\x1B[2J\u0085"), "a<U+000D><U+000A>b<U+001B>[2J<U+0085>");
  EXPECT_EQ(withCodes("\U000E0041"), "<U+E0041>");
  EXPECT_EQ(withCodes(std::string_view("a\0b", 3)), "a<U+0000>b");
}

TEST(WithCodes, BytesThatAreNoUtf8StandByTheirNumbers) {
  EXPECT_EQ(withCodes("caf\xE9"), "caf\\xe9");
  EXPECT_EQ(withCodes("\xC0\xAF\xED\xA0\x80\xF4\x90\x80\x80\xE2\x82"),
            R"(\xc0\xaf\xed\xa0\x80\xf4\x90\x80\x80\xe2\x82)");
}

TEST(WithCodes, WordsOfEveryScriptStandAsTheyAre) {
  for (const std::string text : {"tab\there", "می\u200Cخواهم", "👩\u200D💻", "क्\u200Dष", "❤\uFE0F",
                                 "שלום", "Zoë", "葛\U000E0100", "c:\\rbx", ""}) {
    EXPECT_EQ(withCodes(text), text);
  }
}

TEST(LinesWithCodes, LineEndsStay) {
  EXPECT_EQ(linesWithCodes("550 no\r\n\x1Bsuch\nuser\rx"), "550 no\r\n<U+001B>such\nuser<U+000D>x");
}

}  // namespace
}  // namespace relaybird
