// SPDX-License-Identifier: MIT
#include "ui/forms/settings/email_address.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/recording_log.h"

namespace relaybird {
namespace {

TEST(EmailAddress, NeedsSomethingBeforeTheAtSignAndAPointBehindItThatIsNotLast) {
  RecordingLog log;
  EXPECT_TRUE(bolCheckEmailAddress(log, "a@b.c"));
  EXPECT_TRUE(bolCheckEmailAddress(log, "a b@c@d..e"));
  EXPECT_TRUE(bolCheckEmailAddress(log, "a@.c"));
  for (const char* bad :
       {"", "a", "ab", "@bc.d", "abc@", "a@bc", "a@b.", "a.b@c", "abc.d", "@.c"}) {
    EXPECT_FALSE(bolCheckEmailAddress(log, bad)) << bad;
  }
}

// Only the first point behind the at sign counts.
TEST(EmailAddress, APointAtTheEndIsMissedWhenAnotherComesBeforeIt) {
  RecordingLog log;
  EXPECT_TRUE(bolCheckEmailAddress(log, "a@b.c."));
}

TEST(EmailAddress, TheVerboseLogTellsOfEveryCheck) {
  RecordingLog log;
  log.verboseOn = true;
  bolCheckEmailAddress(log, "a@b.c");
  EXPECT_THAT(log.lines, testing::ElementsAre(" [v]-->bolCheckEmailAddress - (Entered)"));
}

}  // namespace
}  // namespace relaybird
