// SPDX-License-Identifier: MIT
// A mail store over an account's inbox: what a server does that a folder on this disk never does.
#include <gmock/gmock.h>

#include <filesystem>

#include "stores/mailbox/mailbox_house.h"
#include "support/mail_text.h"
#include "support/whole_text.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

class MailboxStoreTest : public testing::Test, protected MailboxHouse {
 protected:
  static void forward(const std::shared_ptr<MailItem>& item) {
    item->UnRead(false);
    const auto forward = item->Forward();
    forward->Recipients()->Add("cell@phone.example");
    forward->send();
    item->UnRead(false);
  }
};

template <class Call>
std::string errorOf(Call call) {
  try {
    call();
  } catch (const MailStoreError& error) {
    return error.what();
  }
  return "";
}

TEST_F(MailboxStoreTest, ARefusedSignInIsALogonError) {
  server.signIn = Error{kLogonRefused, "imap.example.org refuses the password"};
  const auto app = application();
  try {
    (void)app->GetNamespace("MAPI");
    ADD_FAILURE() << "signed in";
  } catch (const MailLogonError& error) {
    EXPECT_STREQ(error.what(), "imap.example.org refuses the password");
    EXPECT_EQ(error.code(), kLogonRefused);
  }
}

TEST_F(MailboxStoreTest, AServerThatCannotBeReachedIsNoLogonError) {
  server.signIn = Error{ETIMEDOUT, "imap.example.org does not answer"};
  const auto app = application();
  try {
    (void)app->GetNamespace("MAPI");
    ADD_FAILURE() << "signed in";
  } catch (const MailLogonError&) {
    ADD_FAILURE() << "taken for a refusal";
  } catch (const MailStoreError& error) {
    EXPECT_STREQ(error.what(), "imap.example.org does not answer");
  }
}

// The synchronisation that connects again needs the application.
TEST_F(MailboxStoreTest, WithoutAConnectionTheApplicationIsThereButDoesNotAnswer) {
  server.alive = Error{ENOTCONN, "not connected"};
  const auto app = application();
  EXPECT_EQ(errorOf([&] { (void)app->Version(); }), "not connected");
  EXPECT_NO_THROW(app->GetNamespace("MAPI")->SyncObjects()->Item(1)->Start());
  server.alive = {};
  EXPECT_EQ(app->Version(), "16.0");
}

TEST_F(MailboxStoreTest, AnAccountIsNamedByItsIdentityAndHasNoFolder) {
  application();
  EXPECT_EQ(store->place(), "imap:ann@imap.example.org/INBOX");
  EXPECT_EQ(store->folder(), "");
  EXPECT_THAT(locked, IsEmpty());
  EXPECT_EQ(readBytes(outbox() + "/mailbox"), "imap:ann@imap.example.org/INBOX\n");
}

TEST_F(MailboxStoreTest, ASynchronisationEndsWhenInboxAndOutboxAreOver) {
  int ends = 0;
  const auto object = sync();
  object->onSyncEnd([&] { ++ends; });
  object->Start();
  events.runUntilIdle();
  EXPECT_EQ(ends, 0) << "the inbox is not refreshed yet";
  object->Start();
  inbox->endSynchronisation();
  events.runUntilIdle();
  EXPECT_EQ(ends, 1) << "the second start has joined the first";
  object->Start();
  inbox->endSynchronisation();
  EXPECT_EQ(ends, 1) << "the outbox is not over yet";
  events.runUntilIdle();
  EXPECT_EQ(ends, 2);
}

TEST_F(MailboxStoreTest, ClosingTheStoreEndsASynchronisationWithoutAReport) {
  int ends = 0;
  const auto object = sync();
  object->onSyncEnd([&] { ++ends; });
  object->Start();
  store.reset();
  events.runUntilIdle();
  EXPECT_EQ(ends, 0);
}

TEST_F(MailboxStoreTest, AForwardLeavesAndItsMarkFollows) {
  const std::string id = server.deliver(mailText({}));
  forward(unread()->Item(1));
  events.runUntilIdle();
  sync()->Start();
  events.runUntilIdle();
  ASSERT_THAT(transport.taken, SizeIs(1));
  EXPECT_EQ(unread()->Count(), 0) << "although the mark is still on its way";
  inbox->confirmMarks();
  EXPECT_TRUE(server.seen(id));
}

