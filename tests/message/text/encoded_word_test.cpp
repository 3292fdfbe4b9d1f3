// SPDX-License-Identifier: MIT
// Encoded words (RFC 2047) in header values: tables of raw values and their text, correct ones and
// those that senders get wrong, and values made to exhaust the decoder.
#include "message/text/encoded_word.h"

#include <gtest/gtest.h>

#include "message/text/charset.h"
#include "message/text/repeated.h"

namespace relaybird {
namespace {

using namespace std::string_view_literals;

struct Sample {
  std::string_view raw;
  std::string_view text;
};

void expectAll(std::initializer_list<Sample> samples) {
  for (const Sample& sample : samples) {
    EXPECT_EQ(decodeHeaderText(sample.raw), sample.text);
  }
}

TEST(EncodedWord, BothEncodingsAreDecoded) {
  expectAll({{"=?utf-8?Q?Caf=C3=A9_au_lait?=", "Café au lait"},
             {"=?UTF-8?q?a=5Fb=3D?=", "a_b="},
             {"=?iso-8859-1?B?Y2Fm6Q==?=", "café"},
             {"=?utf-8?Q?=41?=", "A"},
             {"=?utf-8?Q?\?=", ""}});
}

TEST(EncodedWord, ALanguageSuffixIsIgnored) {
  expectAll({{"=?utf-8*en-GB?Q?caf=C3=A9?=", "café"}, {"=?utf-8*EN?Q?a?= =?utf-8?Q?b?=", "ab"}});
}

TEST(EncodedWord, WhiteSpaceIsDroppedBetweenWordsOnly) {
  expectAll({{"=?utf-8?Q?a?= =?utf-8?B?Yg==?=", "ab"},
             {"=?utf-8?Q?a?=\r\n\t =?utf-8?Q?b?=", "ab"},
             {"=?utf-8?Q?a?==?utf-8?Q?b?=", "ab"},
             {"=?utf-8?Q?a?= b =?utf-8?Q?c?=", "a b c"},
             {"x =?iso-8859-1?Q?=E9?= =?utf-8?Q?=C3=A9?= y", "x éé y"}});
}

TEST(EncodedWord, ACharacterSplitOverTwoWordsComesOutWhole) {
  expectAll({{"=?utf-8?Q?caf=C3?= =?utf-8?Q?=A9?=", "café"},
             {"=?utf-8?B?44E=?= =?UTF-8?B?gg==?=", "あ"},
             {"=?utf-8?Q?=E3?= =?utf-8?B?gYI=?=", "あ"},
             {"=?gb2312?B?1g==?=\r\n =?gb2312?B?0A==?=", "中"}});
}

TEST(EncodedWord, Base64SplitWithinAGroupIsJoined) {
  expectAll({{"=?utf-8?B?44G?= =?utf-8?B?Kw==?=", "お"}, {"=?utf-8?B?Y?= =?utf-8?B?WI=?=", "ab"}});
}

TEST(EncodedWord, HalfABase64GroupYieldsWhatItHas) {
  expectAll({{"=?utf-8?B?YWI?=", "ab"},
             {"=?utf-8?B?YQ?= =?utf-8?B?YQ?=", "aa"},
             {"=?utf-8?B?YQ==YQ==?=", "aa"},
             {"=?utf-8?B?Y!W J\tj?=", "abc"},
             {"=?utf-8?B?Y?=", ""},
             {"=?utf-8?B?====?=x", "x"}});
}

TEST(EncodedWord, ACutQuotedPrintableEscapeStays) {
  expectAll(
      {{"=?utf-8?Q?1+1=2?=", "1+1=2"}, {"=?utf-8?Q?a=zzb?=", "a=zzb"}, {"=?utf-8?Q?==?=", "=="}});
}

TEST(EncodedWord, WhatIsNoWordStaysAsItIs) {
  expectAll({{"=?utf-8?Q?never closed", "=?utf-8?Q?never closed"},
             {"=?utf-8?X?abc?=", "=?utf-8?X?abc?="},
             {"=?utf-8 x?Q?abc?=", "=?utf-8 x?Q?abc?="},
             {"=?utf-8?B?a?b?=", "=?utf-8?B?a?b?="},
             {"=?", "=?"},
             {"=?utf-8?B?YW =?utf-8?B?YWI=?=", "=?utf-8?B?YW ab"},
             {"1 =? 2", "1 =? 2"}});
}

TEST(EncodedWord, WordsAreDecodedInsideOtherTextAndWithBlanksInThem) {
  expectAll({{"Re:=?utf-8?Q?caf=C3=A9?=!", "Re:café!"}, {"=?utf-8?Q?two words?=", "two words"}});
}

TEST(EncodedWord, RawBytesAreUtf8OrWindows1252) {
  expectAll({{"caf\xC3\xA9", "café"},
             {"caf\xE9 \x93x\x94", "café “x”"},
             {"=?utf-8?Q?=C3=A9?= caf\xE9", "é café"}});
}

TEST(EncodedWord, MisusedAndUnknownCharsetsAreReadAsText) {
  expectAll({{"=?iso-8859-1?Q?=93x=94?=", "“x”"},
             {"=?x-none-such?Q?caf=E9?=", "café"},
             {"=??Q?caf=C3=A9?=", "café"},
             {"=?shift_jis?B?h0A=?=", "①"},
             {"=?ISO-2022-JP?B?GyRCLSEbKEI=?=", "①"},
             {"=?ISO-2022-JP?B?GyRCNEE7ehsoQg==?=", "漢字"},
             {"=?utf-8?Q?a=FFz?=", "a\uFFFDz"},
             {"=?utf-8?B?YQB6?=", "a\0z"sv}});
}

TEST(EncodedWord, FoldsBecomeBlanksAndTheEndsAreTrimmed) {
  expectAll({{" a\r\n b", "a b"},
             {"a\n\tb\n", "a b"},
             {"a\r\n\r\nb", "a b"},
             {"a\r\n  b", "a  b"},
             {"\r\n \t", ""},
             {"", ""}});
}

TEST(EncodedWord, EncodedLineBreaksComeOutAsTheyAre) {
  expectAll({{"=?utf-8?Q?a=0D=0ABcc:_x?=", "a\r\nBcc: x"}});
}

TEST(EncodedWord, AVeryLongSubjectComesOutWhole) {
  const std::string word = "=?utf-8?B?" + repeated("44GC", 50'000) + "?=";
  EXPECT_EQ(decodeHeaderText(word), repeated("あ", 50'000));
  EXPECT_EQ(decodeHeaderText(repeated("=?utf-8?Q?=C3?=\r\n =?utf-8?Q?=A9?=\r\n ", 5'000)),
            repeated("é", 5'000));
}

TEST(EncodedWord, SpansCoverTheWordsAndNothingElse) {
  const auto spans = encodedWords("a =?utf-8?q?b?= =?x =?utf-8?q?c?=");
  ASSERT_EQ(spans.size(), 2u);
  EXPECT_EQ(spans[0].start, 2u);
  EXPECT_EQ(spans[0].length, 13u);
  EXPECT_EQ(spans[1].start, 20u);
}

TEST(EncodedWord, HundredsOfThousandsOfBeginningsAreText) {
  for (const auto piece : {"=?"sv, "=?a?q?"sv, "x=?a?q?x"sv, " =?a?q?"sv, "=?a?q?=?b?b?"sv,
                           "=?a?b?"sv, "?="sv, "=?utf-8?q?a?= =?utf-7?b?YQ==?= "sv,
                           "=?utf-8?B?YQ?= "sv, "\r\n "sv, "x=?a?q?x\t=?a?q?"sv}) {
    const std::string raw = repeated(piece, 200'000) + " =?a?q?z?=";
    const std::string text = decodeHeaderText(raw);
    EXPECT_TRUE(isValidUtf8(text)) << piece;
    EXPECT_LE(text.size(), kUtf8Growth * raw.size()) << piece;
  }
}

}  // namespace
}  // namespace relaybird
