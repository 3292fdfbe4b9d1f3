// SPDX-License-Identifier: MIT
// Read marks over a connection: sent together, kept over a loss, refused one by one.
#include <gmock/gmock.h>

#include "stores/account/imap_session_fixture.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using namespace std::chrono_literals;

class ImapMarksTest : public ImapSessionFixture {};

TEST_F(ImapMarksTest, SendsMarksTogetherALittleLater) {
  refresh();
  mark(1);
  mark(2);
  mark(4);
  EXPECT_TRUE(runUntilMarked(4));
  EXPECT_TRUE(account_.find(1)->seen && account_.find(2)->seen && account_.find(4)->seen);
  EXPECT_EQ(account_.count("UID STORE 1:2,4 +FLAGS.SILENT (\\Seen)"), 1U);
  EXPECT_EQ(account_.count("UID STORE"), 1U);
}

TEST_F(ImapMarksTest, AMarkDoesNotWaitForOthersForLong) {
  refresh();
  runUntil([] { return false; }, 1min);
  const auto begin = network_.steadyTime();
  mark(2);
  EXPECT_TRUE(runUntilMarked(2));
  EXPECT_EQ(network_.steadyTime() - begin, kMarkDelay);
}

TEST_F(ImapMarksTest, MarksOfBothKindsGoTheirOwnWays) {
  account_.find(2)->seen = true;
  refresh();
  mark(1);
  mark(2, false);
  mark(3);
  EXPECT_TRUE(runUntilMarked(3));
  EXPECT_TRUE(account_.find(1)->seen && account_.find(3)->seen);
  EXPECT_FALSE(account_.find(2)->seen);
}

TEST_F(ImapMarksTest, SendsMarksBeforeItRefreshes) {
  refresh();
  mark(1);
  EXPECT_EQ(refresh(), Wanted::kThere);
  EXPECT_TRUE(account_.find(1)->seen);
  EXPECT_THAT(unseen(), ElementsAre(2, 3, 4, 5));
  mark(1, false);
  refresh();
  EXPECT_THAT(unseen(), ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(ImapMarksTest, LeavesOutMessagesWhoseMarksAreOnTheirWay) {
  refresh();
  account_.instead = [&](const std::string& tag, const std::string& command) {
    return command.starts_with("UID STORE")
               ? std::optional<std::string>("* OK slow " + tag + "\r\n")
               : std::nullopt;
  };
  mark(2);
  refresh();
  EXPECT_THAT(unseen(), ElementsAre(1, 3, 4, 5));
}

TEST_F(ImapMarksTest, FindsTheOneMarkThatTheServerRefuses) {
  refresh();
  account_.instead = [&](const std::string& tag, const std::string& command) {
    const bool hits = command.starts_with("UID STORE") &&
                      UidSet::parse(command.substr(10, command.find(' ', 10) - 10))->contains(2);
    return hits ? std::optional<std::string>(tag + " NO [OVERQUOTA] full\r\n") : std::nullopt;
  };
  mark(1);
  mark(2);
  mark(3);
  EXPECT_TRUE(runUntilMarked(2));
  EXPECT_TRUE(runUntilMarked(3));
  const auto state = [&](std::uint32_t uid) {
    return session_->look([&](const ImapWork& work) { return work.mark(uid); });
  };
  EXPECT_EQ(state(1), ImapWork::Mark::kDurable);
  EXPECT_EQ(state(2), ImapWork::Mark::kRefused);
  EXPECT_EQ(state(3), ImapWork::Mark::kDurable);
  EXPECT_THAT(complaints_, ElementsAre("Mail server imap.example.org: The server does not mark the "
                                       "message imap-7-2 as read: full [OVERQUOTA]"));
  refresh();
  EXPECT_THAT(unseen(), ElementsAre(2, 4, 5));
}

TEST_F(ImapMarksTest, ListsAMessageAgainThatAnotherProgramMarksUnread) {
  refresh();
  mark(2);
  runUntilMarked(2);
  refresh();
  account_.find(2)->seen = false;
  refresh();
  EXPECT_THAT(unseen(), ElementsAre(1, 2, 3, 4, 5));
  // The same before a search has seen the mark.
  mark(3);
  runUntilMarked(3);
  account_.find(3)->seen = false;
  refresh();
  EXPECT_THAT(unseen(), ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(ImapMarksTest, AMarkThatWasSentAndNotConfirmedIsSentAgain) {
  refresh();
  account_.instead = [this](const std::string&, const std::string& command) {
    if (!command.starts_with("UID STORE")) {
      return std::optional<std::string>();
    }
    network_.end(network_.connections() - 1).close();
    account_.instead = {};
    return std::optional<std::string>("");
  };
  mark(2);
  EXPECT_TRUE(runUntilMarked(2));
  EXPECT_EQ(network_.connections(), 2U);
  EXPECT_TRUE(account_.find(2)->seen);
}

TEST_F(ImapMarksTest, KeepsMarksOverALostConnection) {
  refresh();
  mark(2);
  network_.end(0).close();
  EXPECT_TRUE(runUntilMarked(2));
  EXPECT_EQ(network_.connections(), 2U);
  EXPECT_TRUE(account_.find(2)->seen);
}

// The server answered OK and forgot, so the mail was forwarded at every check.
TEST_F(ImapMarksTest, RefusesMarksWhereTheServerWouldForgetThem) {
  refresh();
  mark(2);
  account_.permanentFlags = "(\\Answered \\*)";
  network_.end(0).close();
  EXPECT_TRUE(runUntilMarked(2));
  EXPECT_EQ(session_->look([](const ImapWork& work) { return work.mark(2); }),
            ImapWork::Mark::kRefused);
  EXPECT_EQ(account_.count("UID STORE"), 0U);
  EXPECT_THAT(complaints_, ElementsAre(HasSubstr("may only be read")));
}

// The message stayed hidden, so its journal entry was settled as that of a message that is gone.
TEST_F(ImapMarksTest, ARefusedMarkAsksForANewListing) {
  refresh();
  std::string tag;
  account_.instead = [&](const std::string& heard, const std::string& command) {
    if (command.starts_with("UID STORE")) {
      tag = heard;
      return std::optional<std::string>("");
    }
    return std::optional<std::string>();
  };
  mark(2);
  refresh();
  EXPECT_THAT(unseen(), ElementsAre(1, 3, 4, 5));
  EXPECT_FALSE(session_->look([](const ImapWork& work) { return work.changed(); }));
  network_.end(0).say(tag + " NO full\r\n");
  EXPECT_TRUE(runUntilMarked(2));
  EXPECT_TRUE(session_->look([](const ImapWork& work) { return work.changed(); }));
  refresh();
  EXPECT_THAT(unseen(), ElementsAre(1, 2, 3, 4, 5));
}

}  // namespace
}  // namespace relaybird
