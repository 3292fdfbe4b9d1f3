// SPDX-License-Identifier: MIT
// The inbox over a session whose server the test plays: its name, which listing it returns, read
// marks, and what comes of a refused sign-in.
#include <algorithm>
#include <cerrno>

#include "stores/account/account_inbox_fixture.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using namespace std::chrono_literals;

TEST_F(AccountInboxTest, IsNamedByUserServerAndFolder) {
  EXPECT_EQ(*inbox_->identity(), "imap:ann@example.org@imap.example.org/INBOX");
  EXPECT_EQ(inbox_->folder(), "");
}

// With the port in every name, mail that waited was left behind when the port changed.
TEST_F(AccountInboxTest, KeepsItsNameWhenItsServerIsReachedThroughAnotherPort) {
  house_.settings.imap.server.port = 143;
  EXPECT_EQ(*house_.makeInbox()->identity(), *inbox_->identity());
}

TEST_F(AccountInboxTest, PortsOfThisComputerAreDifferentAccounts) {
  house_.settings.imap.server.host = "127.0.0.1";
  const std::string first = *house_.makeInbox()->identity();
  ++house_.settings.imap.server.port;
  EXPECT_NE(*house_.makeInbox()->identity(), first);
}

TEST_F(AccountInboxTest, HasOneNameHoweverTheInboxIsWritten) {
  house_.settings.folder = "inbox";
  EXPECT_EQ(*house_.makeInbox()->identity(), *inbox_->identity());
  house_.settings.folder = "Inboxes";
  EXPECT_NE(*house_.makeInbox()->identity(), *inbox_->identity());
  EXPECT_EQ(house_.makeInbox()->account(), inbox_->account()) << "it is what is locked";
}

// Two accounts shared the file of messages that were seen, and the spool.
TEST_F(AccountInboxTest, AccountsThatDifferLittleShareNothingOnDisk) {
  const std::string longName(300, 'x');
  std::size_t accounts = 0;
  for (const std::string& folder : std::vector<std::string>{"a+b", "a/b", "a_b", "\u00E4", "\u00F6",
                                                            longName + "1", longName + "2"}) {
    house_.settings.folder = folder;
    inbox_ = house_.makeInbox();
    EXPECT_EQ(walk(*list(), 0), 0);
    inbox_->close();
    EXPECT_EQ(house_.disk.list(house_.temp.path("state/rbx"))->size(), ++accounts) << folder;
  }
  house_.settings.imap.server.host = "localhost";
  inbox_ = house_.makeInbox();
  EXPECT_EQ(walk(*list(), 0), 0);
  inbox_->close();
  EXPECT_EQ(house_.disk.list(house_.temp.path("state/rbx"))->size(), ++accounts);
}

TEST_F(AccountInboxTest, ConnectsWhenItIsFirstAsked) {
  EXPECT_TRUE(inbox_->check());
  EXPECT_FALSE(inbox_->alive());
  EXPECT_EQ(house_.network.connections(), 0U);
  EXPECT_TRUE(inbox_->signIn());
  EXPECT_TRUE(inbox_->alive());
  EXPECT_EQ(house_.network.end(0).signIn()->secret.bytes(), "hidden");
}

TEST_F(AccountInboxTest, ListsUnreadMessagesOldestFirst) {
  house_.account.find(2)->seen = true;
  const auto listing = list();
  EXPECT_THAT(ids(*listing), ElementsAre("imap-7-1", "imap-7-3", "imap-7-4"));
  EXPECT_FALSE(listing->seen(0));
}

TEST_F(AccountInboxTest, ReturnsTheSameListingUntilTheServerReportsAChange) {
  const auto first = list();
  serve(4);
  house_.account.commands.clear();
  EXPECT_EQ(list(), first);
  EXPECT_THAT(house_.account.commands, IsEmpty());
  house_.account.add(9, simpleMail("m9"));
  house_.network.end(0).say("* 5 EXISTS\r\n");
  EXPECT_THAT(ids(*list()),
              ElementsAre("imap-7-1", "imap-7-2", "imap-7-3", "imap-7-4", "imap-7-9"));
  EXPECT_EQ(house_.account.count("UID SEARCH"), 1U);
}

// What an idle server says wakes nobody, so it waits unread until somebody asks.
TEST_F(AccountInboxTest, AMessageAnnouncedBeforeACheckIsSeenByIt) {
  list();
  serve(4);
  ASSERT_TRUE(inbox_->alive());
  house_.account.add(9, simpleMail("m9"));
  house_.network.end(0).say("* OK Still here\r\n* 5 EXISTS\r\n");
  const auto before = house_.network.steadyTime();
  EXPECT_EQ(list()->size(), 5U);
  EXPECT_EQ(house_.network.steadyTime(), before);
}

