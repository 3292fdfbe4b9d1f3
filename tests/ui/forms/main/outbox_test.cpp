// SPDX-License-Identifier: MIT
// Mail that has not left this computer: how the program reports it, and what the user can do.
#include <gmock/gmock.h>

#include "ui/forms/desktop_programs.h"
#include "ui/forms/main/program_fixture.h"

namespace relaybird {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

class OutboxTest : public ProgramTest {
 protected:
  OutboxTest() {
    oneAddress();
    outgoing_.now.outbox = "/state/outbox";
    outgoing_.now.waitingFolder = "/state/outbox/new";
    outgoing_.now.refusedFolder = "/state/outbox/failed";
  }
  // Runs a test cycle over one message and returns the text of its closing box, empty if there was
  // none. `meanwhile` changes the state of the mail.
  std::string test(const std::function<void()>& meanwhile = {}) {
    (void)program();
    deliver("lunch");
    dialogs_.answer(BoxAnswer::kOk);
    dialogs_.answer(BoxAnswer::kYes);
    click("frmRelaybird", "cmdForwardNow");
    if (meanwhile) {
      meanwhile();
    }
    events_.runUntilIdle();
    return closingBox();
  }
  std::string closingBox() const {
    const AnswerBox& last = dialogs_.boxes.back();
    return last.title == "Test Complete" ? last.text : "";
  }
  void stopAnAddress() {
    outgoing_.now.stopped = {"bob@example.org"};
    outgoing_.waits = 7;
  }
  std::string label() { return main().lblOutbox.visible() ? text("lblOutbox") : ""; }
};

constexpr const char* kNoProblems = "No problems were found.";
constexpr const char* kNoCommand =
    "No delivery command is set: forwards wait in the outbox /state/outbox.";
constexpr const char* kStopped =
    "Forwarding to bob@example.org is stopped, because too much has left for it within an hour; it "
    "goes on when you choose Try Again Now.";

TEST_F(OutboxTest, ATestWhoseForwardsHaveLeftFindsNoProblems) {
  outgoing_.now.left = 5;
  EXPECT_EQ(test([this] { outgoing_.now.left = 6; }),
            "The checking cycle is done: 1 unread message was looked at and 1 was "
            "forwarded.\r\n\r\n1 message has left this computer, and none waits.\r\n\r\n" +
                std::string(kNoProblems));
}

TEST_F(OutboxTest, ATestDoesNotCallAllWellWhatStillWaits) {
  outgoing_.waits = 1;
  const std::string box = test();
  EXPECT_THAT(box, HasSubstr("0 messages have left this computer, and 1 waits in the outbox "
                             "/state/outbox."));
  EXPECT_THAT(box, HasSubstr("Not all of it has left this computer yet."));
  EXPECT_THAT(box, Not(HasSubstr(kNoProblems)));
}

TEST_F(OutboxTest, ATestDoesNotCallAllWellWhatWasRefusedForGood) {
  outgoing_.now.refused = 3;
  const std::string box = test([this] {
    outgoing_.now.refused = 4;
    outgoing_.now.left = 1;
  });
  EXPECT_THAT(box, HasSubstr("1 message has left this computer, 1 was refused for good, and none "
                             "waits."));
  EXPECT_THAT(box, HasSubstr("There was a problem; please see the log."));
  EXPECT_THAT(box, Not(HasSubstr(kNoProblems)));
}

TEST_F(OutboxTest, WhatWasRefusedBeforeTheTestIsNoProblemOfTheTest) {
  outgoing_.now.refused = 3;
  EXPECT_THAT(test([this] { outgoing_.now.left = 1; }), HasSubstr(kNoProblems));
}

TEST_F(OutboxTest, ATestDoesNotCallAllWellWhatWasKeptForLater) {
  const std::string box = test([this] {
    outgoing_.now.kept = 1;
    outgoing_.waits = 1;
  });
  EXPECT_THAT(box, HasSubstr("1 message was refused for now and kept for a later try."));
  EXPECT_THAT(box, HasSubstr("There was a problem; please see the log."));
}

TEST_F(OutboxTest, ATestDoesNotCallAllWellThatAnAddressIsStopped) {
  const std::string box = test([this] { stopAnAddress(); });
  EXPECT_THAT(box, HasSubstr(kStopped));
  EXPECT_THAT(box, HasSubstr("There was a problem; please see the log."));
}

TEST_F(OutboxTest, WithoutADeliveryCommandTheTestTheLogAndTheWindowSayWhereForwardsWait) {
  outgoing_.now.delivers = false;
  outgoing_.waits = 1;
  const std::string box = test();
  EXPECT_THAT(box, HasSubstr(kNoCommand));
  EXPECT_THAT(box, Not(HasSubstr(kNoProblems)));
  EXPECT_THAT(log(), Contains("2026-11-20 09:00:00--> " + std::string(kNoCommand)).Times(1));
  EXPECT_EQ(label(), kNoCommand);
}

TEST_F(OutboxTest, EverySwitchingOnSaysOnceThatNoDeliveryCommandIsSet) {
  outgoing_.now.delivers = false;
  (void)program();
  switchOn();
  ASSERT_THAT(log(), SizeIs(testing::Ge(2U)));
  EXPECT_EQ(log()[1], "2026-11-20 09:00:00--> " + std::string(kNoCommand));
  click("frmRelaybird", "cmdStop");
  switchOn();
  EXPECT_THAT(log(), Contains(HasSubstr(kNoCommand)).Times(2));
}

TEST_F(OutboxTest, WhereAllLeavesNothingIsSaid) {
  (void)program();
  switchOn();
  EXPECT_THAT(log(), Not(Contains(HasSubstr("outbox"))));
  EXPECT_EQ(label(), "");
}

TEST_F(OutboxTest, TheClosingBoxWaitsUntilTheForwardsHaveBeenSent) {
  (void)program();
  deliver("lunch");
  dialogs_.answer(BoxAnswer::kOk);
  dialogs_.answer(BoxAnswer::kYes);
  store_.setSyncEndsByItself(false);
  click("frmRelaybird", "cmdForwardNow");
  events_.runUntilIdle();
  EXPECT_EQ(closingBox(), "");
  EXPECT_FALSE(program().idle());
  letPass(std::chrono::seconds{30});
  EXPECT_EQ(closingBox(), "");
  outgoing_.now.left = 1;
  store_.endSyncs();
  events_.runUntilIdle();
  letPass(std::chrono::seconds{1});
  EXPECT_THAT(closingBox(), HasSubstr("1 message has left this computer"));
  EXPECT_TRUE(program().idle());
  const std::size_t boxes = dialogs_.boxes.size();
  letPass(std::chrono::seconds{30});
  EXPECT_EQ(dialogs_.boxes.size(), boxes);
}

TEST_F(OutboxTest, ASendingThatNeverEndsIsGivenUpAndTheBoxComesAllTheSame) {
  store_.setSyncEndsByItself(false);
  outgoing_.waits = 1;
  EXPECT_EQ(test(), "");
  letPass(std::chrono::minutes{16});
  EXPECT_THAT(closingBox(), HasSubstr("1 waits in the outbox"));
}

TEST_F(OutboxTest, SwitchingOnRemindsOfAStoppedAddressAndDoesNotLetItGoOn) {
  stopAnAddress();
  (void)program();
  switchOn();
  EXPECT_THAT(log(), Contains("2026-11-20 09:00:00--> " + std::string(kStopped)));
  EXPECT_EQ(label(), kStopped);
  ASSERT_THAT(notifications_.shown, SizeIs(1));
  EXPECT_THAT(notifications_.shown[0].text, HasSubstr("bob@example.org"));
  EXPECT_EQ(outgoing_.tries, 0);
}

TEST_F(OutboxTest, TryAgainNowTriesOnceAndTheLogSaysWhatBecameOfIt) {
  stopAnAddress();
  (void)program();
  click("frmRelaybird", "mnuTryAgain");
  EXPECT_EQ(outgoing_.tries, 1);
  EXPECT_FALSE(main().mnuTryAgain.enabled());
  EXPECT_FALSE(program().idle());
  outgoing_.now.stopped.clear();
  outgoing_.now.left = 6;
  outgoing_.waits = 1;
  outgoing_.tried();
  EXPECT_TRUE(main().mnuTryAgain.enabled());
  EXPECT_TRUE(program().idle());
  EXPECT_THAT(log(), ElementsAre("2026-11-20 09:00:00--> Trying again now: 7 messages wait in the "
                                 "outbox.",
                                 "2026-11-20 09:00:00--> Tried again: 6 messages have left this "
                                 "computer, and 1 waits in the outbox /state/outbox."));
  EXPECT_EQ(label(), "");
}

TEST_F(OutboxTest, AStopAfterTheUsersWordIsNewsAgain) {
  stopAnAddress();
  (void)program();
  const StoreNotice stopped{"Stopped forwarding to bob@example.org", StoreNotice::Kind::kStopped};
  program().handleNotice(stopped);
  program().handleNotice(stopped);
  EXPECT_THAT(notifications_.shown, SizeIs(1));
  click("frmRelaybird", "mnuTryAgain");
  EXPECT_THAT(notifications_.withdrawn, SizeIs(1));
  program().handleNotice(stopped);
  EXPECT_THAT(notifications_.shown, SizeIs(2));
}

TEST_F(OutboxTest, TryAgainNowWithNothingWaitingSaysSo) {
  (void)program();
  click("frmRelaybird", "mnuTryAgain");
  EXPECT_EQ(outgoing_.tries, 0);
  EXPECT_EQ(label(), "Nothing waits in the outbox.");
  EXPECT_THAT(log(), ElementsAre("2026-11-20 09:00:00--> Nothing waits in the outbox."));
}

TEST_F(OutboxTest, TryAgainNowWithoutADeliveryCommandSaysWhatIsMissing) {
  outgoing_.now.delivers = false;
  outgoing_.waits = 2;
  (void)program();
  click("frmRelaybird", "mnuTryAgain");
  EXPECT_EQ(outgoing_.tries, 0);
  EXPECT_THAT(log(), Contains(HasSubstr(kNoCommand)));
}

TEST_F(OutboxTest, AnOutboxThatCannotBeUsedIsToldInABoxAndTheEntryCanBeUsedAgain) {
  stopAnAddress();
  outgoing_.broken = true;
  (void)program();
  click("frmRelaybird", "mnuTryAgain");
  EXPECT_EQ(boxLine(dialogs_.boxes.back()), "Error|The outbox is locked|exclamation|OK");
  EXPECT_TRUE(main().mnuTryAgain.enabled());
}

TEST_F(OutboxTest, AnEndOfATryThatComesAfterTheWindowHasGoneFindsNobody) {
  stopAnAddress();
  (void)program();
  click("frmRelaybird", "mnuTryAgain");
  program_.reset();
  outgoing_.tried();
}

TEST_F(OutboxTest, TheMenuOpensTheFoldersOfWhatWaitsAndOfWhatWasRefused) {
  files_.addFolder("/state/outbox");
  files_.addFolder("/state/outbox/new");
  files_.addFolder("/state/outbox/failed");
  (void)program();
  click("frmRelaybird", "mnuOpenWaiting");
  click("frmRelaybird", "mnuOpenRefused");
  EXPECT_THAT(folderViewer_.shown, ElementsAre("/state/outbox/new", "/state/outbox/failed"));
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
}

TEST_F(OutboxTest, AFolderThatIsNotThereYetIsSaidInABox) {
  (void)program();
  click("frmRelaybird", "mnuOpenRefused");
  EXPECT_THAT(folderViewer_.shown, IsEmpty());
  ASSERT_THAT(dialogs_.boxes, SizeIs(1));
  EXPECT_THAT(dialogs_.boxes[0].text, HasSubstr("/state/outbox/failed"));
}

TEST_F(OutboxTest, WithAStoreThatHasNoOutboxTheMenuIsNotThere) {
  outgoing_.now = {};
  (void)program();
  EXPECT_FALSE(main().mnuOutbox.visible());
  EXPECT_EQ(test(),
            "The checking cycle is done: 1 unread message was looked at and 1 was "
            "forwarded.\r\n\r\nNo problems were found.");
}

TEST_F(OutboxTest, AFolderIsOpenedByTheFirstProgramThatIsInstalled) {
  std::string started;
  ListedFolderViewer viewer({{"/bin/absent", {}}, {"/bin/there", {"open"}}}, files_,
                            [&](const std::string& program, const std::vector<std::string>& words) {
                              started = program;
                              for (const std::string& word : words) {
                                started += " " + word;
                              }
                              return Result<void>();
                            });
  EXPECT_FALSE(viewer.show("/state"));
  EXPECT_FALSE(viewer.browse("https://example.org/"));
  files_.addFolder("/bin");
  files_.addFile("/bin/there", "");
  EXPECT_TRUE(viewer.show("/state"));
  EXPECT_EQ(started, "/bin/there open /state");
  EXPECT_TRUE(viewer.browse("https://example.org/"));
  EXPECT_EQ(started, "/bin/there open https://example.org/");
}

}  // namespace
}  // namespace relaybird
