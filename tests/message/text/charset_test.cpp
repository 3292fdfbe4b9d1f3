// SPDX-License-Identifier: MIT
// Conversion of every character set that mail uses to UTF-8: tables of labels, bytes and text,
// wrong labels, and damage, behind which the text must stay readable.
#include "message/text/charset.h"

#include <gtest/gtest.h>

#include "message/text/repeated.h"

namespace relaybird {
namespace {

using namespace std::string_view_literals;

struct Sample {
  std::string_view label;
  std::string_view bytes;
  std::string_view text;
};

void expectAll(std::initializer_list<Sample> samples) {
  for (const Sample& sample : samples) {
    EXPECT_EQ(toUtf8(sample.bytes, sample.label), sample.text) << sample.label;
  }
}

TEST(Charset, Latin1AndAsciiMeanWindows1252) {
  expectAll({{"iso-8859-1", "caf\xE9 \x93x\x94 \x80", "café “x” €"},
             {"us-ascii", "\x91y\x92", "‘y’"},
             {"windows-1252", "\x85", "…"},
             {"", "na\xEFve", "naïve"}});
}

TEST(Charset, LabelsAreReadWithoutCaseBlanksAndQuotes) {
  expectAll({{" ISO-8859-15 ", "\xA4", "€"},
             {"\"iso_8859-15\"", "\xA4", "€"},
             {"KOI8-R", "\xF0\xD2\xC9", "При"},
             {"koi8_r", "\xF0\xD2\xC9", "При"}});
}

TEST(Charset, Utf8UnderALabelThatFailsIsUtf8) {
  expectAll({{"shift_jis", "日本語 é", "日本語 é"},
             {"euc-kr", "K\u00e4se \u20ac", "Käse €"},
             {"iso-2022-jp", "日本", "日本"},
             {"utf-16", "plain text of one byte each", "plain text of one byte each"}});
}

TEST(Charset, Iso2022JpOfEightBitsIsEucJp) {
  expectAll({{"iso-2022-jp", "\xC6\xFC\xCB\xDC", "日本"}, {"", "\x1B$BF|K\\\x1B(B", "日本"}});
}

TEST(Charset, SingleByteSetsOfManyScripts) {
  expectAll({{"iso-8859-2", "\xB1\xE6\xEA", "ąćę"},
             {"windows-1250", "\x8A\x9E", "Šž"},
             {"windows-1251", "\xCF\xF0\xE8", "При"},
             {"iso-8859-5", "\xBF\xE0\xD8", "При"},
             {"koi8-u", "\xA4", "є"},
             {"iso-8859-7", "\xC1\xE2", "Αβ"},
             {"iso-8859-8-i", "\xF9\xEC", "של"},
             {"iso-8859-9", "\xFE\xF0", "şğ"},
             {"windows-1256", "\xE3", "م"},
             {"tis-620", "\xA1\xA2", "กข"},
             {"macintosh", "\x8E", "é"},
             {"ibm850", "\x82", "é"},
             {"viscii", "\xE0", "à"}});
}

TEST(Charset, EastAsianLabelsMeanTheLargerSetsOfWindows) {
  expectAll({{"Shift_JIS", "\x87\x40\x87\x8A", "①㈱"},
             {"x-sjis", "\xFA\x40", "ⅰ"},
             {"euc-jp", "\xAD\xA1\xA4\xA2", "①あ"},
             {"x-euc-jp", "\xA4\xA2", "あ"},
             {"gb2312", "\xD6\xD0\x96\x5A", "中朲"},
             {"GB_2312-80", "\xD6\xD0", "中"},
             {"big5", "\xA4\xA4\xF9\xD6", "中碁"},
             {"ks_c_5601-1987", "\xB0\xA1\x81\x41", "가갂"},
             {"euc-kr", "\xC7\xD1", "한"},
             {"iso-2022-kr", "\x1B$)C\x0E\x30\x21\x0F.", "가."}});
}

TEST(Charset, Iso2022JpHasTheVendorsCharactersToo) {
  expectAll({{"ISO-2022-JP", "\x1B$B4A;z\x1B(B ok", "漢字 ok"},
             {"ISO-2022-JP", "A\x1B$B-!-j\x1B(B Z", "A①㈱ Z"},
             {"iso-2022-jp", "\x1B(I1\x1B$B$\"\x1B(B", "ｱあ"},
             {"cp50221", "\x1B$B-!\x1B(B", "①"}});
}

TEST(Charset, DamagedIso2022JpLosesNoMoreThanTheDamage) {
  expectAll({{"iso-2022-jp", "\x1B$B4A\x80;z\x1B(B.", "漢\uFFFD字."},
             {"iso-2022-jp", "\x1B$B4A4\nplain", "漢\uFFFD\nplain"},
             {"iso-2022-jp", "\x1B$B-!", "①"}});
}

TEST(Charset, Utf8UnderAnAsciiLikeLabelIsTakenAsUtf8) {
  expectAll({{"us-ascii", "caf\xC3\xA9", "café"},
             {"iso-8859-1", "\xE2\x82\xAC", "€"},
             {"windows-1252", "\xE2\x82\xAC", "€"},
             {"", "\xE2\x82\xAC", "€"},
             {"x-unknown", "\xE2\x82\xAC", "€"}});
}

TEST(Charset, AnUnknownLabelIsUtf8WhereValidElseWindows1252) {
  expectAll({{"x-klingon", "caf\xC3\xA9", "café"},
             {"x-klingon", "caf\xE9", "café"},
             {"UTF-8//TRANSLIT", "caf\xE9", "café"},
             {"../../evil", "caf\xE9", "café"},
             {"---", "caf\xE9", "café"}});
}

TEST(Charset, TextGoesOnBehindABadByteAndANul) {
  expectAll({{"utf-8", "a\xFFz", "a\uFFFDz"},
             {"utf-8", "a\xE2\x82z", "a\uFFFD\uFFFDz"},
             {"windows-1252", "a\x81z", "a\uFFFDz"},
             {"iso-8859-7", "a\xFFz", "a\uFFFDz"},
             {"euc-kr", "\xB0\xA1\xFE\xFE\xB0\xA1", "가\uFFFD\uFFFD가"},
             {"gb2312", "\xD6\xD0\xFFz", "中\uFFFDz"},
             {"shift_jis", "\x82\xA0\x82", "あ\uFFFD"},
             {"windows-1252", "a\0\xE9"sv, "a\0é"sv},
             {"koi8-r", "a\0\xF0"sv, "a\0П"sv},
             {"utf-8", "a\0z"sv, "a\0z"sv},
             {"iso-2022-jp", "a\0\x1B$B4A\x1B(B"sv, "a\0漢"sv}});
}

TEST(Charset, Utf16AndUtf32StayInStepBehindADamage) {
  expectAll({{"utf-16",
              "\xFF\xFE"
              "a\0b\0"sv,
              "ab"},
             {"utf-16", "\xFE\xFF\0a\0b"sv, "ab"},
             {"utf-16", "a\0b\0"sv, "ab"},
             {"utf-16le", "a\0\x00\xD8z\0q"sv, "a\uFFFDz\uFFFD"},
             {"utf-16be", "\xD8\x00\0z"sv, "\uFFFDz"},
             {"utf-32le", "a\0\0\0\xFF\xFF\xFF\xFFz\0\0\0"sv, "a\uFFFDz"}});
}

TEST(Charset, AUtf7LabelIsFollowed) {
  expectAll({{"utf-7", "1 +- 1 +AOk-", "1 + 1 é"}});
}

TEST(Charset, AByteOrderMarkIsNoText) {
  EXPECT_EQ(toUtf8("\xEF\xBB\xBFx", "utf-8"), "x");
}

TEST(Charset, ValidityFollowsTheStandard) {
  for (const auto valid : {""sv, "\0"sv, "\x7F"sv, "\xC2\x80"sv, "\xED\x9F\xBF"sv, "\xEE\x80\x80"sv,
                           "\xF4\x8F\xBF\xBF"sv, "\xF0\x90\x80\x80"sv}) {
    EXPECT_TRUE(isValidUtf8(valid));
    EXPECT_EQ(scrubUtf8(valid), valid);
  }
  for (const auto bad : {"\x80"sv, "\xC0\x80"sv, "\xC1\xBF"sv, "\xE0\x9F\xBF"sv, "\xED\xA0\x80"sv,
                         "\xF0\x8F\xBF\xBF"sv, "\xF4\x90\x80\x80"sv, "\xF8\x88\x80\x80\x80"sv,
                         "\xE2\x82"sv, "\xFF"sv}) {
    EXPECT_FALSE(isValidUtf8(bad));
    EXPECT_EQ(scrubUtf8(bad), repeated(kReplacementCharacter, bad.size()));
  }
}

TEST(Charset, EverySetMakesValidTextOfEveryBytePair) {
  for (const auto label : {"",        "utf-8",        "utf-7",         "utf-16",      "utf-16be",
                           "utf-32",  "windows-1255", "windows-1258",  "tcvn",        "big5",
                           "gb18030", "euc-jp",       "shift_jis",     "euc-kr",      "euc-tw",
                           "johab",   "iso-2022-jp",  "iso-2022-jp-3", "iso-2022-kr", "iso-2022-cn",
                           "koi8-r",  "ibm437"}) {
    std::string all;
    for (int i = 0; i < 65536; ++i) {
      all += static_cast<char>(i >> 8);
      all += static_cast<char>(i);
    }
    const std::string text = toUtf8(all, label);
    EXPECT_TRUE(isValidUtf8(text)) << label;
    EXPECT_LE(text.size(), kUtf8Growth * all.size()) << label;
    EXPECT_FALSE(text.empty()) << label;
  }
}

TEST(Charset, TensOfThousandsOfBadBytesBecomeText) {
  for (const auto label : {"utf-8", "windows-1252", "gb18030", "iso-2022-jp", "utf-16"}) {
    const std::string text = toUtf8(std::string(50'000, '\x81'), label);
    EXPECT_TRUE(isValidUtf8(text)) << label;
    EXPECT_FALSE(text.empty()) << label;
  }
}

}  // namespace
}  // namespace relaybird
