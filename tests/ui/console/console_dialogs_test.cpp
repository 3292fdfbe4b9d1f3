// SPDX-License-Identifier: MIT
// Boxes at the console: how they are printed, and which answers they take. A script of events
// stands for the loop that runs while a box waits.
#include "ui/console/console_dialogs.h"

#include <gtest/gtest.h>

#include "ui/console/console_fixture.h"

namespace relaybird {
namespace {

using Answers = std::vector<std::string>;

class ConsoleDialogsTest : public testing::Test {
 protected:
  explicit ConsoleDialogsTest(bool forPeople = false)
      : dialogs({out,
                 [this](const std::function<bool()>& done) {
                   while (!done() && !script.empty()) {
                     auto next = std::move(script.front());
                     script.pop_front();
                     next();
                   }
                   return done();
                 },
                 forPeople}) {}
  // The events to run while boxes wait, in order.
  std::deque<std::function<void()>> script;
  Transcript transcript;
  ScriptOutput out{transcript};
  ConsoleDialogs dialogs;

  BoxAnswer ask(BoxButtons buttons, const std::string& title = "T") {
    return dialogs.messageBox({"text\r\nmore", title, buttons, BoxIcon::kExclamation});
  }
  std::string why(const std::string& value) {
    const auto outcome = dialogs.answer(value);
    return outcome ? "" : outcome.error().text;
  }
};

TEST_F(ConsoleDialogsTest, PrintsABoxAndTakesTheQueuedAnswer) {
  dialogs.queue(Answers{"yes"});
  EXPECT_EQ(ask(BoxButtons::kYesNo, "Please Confirm:"), BoxAnswer::kYes);
  EXPECT_EQ(transcript.take(),
            "box: Please Confirm:\nbox-kind: message\nbox-icon: exclamation\n"
            "box-text: text\\r\\nmore\nbox-buttons: Yes, No\nbox-answer: Yes\n");
  EXPECT_TRUE(dialogs.queued().empty());
}

TEST_F(ConsoleDialogsTest, PassesOverAQueuedAnswerThatIsNotOffered) {
  dialogs.queue(Answers{"Maybe", "Y", "Cancel", "OK"});
  EXPECT_EQ(ask(BoxButtons::kOkCancel), BoxAnswer::kCancel);
  const std::string text = transcript.take();
  EXPECT_NE(text.find("note: the answer \"Maybe\""), std::string::npos) << text;
  EXPECT_EQ(dialogs.queued(), std::deque<Secret>{Secret("OK")});
}

TEST_F(ConsoleDialogsTest, WaitsForAnAnswerThatItOffers) {
  std::string first;
  script = {[&] { first = why("Maybe"); }, [&] { EXPECT_EQ(why("no"), ""); }};
  EXPECT_EQ(ask(BoxButtons::kYesNoCancel), BoxAnswer::kNo);
  EXPECT_EQ(first, "\"Maybe\" is no answer to this box: Yes, No, Cancel");
  EXPECT_FALSE(dialogs.asking());
  EXPECT_EQ(why("Yes"), "no box waits for an answer");
}

TEST_F(ConsoleDialogsTest, TheNewestOfNestedBoxesIsAnsweredFirst) {
  BoxAnswer inner = BoxAnswer::kCancel;
  script = {[&] {
              script.emplace_front([&] {
                EXPECT_EQ(dialogs.question()->title, "inner");
                EXPECT_EQ(why("OK"), "") << "which the outer box does not offer";
              });
              inner = ask(BoxButtons::kOkCancel, "inner");
            },
            [&] {
              EXPECT_EQ(dialogs.question()->title, "outer");
              EXPECT_EQ(why("Yes"), "");
            }};
  EXPECT_EQ(ask(BoxButtons::kYesNo, "outer"), BoxAnswer::kYes);
  EXPECT_EQ(inner, BoxAnswer::kOk);
}

TEST_F(ConsoleDialogsTest, TheEndOfTheInputAnswersSafely) {
  script = {[&] { dialogs.close(); }};
  EXPECT_EQ(ask(BoxButtons::kYesNo), BoxAnswer::kNo);
  EXPECT_NE(transcript.take().find("note: the input has ended"), std::string::npos);
  EXPECT_EQ(ask(BoxButtons::kYesNoCancel), BoxAnswer::kCancel);
  EXPECT_EQ(ask(BoxButtons::kOk), BoxAnswer::kOk);
  EXPECT_EQ(dialogs.inputBox({"p", "t"}), "");
  EXPECT_FALSE(dialogs.openFile({"t", "f"}));
  dialogs.queue(Answers{"Yes"});
  EXPECT_EQ(ask(BoxButtons::kYesNo), BoxAnswer::kYes) << "what was said before still holds";
}

TEST_F(ConsoleDialogsTest, AProgramThatEndsMeanwhileAnswersSafely) {
  EXPECT_EQ(ask(BoxButtons::kYesNo), BoxAnswer::kNo);  // nothing is left to run
  EXPECT_FALSE(dialogs.asking());
}

TEST_F(ConsoleDialogsTest, TextAndFilesAreTakenAsTheyAre) {
  dialogs.queue(Answers{"a@b.example", "", "/tmp/rbx.chm", ""});
  EXPECT_EQ(dialogs.inputBox({"Enter it:", "Invalid Email Address"}), "a@b.example");
  EXPECT_EQ(transcript.take(),
            "box: Invalid Email Address\nbox-kind: input\nbox-icon: none\nbox-text: Enter it:\n"
            "box-buttons:\nbox-answer: a@b.example\n");
  EXPECT_EQ(dialogs.inputBox({"Enter it:", "t"}), "");
  EXPECT_EQ(dialogs.openFile({"t", "f"}), "/tmp/rbx.chm");
  EXPECT_FALSE(dialogs.openFile({"t", "f"}));
}

TEST_F(ConsoleDialogsTest, APasswordIsAnsweredButNotPrinted) {
  dialogs.queue(Answers{"my secret", ""});
  const InputBox box{"Password for ann:", "Sign in", "", true};
  EXPECT_EQ(dialogs.inputBox(box), "my secret");
  EXPECT_EQ(dialogs.inputBox(box), "");
  EXPECT_EQ(transcript.text.find("my secret"), std::string::npos);
  EXPECT_NE(transcript.text.find("(hidden)"), std::string::npos);
}

TEST_F(ConsoleDialogsTest, AMenuClicksTheEntryThatIsNamed) {
  SmallProgram program;
  int restored = 0;
  program.window.mnuRestore.onClick([&] { ++restored; });
  dialogs.queue(Answers{"Restore"});
  dialogs.popupMenu(program.window.mnuPopup);
  EXPECT_EQ(restored, 1);
  EXPECT_NE(transcript.take().find("box-buttons: Restore\n"), std::string::npos);
  dialogs.queue(Answers{""});
  dialogs.popupMenu(program.window.mnuPopup);
  EXPECT_EQ(restored, 1);
}

class PeopleDialogsTest : public ConsoleDialogsTest {
 protected:
  PeopleDialogsTest() : ConsoleDialogsTest(true) {}
};

TEST_F(PeopleDialogsTest, PeopleMayShortenTheirAnswers) {
  script = {[&] { EXPECT_EQ(why("C"), ""); }};
  EXPECT_EQ(ask(BoxButtons::kYesNoCancel), BoxAnswer::kCancel);
  script = {[&] { EXPECT_NE(why(""), "") << "Enter alone decides nothing"; },
            [&] { EXPECT_EQ(why("ye"), ""); }};
  EXPECT_EQ(ask(BoxButtons::kYesNo), BoxAnswer::kYes);
  script = {[&] { EXPECT_EQ(why(""), ""); }};
  EXPECT_EQ(ask(BoxButtons::kOk), BoxAnswer::kOk);
}

}  // namespace
}  // namespace relaybird
