// SPDX-License-Identifier: MIT
// The two forms of output, a line for each item for scripts and a screen for people.
#include <gtest/gtest.h>

#include "ui/console/console_fixture.h"
#include "ui/console/console_output.h"
#include "ui/console/terminal_output.h"

namespace relaybird {
namespace {

TEST(ScriptOutput, EveryItemIsOneLine) {
  Transcript transcript;
  ScriptOutput out(transcript);
  out.status("Checking inbox now...");
  out.logLine("a\r\nok\n\x1b[2J");
  out.event("note", "");
  out.reply("line", "x\ty");
  out.error("no \"that\"");
  out.ok();
  EXPECT_EQ(transcript.text,
            "status: Checking inbox now...\nlog: a\\r\\nok\\n\\x1b[2J\nnote:\nline: x\\ty\n"
            "error: no \"that\"\nok\n");
}

// Records when it is hidden and shown.
class RecordingPrompt : public Prompt {
 public:
  explicit RecordingPrompt(Transcript& transcript) : transcript_(transcript) {}
  void hide() override { transcript_.text += "<hide>"; }
  void showSoon() override { transcript_.text += "<show>"; }

 private:
  Transcript& transcript_;
};

class TerminalOutputTest : public testing::Test {
 protected:
  Transcript transcript;
  TerminalOutput plain{transcript, {false, true, [] { return 30; }}};
  TerminalOutput coloured{transcript, {true, true, [] { return 30; }}};
};

TEST_F(TerminalOutputTest, ALineIsPrintedInPlaceOfThePrompt) {
  RecordingPrompt prompt(transcript);
  plain.setPrompt(&prompt);
  plain.logLine("forwarded it");
  EXPECT_EQ(transcript.text, "<hide>forwarded it\n<show>");
}

TEST_F(TerminalOutputTest, TheStepsOfAPassTakeOneAnothersPlace) {
  plain.status("Checking unread item 1 of 300");
  plain.status("Checking unread item 2 of 300");
  plain.logLine("forwarded it");
  plain.status("Checking unread item 3 of 300");
  plain.lineEntered();
  plain.status("Checking unread item 4 of 300");
  plain.status("Completed check of inbox");
  EXPECT_EQ(transcript.text,
            "Checking unread item 1 of 300\n"
            "\x1b[A\r\x1b[KChecking unread item 2 of 300\n"
            "forwarded it\n"
            "Checking unread item 3 of 300\n"
            "Checking unread item 4 of 300\n"
            "Completed check of inbox\n");
}

TEST_F(TerminalOutputTest, ATerminalThatCannotMoveItsCursorGetsALineEach) {
  TerminalOutput dumb(transcript, {false, false, [] { return 80; }});
  dumb.status("Checking unread item 1 of 3");
  dumb.status("Checking unread item 2 of 3");
  EXPECT_EQ(transcript.text, "Checking unread item 1 of 3\nChecking unread item 2 of 3\n");
}

TEST_F(TerminalOutputTest, AStatusNeverTakesMoreThanOneRow) {
  plain.status("Checking unread item 10000 of 30000 items");
  EXPECT_EQ(transcript.text, "Checking unread item 10000 of\n");
}

TEST_F(TerminalOutputTest, MailCannotControlTheTerminal) {
  plain.logLine("forwarded \x1b]0;owned\x07 c:\\new");
  plain.reply("action", "\x1b[2J");
  EXPECT_EQ(transcript.text, "forwarded <U+001B>]0;owned<U+0007> c:\\new\nAction: <U+001B>[2J\n");
}

TEST_F(TerminalOutputTest, ABoxKeepsItsLines) {
  plain.box({BoxView::Kind::kMessage, "Problem", "one\r\n\r\ntwo", BoxIcon::kCritical, {"OK"}});
  plain.boxWaits({BoxView::Kind::kMessage, "Problem", "", BoxIcon::kCritical, {"OK"}});
  plain.boxWaits({BoxView::Kind::kMessage, "Problem", "", BoxIcon::kNone, {"Yes", "No"}});
  EXPECT_EQ(transcript.text,
            "\n(!) Problem\n  one\n\n  two\nPress Enter for OK.\nAnswer: Yes, No?\n");
}

TEST_F(TerminalOutputTest, AnEmptyLineIsSaidToCancelOnlyWhereItDoes) {
  BoxView box{BoxView::Kind::kInput, "Invalid Email Address", "Address:", BoxIcon::kNone, {}};
  box.entry = "ann@exampel";
  plain.boxWaits(box);
  box.emptyCancels = false;
  plain.boxWaits(box);
  box.entry.clear();
  plain.boxWaits(box);
  EXPECT_EQ(transcript.text,
            "Type the answer; an empty line cancels.\n"
            "Type the answer, or press Enter for ann@exampel.\n"
            "Type the answer.\n");
}

TEST_F(TerminalOutputTest, ColoursAreThereOnlyWhereTheyAreWanted) {
  coloured.error("no");
  EXPECT_EQ(transcript.take(), "\x1b[31merror: no\x1b[0m\n");
  plain.error("no");
  EXPECT_EQ(transcript.take(), "error: no\n");
}

TEST(WordWrap, LeavesAlineThatFitsAsItIs) {
  EXPECT_EQ(wrapped("short line", 20, ""), "short line\n");
  EXPECT_EQ(wrapped("", 20, "  "), "\n");
  EXPECT_EQ(wrapped("   ", 20, ""), "\n");
}

TEST(WordWrap, BreaksAtTheLastBlankThatFits) {
  EXPECT_EQ(wrapped("one two three four", 9, ""), "one two\nthree\nfour\n");
  EXPECT_EQ(wrapped("one two three four", 13, ""), "one two three\nfour\n");
}

TEST(WordWrap, KeepsDoubledBlanksWithinALine) {
  EXPECT_EQ(wrapped("one.  two three", 9, ""), "one.  two\nthree\n");
}

TEST(WordWrap, AWordTooLongStandsAlone) {
  EXPECT_EQ(wrapped("a unbreakable b", 5, ""), "a\nunbreakable\nb\n");
}

TEST(WordWrap, IndentsEveryPart) {
  EXPECT_EQ(wrapped("one two three", 9, "  "), "  one two\n  three\n");
}

TEST(WordWrap, HangsBelowTheTextOfAListEntry) {
  EXPECT_EQ(wrapped("- one two three", 9, ""), "- one two\n  three\n");
  EXPECT_EQ(wrapped("  deep line here", 11, ""), "  deep line\n  here\n");
}

TEST(WordWrap, CountsCharactersNotBytes) {
  EXPECT_EQ(wrapped("äöü äöü", 7, ""), "äöü äöü\n");
}

TEST(WordWrap, AScreenNarrowerThanTheIndentStillGetsEveryWord) {
  EXPECT_EQ(wrapped("- a b", 1, "    "), "    - a\n      b\n");
}

}  // namespace

}  // namespace relaybird
