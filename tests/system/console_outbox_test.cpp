// SPDX-License-Identifier: MIT
// Waiting and refused messages, as a script sees and handles them, with a real delivery command:
// status, waiting, refused, retry.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "system/console_process.h"

namespace relaybird {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class ConsoleOutbox : public testing::Test {
 protected:
  // Deliveries end with that status and output until mend().
  void refuseWith(int status, const std::string& words) {
    const std::string command = home.folder().path("sendmail");
    std::ofstream(command) << "#!/bin/sh\ncat >/dev/null\n[ -e '" << mended << "' ] && exit 0\n"
                           << "echo '" << words << "' >&2\nexit " << status << "\n";
    fs::permissions(command, fs::perms::owner_all);
    home.writePreferences(onePreference() + "sendmail=" + command + "\n");
  }
  void mend() const { std::ofstream(mended) << "yes\n"; }

  // All output for the commands, until no work is left. An unknown command marks the end.
  std::string run(ConsoleProcess& program, const std::string& commands) {
    const std::string mark = "mark" + std::to_string(++marks);
    program.send(commands + "\nwait idle 20\n" + mark + "\n");
    return program.expect("\"" + mark + "\"");
  }
  // The same of a test cycle over one new message.
  std::string test(ConsoleProcess& program) {
    home.deliver(1);
    return run(program, "answer OK Yes OK\ntest");
  }
  std::vector<std::string> namesIn(const std::string& part) const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(outbox + "/" + part)) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  static void expectCleanEnd(ConsoleProcess& program) {
    program.sendLine("quit");
    EXPECT_EQ(program.wait(), 0);
    EXPECT_EQ(program.errors(), "");
  }

  ConsoleHome home;
  int marks = 0;
  const std::string mended = home.folder().path("mended");
  const std::string outbox = home.folder().path("state/rbx/outbox");
};

TEST_F(ConsoleOutbox, WhatIsRefusedForNowWaitsAndLeavesWithARetry) {
  refuseWith(75, "come back later");
  ConsoleProcess program(home);
  const std::string told = test(program);
  EXPECT_THAT(told,
              HasSubstr("error: 0 messages have left this computer, and 1 waits in the "
                        "outbox " +
                        outbox + ". 1 message was refused for now and kept for a later try."));
  EXPECT_THAT(told, HasSubstr("There was a problem; please see the log."));
  EXPECT_THAT(run(program, "status"),
              HasSubstr("waiting: 1\nleft: 0\nrefused: 0\noutbox-says: 1 message was refused for "
                        "now and kept for a later try.\n"));
  EXPECT_THAT(run(program, "waiting"), HasSubstr("folder: " + outbox + "/new\nok\n"));
  EXPECT_THAT(run(program, "retry"),
              HasSubstr("Tried again: 0 messages have left this computer, and 1 waits in the "
                        "outbox " +
                        outbox + "."));
  mend();
  EXPECT_THAT(run(program, "retry"),
              HasSubstr("Tried again: 1 message has left this computer, and none waits."));
  EXPECT_THAT(run(program, "status"), HasSubstr("waiting: 0\nleft: 1\nrefused: 0\nok\n"));
  EXPECT_THAT(namesIn("new"), IsEmpty());
  EXPECT_THAT(run(program, "retry"), HasSubstr("--> Nothing waits in the outbox.\n"));
  expectCleanEnd(program);
}

TEST_F(ConsoleOutbox, WhatIsRefusedForGoodCanBeFoundAndSentAfterAll) {
  refuseWith(67, "no such user");
  ConsoleProcess program(home);
  const std::string told = test(program);
  EXPECT_THAT(told, HasSubstr("error: 0 messages have left this computer, 1 was refused for good, "
                              "and none waits.\n"));
  EXPECT_THAT(run(program, "status"), HasSubstr("waiting: 0\nleft: 0\nrefused: 1\nok\n"));
  EXPECT_THAT(run(program, "refused"), HasSubstr("folder: " + outbox + "/failed\nok\n"));
  const auto names = namesIn("failed");
  ASSERT_EQ(names.size(), 2U);
  EXPECT_EQ(names[1], names[0] + ".txt");
  std::ifstream reason(outbox + "/failed/" + names[1]);
  std::string line;
  std::getline(reason, line);
  EXPECT_THAT(line, HasSubstr("no such user"));
  mend();
  fs::rename(outbox + "/failed/" + names[0], outbox + "/new/" + names[0]);
  EXPECT_THAT(run(program, "retry"),
              HasSubstr("Tried again: 1 message has left this computer, and none waits."));
  EXPECT_THAT(namesIn("new"), IsEmpty());
  EXPECT_THAT(namesIn("failed"), ElementsAre(names[1])) << "the user's to delete";
  expectCleanEnd(program);
}

TEST_F(ConsoleOutbox, WithoutADeliveryCommandARetrySaysThatNothingLeaves) {
  home.writePreferences(onePreference());
  ConsoleProcess program(home);
  const std::string words =
      "No delivery command is set: forwards wait in the outbox " + outbox + ".";
  const std::string told = test(program);
  EXPECT_THAT(told, HasSubstr(words));
  EXPECT_THAT(run(program, "status"),
              HasSubstr("waiting: 1\nleft: 0\nrefused: 0\noutbox-says: " + words + "\n"));
  EXPECT_THAT(run(program, "retry"), HasSubstr("--> " + words + "\n"));
  EXPECT_THAT(namesIn("new"), testing::SizeIs(1));
  expectCleanEnd(program);
}

TEST_F(ConsoleOutbox, AFolderThatIsNotThereIsTold) {
  home.writePreferences(onePreference());
  ConsoleProcess program(home);
  program.sendLine("answer OK");
  program.sendLine("waiting");
  program.expect("box-text: Could not open the folder " + outbox + "/new:");
  program.expect("box-answer: OK\n");
  expectCleanEnd(program);
}

}  // namespace
}  // namespace relaybird
