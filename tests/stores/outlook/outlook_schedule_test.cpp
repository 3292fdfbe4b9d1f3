// SPDX-License-Identifier: MIT
// Synchronisations of the mail application around a check, by the engine's own timers: in a process
// of its own a quarter of an hour would have to be waited for.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>

#include "stores/outlook/outlook_house.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;

class OutlookSchedule : public testing::Test {
 protected:
  OutlookSchedule() { house_.tell("syncs\tend=told"); }

  void trigger() { house_.engine.engine.schedule().ForwardTrigger(); }
  // The application reports the end; the events that follow are run.
  void endSynchronisation() {
    house_.tell("end");
    for (MSG message; PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE;) {
      DispatchMessageW(&message);
    }
    house_.events.runUntilIdle();
  }
  long long starts() {
    return outlook_double::CommandLine(house_.tell("state")).number("starts", -1);
  }
  bool logged(const std::string& text) {
    return std::any_of(house_.log.lines.begin(), house_.log.lines.end(),
                       [&](const auto& line) { return line.find(text) != std::string::npos; });
  }

  OutlookHouse house_;
};

TEST_F(OutlookSchedule, AClosedApplicationSynchronisesBeforeTheInboxIsLookedAt) {
  house_.deliver(1);
  trigger();
  EXPECT_EQ(starts(), 1);
  EXPECT_EQ(house_.sent(), 0u);
  house_.deliver(2);
  endSynchronisation();
  EXPECT_EQ(house_.sent(), 2u);
  EXPECT_EQ(starts(), 2) << "what was forwarded is sent";
  endSynchronisation();
  EXPECT_FALSE(house_.engine.engine.state().syncBusy);
}

TEST_F(OutlookSchedule, AnOpenApplicationIsLookedAtAtOnce) {
  house_.check();
  house_.deliver(1);
  trigger();
  EXPECT_EQ(house_.sent(), 1u);
}

TEST_F(OutlookSchedule, ASynchronisationThatDoesNotEndIsGivenUpAndTheNextOneIsStarted) {
  house_.deliver(1);
  trigger();
  house_.engine.timers.advance(890s);
  EXPECT_EQ(house_.sent(), 0u);
  house_.engine.timers.advance(20s);
  EXPECT_TRUE(logged("--> Inbox synchronization timed out."));
  EXPECT_EQ(house_.sent(), 1u);
  EXPECT_EQ(starts(), 2) << "the one that sends is not taken for the one that was given up";
  endSynchronisation();
  EXPECT_FALSE(house_.engine.engine.state().syncBusy);
}

TEST_F(OutlookSchedule, AnApplicationThatEndsInASynchronisationIsStartedAtTheNextCheck) {
  house_.deliver(1);
  trigger();
  house_.tell("quit");
  house_.engine.timers.advance(910s);
  EXPECT_TRUE(logged("--> Inbox synchronization timed out."));
  trigger();
  endSynchronisation();
  EXPECT_EQ(house_.sent(), 1u);
}

// The steps from the synchronisation object to its events.
class OutlookScheduleEvents : public OutlookSchedule,
                              public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(, OutlookScheduleEvents,
                         testing::Values("SyncObject.QueryInterface",
                                         "SyncObject.EnumConnectionPoints",
                                         "EnumConnectionPoints.Next",
                                         "ConnectionPoint.GetConnectionInterface",
                                         "ConnectionPoint.Advise"),
                         [](const auto& step) {
                           std::string name = step.param;
                           std::erase(name, '.');
                           return name;
                         });

TEST_P(OutlookScheduleEvents, OfAnApplicationThatIsBusyForAMomentAreWaitedFor) {
  house_.deliver(1);
  house_.tell(std::string("return\tcode=8001010A\ttimes=2\tcall=") + GetParam());
  const auto before = house_.clock.now();
  trigger();
  EXPECT_EQ(house_.clock.now() - before, 500ms);
  EXPECT_FALSE(logged("--> Inbox Sync failed"));
  endSynchronisation();
  EXPECT_EQ(house_.sent(), 1u);
}

TEST_P(OutlookScheduleEvents, OfAnApplicationThatStaysBusyFailTheCheckWithThatReason) {
  house_.deliver(1);
  house_.tell(std::string("return\tcode=8001010A\tcall=") + GetParam());
  trigger();
  EXPECT_TRUE(logged("--> The mail application is busy"));
  house_.tell("calm");
  trigger();
  house_.check();
  EXPECT_EQ(house_.sent(), 1u);
}

TEST_P(OutlookScheduleEvents, OfAnApplicationThatEndsThereAreThoseOfTheNextOneAtTheNextCheck) {
  house_.deliver(1);
  house_.tell(std::string("die\tcall=") + GetParam());
  trigger();
  EXPECT_TRUE(logged("--> The mail application ended during the call"));
  house_.tell("counts\tclear=1");
  trigger();
  EXPECT_EQ(starts(), 1);
  endSynchronisation();
  EXPECT_EQ(house_.sent(), 1u);
}

// The texts of a report or a task request are read from the item itself, whose user is asked then.
TEST_F(OutlookSchedule, AForwardOfMailCallsNothingThatTheApplicationAsksItsUserAbout) {
  for (const char* guarded :
       {"Body", "SenderName", "Fields", "Recipients", "ReplyRecipients", "Send"}) {
    house_.tell(std::string("raise\tcall=MailItem.") + guarded + "\tcode=80004004");
  }
  house_.check();
  for (const char* kind : {"MailItem", "MeetingItem"}) {
    house_.tell(std::string("deliver\tsubject=A ") + kind + "\tbody=text\tkind=" + kind +
                "\taddress=bob@example.com\tsender=Bob");
  }
  house_.check();
  EXPECT_EQ(house_.sent(), 2u);
}

}  // namespace
}  // namespace relaybird
