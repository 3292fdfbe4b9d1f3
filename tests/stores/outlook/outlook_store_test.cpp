// SPDX-License-Identifier: MIT
// What the store does beside the contract of all stores: over a mail application whose collections
// change while they are read, that is busy, is not there, or goes away.
#include "stores/outlook/outlook_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "mail/shared_components.h"
#include "stores/outlook/outlook_house.h"

namespace relaybird {
namespace {

using std::chrono::minutes;
using testing::HasSubstr;

class OutlookStoreTest : public testing::Test {
 protected:
  ObjectFactory& factory() { return house_.store->factory(); }
  std::shared_ptr<Application> application() {
    return createAs<Application>(factory(), prog_id::kApplication);
  }
  std::shared_ptr<ItemCollection> unread() {
    return application_->GetNamespace("MAPI")->GetDefaultInbox()->Items()->Restrict(
        std::string(kUnreadFilter));
  }
  void deliver(int from, int to) {
    for (int number = from; number <= to; ++number) {
      house_.deliver(number);
      house_.clock.advance(minutes{1});
    }
  }
  std::size_t count(const std::string& call) {
    const auto& counts = outlook_double::DoubleWorld::only().calls().counts();
    const auto found = counts.find(call);
    return found == counts.end() ? 0 : found->second;
  }

