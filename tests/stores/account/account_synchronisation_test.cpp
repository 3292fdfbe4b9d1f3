// SPDX-License-Identifier: MIT
// Who is told of the end of a synchronisation, and when.
#include "stores/account/account_inbox_fixture.h"

namespace relaybird {
namespace {

using testing::SizeIs;

class AccountSynchronisationTest : public AccountInboxTest {};

TEST_F(AccountSynchronisationTest, SynchronisesAndReportsTheEndLater) {
  int ends = 0;
  inbox_->synchronise([&] { ++ends; });
  inbox_->synchronise([&] { ++ends; });
  serve(12);
  EXPECT_EQ(ends, 0);
  house_.events.runUntilIdle();
  EXPECT_EQ(ends, 2);
  EXPECT_TRUE(inbox_->alive());
}

TEST_F(AccountSynchronisationTest, WhatAnIdleServerSaysLeavesTheUserInterfaceAsleep) {
  inbox_->synchronise([] {});
  serve(12);
  house_.events.runUntilIdle();
  house_.network.end(0).say("* OK Still here\r\n");
  house_.network.wake();
  serve(1);
  house_.network.end(0).say("* 5 EXISTS\r\n");
  house_.network.wake();
  serve(1);
  EXPECT_EQ(house_.events.waiting(), 0U);
}

TEST_F(AccountSynchronisationTest, ReportsAFailedSynchronisationOnce) {
  house_.reachable = false;
  int ends = 0;
  for (int i = 0; i < 3; ++i) {
    inbox_->synchronise([&] { ++ends; });
    serve(3);
    house_.events.runUntilIdle();
  }
  EXPECT_EQ(ends, 3);
  EXPECT_THAT(house_.notices, SizeIs(1));
}

TEST_F(AccountSynchronisationTest, NobodyIsToldOfAnEndAfterTheInboxWasClosed) {
  int ends = 0;
  inbox_->synchronise([&] { ++ends; });
  serve(12);
  ASSERT_EQ(house_.events.waiting(), 1U) << "the end is on its way";
  inbox_->close();
  house_.events.runUntilIdle();
  EXPECT_EQ(ends, 0);
}

TEST_F(AccountSynchronisationTest, AnEndOnItsWayToAnInboxThatIsGoneIsDropped) {
  int ends = 0;
  inbox_->synchronise([&] { ++ends; });
  serve(12);
  inbox_.reset();
  house_.events.runUntilIdle();
  EXPECT_EQ(ends, 0);
}

}  // namespace
}  // namespace relaybird
