// SPDX-License-Identifier: MIT
#include "platform/win32/win32_text.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

namespace relaybird {
namespace {

using namespace std::string_literals;

TEST(Win32Text, EveryCharacterComesBack) {
  for (const std::string& text :
       {""s, "plain"s, "J\u00f6rg \u20ac \u4e2d"s, "\U0001F426 \U0010FFFF"s, "a\0b"s, "\uFFFD"s}) {
    EXPECT_EQ(fromWide(toWide(text)), text);
  }
  EXPECT_EQ(toWide("\u00e4\U0001F426"), L"\u00e4\xD83D\xDC26");
}

TEST(Win32Text, EachByteThatIsNotUtf8IsReplaced) {
  EXPECT_EQ(toWide("a\xFF\xFE b"), L"a\xFFFD\xFFFD b");
  EXPECT_EQ(toWide("\xC3"), L"\xFFFD");                                  // cut off
  EXPECT_EQ(toWide("\xC0\xAF"), L"\xFFFD\xFFFD");                        // "/" in an overlong form
  EXPECT_EQ(toWide("\xED\xA0\x80"), L"\xFFFD\xFFFD\xFFFD");              // half of a pair
  EXPECT_EQ(toWide("\xF4\x90\x80\x80!"), L"\xFFFD\xFFFD\xFFFD\xFFFD!");  // past U+10FFFF
}

TEST(Win32Text, HalfOfASurrogatePairIsReplaced) {
  EXPECT_EQ(fromWide(L"a\xD83D"), "a\uFFFD");
  EXPECT_EQ(fromWide(L"\xDC26z"), "\uFFFDz");
  EXPECT_EQ(fromWide(L"\xDC26\xD83D"), "\uFFFD\uFFFD");
  EXPECT_EQ(fromWide(L"\xD83D\xD83D\xDC26"), "\uFFFD\U0001F426");
}

TEST(Win32Text, PlainTextIsInTheCodePageOfTheSystem) {
  ASSERT_EQ(::GetACP(), 1252U);  // of the tests' prefix
  EXPECT_EQ(toAnsi("J\u00f6rg \u20ac\r\n"), "J\xF6rg \x80\r\n");
  EXPECT_EQ(toAnsi("!\u4e2d"), "!?");
  EXPECT_EQ(toAnsi(""), "");
}

}  // namespace
}  // namespace relaybird