TEST_F(AccountInboxTest, AFarewellBeforeACheckMakesItConnectAgain) {
  list();
  serve(4);
  house_.account.add(9, simpleMail("m9"));
  house_.network.end(0).say("* BYE for now\r\n");
  EXPECT_EQ(list()->size(), 5U);
  EXPECT_EQ(house_.network.connections(), 2U);
}

// The session's thread may wait for a disk.
TEST_F(AccountInboxTest, ASessionThatDoesNotAnswerHoldsAListingUpForTwoSeconds) {
  const auto first = list();
  serve(4);
  house_.network.end(0).trickle(1, 1s);
  house_.network.end(0).say(std::string(600, 'x'));
  const auto before = house_.network.steadyTime();
  EXPECT_EQ(list(), first);
  EXPECT_LE(house_.network.steadyTime() - before, 3s);
}

TEST_F(AccountInboxTest, TakesAlongInAMinuteWhatIsDueBeforeTheNextOne) {
  list();
  serve(4);
  const auto pass = [this](std::chrono::minutes time) {
    const auto until = house_.network.steadyTime() + time;
    house_.network.after(time, [] {});
    while (house_.network.steadyTime() < until) {
      house_.network.wait(until - house_.network.steadyTime());
    }
    const int before = house_.network.wakes();
    inbox_->minutePassed();
    return house_.network.wakes() - before;
  };
  EXPECT_EQ(pass(5min), 0) << "nothing was due";
  EXPECT_EQ(pass(3min), 1);
  house_.account.commands.clear();
  serve(3);
  EXPECT_THAT(house_.account.commands, ElementsAre("DONE", "IDLE"));
}

// A pass after an outage took the failures of the one before for those of the messages.
TEST_F(AccountInboxTest, MarksMessagesAndReportsWhatTheServerHasConfirmed) {
  const auto listing = list();
  EXPECT_TRUE(listing->setSeen(1, true));
  EXPECT_TRUE(listing->seen(1));
  EXPECT_THAT(inbox_->syncMarks({"imap-7-2"}).durable, IsEmpty());
  inbox_->synchronise([] {});
  serve(8);
  EXPECT_THAT(inbox_->syncMarks({"imap-7-2"}).durable, ElementsAre("imap-7-2"));
  EXPECT_THAT(ids(*list()), ElementsAre("imap-7-1", "imap-7-3", "imap-7-4"));
}

TEST_F(AccountInboxTest, MarkOfAnOlderListingIsInALaterOneToo) {
  const auto older = list();
  house_.account.add(9, simpleMail("m9"));
  house_.network.end(0).say("* 5 EXISTS\r\n");
  // The server is asked now, and the message is marked after that.
  inbox_->synchronise([] {});
  serve(8);
  EXPECT_TRUE(older->setSeen(1, true));
  EXPECT_THAT(ids(*list()), ElementsAre("imap-7-1", "imap-7-3", "imap-7-4", "imap-7-9"));
}

TEST_F(AccountInboxTest, ShowsTheServersStateAfterARefusedMark) {
  house_.account.instead = [](const std::string& tag, const std::string& command) {
    return command.starts_with("UID STORE") ? std::optional<std::string>(tag + " NO full\r\n")
                                            : std::nullopt;
  };
  const auto listing = list();
  EXPECT_TRUE(listing->setSeen(1, true));
  inbox_->synchronise([] {});
  serve(10);
  house_.events.runUntilIdle();
  EXPECT_FALSE(listing->seen(1));
  EXPECT_THAT(house_.notices,
              ElementsAre(HasSubstr("does not mark the message imap-7-2 as read: full")));
  const MarkReport report = inbox_->syncMarks({"imap-7-2", "imap-7-99"});
  EXPECT_THAT(report.refused, ElementsAre("imap-7-2"));
  EXPECT_THAT(report.durable, ElementsAre("imap-7-99"));
}

