// SPDX-License-Identifier: MIT
// The program as a service manager runs it, and its reaction to signals. The real program runs as a
// process with a Maildir of its own (console_process.h).
#include <gtest/gtest.h>
#include <signal.h>

#include "system/console_process.h"

namespace relaybird {
namespace {

constexpr const char* kOnAtStart = "mbolTurnOnFwdOnStartup=1\n";

TEST(ConsoleService, WithoutInputItGoesOnWhileForwardingIsOn) {
  ConsoleHome home;
  home.writePreferences(onePreference(kOnAtStart));
  ConsoleProcess program(home, Streams::kNullInput);
  program.expect("log: --- Forwarding turned ON at ");
  program.expect("action: Currently Idle - Waiting for next inbox check...\n");
  // It checks every second whether there is work; two checks later it still runs.
  program.signal(SIGHUP);
  program.expect("note: the preferences have been read again\n");
  program.signal(SIGTERM);
  EXPECT_EQ(program.wait(), 0);
  EXPECT_EQ(program.rest().find("note: "), std::string::npos) << program.rest();
}

TEST(ConsoleService, WithoutInputAndWithForwardingOffItEndsAndSaysWhy) {
  ConsoleHome home;
  home.writePreferences(onePreference());
  ConsoleProcess program(home, Streams::kNullInput);
  program.expect("note: there is no input and forwarding is off: the program ends\n");
  EXPECT_EQ(program.wait(), 1);
}

TEST(ConsoleService, AHangUpReadsThePreferencesAgain) {
  ConsoleHome home;
  home.writePreferences(onePreference());
  ConsoleProcess program(home);
  program.expect("addresses: cell@phone.example\n");
  program.expect("action: ");
  home.writePreferences(
      "[default]\nmstrFwdToAddress_num=1\nmstrFwdToAddress_1=other@phone.example\n");
  program.signal(SIGHUP);
  program.expect("note: the preferences have been read again\n");
  program.sendLine("status");
  program.expect("addresses: other@phone.example\n");
  program.endInput();
  EXPECT_EQ(program.wait(), 0);
}

TEST(ConsoleService, ATerminationWhileABoxWaitsSaysNo) {
  ConsoleHome home;
  home.writePreferences(onePreference());
  ConsoleProcess program(home);
  program.sendLine("start");
  program.expect("box-waits: Please Confirm:\n");
  program.signal(SIGINT);
  program.expect("box-answer: No\n");
  EXPECT_EQ(program.wait(), 0);
}

class ConsoleTermination : public testing::Test {
 protected:
  static constexpr int kItems = 400;
  ConsoleTermination() {
    home.writePreferences(onePreference("mbolFwdUponStart=1\nmlngMaxToForward=10000\n"));
    home.deliver(kItems);
  }
  // Starts a check of all items and returns in the middle of it.
  void startCheck(ConsoleProcess& program) {
    program.send("answer Yes\nstart\n");
    program.expect("status: Checking unread item 5 of " + std::to_string(kItems) + "\n");
  }
  // Exactly the forwarded items are marked as read.
  void expectWholeItems() {
    EXPECT_EQ(home.forwarded(), home.read());
    EXPECT_GE(home.forwarded().size(), 4U);
  }
  ConsoleHome home;
};

TEST_F(ConsoleTermination, APassEndsAfterTheItemInHand) {
  ConsoleProcess program(home);
  startCheck(program);
  program.signal(SIGTERM);
  EXPECT_EQ(program.wait(), 0);
  expectWholeItems();
  EXPECT_LT(home.forwarded().size(), static_cast<std::size_t>(kItems));
}

TEST_F(ConsoleTermination, AClosedOutputEndsAPassInTheSameWay) {
  ConsoleProcess program(home);
  startCheck(program);
  program.closeOutput();
  EXPECT_EQ(program.wait(), 1);
  expectWholeItems();
  EXPECT_LT(home.forwarded().size(), static_cast<std::size_t>(kItems));
}

}  // namespace
}  // namespace relaybird
