// SPDX-License-Identifier: MIT
// Read marks over a server that confirms them late, or never. A crash is a new session over the
// same server and the same outbox; what the old one had only queued is lost with it.
#include "stores/mailbox/read_marks.h"

#include <gmock/gmock.h>

#include "outbox/outbox_world.h"
#include "stores/mailbox/fake_inbox.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class ReadMarksTest : public testing::Test {
 protected:
  struct Session {
    Session(FakeServer& server, std::unique_ptr<Outbox> box, std::vector<std::string>& notices)
        : inbox(server),
          outbox(std::move(box)),
          marks(inbox, *outbox, [&notices](std::string text) { notices.push_back(text); }) {}
    FakeInbox inbox;
    std::unique_ptr<Outbox> outbox;
    ReadMarks marks;
  };

  ReadMarksTest() { start(); }

  void start() { session = std::make_unique<Session>(server, world.open(), notices); }
  void crash() {
    session.reset();
    start();
  }
  FakeInbox& inbox() { return session->inbox; }
  ReadMarks& marks() { return session->marks; }
  bool journaled(const std::string& entryId) const { return session->outbox->alreadySent(entryId); }

  std::shared_ptr<InboxView> list() { return std::move(marks().list().value()); }
  InboxEntry entry(std::size_t index = 0) { return {list(), index}; }
  // Marks the entry as the pass does, and puts a forward of it into the outbox.
  void forward(const InboxEntry& entry) {
    EXPECT_TRUE(marks().setUnread(entry, false));
    journalForward(entry);
    marks().forwardSent(entry);
    EXPECT_TRUE(marks().setUnread(entry, false));
  }
  void journalForward(const InboxEntry& entry) {
    const std::string id = std::to_string(++sent) + "@example.org";
    EXPECT_TRUE(session->outbox->send(entry.entryId(), id, writes("forward\n")));
  }

  OutboxWorld world;
  FakeServer server;
  std::vector<std::string> notices;
  std::unique_ptr<Session> session;
  int sent = 0;
};

TEST_F(ReadMarksTest, TheFirstMarkIsHeldBackUntilItIsRepeated) {
  server.deliver();
  const InboxEntry message = entry();
  EXPECT_TRUE(marks().unread(message));
  EXPECT_TRUE(marks().setUnread(message, false));
  EXPECT_FALSE(marks().unread(message));
  EXPECT_THAT(server.asked, IsEmpty());
  EXPECT_TRUE(marks().setUnread(message, false));
  EXPECT_THAT(server.asked, ElementsAre("seen 7.1"));
}

TEST_F(ReadMarksTest, AMarkThatIsHeldBackIsWrittenBeforeTheNextOne) {
  server.deliver();
  server.deliver();
  const auto view = list();
  EXPECT_TRUE(marks().setUnread({view, 1}, false));
  EXPECT_TRUE(marks().setUnread({view, 0}, false));
  EXPECT_THAT(server.asked, ElementsAre("seen 7.2"));
}

TEST_F(ReadMarksTest, ACrashBeforeTheForwardLeavesTheMessageUnread) {
  server.deliver();
  EXPECT_TRUE(marks().setUnread(entry(), false));
  crash();
  EXPECT_TRUE(marks().unread(entry()));
}

TEST_F(ReadMarksTest, AnUnchangedListingIsTheSameView) {
  server.deliver();
  const auto view = list();
  EXPECT_EQ(list(), view);
  server.deliver();
  EXPECT_NE(list(), view);
}

TEST_F(ReadMarksTest, AConfirmedMarkSettlesTheJournal) {
  const std::string id = server.deliver();
  forward(entry());
  EXPECT_TRUE(journaled(id));
  inbox().confirmMarks();
  marks().settle();
  EXPECT_FALSE(journaled(id));
}

TEST_F(ReadMarksTest, AMarkThatIsNeverConfirmedKeepsTheJournal) {
  const std::string id = server.deliver();
  forward(entry());
  for (int listing = 0; listing < 5; ++listing) {
    EXPECT_FALSE(marks().unread(entry()));
  }
  EXPECT_TRUE(journaled(id));
}

TEST_F(ReadMarksTest, AMarkOnItsWayIsNotSetAgain) {
  server.deliver();
  forward(entry());
  server.deliver();
  list();
  list();
  EXPECT_EQ(inbox().marksOnTheirWay(), 1U);
}

