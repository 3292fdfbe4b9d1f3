// SPDX-License-Identifier: MIT
// The commands of a whole session, for a script, a service and a person at a terminal, over the
// small program of console_fixture.h in virtual time.
#include "ui/console/console_session.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

#include "ui/console/console_fixture.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;

// A script that sends lines over a pipe.
class ScriptSession : public testing::Test {
 protected:
  ScriptSession() {
    bench.begin();
    bench.settle();
  }
  std::string say(const std::string& line) { return bench.say(line); }

  ConsoleBench bench;
  SmallProgram& program = bench.program;
};

TEST_F(ScriptSession, EveryCommandEndsWithOneOkOrError) {
  EXPECT_EQ(say("status"), "automation: Stopped\nok\n");
  EXPECT_EQ(say("  START "), "ok\n");
  EXPECT_EQ(say("stop"), "error: forwarding is off\n");
  EXPECT_EQ(say("set frmMain.txtName Bob"), "ok\n");
  EXPECT_EQ(say("set frmMain.txtNone Bob"), "error: frmMain has no control \"txtNone\"\n");
  EXPECT_EQ(say("dance now"), "error: there is no command \"dance\"; help lists them\n");
  EXPECT_EQ(say("start now"), "error: this command takes nothing\n");
}

TEST_F(ScriptSession, EmptyLinesAndCommentsGetNoReply) {
  EXPECT_EQ(say(""), "");
  EXPECT_EQ(say(" \t "), "");
  EXPECT_EQ(say("# quit"), "");
  EXPECT_FALSE(bench.session.ended());
}

TEST_F(ScriptSession, UnusableLinesAreOneErrorEach) {
  bench.lines.put({InputLine::Kind::kUnusable, {}, "the line is not UTF-8"});
  EXPECT_EQ(bench.settle(), "error: the line is not UTF-8\n");
}

TEST_F(ScriptSession, PrintsWhatHappensAsItHappens) {
  program.onStart = [&] {
    program.window.lblAction.setText("Checking");
    program.window.lblAction.setText("Checking");
    program.window.lstLog.addItem("forwarded\nsomething");
    program.window.txtState.setText("Running");
    program.dialog.showModal(program.window);
    program.dialog.hide();
  };
  EXPECT_EQ(say("start"),
            "status: Checking\nlog: forwarded\\nsomething\nstate: Running\n"
            "form: frmDialog open \"Dialog\"\nform: frmDialog closed \"Dialog\"\nok\n");
}

TEST_F(ScriptSession, ShowsTheEndOfTheLog) {
  for (int i = 1; i <= 30; ++i) {
    program.window.lstLog.addItem("line " + std::to_string(i));
  }
  bench.transcript.take();
  EXPECT_EQ(say("log 2"), "line: line 29\nline: line 30\nok\n");
  const std::string twenty = say("log");
  EXPECT_EQ(twenty.substr(0, 14), "line: line 11\n");
  EXPECT_EQ(say("log 99").substr(0, 13), "line: line 1\n");
  for (const char* wrong : {"log 0", "log -1", "log many", "log 1 2"}) {
    EXPECT_EQ(say(wrong).substr(0, 6), "error:") << wrong;
  }
}

TEST_F(ScriptSession, ShowsAndChangesSettings) {
  EXPECT_EQ(say("settings"), "tab: General\nsetting: txtName \"Ann\" \"Name:\"\nok\n");
  EXPECT_EQ(say("settings txtName Ann and Bob"), "ok\n");
  EXPECT_EQ(program.window.txtName.text(), "Ann and Bob");
  EXPECT_EQ(say("settings txtNone 1"), "error: no such setting\n");
  EXPECT_EQ(say("settings txtName"), "error: settings takes NAME VALUE, or nothing\n");
}