TEST_F(AccountInboxTest, RemembersMarksWhereTheFolderMayOnlyBeRead) {
  house_.account.readOnly = true;
  const auto first = list();
  EXPECT_TRUE(first->setSeen(0, true));
  EXPECT_TRUE(first->setSeen(1, true));
  EXPECT_TRUE(first->setSeen(1, false));
  EXPECT_TRUE(first->seen(0));
  EXPECT_THAT(house_.notices, ElementsAre(HasSubstr("not mark messages")));
  house_.account.add(9, simpleMail("m9"));
  house_.network.end(0).say("* 5 EXISTS\r\n");
  EXPECT_THAT(ids(*list()), ElementsAre("imap-7-2", "imap-7-3", "imap-7-4", "imap-7-9"));
  const MarkReport report = inbox_->syncMarks({"imap-7-1"});
  EXPECT_THAT(report.durable, IsEmpty());
  EXPECT_THAT(report.refused, IsEmpty());
  EXPECT_EQ(house_.account.count("UID STORE"), 0U);
}

TEST_F(AccountInboxTest, TellsARefusedSignInFromAServerThatCannotBeReached) {
  house_.arrange = [](ServerEnd& end) {
    end.fail({ConnectFailure::Cause::kSignInRefused, ConnectStep::kSignIn, "refused", "NO no"});
  };
  EXPECT_EQ(inbox_->signIn().error().code, kLogonRefused);
  inbox_ = house_.makeInbox();
  house_.reachable = false;
  const auto unreachable = inbox_->signIn();
  EXPECT_NE(unreachable.error().code, kLogonRefused);
  EXPECT_THAT(unreachable.error().text, HasSubstr("connection refused"));
  EXPECT_EQ(inbox_->alive().error().text, unreachable.error().text);
}

// The server accepts one password alone. As a program does, the test waits for each answer.
class RefusedSignInTest : public AccountInboxTest {
 protected:
  RefusedSignInTest() {
    house_.arrange = [this](ServerEnd& end) {
      if (end.signIn()->secret.bytes() != right_) {
        ++refused_;
        end.fail({ConnectFailure::Cause::kSignInRefused, ConnectStep::kSignIn, "refused", "NO no"});
      }
    };
  }
  // What a check of the schedule does at its begin.
  Result<void> check() {
    if (inbox_->alive()) {
      return {};
    }
    return inbox_->signIn();
  }
  Result<void> usersCheck() {
    inbox_->userAsks();
    return check();
  }
  void pass(std::chrono::milliseconds time) {
    const auto until = house_.network.steadyTime() + time;
    house_.network.after(time, [this] { house_.network.wake(); });
    while (house_.network.steadyTime() < until) {
      serve(1);
    }
  }
  void changePassword(const std::string& password) {
    right_ = password;
    writeBytes(house_.temp.path("password"), password);
  }

  std::string right_ = "new";
  int refused_ = 0;
};

// The user had to wait for up to an hour, or to start the program again.
TEST_F(RefusedSignInTest, AChangedPasswordIsTriedAtOnceWhenTheUserAsks) {
  EXPECT_EQ(check().error().code, kLogonRefused);
  pass(1min);
  EXPECT_EQ(check().error().code, kLogonRefused);
  EXPECT_EQ(refused_, 1);
  changePassword("new");
  pass(10s);
  EXPECT_FALSE(check()) << "the schedule has to leave it alone for an hour";
  pass(10s);
  const auto before = house_.network.steadyTime();
  EXPECT_TRUE(usersCheck());
  EXPECT_EQ(house_.network.steadyTime(), before);
  EXPECT_EQ(refused_, 1);
}

TEST_F(RefusedSignInTest, ThePasswordChangedAtTheServerIsTriedWhenTheUserAsks) {
  EXPECT_FALSE(check());
  pass(1min);
  EXPECT_FALSE(check());
  right_ = "hidden";
  EXPECT_TRUE(usersCheck());
}

TEST_F(RefusedSignInTest, TheScheduleAloneDoesNotRepeatAWrongPassword) {
  for (int i = 0; i < 12 * 60; ++i) {
    EXPECT_FALSE(check());
    pass(1min);
  }
  EXPECT_EQ(refused_, 1);
  EXPECT_FALSE(usersCheck());
  for (int i = 0; i < 12 * 60; ++i) {
    EXPECT_FALSE(check());
    pass(1min);
  }
  EXPECT_EQ(refused_, 2);
}

TEST_F(RefusedSignInTest, AUserWhoClicksTenTimesASecondDoesNotHammerTheServer) {
  const auto until = house_.network.steadyTime() + 1min;
  while (house_.network.steadyTime() < until) {
    EXPECT_FALSE(usersCheck());
    pass(100ms);
  }
  EXPECT_LE(refused_, 3);
  house_.reachable = false;
  const std::size_t before = house_.network.connections();
  const auto end = house_.network.steadyTime() + 1min;
  while (house_.network.steadyTime() < end) {
    EXPECT_FALSE(usersCheck());
    pass(100ms);
  }
  EXPECT_LE(house_.network.connections() - before, 30U);
}