TEST_F(MailboxStoreTest, WhatWasForwardedBeforeACrashIsNotForwardedAgain) {
  server.deliver(mailText({}));
  forward(unread()->Item(1));
  // The new store cannot open an outbox that is locked, so the old one is closed, but nothing of
  // its queue reaches the server.
  open();
  EXPECT_EQ(unread()->Count(), 0);
  EXPECT_EQ(inbox->marksOnTheirWay(), 1U);
}

// A program that comes next may be an older one, which knows files alone.
TEST_F(MailboxStoreTest, AForwardThatHasNotLeftIsAFileAfterTheEndAndNoTextInTheJournal) {
  server.deliver(mailText({}));
  forward(unread()->Item(1));
  EXPECT_THAT(readBytes(outbox() + "/journal"), HasSubstr(" held "));
  EXPECT_TRUE(std::filesystem::is_empty(outbox() + "/new"));
  store.reset();
  EXPECT_THAT(readBytes(outbox() + "/journal"), Not(HasSubstr(" held ")));
  EXPECT_FALSE(std::filesystem::is_empty(outbox() + "/new"));
}

TEST_F(MailboxStoreTest, MarksThatTheInboxSendsAtTheEndAreSettledInTheJournal) {
  server.deliver(mailText({}));
  const auto item = unread()->Item(1);
  forward(item);
  server.asked.clear();
  inbox->whileClosing = [this] { inbox->confirmMarks(); };
  store.reset();
  EXPECT_THAT(server.asked, ElementsAre("close", "sync"));
}

TEST_F(MailboxStoreTest, AStoreThatIsBeingClosedWaitsForItsInboxAndFailsEachUse) {
  server.deliver(mailText({}));
  const auto item = unread()->Item(1);
  item->UnRead(false);
  inbox->saysGoodbye = true;
  bool ready = false;
  EXPECT_FALSE(store->beginToClose([&] { ready = true; }));
  EXPECT_THAT(server.asked, ElementsAre("seen 7.1", "goodbye"));
  EXPECT_THAT(errorOf([&] { application(); }), HasSubstr("closed"));
  EXPECT_THAT(errorOf([&] { forward(item); }), HasSubstr("closed"));
  EXPECT_EQ(store->outgoing().waiting(), 0U);
  EXPECT_FALSE(ready);
  inbox->confirmMarks();
  inbox->readyToClose();
  EXPECT_TRUE(ready);
  server.asked.clear();
  store.reset();
  EXPECT_THAT(server.asked, ElementsAre("close"));
}

TEST_F(MailboxStoreTest, AStoreWhoseInboxHasNothingToSayIsReadyAtOnce) {
  application();
  EXPECT_TRUE(store->beginToClose([] { ADD_FAILURE(); }));
}

TEST_F(MailboxStoreTest, AMarkThatIsHeldBackIsSetBeforeTheInboxIsClosed) {
  server.deliver(mailText({}));
  const auto item = unread()->Item(1);
  item->UnRead(false);
  store.reset();
  EXPECT_THAT(server.asked, ElementsAre("seen 7.1", "close"));
}

TEST_F(MailboxStoreTest, AMessageThatVanishesUnderTheWalkIsAnErrorOfItsOwnOnly) {
  const std::string first = server.deliver("Subject: first\n\ntext\n");
  server.deliver("Subject: second\n\ntext\n");
  const auto walk = unread();
  server.remove(first);
  EXPECT_EQ(walk->Item(2)->Subject(), "second");
  const auto gone = walk->Item(1);
  EXPECT_EQ(gone->EntryID(), first);
  EXPECT_EQ(gone->Subject(), "");
  EXPECT_EQ(errorOf([&] { (void)gone->ClassName(); }), "The message is no longer there");
  EXPECT_THAT(notices, IsEmpty());
  EXPECT_EQ(unread()->Count(), 1);
}

TEST_F(MailboxStoreTest, AMessageThatCannotBeFetchedIsMentionedOnce) {
  server.deliver(mailText({}));
  const auto walk = unread();
  server.opening = Error{ETIMEDOUT, "imap.example.org does not answer"};
  const auto item = walk->Item(1);
  EXPECT_EQ(errorOf([&] { (void)item->ClassName(); }), "imap.example.org does not answer");
  EXPECT_EQ(errorOf([&] { (void)item->Body(); }), "imap.example.org does not answer");
  EXPECT_NE(errorOf([&] { item->Forward()->Attachments()->Count(); }), "");
  EXPECT_THAT(notices, ElementsAre("imap.example.org does not answer"));
}

