// SPDX-License-Identifier: MIT
// The console's own commands over the whole program: each answers what really came of it.
#include "ui/console/program/program_commands.h"

#include <gmock/gmock.h>

#include "ui/forms/main/program_fixture.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ProgramCommandsTest : public ProgramTest {
 protected:
  ProgramCommands& commands() {
    if (!commands_) {
      commands_ = std::make_unique<ProgramCommands>(program(), std::vector<Fact>{}, Manual{});
    }
    return *commands_;
  }
  /// "ok", or the sentence of the error.
  static std::string said(const Result<void>& outcome) {
    return outcome ? "ok" : outcome.error().text;
  }
  std::string start() {
    dialogs_.answer(BoxAnswer::kYes);
    return said(commands().start());
  }
  /// A synchronisation runs, and is not over before the test says so.
  void synchronise() {
    store_.setSyncEndsByItself(false);
    main().engine().schedule().SyncStart();
    ASSERT_TRUE(state().syncBusy);
  }
  /// Runs `event` once, while a check is at its first item.
  void inACheck(std::function<void()> event) {
    screen_.onProcessPendingEvents = [this, event = std::move(event)] {
      if (status().starts_with("Checking unread") && !std::exchange(inside_, true)) {
        event();
      }
    };
    deliver("lunch");
    main().engine().pass().ForwardMail();
    ASSERT_TRUE(inside_);
    screen_.onProcessPendingEvents = {};
  }

  std::unique_ptr<ProgramCommands> commands_;
  bool inside_ = false;
};

TEST_F(ProgramCommandsTest, StartIsNotRefusedByASynchronisation) {
  oneAddress();
  (void)program();
  synchronise();
  EXPECT_EQ(start(), "ok");
  EXPECT_TRUE(state().forwardingOn);
}

TEST_F(ProgramCommandsTest, StartDuringACheckIsRefused) {
  oneAddress();
  (void)program();
  inACheck([this] { EXPECT_EQ(start(), "a check is under way"); });
  EXPECT_FALSE(state().forwardingOn);
}

TEST_F(ProgramCommandsTest, StartWhileAStoppedCheckFinishesWaitsForItsEnd) {
  oneAddress();
  (void)program();
  EXPECT_EQ(start(), "ok");
  inACheck([this] {
    EXPECT_EQ(said(commands().stop()), "ok");
    EXPECT_EQ(start(), "ok");
    EXPECT_FALSE(state().forwardingOn);
  });
  EXPECT_FALSE(commands().idle());
  letPass(std::chrono::seconds{1});
  EXPECT_TRUE(state().forwardingOn);
}

TEST_F(ProgramCommandsTest, StopForgetsAStartThatWaits) {
  oneAddress();
  (void)program();
  EXPECT_EQ(start(), "ok");
  inACheck([this] {
    EXPECT_EQ(said(commands().stop()), "ok");
    EXPECT_EQ(start(), "ok");
    EXPECT_EQ(said(commands().stop()), "ok");
    EXPECT_EQ(said(commands().stop()), "forwarding is off");
  });
  letPass(std::chrono::seconds{1});
  EXPECT_FALSE(state().forwardingOn);
}

// It answered "ok" whatever the boxes in between had told.
TEST_F(ProgramCommandsTest, AStartThatTheUserDidNotConfirmIsAnError) {
  oneAddress();
  (void)program();
  dialogs_.answer(BoxAnswer::kNo);
  EXPECT_EQ(said(commands().start()), "forwarding was not switched on");
}

TEST_F(ProgramCommandsTest, AStartThatOpensNoMailboxIsAnError) {
  oneAddress();
  (void)program();
  store_.removeComponent(prog_id::kApplication);
  EXPECT_EQ(start(), "forwarding was not switched on");
}

TEST_F(ProgramCommandsTest, StatusTellsSinceWhenChecksHaveFailedAndWhy) {
  oneAddress();
  (void)program();
  store_.setHook([](std::string_view call) {
    if (call == "ItemCollection.Restrict") throw MailStoreError("the disk is full");
  });
  main().engine().pass().ForwardMail();
  EXPECT_THAT(commands().status(),
              testing::AllOf(testing::Contains(Fact{"checks-fail-since", "2026-11-20 09:00:00"}),
                             testing::Contains(Fact{"last-failure", "the disk is full"})));
  store_.setHook({});
  main().engine().pass().ForwardMail();
  for (const Fact& fact : commands().status()) {
    EXPECT_NE(fact.first, "checks-fail-since");
  }
}

}  // namespace
}  // namespace relaybird