TEST_F(ScriptSession, HelpKnowsCommandsAndTopics) {
  const std::string help = say("help");
  EXPECT_TRUE(help.starts_with("help: Watches a mailbox.\\n\nhelp: ")) << help;
  EXPECT_NE(help.find("mail rules"), std::string::npos);
  EXPECT_EQ(help.substr(help.size() - 3), "ok\n");
  EXPECT_EQ(
      say("help wait"),
      "help: wait idle [SECONDS] | SECONDS\\n  wait until nothing runs, or for a while\nok\n");
  EXPECT_EQ(say("help mail rules"), "help: Rules decide.\\nAll of them.\nok\n");
  EXPECT_EQ(say("help nonsense"), "error: there is no command and no topic \"nonsense\"\n");
}

TEST_F(ScriptSession, ABoxTakesTheAnswersThatWereQueued) {
  program.onTest = [&] {
    EXPECT_EQ(bench.ask(BoxButtons::kOkCancel, "Test Explanation:"), BoxAnswer::kOk);
    EXPECT_EQ(bench.ask(BoxButtons::kYesNo, "Please Confirm:"), BoxAnswer::kYes);
  };
  EXPECT_EQ(say("answer OK \"Yes\""), "ok\n");
  EXPECT_EQ(say("answers"), "queued: \"OK\"\nqueued: \"Yes\"\nok\n");
  EXPECT_EQ(say("test"),
            "box: Test Explanation:\nbox-kind: message\nbox-icon: critical\n"
            "box-text: A question\\r\\nof two lines\nbox-buttons: OK, Cancel\nbox-answer: OK\n"
            "box: Please Confirm:\nbox-kind: message\nbox-icon: critical\n"
            "box-text: A question\\r\\nof two lines\nbox-buttons: Yes, No\nbox-answer: Yes\nok\n");
  EXPECT_EQ(say("answers"), "ok\n");
}

TEST_F(ScriptSession, WithoutOneItWaitsForALine) {
  bool done = false;
  program.onTest = [&] {
    EXPECT_EQ(bench.ask(BoxButtons::kYesNo), BoxAnswer::kNo);
    done = true;
  };
  // The reply to the answer comes before that of the command that opened the box.
  bench.put("test");
  bench.put("set frmMain.txtName Bob");
  bench.put("Perhaps");
  bench.put("status");
  bench.put("answer Maybe");
  bench.put("No");
  bench.put("status");
  const std::string text = bench.settle();
  EXPECT_TRUE(done);
  EXPECT_EQ(text.substr(text.find("box-waits")),
            "box-waits: Title\n"
            "error: a box waits for an answer: Title (Yes, No)\n"
            "error: a box waits for an answer: Title (Yes, No)\n"
            "automation: Stopped\nok\n"
            "error: \"Maybe\" is no answer to this box: Yes, No\n"
            "box-answer: No\nok\n"
            "ok\n"
            "automation: Stopped\nok\n");
  EXPECT_EQ(program.window.txtName.text(), "Ann");
}

TEST_F(ScriptSession, AnAnswerToNoQuestionChangesNothing) {
  EXPECT_EQ(say("Yes"), "error: there is no command \"Yes\"; help lists them\n");
  EXPECT_EQ(say("answer"), "error: answer takes what to answer\n");
  EXPECT_EQ(say("answer \"open"), "error: a closing quote is missing\n");
  EXPECT_EQ(say("answer Yes"), "ok\n");
  EXPECT_EQ(say("answers clear"), "ok\n");
  EXPECT_EQ(say("answers"), "ok\n");
  EXPECT_EQ(say("answer \"too late\""), "ok\n");
  EXPECT_EQ(say("quit"), "note: no box has asked for the answer \"too late\"\nok\n");
}

TEST_F(ScriptSession, AnInputBoxTakesItsTextFromAnswerAlone) {
  std::string got = "?";
  program.onTest = [&] { got = bench.dialogs.inputBox({"Enter:", "Invalid Email Address"}); };
  bench.put("test");
  bench.put("a@b.example");
  bench.put("answer \"a b@c.example\"");
  const std::string text = bench.settle();
  EXPECT_EQ(got, "a b@c.example");
  EXPECT_NE(text.find("error: a box waits for an answer: Invalid Email Address\n"),
            std::string::npos)
      << text;
}

