// SPDX-License-Identifier: MIT
// How typed and pasted text changes in the fields that hold lists. A text with "|" stands for a
// field and its caret before and after a key or a paste.
#include "ui/forms/settings/prefs_controls.h"

#include <gtest/gtest.h>

#include <string>

namespace relaybird {
namespace {

// Inserts a text into a field with a caret, "|", as one change.
std::string put(ListOf list, const std::string& field, const std::string& input) {
  const std::size_t caret = field.find('|');
  const std::string head = field.substr(0, caret);
  const std::string tail = field.substr(caret + 1);
  const TypedText shown =
      withSemicolons(list, head + tail, {head + input + tail, head.size() + input.size()});
  return shown.text.substr(0, shown.caret) + "|" + shown.text.substr(shown.caret);
}

// Types a text key by key into an empty field.
std::string typed(ListOf list, const std::string& keys) {
  std::string field = "|";
  for (const char key : keys) {
    field = put(list, field, std::string(1, key));
  }
  return field;
}

std::string address(const std::string& field, const std::string& input) {
  return put(ListOf::kAddresses, field, input);
}

TEST(ListTyping, EnterAndACommaBecomeASemicolonAndABlank) {
  EXPECT_EQ(address("a@b.c|", "\n"), "a@b.c; |");
  EXPECT_EQ(address("a@b.c|", ","), "a@b.c; |");
  EXPECT_EQ(address("a@b.c|d@e.f", "\n"), "a@b.c; |d@e.f");
  EXPECT_EQ(typed(ListOf::kAddresses, "a@b.c,d@e.f\ng@h.i"), "a@b.c; d@e.f; g@h.i|");
}

TEST(ListTyping, AHabitOfTypingABlankBehindACommaMakesNoSecondOne) {
  EXPECT_EQ(typed(ListOf::kAddresses, "a@b.c, d@e.f"), "a@b.c; d@e.f|");
  EXPECT_EQ(typed(ListOf::kAddresses, "a@b.c; d@e.f"), "a@b.c; d@e.f|");
}

TEST(ListTyping, PastedLinesBecomeEntriesWhateverEndsThem) {
  for (const std::string end : {"\r\n", "\n", "\r", ";\r\n", " \n\n ", ",\n"}) {
    EXPECT_EQ(address("|", "a@b.c" + end + "d@e.f" + end), "a@b.c; d@e.f; |") << end;
  }
  EXPECT_EQ(address("x@y.z; |", "\r\na@b.c\r\n"), "x@y.z; a@b.c; |");
}

TEST(ListTyping, SeparatorsAreNotDoubled) {
  EXPECT_EQ(address("a@b.c; |", "\n"), "a@b.c; |");
  EXPECT_EQ(address("a@b.c;|", "\n"), "a@b.c; |");
  EXPECT_EQ(address("a@b.c|; d@e.f", "\n"), "a@b.c; |d@e.f");
  EXPECT_EQ(address("a@b.c|;d@e.f", ","), "a@b.c; |d@e.f");
  EXPECT_EQ(address("a@b.c |  d@e.f", "\n"), "a@b.c; |d@e.f");
  EXPECT_EQ(address("|a@b.c", "\n"), "|a@b.c");
  EXPECT_EQ(address("a@b.c|; ", "\nx@y.z\n"), "a@b.c; x@y.z; |");
}

TEST(ListTyping, ACommaInAQuotedNameStays) {
  const std::string name = "\"Doe, John\" <john@d.example>";
  EXPECT_EQ(typed(ListOf::kAddresses, name + ",a@b.c"), name + "; a@b.c|");
  EXPECT_EQ(address("|", name + ", " + name + "\r\n"), name + "; " + name + "; |");
  const std::string escaped = "\"Doe \\\"J, \\\\\" <john@d.example>";
  EXPECT_EQ(address("|", escaped + "," + escaped), escaped + "; " + escaped + "|");
}

TEST(ListTyping, AQuoteThatIsNotClosedHoldsForItsEntryAlone) {
  EXPECT_EQ(address("\"Ann; a@b.c|", ","), "\"Ann; a@b.c; |");
  EXPECT_EQ(address("|", "\"Ann\na@b.c,d@e.f"), "\"Ann; a@b.c; d@e.f|");
}

TEST(ListTyping, WhatStoodThereBeforeIsNotTouched) {
  EXPECT_EQ(address("Doe, John; a@b.c|", "x"), "Doe, John; a@b.cx|");
  EXPECT_EQ(address("a,,b|,c", "\n"), "a,,b; |,c");
  // Of two equal letters, the one before the caret is new.
  EXPECT_EQ(address("a,|,b", ","), "a,; |,b");
}

TEST(ListTyping, TakingAwayTakesAwayThatAlone) {
  const TypedText typed = withSemicolons(ListOf::kAddresses, "a, b; c", {"a, b c", 4});
  EXPECT_EQ(typed.text, "a, b c");
  EXPECT_EQ(typed.caret, 4u);
  EXPECT_EQ(withSemicolons(ListOf::kAddresses, "a", {"", 0}).text, "");
}

TEST(ListTyping, AmongSendersACommaEndsAnAddressAndNoName) {
  EXPECT_EQ(typed(ListOf::kSenders, "Doe, John\nbob@x.example, Carol"),
            "Doe, John; bob@x.example; Carol|");
  EXPECT_EQ(typed(ListOf::kSenders, "offers.example, inc"), "offers.example, inc|");
}

TEST(ListTyping, InPhrasesLinesAloneEndEntries) {
  EXPECT_EQ(put(ListOf::kPhrases, "|", "out of paper, again\r\nat @ once, now"),
            "out of paper, again; at @ once, now|");
}

TEST(ListTyping, LettersOfSeveralBytesStayWhole) {
  // They differ only in their last byte.
  EXPECT_EQ(address("\u00e4|", "\u00e5,"), "\u00e4\u00e5; |");
  EXPECT_EQ(address("\u00e4|\u00e5", ",\u00e4"), "\u00e4; \u00e4|\u00e5");
}

TEST(ListTyping, ACaretThatIsNowhereDoesNoHarm) {
  EXPECT_EQ(withSemicolons(ListOf::kAddresses, "a", {"a,b", 99}).text, "a; b");
  EXPECT_EQ(withSemicolons(ListOf::kAddresses, "a", {"a,b", 0}).text, "a; b");
}

}  // namespace
}  // namespace relaybird