TEST_F(ReadMarksTest, ACrashBeforeTheMarkIsConfirmedForwardsNothingAgain) {
  const std::string id = server.deliver();
  forward(entry());
  crash();
  ASSERT_FALSE(server.seen(id));
  const InboxEntry again = entry();
  EXPECT_FALSE(marks().unread(again));
  EXPECT_EQ(inbox().marksOnTheirWay(), 1U) << "the mark is set by the first listing";
  inbox().confirmMarks();
  list();
  EXPECT_TRUE(server.seen(id));
  EXPECT_FALSE(journaled(id));
}

TEST_F(ReadMarksTest, ACrashAfterTheMarkWasConfirmedSettlesTheJournal) {
  const std::string id = server.deliver();
  forward(entry());
  inbox().confirmMarks();
  crash();
  list();
  list();
  EXPECT_FALSE(journaled(id));
}

// An account's listing may leave out what is read.
TEST_F(ReadMarksTest, AfterACrashAMessageThatIsNotListedAnyMoreIsSettledByTheSecondListing) {
  const std::string id = server.deliver();
  forward(entry());
  crash();
  server.remove(id);
  list();
  EXPECT_TRUE(journaled(id));
  ++server.changes;
  list();
  EXPECT_FALSE(journaled(id));
}

// A refused mark hid its message from the listing, and two calls that returned this one listing
// settled the journal: the message was forwarded again.
TEST_F(ReadMarksTest, AMessageMissingTwiceFromTheSameListingIsNotSettled) {
  const std::string id = server.deliver();
  forward(entry());
  inbox().refuseMarks();
  const FakeServer::Message hidden = *server.find(id);
  server.remove(id);
  EXPECT_EQ(list(), list());
  list();
  EXPECT_TRUE(journaled(id));
  server.messages.push_back(hidden);
  ++server.changes;
  EXPECT_FALSE(marks().unread(entry()));
  EXPECT_TRUE(journaled(id));
}

TEST_F(ReadMarksTest, AMessageMissingFromOneListingIsNotSettled) {
  const std::string id = server.deliver();
  server.marking = Error{EROFS, "the inbox is read-only"};
  forward(entry());
  const auto away = std::exchange(server.messages, {});
  ++server.changes;
  list();
  server.messages = away;
  ++server.changes;
  EXPECT_FALSE(marks().unread(entry()));
  server.messages.clear();
  ++server.changes;
  list();
  EXPECT_TRUE(journaled(id)) << "missing from one listing again";
}

// It would be forwarded again when it is listed again, as others are read.
TEST_F(ReadMarksTest, AMessageMissingFromAPartOfTheInboxIsNotSettled) {
  const std::string id = server.deliver();
  server.marking = Error{EROFS, "the inbox is read-only"};
  forward(entry());
  server.listsAll = false;
  server.messages.clear();
  for (int listing = 0; listing < 3; ++listing) {
    ++server.changes;
    list();
  }
  EXPECT_TRUE(journaled(id));
  server.listsAll = true;
  for (int listing = 0; listing < 2; ++listing) {
    ++server.changes;
    list();
  }
  EXPECT_FALSE(journaled(id));
}

// After a lost connection a new listing was fetched before the queue had been sent.
TEST_F(ReadMarksTest, AMessageWhoseMarkIsOnItsWayCountsAsReadWhateverTheServerShows) {
  const std::string id = server.deliver();
  forward(entry());
  inbox().forgetsQueueInListings = true;
  ++server.changes;
  const InboxEntry again = entry();
  EXPECT_FALSE(again.seen());
  EXPECT_FALSE(marks().unread(again));
  EXPECT_TRUE(journaled(id));
}

// A listing may leave out what is read, and the mark of this message is only meant to be.
TEST_F(ReadMarksTest, AMarkOnItsWayIsNotSettledBecauseItsMessageIsNotListed) {
  const std::string id = server.deliver();
  forward(entry());
  server.messages.clear();
  for (int listing = 0; listing < 3; ++listing) {
    ++server.changes;  // another listing, each of which counts what is missing
    list();
  }
  EXPECT_TRUE(journaled(id));
}

