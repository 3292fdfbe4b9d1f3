// SPDX-License-Identifier: MIT
#include "ui/console/quoting.h"

#include <gtest/gtest.h>

namespace relaybird {
namespace {

using Words = std::vector<std::string>;

TEST(Quoting, TextsWithLineBreaksStayOnOneLine) {
  EXPECT_EQ(escaped("a\r\nb\tc\\d"), R"(a\r\nb\tc\\d)");
  EXPECT_EQ(inQuotes("say \"no\"\n"), R"("say \"no\"\n")");
  EXPECT_EQ(escaped("Grüße, 東京"), "Grüße, 東京");
}

TEST(Quoting, NothingThatMovesATerminalGetsOut) {
  EXPECT_EQ(escaped("\x1b[2J"), R"(\x1b[2J)");
  EXPECT_EQ(escaped("\xc2\x9b"
                    "2J"),
            R"(\xc2\x9b2J)");
  EXPECT_EQ(escaped("a\xe2\x80\xae"
                    "b"),
            R"(a\xe2\x80\xaeb)");
  EXPECT_EQ(escaped("a\xe2\x80\xa8"
                    "b"),
            R"(a\xe2\x80\xa8b)");
  EXPECT_EQ(escaped("\x7f\x07"), R"(\x7f\x07)");
}

TEST(Quoting, MarksAndFillersThatTheLogWindowShowsByTheirCodesShowAtTheConsoleToo) {
  EXPECT_EQ(escaped("a\u200Fb\u200Bc\u00ADd"), R"(a\xe2\x80\x8fb\xe2\x80\x8bc\xc2\xadd)");
  EXPECT_EQ(printable("a\u200Fb\u200Bc\uFEFFd"), "a<U+200F>b<U+200B>c<U+FEFF>d");
  EXPECT_EQ(escaped("می\u200Cخواهم 👩\u200D💻"), "می\u200Cخواهم 👩\u200D💻");
}

TEST(Quoting, BytesThatAreNoUtf8AreWrittenAsBytes) {
  EXPECT_EQ(escaped("\xff\xc0\xaf"), R"(\xff\xc0\xaf)");
  EXPECT_EQ(escaped("\xed\xa0\x80"), R"(\xed\xa0\x80)");
  EXPECT_EQ(escaped("\xe2\x82"), R"(\xe2\x82)");
  EXPECT_EQ(escaped("\xf4\x90\x80\x80"), R"(\xf4\x90\x80\x80)");
}

TEST(Quoting, PeopleReadSingleBackslashes) {
  EXPECT_EQ(printable("c:\\rbx\tdb\x1b"), "c:\\rbx db<U+001B>");
}

TEST(Quoting, WhatIsQuotedReadsBackAsItWas) {
  std::string every;
  for (int byte = 0; byte < 256; ++byte) {
    every += static_cast<char>(byte);
  }
  every += "Grüße \" \\ \\n";
  const auto value = readValue("  " + inQuotes(every) + " ");
  ASSERT_TRUE(value) << value.error().text;
  EXPECT_EQ(*value, every);
}

TEST(Quoting, AValueRunsToTheEndOfItsLine) {
  EXPECT_EQ(*readValue("  a@b.example; c@d.example  "), "a@b.example; c@d.example");
  EXPECT_EQ(*readValue(R"(c:\new "x")"), R"(c:\new "x")");
  EXPECT_EQ(*readValue(""), "");
  EXPECT_EQ(*readValue(R"("")"), "");
  EXPECT_EQ(*readValue(R"(" a ")"), " a ");
  EXPECT_EQ(readValue(R"("a" b)").error().text, "there is more after the closing quote");
}

TEST(Quoting, WordsAreDividedByBlanksAndMayStandInQuotes) {
  EXPECT_EQ(*splitWords(" Yes\t\"two words\"  \"\" OK "), (Words{"Yes", "two words", "", "OK"}));
  EXPECT_EQ(*splitWords(""), Words{});
  EXPECT_EQ(splitWords("\"open").error().text, "a closing quote is missing");
  EXPECT_EQ(splitWords("\"a\"b").error().text, "a blank must follow the closing quote");
  for (const char* wrong : {R"("\q")", R"("\x1")", R"("\xg0")", "\"\\"}) {
    EXPECT_FALSE(splitWords(wrong)) << wrong;
  }
}

TEST(Quoting, OnlyCleanUtf8IsACommand) {
  EXPECT_EQ(whyNoCommand("set a.b Grüße\t1"), "");
  EXPECT_EQ(whyNoCommand(std::string_view("a\0b", 3)), "the line holds a NUL character");
  EXPECT_EQ(whyNoCommand("a\x1b"), "the line holds control characters");
  EXPECT_EQ(whyNoCommand("a\u202E"), "the line holds control characters");
  EXPECT_EQ(whyNoCommand("a\u2028"), "the line holds control characters");
  EXPECT_EQ(whyNoCommand("\u200Fשלום"), "");
  EXPECT_EQ(whyNoCommand("a\xff"), "the line is not UTF-8");
}

}  // namespace
}  // namespace relaybird
