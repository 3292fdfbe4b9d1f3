// SPDX-License-Identifier: MIT
// The program at a pseudo-terminal, as a person uses it. The real program runs as a process on the
// other side (console_process.h); the tests type and read the screen.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include "system/console_process.h"

namespace relaybird {
namespace {

constexpr const char* kPrompt = "relaybird> ";

class ConsoleTerminal : public testing::Test {
 protected:
  ConsoleTerminal() { home.writePreferences(onePreference()); }
  ConsoleHome home;
};

TEST_F(ConsoleTerminal, ShowsAPromptAndAnswersForPeople) {
  ConsoleProcess program(home, Streams::kTerminal);
  program.expect("Addresses: cell@phone.example\r\n");
  program.expect(kPrompt);
  program.send("status\r");
  program.expect("Automation: Stopped\r\n");
  program.expect(kPrompt);
  program.send("dance\r");
  program.expect("error: there is no command \"dance\"");
  program.expect(kPrompt);
  program.send("\x04");
  EXPECT_EQ(program.wait(), 0);
}

TEST_F(ConsoleTerminal, ABoxIsAQuestionThatAFirstLetterAnswers) {
  ConsoleProcess program(home, Streams::kTerminal);
  program.expect(kPrompt);
  program.send("start\r");
  program.expect("Please Confirm:");
  program.expect("cell@phone.example\r\n");
  program.expect("Answer: Yes, No?");
  program.expect("Yes, No> ");
  program.send("\r");
  program.expect("Yes, No> ");
  program.send("n\r");
  program.expect("-> No");
  program.expect(kPrompt);
  program.send("quit\r");
  EXPECT_EQ(program.wait(), 0);
}

TEST_F(ConsoleTerminal, TheTabKeyCompletesCommandsFormsAndControls) {
  ConsoleProcess program(home, Streams::kTerminal);
  program.expect(kPrompt);
  program.send("sho\tfrmrel\t");
  program.expect("frmRelaybird");
  program.send(".txtstatusf\t\r");
  program.expect("name txtStatusFwdTo\r\n");
  program.send("quit\r");
  EXPECT_EQ(program.wait(), 0);
}

TEST_F(ConsoleTerminal, RemembersTypedLinesForItsOwnerAlone) {
  {
    ConsoleProcess program(home, Streams::kTerminal);
    program.expect(kPrompt);
    program.send("help wait\r");
    program.expect("wait until nothing runs");
    program.send("start\r");
    program.expect("Yes, No> ");
    program.send("no\r");
    program.expect("-> No");
    program.send("quit\r");
    EXPECT_EQ(program.wait(), 0);
  }
  const std::string file = home.folder().path("state/rbx/console-history");
  struct stat status {};
  ASSERT_EQ(::stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
  EXPECT_EQ(readBytes(file).find("no\n"), std::string::npos) << "answers are not remembered";
  ConsoleProcess program(home, Streams::kTerminal);
  program.expect(kPrompt);
  program.send("\x1b[A\x1b[A\x1b[A");  // three lines up
  program.expect("help wait");
  program.send("\r");
  program.expect("wait until nothing runs");
  program.send("quit\r");
  EXPECT_EQ(program.wait(), 0);
}

TEST_F(ConsoleTerminal, APasswordIsNeitherShownNorRemembered) {
  {
    ConsoleProcess program(home, Streams::kTerminal);
    program.expect(kPrompt);
    program.send("setup\r");
    program.expect("Where is your mail?");
    program.expect("answer> ");
    program.send("1\r");
    program.expect("Your e-mail address:");
    program.expect("answer> ");
    program.send("ann@firm.example\r");
    program.expect("None of these: try the usual names");
    program.expect("answer> ");
    program.send("1\r");
    program.expect("Your name:");
    program.expect("answer> ");
    program.send("\r");
    program.expect("Sign in with:");
    program.expect("answer> ");
    program.send("1\r");
    for (const char* question : {"Server for reading mail", "Encryption:", "Port:", "User name:",
                                 "Folder to watch:", "Certificate file"}) {
      program.expect(question);
      program.expect("answer> ");
      program.send(std::string(question) == "Server for reading mail" ? "mail.firm.example\r"
                                                                      : "\r");
    }
    program.expect("password> ");
    program.send(
        "topsxx\x7f\x7f"
        "ecret\r");
    const std::string shown = program.expect("answer> ");
    EXPECT_EQ(shown.find("tops"), std::string::npos) << shown;
    EXPECT_EQ(shown.find("ecret"), std::string::npos) << shown;
    EXPECT_NE(shown.find("(hidden)"), std::string::npos) << shown;
    program.send(".\r");
    program.expect("nothing was changed");
    program.expect(kPrompt);
    program.send("show frmSetup.txtPassword\r");
    program.expect("text \"\"");
    program.send("quit\r");
    EXPECT_EQ(program.wait(), 0);
  }
  const std::string history = readBytes(home.folder().path("state/rbx/console-history"));
  EXPECT_EQ(history.find("ecret"), std::string::npos);
  EXPECT_NE(history.find("setup"), std::string::npos);
}

TEST_F(ConsoleTerminal, ACheckRewritesOneLineAndLeavesWhatIsBeingTyped) {
  home.deliver(3);
  ConsoleProcess program(home, Streams::kTerminal);
  program.expect(kPrompt);
  program.send("answer OK Yes OK\rtest\rstat");
  program.expect("Checking unread item 1 of 3");
  program.expect("forwarded item 3 at ");
  program.expect("Checking unread item 3 of 3");
  program.expect("Test Complete");
  program.expect("relaybird> stat");
  program.send("us\r");
  program.expect("Number forwarded: 3\r\n");
  program.send("quit\r");
  EXPECT_EQ(program.wait(), 0);
  EXPECT_EQ(home.forwarded().size(), 3U);
}

TEST_F(ConsoleTerminal, AnEscapeKeyAloneDoesNotHoldUpTheProgram) {
  ConsoleProcess program(home, Streams::kTerminal);
  program.expect(kPrompt);
  program.send("\x1b");
  program.signal(SIGTERM);
  EXPECT_EQ(program.wait(), 0);
}

TEST_F(ConsoleTerminal, InterruptAndHangUpEndItCleanly) {
  {
    ConsoleProcess program(home, Streams::kTerminal);
    program.expect(kPrompt);
    program.send("\x03");
    EXPECT_EQ(program.wait(), 0);
  }
  ConsoleProcess program(home, Streams::kTerminal);
  program.expect(kPrompt);
  program.signal(SIGHUP);
  EXPECT_EQ(program.wait(), 0);
}

}  // namespace
}  // namespace relaybird