TEST_F(ReadMarksTest, AMarkThatTheServerRefusesLaterIsSetAgainAfterGrowingPauses) {
  const std::string id = server.deliver();
  forward(entry());
  std::vector<int> tries;
  for (int listing = 1; listing <= 127; ++listing) {
    inbox().refuseMarks();
    EXPECT_FALSE(marks().unread(entry()));
    if (inbox().marksOnTheirWay() > 0) {
      tries.push_back(listing);
    }
    EXPECT_TRUE(journaled(id));
  }
  EXPECT_THAT(tries, ElementsAre(1, 3, 7, 15, 31, 63, 127));
  inbox().confirmMarks();
  list();
  EXPECT_FALSE(journaled(id));
}

TEST_F(ReadMarksTest, AMarkThatCannotBeSetIsMentionedOnceAndSetLater) {
  const std::string id = server.deliver();
  server.marking = Error{EROFS, "the inbox is read-only"};
  forward(entry());
  EXPECT_FALSE(marks().unread(entry()));
  EXPECT_FALSE(marks().unread(entry()));
  EXPECT_THAT(notices, ElementsAre("The message " + id +
                                   " could not be marked read: the inbox is read-only"));
  EXPECT_TRUE(journaled(id));
  server.marking = {};
  list();
  inbox().confirmMarks();
  list();
  EXPECT_TRUE(server.seen(id));
  EXPECT_FALSE(journaled(id));
}

TEST_F(ReadMarksTest, AMarkForAMessageThatHasVanishedIsNoError) {
  const std::string id = server.deliver();
  const InboxEntry message = entry();
  server.remove(id);
  EXPECT_TRUE(marks().setUnread(message, false));
  EXPECT_TRUE(marks().setUnread(message, false));
  EXPECT_THAT(notices, IsEmpty());
}

TEST_F(ReadMarksTest, AMessageThatVanishesWhileItIsForwardedIsSettledByTheSecondListing) {
  const std::string id = server.deliver();
  const InboxEntry message = entry();
  server.remove(id);
  forward(message);
  EXPECT_THAT(notices, IsEmpty());
  list();
  EXPECT_TRUE(journaled(id));
  ++server.changes;
  list();
  EXPECT_FALSE(journaled(id));
}

// The inbox drops the queue, as its identifiers mean nothing to the server any more.
TEST_F(ReadMarksTest, NewNumbersOfTheServerLeaveNothingInTheJournal) {
  const std::string id = server.deliver();
  forward(entry());
  server.renumber();
  inbox().refuseMarks();
  list();
  ++server.changes;
  list();
  EXPECT_FALSE(journaled(id));
  const InboxEntry renumbered = entry();
  EXPECT_EQ(renumbered.entryId(), "8.1");
  EXPECT_TRUE(marks().unread(renumbered)) << "the inbox has to recognise it";
}

TEST_F(ReadMarksTest, MarkedUnreadByTheUserAForwardedMessageIsUnreadAtOnce) {
  const std::string id = server.deliver();
  const InboxEntry message = entry();
  forward(message);
  EXPECT_TRUE(marks().setUnread(message, true));
  EXPECT_TRUE(marks().unread(message));
  EXPECT_FALSE(journaled(id));
  EXPECT_TRUE(marks().unread(entry()));
}

// The journal held the first forward, whose mark had not been confirmed, and the start marked the
// message read again.
TEST_F(ReadMarksTest, ACrashDoesNotUndoTheUsersUnreadMark) {
  server.deliver();
  const InboxEntry message = entry();
  forward(message);
  EXPECT_TRUE(marks().setUnread(message, true));
  crash();
  EXPECT_TRUE(marks().unread(entry()));
}

TEST_F(ReadMarksTest, AForwardOnceMoreIsNotTakenForARepetition) {
  server.deliver();
  const InboxEntry message = entry();
  forward(message);
  marks().forwardAnew(message);
  journalForward(message);
  EXPECT_THAT(world.names("new"), SizeIs(2));
}

TEST_F(ReadMarksTest, AFailedListingKeepsWhatIsKnown) {
  const std::string id = server.deliver();
  forward(entry());
  server.listing = Error{ETIMEDOUT, "the server does not answer"};
  EXPECT_EQ(marks().list().error().text, "the server does not answer");
  EXPECT_TRUE(journaled(id));
  server.listing = {};
  inbox().confirmMarks();
  list();
  EXPECT_FALSE(journaled(id));
}

}  // namespace
}  // namespace relaybird