TEST_F(MailboxStoreTest, AnInboxThatCannotBeListedIsAnError) {
  const auto all = items();
  server.listing = Error{ETIMEDOUT, "imap.example.org does not answer"};
  EXPECT_EQ(errorOf([&] { (void)all->Count(); }), "imap.example.org does not answer");
}

TEST_F(MailboxStoreTest, TheInboxLearnsThatTheUserAsks) {
  store->outgoing().userAsks();
  EXPECT_THAT(server.asked, ElementsAre("user asks"));
}

TEST_F(MailboxStoreTest, TheInboxLearnsThatTheUserWantsTheOutboxTriedAgain) {
  store->outgoing().tryAgain({});
  EXPECT_THAT(server.asked, ElementsAre("user asks"));
}

TEST_F(MailboxStoreTest, TheDeliveryLearnsThatTheUserAsks) {
  server.deliver(mailText({}));
  transport.answer = [](const OutgoingMessage&) {
    return Outcome{Outcome::Kind::kTemporary, "535 wrong password", true};
  };
  forward(unread()->Item(1));
  for (int i = 0; i < 3; ++i) {
    sync()->Start();
    events.runUntilIdle();
    EXPECT_THAT(transport.taken, SizeIs(1)) << "waits";
  }
  transport.answer = nullptr;
  store->outgoing().userAsks();
  events.runUntilIdle();
  EXPECT_THAT(transport.taken, SizeIs(2));
  EXPECT_THAT(outboxFiles(outbox()), IsEmpty());
}

TEST_F(MailboxStoreTest, TheInboxLearnsWhetherForwardingIsOn) {
  store->outgoing().forwardingSwitched(true);
  store->outgoing().forwardingSwitched(false);
  EXPECT_THAT(server.asked, ElementsAre("on", "off"));
}

TEST_F(MailboxStoreTest, TheInboxLearnsOfEachMinute) {
  store->outgoing().minutePassed();
  EXPECT_THAT(server.asked, ElementsAre("minute"));
}

// The mark was set before the forward was in the outbox: a crash then lost the forward.
TEST_F(MailboxStoreTest, TryingAgainDuringAForwardLeavesItsMarkHeldBack) {
  server.deliver(mailText({}));
  const auto item = unread()->Item(1);
  item->UnRead(false);
  inbox->whileWaiting = [this] { store->outgoing().tryAgain({}); };
  (void)item->Body();
  EXPECT_EQ(inbox->whileWaiting, nullptr);
  EXPECT_THAT(server.asked, ElementsAre("user asks")) << "no mark";
}

TEST_F(MailboxStoreTest, AStoreThatIsClosedWhileAMessageIsFetchedForItsForwardLeavesItUnread) {
  server.deliver(mailText({}));
  const auto item = unread()->Item(1);
  item->UnRead(false);
  const auto forward = item->Forward();
  forward->Recipients()->Add("cell@phone.example");
  inbox->whileWaiting = [this] { store.reset(); };
  EXPECT_EQ(errorOf([&] { forward->send(); }), "The mail store has been closed");
  EXPECT_THAT(server.asked, ElementsAre("close"));
  EXPECT_THAT(outboxFiles(outbox()), IsEmpty());
}

// The journal took it for the forward and the mark was set, so a crash then lost the forward.
TEST_F(MailboxStoreTest, ATestMessageSentDuringAForwardIsNotTakenForIt) {
  server.deliver(mailText({}));
  const auto item = unread()->Item(1);
  item->UnRead(false);
  const auto test = application()->CreateItem(kMailItemKind);
  test->Subject("Test message");
  test->Recipients()->Add("cell@phone.example");
  test->send();
  EXPECT_THAT(server.asked, IsEmpty());
  forward(item);
  events.runUntilIdle();
  sync()->Start();
  events.runUntilIdle();
  EXPECT_THAT(transport.taken, SizeIs(2));
}

