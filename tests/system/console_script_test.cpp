// SPDX-License-Identifier: MIT
// The program over pipes, as a script drives it. The real program runs as a process with a Maildir
// of its own (console_process.h); the tests send lines and wait for its output.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "system/console_process.h"

namespace relaybird {
namespace {

using Subjects = std::set<std::string>;

TEST(ConsoleScript, ANewcomerIsToldWhereHeStandsAndWhatIsMissing) {
  ConsoleHome home;
  ConsoleProcess program(home);
  const std::string start = program.expect("settings txtAddress ADDRESS\n");
  EXPECT_EQ(start.rfind("program: relaybird-console ", 0), 0U) << start;
  for (const std::string& line :
       {"mail-store: maildir " + home.folder().path("Maildir") + "\n",
        "preferences: " + home.folder().path("config/rbx/rbx_prefs.ini") + "\n",
        std::string("addresses:\n"), std::string("automation: Stopped\n")}) {
    EXPECT_NE(start.find("\n" + line), std::string::npos) << line << "not in\n" << start;
  }
  program.sendLine("quit");
  EXPECT_EQ(program.wait(), 0);
  EXPECT_EQ(program.rest(), "ok\n");
  EXPECT_EQ(program.errors(), "");
}

TEST(ConsoleScript, SettingsAreChangedThroughTheDialogAndStored) {
  ConsoleHome home;
  ConsoleProcess program(home);
  for (const char* line :
       {"click frmRelaybird.mnuPreferences", "set frmPrefs.txtAddress a@b.example; c@d.example",
        "set frmPrefs.txtMinutes 30", "set frmPrefs.chkBcc on", "set frmPrefs.opbFwdOnly 1",
        "set frmPrefs.txtAddresses boss@work.example", "click frmPrefs.cmdOK"}) {
    program.sendLine(line);
    EXPECT_EQ(program.expect("ok\n").find("error"), std::string::npos) << line;
  }
  program.sendLine("status");
  program.expect("addresses: a@b.example; c@d.example");
  program.endInput();
  EXPECT_EQ(program.wait(), 0);
  const std::string stored = home.preferences();
  for (const char* line : {"mstrFwdToAddress_1=a@b.example", "mstrFwdToAddress_2=c@d.example",
                           "mdblFwdToFrequency=30", "mintSenderFilter=501"}) {
    EXPECT_NE(stored.find(line), std::string::npos) << line << " not in\n" << stored;
  }
}

TEST(ConsoleScript, ARefusedValueIsToldInABoxAndChangesNothing) {
  ConsoleHome home;
  home.writePreferences(onePreference("mdblFwdToFrequency=15\n"));
  ConsoleProcess program(home);
  program.sendLine("answer OK");
  program.sendLine("settings txtMinutes 1.9");
  program.expect("box-text: Problem - Not allowed to check mail more often than 2 minutes.");
  program.expect("error: the settings were not stored: the box that came up says why\n");
  program.sendLine("settings");
  program.expect("setting: txtMinutes \"15\"");
  program.sendLine("quit");
  EXPECT_EQ(program.wait(), 0);
}

TEST(ConsoleScript, TheStartUpRuleIsABoxThatUnchecksTheLastBox) {
  ConsoleHome home;
  home.writePreferences(onePreference());
  ConsoleProcess program(home);
  for (const char* line : {"click frmRelaybird.cmdPrefs", "set frmPrefs.chkForwardStart on",
                           "set frmPrefs.chkForwardingOnAtStartup on"}) {
    program.sendLine(line);
  }
  program.expect("box: Invalid Option Combination\n");
  program.expect("box-waits: Invalid Option Combination\n");
  program.sendLine("click frmPrefs.cmdCancel");
  program.expect("error: a box waits for an answer: Invalid Option Combination (OK)\n");
  program.sendLine("answer OK");
  program.expect("ok\nok\n");
  program.sendLine("show frmPrefs");
  program.expect("control: chkForwardingOnAtStartup check-box visible,enabled 0 ");
  program.expect("control: chkForwardStart check-box visible,enabled 1 ");
  program.sendLine("quit");
  EXPECT_EQ(program.wait(), 0);
}

TEST(ConsoleScript, TheVerboseSwitchAppearsByItsKeyChord) {
  ConsoleHome home;
  home.writePreferences(onePreference());
  ConsoleProcess program(home);
  program.sendLine("click frmRelaybird.cmdViewLog");
  program.expect("ok\n");
  program.sendLine("set frmLog.chkVerboseLog on");
  program.expect("error: frmLog.chkVerboseLog is hidden\n");
  program.sendLine("key frmLog.lstLog Ctrl+Shift+Alt+V");
  program.expect("ok\n");
  program.sendLine("set frmLog.chkVerboseLog on");
  program.expect("ok\n");
  program.sendLine("answer Cancel");
  program.sendLine("test");
  program.expect(" [v]-->CmdForwardNow Cancelled\n");
  program.sendLine("quit");
  EXPECT_EQ(program.wait(), 0);
}

TEST(ConsoleScript, StartsAfterAConfirmationAndForwardsAtOnce) {
  ConsoleHome home;
  home.writePreferences(onePreference("mbolFwdUponStart=1\n"));
  home.deliver(3);
  ConsoleProcess program(home);
  program.sendLine("start");
  program.expect("box: Please Confirm:\n");
  program.expect("box-waits: Please Confirm:\n");
  program.sendLine("Yes");
  program.expect("log: --- Forwarding turned ON at ");
  program.expect("log: Completed Email Check at ");
  program.sendLine("wait idle 20");
  program.sendLine("status");
  const std::string status = program.expect("number-forwarded: 3\n");
  EXPECT_NE(status.find("automation: Running\n"), std::string::npos);
  EXPECT_EQ(home.forwarded(), (Subjects{"item 1", "item 2", "item 3"}));
  EXPECT_EQ(home.read(), home.forwarded());
  program.sendLine("test");
  program.expect("box: Can not Continue\n");
  program.sendLine("OK");
  program.sendLine("stop");
  program.expect("log: --- Forwarding turned OFF at ");
  program.endInput();
  EXPECT_EQ(program.wait(), 0);
}

TEST(ConsoleScript, ATestCycleRunsWithItsQuestionsAnsweredBeforehand) {
  ConsoleHome home;
  home.writePreferences(onePreference());
  home.deliver(2);
  ConsoleProcess program(home);
  program.send("answer OK Yes OK\ntest\nwait idle 20\nlog 1\nquit\n");
  program.expect("box: Test Complete\n");
  program.expect("2 were forwarded.");
  program.expect("line: Completed Email Check at ");
  EXPECT_EQ(program.wait(), 0);
  EXPECT_EQ(home.forwarded(), (Subjects{"item 1", "item 2"}));
}

// Preferences with these addresses, and a delivery command that records its arguments.
void useRecordingCommand(ConsoleHome& home, const std::vector<std::string>& addresses) {
  const std::string command = home.folder().path("sendmail");
  std::ofstream(command) << "#!/bin/sh\nprintf '%s\\n' \"$@\" >'" << home.folder().path("called")
                         << "'\ncat >/dev/null\n";
  std::filesystem::permissions(command, std::filesystem::perms::owner_all);
  std::string text = "[default]\nmstrFwdToAddress_num=" + std::to_string(addresses.size()) + "\n";
  for (std::size_t i = 0; i < addresses.size(); ++i) {
    text += "mstrFwdToAddress_" + std::to_string(i + 1) + "=" + addresses[i] + "\n";
  }
  home.writePreferences(text + "[mail]\naddress=me@here.example\nname=Me\nsendmail=" + command +
                        "\n");
}

std::string contentsOf(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(ConsoleScript, WhatLeavesGoesToExactlyTheAddressesThatWereConfirmed) {
  ConsoleHome home;
  useRecordingCommand(home, {"joe@example.com", "\"joe  blow\"@example.com",
                             "info@m\u00FCnchen.example", "Ann <ann@example.com>"});
  home.deliver(1);
  ConsoleProcess program(home);
  program.send("answer OK Yes OK\ntest\n");
  for (const char* address : {"( 1) joe@example.com", "( 2) \"joe  blow\"@example.com",
                              "( 3) info@m\u00FCnchen.example", "( 4) Ann <ann@example.com>"}) {
    program.expect(address);
  }
  program.expect("Mail to \"info@m\u00FCnchen.example\" goes to info@xn--mnchen-3ya.example");
  program.expect("box: Test Complete\n");
  program.send("wait idle 20\nquit\n");
  EXPECT_EQ(program.wait(), 0);
  EXPECT_EQ(contentsOf(home.folder().path("called")),
            "-i\n-f\nme@here.example\n--\njoe@example.com\n\"joe  blow\"@example.com\n"
            "info@xn--mnchen-3ya.example\nann@example.com\n");
}

TEST(ConsoleScript, AnAddressThatIsNoneSendsNothingAndTheLogSaysWhich) {
  ConsoleHome home;
  useRecordingCommand(home, {"ann@example.com", "joe@my company.com"});
  home.deliver(1);
  ConsoleProcess program(home);
  program.send("answer OK Yes OK\ntest\n");
  program.expect("No mail goes to \"joe@my company.com\": it is neither one e-mail address");
  program.expect("Outlook could not resolve all forwarding recipients");
  program.expect("box: Test Complete\n");
  program.send("wait idle 20\nquit\n");
  EXPECT_EQ(program.wait(), 0);
  EXPECT_FALSE(std::filesystem::exists(home.folder().path("called")));
  EXPECT_EQ(home.forwarded(), Subjects());
}

TEST(ConsoleScript, NoiseIsRefusedLineByLineAndTheProgramGoesOn) {
  ConsoleHome home;
  ConsoleProcess program(home);
  program.send(std::string(10 << 20, 'x') + "\n");
  program.expect("error: the line is longer than 65536 bytes\n");
  program.send(std::string("sta\0tus\n", 8));
  program.expect("error: the line holds a NUL character\n");
  program.send("status \xff\n");
  program.expect("error: the line is not UTF-8\n");
  program.send("show frmNone\r\n");
  program.expect("error: there is no form \"frmNone\"; ");
  program.sendLine("set frmRelaybird.txtStatus Running");
  program.expect("error: frmRelaybird.txtStatus cannot be edited\n");
  program.sendLine("quit");
  EXPECT_EQ(program.wait(), 0);
}

TEST(ConsoleScript, TheEndOfTheInputWithinAQuestionSaysNo) {
  ConsoleHome home;
  home.writePreferences(onePreference());
  ConsoleProcess program(home);
  program.sendLine("start");
  program.expect("box-waits: Please Confirm:\n");
  program.endInput();
  program.expect("note: the input has ended: nobody can answer any more\nbox-answer: No\n");
  EXPECT_EQ(program.wait(), 0);
  EXPECT_EQ(program.rest().find("turned ON"), std::string::npos);
}

TEST(ConsoleScript, AClosedOutputEndsTheProgram) {
  ConsoleHome home;
  ConsoleProcess program(home);
  program.expect("ADDRESS\n");
  program.closeOutput();
  program.sendLine("status");
  EXPECT_EQ(program.wait(), 1);
}

TEST(ConsoleScript, ASecondStartSaysWhoRuns) {
  ConsoleHome home;
  ConsoleProcess first(home);
  first.expect("ADDRESS\n");
  ConsoleProcess second(home);
  EXPECT_EQ(second.wait(), 1);
  EXPECT_EQ(second.rest(), "");
  const std::string words = second.errors();
  EXPECT_EQ(std::count(words.begin(), words.end(), '\n'), 1);
  EXPECT_NE(words.find("is in use by relaybird-console (process " + std::to_string(first.id()) +
                       ", since "),
            std::string::npos)
      << words;
  first.signal(SIGKILL);
  EXPECT_EQ(first.wait(), -SIGKILL);
  ConsoleProcess third(home);
  third.expect("ADDRESS\n");
  third.endInput();
  EXPECT_EQ(third.wait(), 0);
}

TEST(ConsoleScript, AnotherStateFolderDoesNotLetASecondOneAtTheMailbox) {
  ConsoleHome home;
  ConsoleProcess first(home);
  first.expect("ADDRESS\n");
  ConsoleHome other;
  std::filesystem::create_directory_symlink(home.folder().path("Maildir"),
                                            other.folder().path("by-another-name"));
  other.writePreferences("[mail]\nmaildir=" + other.folder().path("by-another-name") + "\n");
  ConsoleProcess second(other);
  EXPECT_EQ(second.wait(), 1);
  const std::string words = second.errors();
  EXPECT_NE(words.find("The mailbox " + home.folder().path("Maildir") +
                       " is in use by relaybird-console (process " + std::to_string(first.id()) +
                       ", since "),
            std::string::npos)
      << words;
  first.signal(SIGKILL);
  EXPECT_EQ(first.wait(), -SIGKILL);
  ConsoleProcess third(other);
  third.expect("ADDRESS\n");
  third.endInput();
  EXPECT_EQ(third.wait(), 0);
  EXPECT_FALSE(std::filesystem::exists(home.folder().path("Maildir/.relaybird-holder")));
}

TEST(ConsoleScript, ASecondMailboxOfAUserForwardsBesideTheFirst) {
  ConsoleHome home;
  ConsoleHome other;
  std::filesystem::remove(other.folder().path("state"));
  std::filesystem::create_directory_symlink(home.folder().path("state"),
                                            other.folder().path("state"));
  home.deliver(1, "first");
  other.deliver(1, "second");
  for (ConsoleHome* each : {&home, &other}) {
    each->writePreferences(onePreference());
  }
  ConsoleProcess first(home);
  ConsoleProcess second(other);
  for (ConsoleProcess* each : {&first, &second}) {
    each->sendLine("answer OK Yes OK");
    each->sendLine("test");
    each->expect("Test Complete");
  }
  for (ConsoleProcess* each : {&first, &second}) {
    each->endInput();
    EXPECT_EQ(each->wait(), 0);
  }
  EXPECT_EQ(home.forwarded(), (std::set<std::string>{"first 1"}));
  EXPECT_TRUE(readBytes(home.folder().path("state/rbx/outbox-2/mailbox"))
                  .starts_with(other.folder().path("Maildir") + "\n"));
  EXPECT_FALSE(std::filesystem::is_empty(home.folder().path("state/rbx/outbox-2/new")));
}

TEST(ConsoleScript, AMailboxThatAppearsLaterIsTakenByOneOnly) {
  ConsoleHome home;
  std::filesystem::rename(home.folder().path("Maildir"), home.folder().path("later"));
  ConsoleHome other;
  const std::string mailbox = "maildir=" + home.folder().path("Maildir") + "\n";
  for (ConsoleHome* each : {&home, &other}) {
    each->writePreferences(onePreference() + mailbox);
  }
  ConsoleProcess first(home);
  ConsoleProcess second(other);
  for (ConsoleProcess* each : {&first, &second}) {
    each->expect("addresses: cell@phone.example\n");
  }
  std::filesystem::rename(home.folder().path("later"), home.folder().path("Maildir"));
  home.deliver(1);
  first.sendLine("answer OK Yes OK");
  first.sendLine("test");
  first.expect("forwarded item 1 at ");
  second.sendLine("answer OK Yes OK OK OK");
  second.sendLine("test");
  second.expect("is in use by relaybird-console (process " + std::to_string(first.id()));
  for (ConsoleProcess* each : {&first, &second}) {
    each->endInput();
    EXPECT_EQ(each->wait(), 0);
  }
  EXPECT_EQ(home.forwarded(), (std::set<std::string>{"item 1"}));
  EXPECT_TRUE(other.forwarded().empty());
}

TEST(ConsoleScript, AnUnknownStoreIsAnErrorThatNamesThePreferenceFile) {
  ConsoleHome home;
  home.writePreferences("[mail]\nstore=pigeon\n");
  ConsoleProcess program(home);
  EXPECT_EQ(program.wait(), 2);
  EXPECT_THAT(program.errors(),
              testing::StartsWith("relaybird-console: The mail store \"pigeon\" that " +
                                  home.folder().path("config/rbx/rbx_prefs.ini") +
                                  " names is not known; there is maildir"));
}

TEST(ConsoleScript, TakesNoOptionsButVersionAndHelp) {
  ConsoleHome home;
  ConsoleProcess version(home, Streams::kPipes, {"--version"});
  version.expect("Relaybird ");
  EXPECT_EQ(version.wait(), 0);
  ConsoleProcess help(home, Streams::kPipes, {"--help"});
  help.expect("Exit status:");
  EXPECT_EQ(help.wait(), 0);
  for (const std::vector<std::string>& wrong :
       {std::vector<std::string>{"--verbose"}, {"start"}, {"--help", "x"}}) {
    ConsoleProcess program(home, Streams::kPipes, wrong);
    EXPECT_EQ(program.wait(), 2);
    EXPECT_NE(program.errors().find("takes no options"), std::string::npos);
  }
  EXPECT_FALSE(std::filesystem::exists(home.folder().path("state/rbx")));
}

}  // namespace
}  // namespace relaybird