TEST_F(ScriptSession, ABoxOfATimerOnTopIsAnsweredFirst) {
  std::string order;
  const auto timer = bench.loop.makeTimer(1000ms, [&] {
    if (!order.empty()) {
      return;
    }
    order += "(";
    for (const char* line : {"Yes", "Cancel", "Yes"}) {
      bench.put(line);
    }
    EXPECT_EQ(bench.ask(BoxButtons::kOkCancel, "Timer"), BoxAnswer::kCancel);
    order += ")";
  });
  program.onTest = [&] {
    timer->setEnabled(true);
    EXPECT_EQ(bench.ask(BoxButtons::kYesNo, "Command"), BoxAnswer::kYes);
    timer->setEnabled(false);
    order += "!";
  };
  bench.put("test");
  const std::string text = bench.settle();
  EXPECT_EQ(order, "()!");
  EXPECT_NE(text.find("error: a box waits for an answer: Timer (OK, Cancel)\n"), std::string::npos);
}

TEST_F(ScriptSession, TimersTickWhileABoxWaits) {
  int ticks = 0;
  const auto timer = bench.loop.makeTimer(1000ms, [&] {
    if (++ticks == 5) {
      bench.put("Yes");
    }
  });
  program.onTest = [&] {
    timer->setEnabled(true);
    EXPECT_EQ(bench.ask(BoxButtons::kYesNo), BoxAnswer::kYes);
    timer->setEnabled(false);
  };
  say("test");
  EXPECT_EQ(ticks, 5);
}

TEST_F(ScriptSession, CommandsRunOneAfterTheOther) {
  program.onStart = [&] {
    bench.put("set frmMain.txtName Bob");
    bench.loop.processPending();
    bench.loop.processPending();
    EXPECT_EQ(program.window.txtName.text(), "Ann");
  };
  EXPECT_EQ(say("start"), "ok\nok\n");
  EXPECT_EQ(program.window.txtName.text(), "Bob");
}

TEST_F(ScriptSession, WaitsForAWhile) {
  const auto before = bench.now;
  bench.put("wait 90.5");
  bench.put("status");
  EXPECT_EQ(bench.settle(), "ok\nautomation: Stopped\nok\n");
  EXPECT_EQ(bench.now - before, 90500ms);
  EXPECT_EQ(say("wait 0"), "ok\n");
}

TEST_F(ScriptSession, WaitsUntilNothingRuns) {
  program.isIdle = false;
  const auto timer = bench.loop.makeTimer(5000ms, [&] { program.isIdle = true; });
  timer->setEnabled(true);
  bench.put("wait idle");
  bench.put("status");
  EXPECT_TRUE(bench.loop.runUntil(
      [&] { return bench.transcript.text == "ok\nautomation: Stopped\nok\n"; }));
  EXPECT_EQ(bench.now, 5000ms);
}

TEST_F(ScriptSession, AWaitThatIsTooLongIsGivenUp) {
  program.isIdle = false;
  EXPECT_EQ(say("wait idle 3"), "error: something still runs\n");
  EXPECT_GE(bench.now, 3000ms);
  for (const char* wrong :
       {"wait", "wait long", "wait -1", "wait 1 2", "wait idle x", "wait 1e99", "wait nan"}) {
    EXPECT_EQ(say(wrong), "error: wait takes idle, idle SECONDS, or SECONDS\n") << wrong;
  }
}

TEST_F(ScriptSession, ABoxEndsAWaitSoThatTheScriptCanAnswer) {
  program.isIdle = false;
  bool over = false;
  const auto timer = bench.loop.makeTimer(1000ms, [&] {
    if (!std::exchange(over, true)) {
      bench.ask(BoxButtons::kOk, "Test Complete");
    }
  });
  timer->setEnabled(true);
  bench.put("wait idle");
  bench.put("OK");
  EXPECT_TRUE(bench.loop.runUntil([&] { return over && !bench.dialogs.asking(); }));
  const std::string text = bench.transcript.take();
  EXPECT_NE(text.find("error: a box waits for an answer: Test Complete\nbox-answer: OK\nok\n"),
            std::string::npos)
      << text;
}

