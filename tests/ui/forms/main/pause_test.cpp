// SPDX-License-Identifier: MIT
// The pause at the end of a check, in which a front end may run events: no event changes how the
// check ends, and nothing else begins during it.
#include <gmock/gmock.h>

#include <utility>

#include "ui/forms/main/program_fixture.h"

namespace relaybird {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::SizeIs;

class PauseTest : public ProgramTest {
 protected:
  PauseTest() { oneAddress("mdblFwdToFrequency=5\n"); }
  void TearDown() override { EXPECT_TRUE(happened_); }

  // Runs one check of one message while forwarding is on, with `event` in its pause.
  void checkWith(std::function<void()> event) {
    sleeper_.onSleep = [this, event = std::move(event)] {
      if (!std::exchange(happened_, true)) {
        event();
      }
    };
    if (!state().forwardingOn) {
      switchOn();
    }
    store_.setSyncEndsByItself(false);
    deliver("lunch");
    syncsBefore_ = store_.syncStarts();
    schedule().ForwardTrigger();
  }
  CheckSchedule& schedule() { return main().engine().schedule(); }
  // The same as after every check that has sent something.
  void expectOrderlyEnd() {
    EXPECT_FALSE(state().m_bBusyFwd);
    EXPECT_FALSE(state().passRunning);
    EXPECT_EQ(store_.syncStarts(), syncsBefore_ + 1);
    EXPECT_TRUE(state().sendSync);
    EXPECT_THAT(sleeper_.slept, SizeIs(1));
    EXPECT_THAT(sentSubjects(), ElementsAre("FW: lunch"));
    store_.endSyncs();
    events_.runUntilIdle();
    EXPECT_FALSE(state().syncBusy);
  }

  bool happened_ = false;
  std::size_t syncsBefore_ = 0;
};

TEST_F(PauseTest, TheLogTheSettingsAndTheAboutBoxCanBeOpened) {
  checkWith([this] {
    click("frmRelaybird", "cmdViewLog");
    EXPECT_TRUE(program().log().visible());
    click("frmRelaybird", "mnuAbout");
    EXPECT_TRUE(program().about().visible());
    click("frmAbout", "cmdOk");
    click("frmRelaybird", "cmdPrefs");
    EXPECT_TRUE(program().settings().visible());
    EXPECT_EQ(status(), "Completed check of inbox");
    EXPECT_TRUE(state().passRunning);
  });
  expectOrderlyEnd();
  EXPECT_TRUE(program().settings().visible());
}

TEST_F(PauseTest, AStopEndsForwardingAndTheForwardsStillGoOut) {
  checkWith([this] { click("frmRelaybird", "cmdStop"); });
  EXPECT_EQ(text("txtStatus"), "Stopped");
  EXPECT_EQ(text("txtMinToNextFwd"), "--");
  expectOrderlyEnd();
  letPass(minutes{60});
  EXPECT_THAT(sleeper_.slept, SizeIs(1));
}

TEST_F(PauseTest, AStopAndAStartAskWhenThePauseIsOver) {
  checkWith([this] {
    click("frmRelaybird", "cmdStop");
    dialogs_.boxes.clear();
    click("frmRelaybird", "cmdStart");
    EXPECT_THAT(dialogs_.boxes, IsEmpty());
  });
  EXPECT_EQ(text("txtStatus"), "Stopped");
  dialogs_.answer(BoxAnswer::kYes);
  timers_.advance(seconds{1});
  EXPECT_EQ(text("txtStatus"), "Running");
  expectOrderlyEnd();
}

TEST_F(PauseTest, AStartWithinATestDoesNothing) {
  (void)program();
  sleeper_.onSleep = [this] {
    happened_ = true;
    dialogs_.boxes.clear();
    click("frmRelaybird", "cmdStart");
    EXPECT_THAT(dialogs_.boxes, IsEmpty());
  };
  dialogs_.answer(BoxAnswer::kOk);
  dialogs_.answer(BoxAnswer::kYes);
  click("frmRelaybird", "cmdForwardNow");
  EXPECT_FALSE(main().startWaits());
  EXPECT_EQ(text("txtStatus"), "Stopped");
  events_.runUntilIdle();
  EXPECT_EQ(dialogs_.boxes.back().title, "Test Complete");
  EXPECT_TRUE(main().cmdForwardNow.enabled());
}

TEST_F(PauseTest, AnExitStartsNothingMore) {
  checkWith([this] { click("frmRelaybird", "mnuExit"); });
  EXPECT_EQ(screen_.ends, 1);
  EXPECT_EQ(store_.syncStarts(), syncsBefore_);
  EXPECT_FALSE(state().m_bBusyFwd);
  letPass(minutes{60});
  EXPECT_THAT(sleeper_.slept, SizeIs(1));
}

TEST_F(PauseTest, ALogOutLeavesThePassItsSessionAndStartsNothingMore) {
  checkWith([this] {
    program().shutDown();
    EXPECT_NE(main().engine().session().application(), nullptr);
  });
  EXPECT_EQ(store_.syncStarts(), syncsBefore_);
  EXPECT_FALSE(state().passRunning);
}

TEST_F(PauseTest, ChecksThatFallDueAreNotBegun) {
  checkWith([this] {
    letPass(minutes{60});
    schedule().ForwardTrigger();
    EXPECT_EQ(text("txtMinToNextFwd"), "0");
  });
  EXPECT_THAT(log(), Contains(EndsWith("still busy from previous check")));
  expectOrderlyEnd();
}

TEST_F(PauseTest, ASecondPassIsRefusedAndTheForwardsOfTheFirstStillGoOut) {
  checkWith([this] { main().engine().pass().ForwardMail(); });
  EXPECT_THAT(log(), Contains(EndsWith("Didn't finish prev. check yet")));
  expectOrderlyEnd();
}

TEST_F(PauseTest, AnotherSynchronisationMayEnd) {
  checkWith([this] { schedule().m_sync_SyncEnd(); });
  expectOrderlyEnd();
}

TEST_F(PauseTest, AppliedSettingsHoldFromTheNextCheckOn) {
  checkWith([this] {
    click("frmRelaybird", "cmdPrefs");
    control("frmPrefs", "txtMinutes").setText("7");
    click("frmPrefs", "cmdApply");
    click("frmPrefs", "cmdCancel");
  });
  EXPECT_EQ(main().prf().GetMinLeft(), 7);
  EXPECT_EQ(dialogs_.unexpected, 0U);
  expectOrderlyEnd();
}

}  // namespace
}  // namespace relaybird
