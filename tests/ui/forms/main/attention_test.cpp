// SPDX-License-Identifier: MIT
// Notifications for a user who is not looking at the window: one for each cause.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ui/forms/main/program_fixture.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class AttentionTest : public ProgramTest {
 protected:
  AttentionTest() { oneAddress("mdblFwdToFrequency=5\nmlngMaxToForward=2\n"); }

  // One full interval of the schedule.
  void check() { letPass(std::chrono::minutes{5}); }
  void break_(bool broken) {
    store_.setHook([broken](std::string_view call) {
      if (broken && call == "Namespace.GetDefaultInbox") {
        throw MailStoreError("The disk is on fire");
      }
    });
    main().engine().session().release();
  }
  void refuse(const std::string& why) {
    program().handleNotice({"Refused for good: " + why, StoreNotice::Kind::kRefused});
  }
};

TEST_F(AttentionTest, ThreeChecksInARowThatCannotOpenTheMailboxMakeOneNotification) {
  switchOn();
  for (int round = 1; round <= 6; ++round) {
    break_(true);
    check();
    EXPECT_THAT(notifications_.shown, SizeIs(round < 3 ? 0 : 1)) << round;
  }
  EXPECT_EQ(notifications_.shown[0].title, "The inbox cannot be checked");
  EXPECT_THAT(notifications_.shown[0].text, HasSubstr("The disk is on fire"));
}

TEST_F(AttentionTest, ACheckThatWorksInBetweenStartsTheCountAnew) {
  switchOn();
  for (const bool broken : {true, true, false, true, true}) {
    break_(broken);
    check();
  }
  EXPECT_THAT(notifications_.shown, IsEmpty());
}

TEST_F(AttentionTest, TheNotificationIsTakenBackOnceTheMailboxIsThereAgain) {
  switchOn();
  for (const bool broken : {true, true, true, false}) {
    break_(broken);
    check();
  }
  EXPECT_THAT(notifications_.withdrawn, ElementsAre(notifications_.shown.at(0).cause));
  for (int round = 0; round < 3; ++round) {
    break_(true);
    check();
  }
  EXPECT_THAT(notifications_.shown, SizeIs(2));
}

// The checks that failed had reached the mailbox, and were therefore not counted.
TEST_F(AttentionTest, ThreeChecksInARowThatBreakOffMakeOneNotification) {
  switchOn();
  store_.setHook([](std::string_view call) {
    if (call == "ItemCollection.Restrict") {
      throw MailStoreError("The disk is full");
    }
  });
  check();
  EXPECT_EQ(status(), "Error occurred");
  check();
  EXPECT_THAT(notifications_.shown, IsEmpty());
  check();
  ASSERT_THAT(notifications_.shown, SizeIs(1));
  EXPECT_THAT(notifications_.shown[0].text, HasSubstr("The disk is full"));
}

TEST_F(AttentionTest, TheWindowTellsSinceWhenChecksHaveFailedUntilOneSucceeds) {
  switchOn();
  const Control& label = control("frmRelaybird", "lblCheckFailure");
  check();
  EXPECT_FALSE(label.visible());
  break_(true);
  check();
  EXPECT_TRUE(label.visible());
  EXPECT_EQ(label.text(), "Last check failed. None has succeeded since 2026-11-20 09:10:00.");
  EXPECT_EQ(label.toolTip(), "The disk is on fire");
  click("frmRelaybird", "cmdStop");
  break_(false);
  switchOn();
  break_(true);
  check();
  EXPECT_EQ(label.text(), "Last check failed. None has succeeded since 2026-11-20 09:10:00.");
  break_(false);
  check();
  EXPECT_FALSE(label.visible());
}

TEST_F(AttentionTest, RefusedMessagesMakeOneNotificationADay) {
  switchOn();
  refuse("\"one\": 550 no such user");
  refuse("\"two\": 550 no such user");
  ASSERT_THAT(notifications_.shown, SizeIs(1));
  EXPECT_THAT(notifications_.shown[0].text, HasSubstr("\"one\": 550 no such user"));
  clock_.set(clock_.now() + std::chrono::hours{23});
  refuse("\"three\": 550 no such user");
  EXPECT_THAT(notifications_.shown, SizeIs(1));
  clock_.set(clock_.now() + std::chrono::hours{1});
  refuse("\"four\": 550 no such user");
  EXPECT_THAT(notifications_.shown, SizeIs(2));
}

TEST_F(AttentionTest, AStrangersSubjectIsNoMarkupAndNoFlood) {
  switchOn();
  refuse("\"<a href=\"http://evil.example\">win</a> & more\r\nnow\": " + std::string(1000000, 'x'));
  ASSERT_THAT(notifications_.shown, SizeIs(1));
  const std::string& text = notifications_.shown[0].text;
  EXPECT_THAT(text,
              HasSubstr("\u2039a href=\"http://evil.example\"\u203Awin\u2039/a\u203A + more  now"));
  EXPECT_EQ(text.find_first_of("<>&"), std::string::npos);
  EXPECT_LT(text.size(), 300U);
}

TEST_F(AttentionTest, LongWordsAreCutBetweenCharacters) {
  // One byte more before them moves the cut into the middle of a character.
  for (const std::string before : {"", "x"}) {
    switchOn();
    std::string words = before;
    while (words.size() < 1000) {
      words += "\u00E4";
    }
    refuse(words);
    const std::string& text = notifications_.shown.back().text;
    const auto end = text.find("...");
    ASSERT_NE(end, std::string::npos);
    EXPECT_EQ(text.substr(end - 2, 2), "\u00E4");
    main().StopForwarding();
  }
  EXPECT_THAT(notifications_.shown, SizeIs(2));
}