TEST_F(ScriptSession, TheEndOfTheInputEndsTheProgramAfterItsWaits) {
  bench.put("wait 10");
  bench.putEnd();
  EXPECT_EQ(bench.settle(), "ok\n");
  EXPECT_TRUE(bench.session.ended());
  EXPECT_EQ(bench.endings, 1);
  EXPECT_EQ(bench.now, 10000ms);
  EXPECT_EQ(bench.session.exitStatus(), 0);
}

TEST_F(ScriptSession, TheEndOfTheInputWithinAQuestionAnswersItSafely) {
  BoxAnswer got = BoxAnswer::kYes;
  program.onTest = [&] { got = bench.ask(BoxButtons::kYesNo); };
  bench.put("test");
  bench.putEnd();
  const std::string text = bench.settle();
  EXPECT_EQ(got, BoxAnswer::kNo);
  EXPECT_TRUE(bench.session.ended());
  EXPECT_NE(
      text.find("note: the input has ended: nobody can answer any more\nbox-answer: No\nok\n"),
      std::string::npos)
      << text;
}

TEST_F(ScriptSession, QuitWorksWhileABoxWaits) {
  BoxAnswer got = BoxAnswer::kYes;
  program.onTest = [&] { got = bench.ask(BoxButtons::kYesNoCancel); };
  bench.put("test");
  bench.put("quit");
  bench.put("start");
  bench.settle();
  EXPECT_EQ(got, BoxAnswer::kCancel);
  EXPECT_TRUE(bench.session.ended());
  EXPECT_EQ(bench.lines.waiting(), 1U) << "no command after the end";
}

TEST_F(ScriptSession, ACommandThatFailsWithAnExceptionIsAnError) {
  program.onStart = [] { throw std::runtime_error("no memory left"); };
  EXPECT_EQ(say("start"), "error: no memory left\n");
  program.onStart = nullptr;
  EXPECT_EQ(say("start"), "ok\n");
}

TEST(StartingSession, LinesBeforeTheStartIsOverAnswerItsBoxesAlone) {
  ConsoleBench bench;
  bench.put("start");
  int started = 0;
  bench.program.onStart = [&] { ++started; };
  bench.session.begin([&] {
    bench.loop.processPending();
    EXPECT_EQ(started, 0);
  });
  EXPECT_EQ(bench.settle(), "ok\n");
  EXPECT_EQ(started, 1);
}

// The null device: it ends at once.
class ServiceSession : public testing::Test {
 protected:
  ServiceSession() { bench.putEnd(); }
  ConsoleBench bench{InputKind::kNothing};
};

TEST_F(ServiceSession, EndsAtOnceWhereForwardingIsOff) {
  bench.begin();
  EXPECT_EQ(bench.settle(), "note: there is no input and forwarding is off: the program ends\n");
  EXPECT_EQ(bench.session.exitStatus(), 1);
}

// The service manager would start it again every half a minute, each time with the same password.
TEST_F(ServiceSession, ARefusedSignInEndsItWithTheStatusThatIsNotStartedAgain) {
  bench.program.logonWasRefused = true;
  bench.begin();
  EXPECT_EQ(
      bench.settle(),
      "note: the sign-in was refused: the program ends; correct the password or the settings, "
      "and start it again\n");
  EXPECT_EQ(bench.session.exitStatus(), 2);
}

TEST_F(ServiceSession, ARefusedSignInDoesNotEndItWhileForwardingIsOn) {
  bench.program.on = true;
  bench.program.logonWasRefused = true;
  bench.begin();
  const auto stop = bench.loop.makeTimer(3600000ms, [&] { bench.program.on = false; });
  stop->setEnabled(true);
  EXPECT_NE(bench.settle().find("forwarding has been switched off"), std::string::npos);
  EXPECT_EQ(bench.session.exitStatus(), 0);
}