  OutlookHouse house_;
  std::shared_ptr<Application> application_ = application();
};

TEST_F(OutlookStoreTest, AWalkOverALiveCollectionMeetsEachItemOnceThoughItemsLeaveAndComeIn) {
  house_.tell("show\tfilter=live\torder=newest");
  deliver(1, 6);
  const auto items = unread();
  std::multiset<std::string> met;
  for (std::int32_t i = items->Count(); i >= 1; --i) {
    const auto item = items->Item(i);
    met.insert(item->Subject());
    item->UnRead(false);
    deliver(100 + i, 100 + i);
  }
  EXPECT_EQ(met.size(), 6u);
  EXPECT_EQ(std::set<std::string>(met.begin(), met.end()).size(), 6u);
  EXPECT_EQ(unread()->Count(), 6) << "those that came in wait for the next pass";
}

TEST_F(OutlookStoreTest, ALongListIsOpenedByIdentifiersInItsOwnOrder) {
  deliver(1, 250);
  const auto items = unread();
  ASSERT_EQ(items->Count(), 250);
  EXPECT_EQ(items->Item(1)->Subject(), "Message number 1");
  EXPECT_EQ(items->Item(250)->Subject(), "Message number 250");
  EXPECT_EQ(count("NameSpace.GetItemFromID"), 1u) << "the last hundred are held";
  const std::size_t taken = count("Items.Item");
  EXPECT_EQ(items->Item(2)->EntryID(), items->Item(2)->EntryID());
  EXPECT_EQ(count("Items.Item"), taken) << "an identifier is known without the item";
}

TEST_F(OutlookStoreTest, AnItemThatIsOpenedAgainIsNotAskedForItsClassAgain) {
  deliver(1, 101);
  const auto items = unread();
  const std::size_t asked = count("type information");
  EXPECT_EQ(items->Item(1)->ClassName(), "MailItem");
  EXPECT_EQ(count("NameSpace.GetItemFromID"), 1u);
  EXPECT_EQ(count("type information"), asked);
}

TEST_F(OutlookStoreTest, WhereItemsCannotBeOpenedByIdentifiersAllOfThemAreHeld) {
  house_.tell("show\topeners=0");
  deliver(1, 250);
  const auto items = unread();
  ASSERT_EQ(items->Count(), 250);
  const std::size_t taken = count("Items.Item");
  for (std::int32_t i = 250; i >= 1; --i) {
    EXPECT_EQ(items->Item(i)->Subject(), "Message number " + std::to_string(i));
  }
  EXPECT_EQ(count("Items.Item"), taken);
  EXPECT_EQ(count("name NameSpace.GetItemFromID"), 1u) << "it was asked for, and is not known";
  EXPECT_EQ(count("NameSpace.GetItemFromID"), 0u);
}

TEST_F(OutlookStoreTest, WhereItemsCannotBeOpenedByIdentifiersLongInboxesAreForwardedWhole) {
  house_.tell("show\topeners=0");
  house_.engine.prefs.fields().mlngMaxToForward = 1000;
  application_.reset();
  deliver(1, 130);
  house_.engine.engine.state().activationTime = DateTime{};
  house_.check();
  EXPECT_EQ(house_.sent(), 130u);
  EXPECT_EQ(outlook_double::DoubleWorld::only().store().unreadCount(), 0u);
}

TEST_F(OutlookStoreTest, AListThatIsTooLongForACheckIsCountedAndNotRead) {
  MemoryItem item;
  item.received = house_.clock.now();
  for (int i = 0; i < 32768; ++i) {
    outlook_double::DoubleWorld::only().store().deliver(item);
  }
  const auto items = unread();
  EXPECT_EQ(items->Count(), 32768) << "the check says what to do";
  EXPECT_EQ(count("Items.Item"), 0u);
  EXPECT_THROW(items->Item(1), MailStoreError);
}

TEST_F(OutlookStoreTest, ADamagedItemKeepsNoOtherFromBeingForwarded) {
  house_.engine.engine.state().activationTime = DateTime{};
  const std::string damage =
      "raise\tcall=Items.Item\tcode=80004005\ttext=The item is damaged.\ttimes=1\tskip=";
  deliver(1, 3);
  house_.tell(damage + "1");
  house_.check();
  EXPECT_EQ(house_.sent(), 2u);
  deliver(4, 4);
  house_.tell(damage + "0");
  house_.check();
  EXPECT_EQ(house_.sent(), 3u);
  EXPECT_EQ(house_.notices.size(), 1u);
  EXPECT_THAT(house_.log.lines, testing::Not(testing::Contains(HasSubstr("An Error occured"))));
  house_.check();
  EXPECT_EQ(house_.sent(), 4u) << "it stayed unread, and can be read again";
}

TEST_F(OutlookStoreTest, AnUnreadItemThatStaysUnreadIsNotMarkedAgain) {
  deliver(1, 1);
  const auto item = unread()->Item(1);
  item->UnRead(true);
  EXPECT_EQ(count("MailItem.UnRead="), 0u);
  item->UnRead(false);
  item->UnRead(false);
  EXPECT_EQ(count("MailItem.UnRead="), 1u);
}

TEST_F(OutlookStoreTest, TheMarkOfAnItemIsWrittenOnceAndAfterItsForwardWasMade) {
  deliver(1, 1);
  const auto item = unread()->Item(1);
  item->UnRead(false);
  (void)item->Forward();
  EXPECT_EQ(count("MailItem.UnRead="), 0u);
  item->UnRead(false);
  EXPECT_EQ(count("MailItem.UnRead="), 1u);
}

// Its identifier stayed among those whose marks are still to be written, and the next check marked
// it as read again.
TEST_F(OutlookStoreTest,
       AnItemWhoseMarkCouldOnlyBeWrittenAtTheSecondTryStaysAsItsUserMarksItLater) {
  deliver(1, 1);
  const auto item = unread()->Item(1);
  item->UnRead(false);
  const auto forward = item->Forward();
  forward->Recipients()->Add("good@example.org");
  house_.tell("raise\tcall=MailItem.UnRead=\tcode=80004005\ttimes=1");
  forward->send();
  ASSERT_EQ(outlook_double::DoubleWorld::only().store().unreadCount(), 1u);
  item->UnRead(false);
  ASSERT_EQ(outlook_double::DoubleWorld::only().store().unreadCount(), 0u);
  outlook_double::DoubleWorld::only().mark(item->EntryID(), true);
  EXPECT_EQ(unread()->Count(), 1);
}

TEST_F(OutlookStoreTest, AMarkThatTheEndOfTheApplicationPreventedIsWrittenLaterAndToldOnce) {
  house_.engine.engine.state().activationTime = DateTime{};
  deliver(1, 2);
  house_.tell("die\tcall=MailItem.UnRead=");
  house_.check();
  ASSERT_EQ(house_.sent(), 1u);
  ASSERT_EQ(outlook_double::DoubleWorld::only().store().unreadCount(), 2u);
  EXPECT_TRUE(house_.notices.empty());
  for (int check = 0; check < 3; ++check) {
    house_.engine.engine.session().dropIfGone();
    house_.check();
  }
  EXPECT_EQ(house_.sent(), 2u) << "the second forward is that of the other item";
  EXPECT_EQ(outlook_double::DoubleWorld::only().store().unreadCount(), 0u);
  EXPECT_THAT(house_.notices,
              testing::ElementsAre("Marked as read, as it was forwarded before Outlook ended: "
                                   "\"Message number 2\""));
}

TEST_F(OutlookStoreTest, TheDateOfChangeHasEitherNameAndIsDecidedOnceForAClass) {
  for (const char* names : {"time", "date", "both"}) {
    SCOPED_TRACE(names);
    house_.tell(std::string("show\tdates=") + names);
    deliver(1, 1);
    application_.reset();
    application_ = application();
    const auto items = unread();
    EXPECT_NE(items->Item(items->Count())->LastModificationDate(), kNoDate);
  }
}

TEST_F(OutlookStoreTest, AnItemOfTheInboxCannotBeChangedOrSent) {
  deliver(1, 1);
  const auto item = unread()->Item(1);
  EXPECT_THROW(item->Subject("changed"), MailStoreError);
  EXPECT_THROW(item->Body("changed"), MailStoreError);
  EXPECT_THROW(item->send(), MailStoreError);
  const auto safe = createAs<SafeItem>(factory(), prog_id::kSafeMailItem);
  safe->Item(item);
  EXPECT_THROW(safe->Body("changed"), MailStoreError);
  EXPECT_THROW(safe->send(), MailStoreError);
  EXPECT_EQ(count("MailItem.Body=") + count("SafeItem.Body="), 0u);
}

TEST_F(OutlookStoreTest, ASubjectWrittenToTheItemIsSeenThroughItsSafeItem) {
  const auto item = application_->CreateItem(kMailItemKind);
  const auto safe = createAs<SafeItem>(factory(), prog_id::kSafeMailItem);
  safe->Item(item);
  safe->Subject("one");
  EXPECT_EQ(safe->Subject(), "one");
  item->Subject("two");
  EXPECT_EQ(safe->Subject(), "two");
}

TEST_F(OutlookStoreTest, TheApplicationIsMadeOnceWhileSomebodyHoldsIt) {
  const std::size_t made = count("create outlook.application");
  EXPECT_EQ(application(), application_);
  EXPECT_EQ(count("create outlook.application"), made);
  application_.reset();
  application_ = application();
  EXPECT_EQ(count("create outlook.application"), made + 1);
}

TEST_F(OutlookStoreTest, AfterTheApplicationHasGoneEverythingOldFailsAndANewOneWorks) {
  deliver(1, 2);
  const auto items = unread();
  const auto item = items->Item(2);
  const auto sync = application_->GetNamespace("MAPI")->SyncObjects()->Item(1);
  house_.tell("quit");
  EXPECT_THROW(application_->Version(), MailStoreError);
  EXPECT_THROW(item->UnRead(), MailStoreError);
  EXPECT_THROW(item->UnRead(true), MailStoreError) << "also a mark that changes nothing";
  EXPECT_THROW(items->Item(1), MailStoreError);
  EXPECT_THROW(sync->Start(), MailStoreError);
  application_ = application();
  EXPECT_NO_THROW(application_->Version());
  EXPECT_EQ(unread()->Count(), 2);
  EXPECT_THROW(item->UnRead(), MailStoreError);
}

TEST_F(OutlookStoreTest, ABusyApplicationIsWaitedForWithTheSleeperOfTheProgram) {
  const auto before = house_.clock.now();
  house_.tell("return\tcall=Application.Version\tcode=8001010A\ttimes=3");
  EXPECT_NO_THROW(application_->Version());
  EXPECT_EQ(house_.clock.now() - before, std::chrono::milliseconds{750});
}

// Each further call of the check waited ten seconds more, in which the windows took no input.
TEST_F(OutlookStoreTest, ACheckWaitsOnceForAnApplicationThatBecomesBusyInTheMiddle) {
  house_.engine.engine.state().activationTime = DateTime{};
  deliver(1, 1);
  house_.check();  // the names are known from now on
  deliver(2, 4);
  for (const char* call : {"SafeItem.Item=", "MailItem.UnRead=", "MailItem.UnRead"}) {
    house_.tell(std::string("return\tcode=8001010A\tcall=") + call);
  }
  const auto before = house_.clock.now();
  house_.check();
  EXPECT_GT(house_.clock.now() - before, std::chrono::seconds{9});
  EXPECT_LT(house_.clock.now() - before, std::chrono::seconds{11});
  EXPECT_EQ(house_.sent(), 1u);
  house_.tell("calm");
  house_.check();
  EXPECT_EQ(house_.sent(), 4u);
}

// The box is closed before ten seconds have passed. The item was marked as read, told as one that
// could not be forwarded, and never forwarded.
TEST_F(OutlookStoreTest, AnItemThatABoxKeepsTheLibraryFromForwardingIsLeftForTheNextCheck) {
  house_.engine.engine.state().activationTime = DateTime{};
  deliver(1, 1);
  house_.check();  // the names are known from now on
  std::size_t forwarded = 1;
  for (const char* call :
       {"create redemption.safemailitem", "SafeItem.Item=", "SafeItem.Body", "SafeItem.Send"}) {
    SCOPED_TRACE(call);
    deliver(2, 2);
    house_.tell(
        std::string("raise\tcode=80004005\ttext=The mailbox does not answer\ttimes=1\tcall=") +
        call);
    house_.tell("return\tcode=8001010A\ttimes=20\tcall=MailItem.UnRead=");
    house_.check();
    EXPECT_EQ(house_.sent(), forwarded);
    EXPECT_THAT(house_.log.lines, testing::Contains(HasSubstr("The mail application is busy")));
    house_.tell("calm");
    house_.check();
    EXPECT_EQ(house_.sent(), ++forwarded);
    house_.log.lines.clear();
  }
}

TEST_F(OutlookStoreTest, AnItemThatABoxKeepsTheRulesFromReadingIsLeftForTheNextCheck) {
  house_.engine.engine.state().activationTime = DateTime{};
  house_.engine.prefs.fields().mintSenderFilter = kForwardOnlyListed;
  house_.engine.prefs.fields().mcolSenderList = {"bob"};
  deliver(1, 1);
  house_.check();  // the names are known from now on
  deliver(2, 2);
  house_.tell(
      "raise\tcode=80004005\ttext=The mailbox does not answer\ttimes=1\tcall=SafeItem.Fields");
  house_.tell("return\tcode=8001010A\ttimes=20\tcall=MailItem.UnRead");
  house_.check();
  EXPECT_EQ(house_.sent(), 1u);
  house_.tell("calm");
  house_.check();
  EXPECT_EQ(house_.sent(), 2u) << "it was not taken for one of an unknown sender";
}

// It was forwarded, as one whose sender is not known.
TEST_F(OutlookStoreTest, AnItemOfAnExcludedSenderWaitsWhileABoxKeepsTheRulesFromReadingIt) {
  house_.engine.engine.state().activationTime = DateTime{};
  deliver(1, 1);
  house_.check();  // the names are known from now on
  house_.engine.prefs.fields().mintSenderFilter = kForwardAllButListed;
  house_.engine.prefs.fields().mcolSenderList = {"bob"};
  deliver(2, 2);
  for (const char* way : {"raise\tcode=80004005\ttext=The mailbox does not answer\ttimes=1\tcall=",
                          "return\tcode=8001010A\ttimes=40\tcall="}) {
    house_.tell(std::string(way) + "SafeItem.Fields");
    house_.tell("return\tcode=8001010A\ttimes=20\tcall=MailItem.UnRead");
    house_.check();
    EXPECT_EQ(house_.sent(), 1u) << way;
    EXPECT_THAT(house_.log.lines, testing::Contains(HasSubstr("The mail application is busy")));
    house_.tell("calm");
    house_.log.lines.clear();
  }
  house_.check();
  EXPECT_EQ(house_.sent(), 1u);
  EXPECT_THAT(house_.log.lines, testing::Not(testing::Contains(HasSubstr("An Error occured"))));
}

TEST_F(OutlookStoreTest, WithoutTheApplicationTheUserIsToldOnceWhatToDo) {
  application_.reset();
  house_.tell("missing\tcomponent=outlook.application");
  for (int i = 0; i < 3; ++i) {
    EXPECT_THROW(application(), MailStoreError);
  }
  ASSERT_EQ(house_.notices.size(), 1u);
  EXPECT_THAT(house_.notices[0], HasSubstr("classic desktop version of Outlook"));
}

TEST_F(OutlookStoreTest, AnApplicationWithoutAutomationIsToldAsOneThatIsNotThere) {
  application_.reset();
  house_.tell("return\tcall=create outlook.application\tcode=80004002");  // E_NOINTERFACE
  EXPECT_THROW(application(), MailStoreError);
  ASSERT_EQ(house_.notices.size(), 1u);
  EXPECT_THAT(house_.notices[0], HasSubstr("classic desktop version of Outlook"));
}

// The codes for a server whose start failed, and for one that may run only once: the application
// runs with other rights, or waits for an answer in its first window.
class OutlookStoreStart : public OutlookStoreTest,
                          public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(, OutlookStoreStart, testing::Values("80080005", "800401F6"),
                         [](const auto& code) { return std::string(code.param); });

TEST_P(OutlookStoreStart, ThatFailsIsToldOnceWithWhatToDo) {
  application_.reset();
  house_.tell(std::string("return\tcall=create outlook.application\ttimes=2\tcode=") + GetParam());
  EXPECT_THROW(application(), MailStoreError);
  EXPECT_THROW(application(), MailStoreError);
  ASSERT_EQ(house_.notices.size(), 1u);
  EXPECT_THAT(house_.notices[0], HasSubstr("Outlook could not be started. Start it yourself"));
  EXPECT_NO_THROW(application());
}

TEST_F(OutlookStoreTest, WithoutTheSafeItemLibraryTheUserIsToldOnceWhatToDo) {
  house_.tell("missing\tcomponent=redemption.safemailitem");
  house_.tell("missing\tcomponent=redemption.mapiutils");
  EXPECT_THROW(factory().CreateObject(prog_id::kSafeMailItem), MailStoreError);
  EXPECT_THROW(factory().CreateObject(prog_id::kUtility), MailStoreError);
  ASSERT_EQ(house_.notices.size(), 1u);
  EXPECT_THAT(house_.notices[0], HasSubstr("Install the 64-bit version of Redemption"));
}

TEST_F(OutlookStoreTest, ASynchronisationWhoseEndIsNeverToldDoesNotSwallowLaterStarts) {
  house_.tell("syncs\tend=told");
  const auto sync = application_->GetNamespace("MAPI")->SyncObjects()->Item(1);
  sync->Start();
  sync->Start();
  EXPECT_EQ(count("SyncObject.Start"), 1u);
  house_.clock.advance(minutes{15});
  sync->Start();
  EXPECT_EQ(count("SyncObject.Start"), 2u);
}

TEST_F(OutlookStoreTest, AStartThatFailsIsNotTakenForARunningSynchronisation) {
  const auto sync = application_->GetNamespace("MAPI")->SyncObjects()->Item(1);
  house_.tell("raise\tcall=SyncObject.Start\tcode=80004005\ttext=Cannot start\ttimes=1");
  EXPECT_THROW(sync->Start(), MailStoreError);
  EXPECT_NO_THROW(sync->Start());
  EXPECT_EQ(count("SyncObject.Start"), 2u);
}

TEST_F(OutlookStoreTest, AnOutboxThatRefusedRestsAnHourOrUntilAPersonAsks) {
  deliver(1, 2);
  const auto refuse = [this] {
    const auto forward = unread()->Item(1)->Forward();
    forward->Recipients()->Add("good@example.org");
    house_.tell("raise\tcall=MailItem.Send\tcode=8004060C\ttext=The mailbox is full.\ttimes=1");
    EXPECT_THROW(forward->send(), MailStoreError);
  };
  refuse();
  house_.clock.advance(minutes{59});
  EXPECT_THROW(unread()->Item(1), MailStoreError);
  house_.clock.advance(minutes{1});
  EXPECT_NO_THROW(unread()->Item(1));
  refuse();
  house_.store->outgoing().userAsks();
  EXPECT_NO_THROW(unread()->Item(1));
}

TEST_F(OutlookStoreTest, TheVerboseLogTellsWhetherTheLibraryOrTheApplicationRefused) {
  house_.engine.engine.state().activationTime = DateTime{};
  for (const bool verbose : {false, true}) {
    *house_.verbose = verbose;
    deliver(1, 1);
    house_.tell(
        "raise\tcall=SafeItem.Send\tcode=80004005\tsource=Redemption\ttext=Refused.\ttimes=1");
    house_.check();
    EXPECT_THAT(house_.log.lines, testing::Contains(testing::EndsWith("Problem was: Refused.")))
        << "as the library has told it";
    EXPECT_EQ(house_.verboseNotices.size(), verbose ? 1u : 0u);
    house_.log.lines.clear();
  }
  EXPECT_THAT(house_.verboseNotices,
              testing::ElementsAre("Redemption: Refused. (Send, error 80004005)"));
  EXPECT_TRUE(house_.notices.empty());
}

TEST_F(OutlookStoreTest, TheOutboxOfTheMailApplicationIsNotCounted) {
  EXPECT_EQ(house_.store->outgoing().state().outbox, "");
  EXPECT_EQ(house_.store->outgoing().waiting(), 0u);
  EXPECT_EQ(house_.store->place(), "outlook");
}

}  // namespace
}  // namespace relaybird
