// SPDX-License-Identifier: MIT
#include "ui/desktop/widgets/text.h"

#include <gtest/gtest.h>

namespace relaybird::desktop {
namespace {

std::string shown(std::string_view text) {
  return fromWx(plainLine(text));
}

TEST(DesktopText, SurvivesTheRoundTrip) {
  for (const std::string text : {"", "plain", "Zoë & 例子", "👩‍💻", "two\nlines"}) {
    EXPECT_EQ(fromWx(toWx(text)), text);
  }
}

TEST(DesktopText, InvalidUtf8IsShownInOctal) {
  EXPECT_EQ(fromWx(toWx("/home/caf\351/Maildir")), "/home/caf\\351/Maildir");
}

TEST(DesktopText, LineEndsBecomeLf) {
  EXPECT_EQ(linesToWx("one\r\n\r\ntwo\nthree"), "one\n\ntwo\nthree");
}

TEST(DesktopText, ALineCannotReorderOrHideTheFollowingText) {
  EXPECT_EQ(shown("pay \u202Egpj.exe"), "pay <U+202E>gpj.exe");
  EXPECT_EQ(shown("a\u2066b\u2069c"), "a<U+2066>b<U+2069>c");
  EXPECT_EQ(shown("a\u200Bb\uFEFFc"), "a<U+200B>b<U+FEFF>c");
  EXPECT_EQ(shown("a\nb\x1B[2J"), "a<U+000A>b<U+001B>[2J");
}

TEST(DesktopText, TextInAnyScriptIsUnchanged) {
  for (const std::string text :
       {"tab\there", "می\u200Cخواهم", "👩\u200D💻", "क्\u200Dष", "שלום", "Zoë"}) {
    EXPECT_EQ(shown(text), text);
  }
}

}  // namespace
}  // namespace relaybird::desktop