// After some failures the next try by itself was ten minutes away.
TEST_F(AccountInboxTest, AServerThatIsBackIsReachedAtOnceWhenTheUserAsks) {
  house_.reachable = false;
  for (int i = 0; i < 10; ++i) {
    EXPECT_FALSE(inbox_->signIn());
    house_.network.after(10min, [] {});
    serve(4);
  }
  EXPECT_FALSE(inbox_->signIn());
  house_.reachable = true;
  EXPECT_FALSE(inbox_->signIn()) << "within the pause";
  const auto before = house_.network.steadyTime();
  inbox_->userAsks();
  EXPECT_TRUE(inbox_->signIn());
  EXPECT_LE(house_.network.steadyTime() - before, kUsersPause);
}

TEST_F(AccountInboxTest, AUserWhoAsksOverALivingConnectionChangesNothing) {
  EXPECT_TRUE(inbox_->signIn());
  inbox_->userAsks();
  EXPECT_TRUE(list());
  EXPECT_EQ(house_.network.connections(), 1U);
}

// The session waits longer than that where the server may be searching a large folder.
TEST_F(AccountInboxTest, ACallFailsAfterAMinuteInWhichNothingCame) {
  house_.account.instead = [](const std::string&, const std::string& command) {
    return command.starts_with("UID SEARCH") ? std::optional<std::string>("") : std::nullopt;
  };
  for (int i = 1; i < 10; ++i) {
    house_.network.after(i * 20s, [this] { house_.network.wake(); });
  }
  const auto begin = house_.network.steadyTime();
  const auto listing = inbox_->list();
  ASSERT_FALSE(listing);
  EXPECT_EQ(listing.error().code, ETIMEDOUT);
  EXPECT_LE(house_.network.steadyTime() - begin, kLongestInboxWait + 1s);
}

// Each line of an idle server woke two threads.
TEST_F(AccountInboxTest, ShowsTheProtocolWhileTheVerboseLogIsOn) {
  list();
  house_.events.runUntilIdle();
  EXPECT_THAT(house_.notices, IsEmpty());
  *house_.verbose = true;
  EXPECT_TRUE(list()->open(3));
  house_.events.runUntilIdle();
  EXPECT_THAT(house_.notices, testing::Contains(HasSubstr("IMAP > r")));
  EXPECT_THAT(house_.notices, testing::Contains(HasSubstr("IMAP < ")));
  EXPECT_THAT(house_.notices, testing::Not(testing::Contains(HasSubstr("Text of m4"))));
}

TEST_F(AccountInboxTest, GivesUpAtOnceWhenTheUserStopsTheCheck) {
  house_.account.instead = [](const std::string&, const std::string& command) {
    return command.starts_with("SELECT") ? std::optional<std::string>("") : std::nullopt;
  };
  house_.keepAlive = [] { return false; };
  EXPECT_EQ(inbox_->list().error().code, ECANCELED);
}

TEST_F(AccountInboxTest, IsOfNoUseAfterItWasClosed) {
  const auto listing = list();
  EXPECT_TRUE(listing->setSeen(0, true));
  inbox_->close();
  EXPECT_TRUE(house_.account.find(1)->seen);
  EXPECT_FALSE(inbox_->list());
  EXPECT_THAT(inbox_->syncMarks({"imap-7-1"}).durable, ElementsAre("imap-7-1"));
}

// As between a test cycle and the next one.
TEST_F(AccountInboxTest, WhileForwardingIsOffTheConnectionIsLeftAndTheNextListingOpensAnother) {
  const auto pass = [this](std::chrono::milliseconds time) {
    bool over = false;
    house_.network.after(time, [&] {
      over = true;
      house_.network.wake();
    });
    while (!over) {
      inbox_->step();
    }
  };
  inbox_->forwardingSwitched(true);
  ASSERT_TRUE(inbox_->list());
  pass(kUnusedLife * 4);
  EXPECT_TRUE(inbox_->alive());
  inbox_->forwardingSwitched(false);
  pass(kUnusedLife * 4);
  EXPECT_FALSE(inbox_->alive());
  EXPECT_EQ(house_.network.connections(), 1U);
  ASSERT_TRUE(inbox_->list());
  EXPECT_TRUE(inbox_->alive());
  EXPECT_EQ(house_.network.connections(), 2U);
}

}  // namespace
}  // namespace relaybird