TEST_F(MailboxStoreTest, AFreshItemOfThePassStandsForTheMessageThatItForwards) {
  const std::string id = server.deliver(mailText({}));
  const auto item = unread()->Item(1);
  item->UnRead(false);
  const auto report = createAs<MailItem>(store->factory(), prog_id::kMailItem);
  report->Recipients()->Add("cell@phone.example");
  report->send();
  EXPECT_THAT(server.asked, ElementsAre("seen " + id));
}

class LostServerTest : public MailboxStoreTest {
 protected:
  // What the pass does with a message whose forward cannot be built.
  static void failToForward(const std::shared_ptr<MailItem>& item) {
    item->UnRead(false);
    const auto forward = item->Forward();
    forward->Recipients()->Add("cell@phone.example");
    EXPECT_THROW(forward->send(), MailStoreError);
    item->UnRead(false);
  }
};

// The pass took the failure for the message's and marked it read, and so all that were left.
TEST_F(LostServerTest, AMessageThatCannotBeFetchedBecauseOfItsServerStaysUnreadAndThePassEnds) {
  for (const int code : {kInboxLost, kLogonRefused, kNoSecretYet, ECANCELED, ETIMEDOUT}) {
    server.deliver(mailText({}));
    const auto walk = unread();
    const auto item = walk->Item(1);
    EXPECT_EQ(item->ClassName(), "MailItem");
    server.opening = Error{code, "the connection is lost"};
    EXPECT_EQ(errorOf([&] { failToForward(item); }), "the connection is lost") << code;
    EXPECT_EQ(errorOf([&] { (void)item->UnRead(); }), "the connection is lost") << code;
    EXPECT_EQ(errorOf([&] { (void)walk->Item(1); }), "the connection is lost") << code;
    server.opening = {};
    EXPECT_THAT(server.asked, IsEmpty()) << code;
    EXPECT_TRUE(unread()->Item(1)->UnRead()) << code;
    server.messages.clear();
    ++server.changes;
  }
}

TEST_F(LostServerTest, AnyFailureWhileTheConnectionIsDownIsTheServers) {
  server.deliver(mailText({}));
  const auto item = unread()->Item(1);
  server.opening = Error{0, "no words"};
  server.alive = Error{0, "not connected"};
  EXPECT_EQ(errorOf([&] { failToForward(item); }), "no words");
  EXPECT_THAT(server.asked, IsEmpty());
}

// The inbox tells a refusal as the message's own failure only after several over some time.
TEST_F(LostServerTest, AMessageThatTheServerDoesNotGiveOutIsNotTriedAgain) {
  server.deliver(mailText({}));
  const auto item = unread()->Item(1);
  server.opening = Error{0, "the server says: this message is damaged"};
  failToForward(item);
  EXPECT_FALSE(item->UnRead());
  EXPECT_THAT(server.asked, ElementsAre("seen 7.1"));
}

// The user changes the mailbox in the settings while a check waits for the server.
TEST_F(MailboxStoreTest, AStoreThatIsClosedWhileACallWaitsFailsThatCallAlone) {
  server.deliver(mailText({}));
  const auto closing = [this] { store.reset(); };
  const auto app = application();
  inbox->whileWaiting = closing;
  EXPECT_EQ(errorOf([&] { (void)app->GetNamespace("MAPI"); }), "The mail store has been closed");
  open();
  const auto all = items();
  inbox->whileWaiting = closing;
  EXPECT_EQ(errorOf([&] { (void)all->Count(); }), "The mail store has been closed");
  open();
  const auto fresh = unread()->Item(1);
  inbox->whileWaiting = closing;
  EXPECT_EQ(fresh->Subject(), "Subject");
  EXPECT_EQ(errorOf([&] { (void)fresh->Body(); }), "The mail store has been closed");
  open();
  EXPECT_EQ(unread()->Count(), 1);
}

TEST_F(MailboxStoreTest, AForwardThatComesBackToTheAccountIsOfAKindThatNoListAccepts) {
  server.deliver(mailText({}));
  forward(unread()->Item(1));
  sync()->Start();
  events.runUntilIdle();
  ASSERT_THAT(transport.taken, SizeIs(1));
  server.deliver(wholeText(transport.taken[0].text));
  const auto back = unread();
  ASSERT_EQ(back->Count(), 1);
  EXPECT_EQ(back->Item(1)->ClassName(), className(MessageKind::kOwnForward));
  EXPECT_THAT(notices, testing::Contains(HasSubstr("not forwarded because")));
}

}  // namespace
}  // namespace relaybird