TEST_F(ServiceSession, GoesOnWhileForwardingIsOnAndEndsAfterwards) {
  bench.program.on = true;
  bench.begin();
  const auto stop = bench.loop.makeTimer(3600000ms, [&] { bench.program.on = false; });
  stop->setEnabled(true);
  EXPECT_NE(bench.settle().find("forwarding has been switched off"), std::string::npos);
  EXPECT_GE(bench.now, 3600000ms);
  EXPECT_EQ(bench.session.exitStatus(), 0);
}

TEST_F(ServiceSession, ABoxAtTheStartIsAnsweredSafely) {
  BoxAnswer got = BoxAnswer::kYes;
  bench.session.begin([&] { got = bench.ask(BoxButtons::kYesNo); });
  EXPECT_EQ(got, BoxAnswer::kNo);
  bench.settle();
  EXPECT_TRUE(bench.session.ended());
}

class PersonSession : public testing::Test {
 protected:
  PersonSession() {
    bench.begin();
    bench.settle();
  }
  ConsoleBench bench{InputKind::kPerson};
  SmallProgram& program = bench.program;
};

TEST_F(PersonSession, NoNoiseAfterACommand) {
  EXPECT_EQ(bench.lines.shownPrompt, "relaybird> ");
  EXPECT_EQ(bench.say("start"), "");
  EXPECT_EQ(bench.say("stop"), "error: forwarding is off\n");
}

TEST_F(PersonSession, TheFirstLettersOfAButtonAnswerABox) {
  program.onTest = [&] { EXPECT_EQ(bench.ask(BoxButtons::kYesNoCancel), BoxAnswer::kNo); };
  bench.put("test");
  bench.put("");
  bench.put("what?");
  bench.put("n");
  const std::string text = bench.settle();
  EXPECT_NE(text.find("Answer: Yes, No, Cancel?\n"), std::string::npos) << text;
  EXPECT_NE(text.find("error: a box waits for an answer: Title (Yes, No, Cancel)\n  -> No\n"),
            std::string::npos)
      << text;
  EXPECT_EQ(bench.lines.shownPrompt, "relaybird> ");
}

TEST_F(PersonSession, ThePromptNamesTheAnswers) {
  program.onTest = [&] { bench.ask(BoxButtons::kYesNo); };
  bench.put("test");
  bench.loop.runUntil([&] { return bench.dialogs.asking(); });
  EXPECT_EQ(bench.lines.shownPrompt, "Yes, No> ");
  bench.say("y");
}

TEST_F(PersonSession, EnterAloneIsOkWhereThereIsNothingElse) {
  program.onTest = [&] { EXPECT_EQ(bench.ask(BoxButtons::kOk), BoxAnswer::kOk); };
  bench.put("test");
  bench.put("");
  bench.settle();
  EXPECT_FALSE(bench.dialogs.asking());
}

TEST_F(PersonSession, AnInputBoxTakesTheLineAsItIs) {
  std::string got;
  program.onTest = [&] { got = bench.dialogs.inputBox({"Enter:", "T"}); };
  bench.put("test");
  bench.put(" status ");
  bench.settle();
  EXPECT_EQ(got, "status");
}

TEST_F(PersonSession, StopCanBeTypedWhileACheckRuns) {
  program.onStart = [&] {
    bench.put("stop");
    bench.loop.processPending();
    EXPECT_EQ(bench.transcript.take(), "error: forwarding is off\n");
  };
  bench.say("start");
}

TEST_F(PersonSession, AnotherCommandCutsAWaitShort) {
  program.isIdle = false;
  bench.put("wait idle");
  bench.put("status");
  EXPECT_EQ(bench.settle(), "error: the wait was cut short\nAutomation: Stopped\n");
}

TEST_F(PersonSession, TheEndOfTheTerminalIsQuit) {
  bench.putEnd();
  bench.settle();
  EXPECT_TRUE(bench.session.ended());
  EXPECT_EQ(bench.endings, 1);
}

}  // namespace
}  // namespace relaybird