TEST_F(AttentionTest, WhatTurnsTheDirectionOfWritingStandsByItsCode) {
  switchOn();
  refuse("pay \u202Egpj.exe\u200B");
  EXPECT_THAT(notifications_.shown.at(0).text,
              HasSubstr("pay \u2039U+202E\u203Agpj.exe\u2039U+200B\u203A"));
}

TEST_F(AttentionTest, ARefusedMessageStandsInTheLogToo) {
  program();
  refuse("\"one\": 550 no such user");
  EXPECT_THAT(log(), testing::Contains(
                         "2026-11-20 09:00:00--> Refused for good: \"one\": 550 no such user"));
}

TEST_F(AttentionTest, ANoteOfTheStoreGoesToTheLogAlone) {
  program().handleNotice({"Handed over for delivery: \"one\""});
  EXPECT_THAT(log(), testing::Contains("2026-11-20 09:00:00--> Handed over for delivery: \"one\""));
  EXPECT_THAT(notifications_.shown, IsEmpty());
}

// The pause at the end of a pass delays the reports of the delivery thread.
TEST_F(AttentionTest, ALineOfADeliveryHasTheTimeOfTheDeliveryNotThatOfItsTelling) {
  program();
  StoreNotice notice("Handed over for delivery: \"one\"");
  notice.time = clock_.now();
  clock_.advance(std::chrono::seconds{3});
  program().handleNotice(notice);
  EXPECT_THAT(log(), testing::Contains("2026-11-20 09:00:00--> Handed over for delivery: \"one\""));
}

TEST_F(AttentionTest, ALineOfAProtocolIsListedOnlyWhileTheVerboseLogIsOn) {
  program();
  const StoreNotice line("SMTP > QUIT", StoreNotice::Kind::kVerbose);
  const std::size_t before = log().size();
  program().handleNotice(line);
  EXPECT_EQ(log().size(), before);
  program().log().chkVerboseLog.setValue(1);
  program().handleNotice(line);
  EXPECT_EQ(log().back(), "2026-11-20 09:00:00 [v]-->SMTP > QUIT");
}

TEST_F(AttentionTest, AnAddressThatIsStoppedStandsInTheLogAndMakesOneNotification) {
  program();
  for (int i = 0; i < 2; ++i) {
    program().handleNotice(
        {"Stopped forwarding to bob@example.org: too much", StoreNotice::Kind::kStopped});
  }
  EXPECT_THAT(log(), testing::Contains("2026-11-20 09:00:00--> Stopped forwarding to "
                                       "bob@example.org: too much")
                         .Times(2));
  ASSERT_THAT(notifications_.shown, SizeIs(1));
  EXPECT_EQ(notifications_.shown[0].title, "Forwarding to an address was stopped");
  EXPECT_THAT(notifications_.shown[0].text, HasSubstr("bob@example.org: too much"));
  EXPECT_THAT(notifications_.shown[0].text, HasSubstr("Try Again Now"));
}

TEST_F(AttentionTest, AForwardThatTheMailApplicationRefusesIsTold) {
  switchOn();
  store_.setHook([](std::string_view call) {
    if (call == "MailItem.send") {
      throw MailStoreError("Mailbox full");
    }
  });
  deliver("a message");
  deliver("another");
  check();
  ASSERT_THAT(notifications_.shown, SizeIs(1));
  EXPECT_EQ(notifications_.shown[0].title, "A message could not be forwarded");
  EXPECT_THAT(notifications_.shown[0].text, HasSubstr("Mailbox full"));
}

TEST_F(AttentionTest, TheMaximumIsToldOnceUntilForwardingIsSwitchedOnAnew) {
  switchOn();
  for (int round = 0; round < 3; ++round) {
    deliver("one");
    deliver("two");
    check();
  }
  ASSERT_THAT(notifications_.shown, SizeIs(1));
  EXPECT_EQ(notifications_.shown[0].title, "The maximum number of messages was forwarded");
  click("frmRelaybird", "cmdStop");
  switchOn();
  EXPECT_THAT(notifications_.withdrawn, ElementsAre(notifications_.shown[0].cause));
  for (int round = 0; round < 3; ++round) {
    deliver("one");
    deliver("two");
    check();
  }
  EXPECT_THAT(notifications_.shown, SizeIs(2));
}

TEST_F(AttentionTest, AUserWhoLooksAtTheWindowIsToldOnlyWhatComesAfterLeavingIt) {
  notifications_.away = false;
  switchOn();
  refuse("\"one\": 550 no such user");
  EXPECT_THAT(notifications_.shown, IsEmpty());
  notifications_.away = true;
  refuse("\"two\": 550 no such user");
  EXPECT_THAT(notifications_.shown, SizeIs(1));
}

TEST_F(AttentionTest, SomethingUnexpectedIsToldOnceAndLoggedEachTime) {
  switchOn();
  program().unexpected("vector::at");
  program().unexpected("bad_alloc");
  ASSERT_EQ(dialogs_.boxes.size(), 2U);
  EXPECT_EQ(
      dialogs_.boxes[1].text,
      "Something unexpected happened: vector::at\r\n\r\nForwarding goes on; the log will tell "
      "of any more of this.");
  EXPECT_EQ(log().at(log().size() - 2), "2026-11-20 09:00:00--> Unexpected: vector::at");
  EXPECT_EQ(log().back(), "2026-11-20 09:00:00--> Unexpected: bad_alloc");
  EXPECT_TRUE(state().forwardingOn);
  EXPECT_EQ(text("txtStatus"), "Running");
}

}  // namespace
}  // namespace relaybird
