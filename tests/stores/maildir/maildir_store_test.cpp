// SPDX-License-Identifier: MIT
// The store as the program uses it: opening, listing, delivering, synchronising and closing, each
// with the faults that the disk or another program can bring. MaildirHouse keeps the store in a
// temporary folder.
#include "stores/maildir/maildir_store.h"

#include <gmock/gmock.h>

#include <cerrno>

#include "stores/maildir/maildir_house.h"
#include "support/mail_text.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class MaildirStoreTest : public testing::Test {
 protected:
  std::string whyNoApplication() {
    try {
      house.application();
    } catch (const MailStoreError& error) {
      return error.what();
    }
    return "";
  }

  MaildirHouse house;
};

TEST_F(MaildirStoreTest, TouchesNothingBeforeItIsUsed) {
  EXPECT_EQ(house.disk.steps(), 0U);
  EXPECT_THAT(house.disk.listed, IsEmpty());
}

// Lets the folders' last change lie that far back by the house's clock.
void letTimeGoBy(MaildirHouse& house, std::chrono::seconds age) {
  const auto changed = std::chrono::file_clock::from_sys(house.clock.now() - age);
  for (const char* part : {"/new", "/cur"}) {
    std::filesystem::last_write_time(
        house.maildir + part,
        std::chrono::time_point_cast<std::filesystem::file_time_type::duration>(changed));
  }
}

TEST_F(MaildirStoreTest, AMailboxInWhichNothingHappensIsListedOnce) {
  house.deliver("new/1.a.host");
  letTimeGoBy(house, std::chrono::seconds{60});
  house.unread();
  house.disk.listed.clear();
  EXPECT_EQ(house.unread()->Count(), 1);
  EXPECT_THAT(house.disk.listed, IsEmpty());
}

TEST_F(MaildirStoreTest, WhatArrivesAfterAListingIsInTheNextOne) {
  house.deliver("new/1.a.host");
  letTimeGoBy(house, std::chrono::seconds{60});
  EXPECT_EQ(house.unread()->Count(), 1);
  house.deliver("new/2.b.host");
  EXPECT_EQ(house.unread()->Count(), 2);
  letTimeGoBy(house, std::chrono::seconds{60});
  EXPECT_EQ(house.unread()->Count(), 2);
  std::filesystem::remove(house.maildir + "/new/1.a.host");
  EXPECT_EQ(house.unread()->Count(), 1);
}

TEST_F(MaildirStoreTest, AListingMadeInTheTickOfAChangeIsNotTrusted) {
  house.deliver("new/1.a.host");
  letTimeGoBy(house, std::chrono::seconds{1});
  EXPECT_EQ(house.unread()->Count(), 1);
  house.deliver("new/2.b.host");
  letTimeGoBy(house, std::chrono::seconds{1});
  EXPECT_EQ(house.unread()->Count(), 2);
}

TEST_F(MaildirStoreTest, MakesTheOutboxWhenTheApplicationIsMade) {
  EXPECT_EQ(house.application()->Version(), "16.0");
  for (const char* part : {"/tmp", "/new", "/cur", "/failed"}) {
    EXPECT_TRUE(std::filesystem::is_directory(house.settings.outbox + part)) << part;
  }
}

TEST_F(MaildirStoreTest, AMissingMaildirIsASentenceForTheUser) {
  std::filesystem::remove_all(house.maildir);
  EXPECT_EQ(whyNoApplication(), "The Maildir " + house.maildir + " does not exist");
  EXPECT_EQ(house.disk.steps(), 0U);
  for (const char* part : {"", "/new", "/cur"}) {
    std::filesystem::create_directory(house.maildir + part);
  }
  EXPECT_EQ(whyNoApplication(), "");
}

TEST_F(MaildirStoreTest, AMailboxThatAnotherProgramHasIsLeftAlone) {
  house.deliver("new/1.a.host");
  std::vector<std::string> asked;
  house.lock = [&](const std::string& folder) -> Result<void> {
    asked.push_back(folder);
    return Error{EWOULDBLOCK, "in use by another"};
  };
  EXPECT_EQ(whyNoApplication(), "in use by another");
  EXPECT_EQ(house.disk.steps(), 0U);
  EXPECT_EQ(asked, (std::vector<std::string>{house.maildir}));
}

TEST_F(MaildirStoreTest, AMailboxThatAnotherProgramTakesMeanwhileIsLeftAloneAtTheNextListing) {
  house.deliver("new/1.a.host");
  const auto items = house.items();
  EXPECT_EQ(items->Count(), 1);
  house.lock = [](const std::string&) -> Result<void> { return Error{EWOULDBLOCK, "taken"}; };
  try {
    (void)items->Count();
    ADD_FAILURE() << "was listed";
  } catch (const MailStoreError& error) {
    EXPECT_STREQ(error.what(), "taken");
  }
}

TEST_F(MaildirStoreTest, AFolderThatIsNoMaildirIsASentenceForTheUser) {
  std::filesystem::remove(house.maildir + "/new");
  EXPECT_THAT(whyNoApplication(), HasSubstr("is not a Maildir"));
}

TEST_F(MaildirStoreTest, AnOutboxThatCannotBeMadeIsTriedAgain) {
  house.disk.failFromStep(1, EACCES);
  EXPECT_NE(whyNoApplication(), "");
  house.disk.reset();
  EXPECT_EQ(whyNoApplication(), "");
}

TEST_F(MaildirStoreTest, EveryFaultOnTheWayToTheApplicationIsOvercomeByTheNextTry) {
  for (std::size_t step = 1; step < 40; ++step) {
    std::filesystem::remove_all(house.temp.path("state"));
    house.open();
    house.disk.reset();
    house.disk.failStep(step, ENOSPC);
    (void)whyNoApplication();
    house.disk.reset();
    EXPECT_EQ(whyNoApplication(), "") << step;
  }
}

TEST_F(MaildirStoreTest, AnAddressOfOnesOwnThatIsNoneIsRefused) {
  house.settings.address = "ann";
  house.open();
  EXPECT_THAT(whyNoApplication(), HasSubstr("Your own address \"ann\""));
}

// The state lay in the root of the file system, where nobody but root may write.
TEST_F(MaildirStoreTest, WithoutAFolderForItsStateNothingIsOpened) {
  house.stateFolder = "";
  house.open();
  EXPECT_THAT(whyNoApplication(), HasSubstr("no folder for what the program has to remember"));
}

TEST_F(MaildirStoreTest, AnOutboxInUseByAnotherProgramIsRefused) {
  house.application();
  MaildirStore second(house.settings, {.files = house.disk,
                                       .clock = house.clock,
                                       .events = house.events,
                                       .executor = house.executor,
                                       .commands = house.commands,
                                       .random = countingRandom(9),
                                       .stateFolder = house.stateFolder});
  EXPECT_THROW(second.factory().CreateObject(prog_id::kApplication), MailStoreError);
  house.close();
  EXPECT_NO_THROW(second.factory().CreateObject(prog_id::kApplication));
}

TEST_F(MaildirStoreTest, TheVersionTellsWhetherTheMaildirIsStillThere) {
  const auto application = house.application();
  EXPECT_NO_THROW(application->Version());
  std::filesystem::rename(house.maildir, house.temp.path("away"));
  EXPECT_THROW(application->Version(), MailStoreError);
  EXPECT_THROW(application->GetNamespace("MAPI"), MailStoreError);
  std::filesystem::rename(house.temp.path("away"), house.maildir);
  EXPECT_NO_THROW(application->Version());
}

TEST_F(MaildirStoreTest, AMaildirThatCannotBeListedIsAnError) {
  const auto items = house.items();
  house.disk.unreadable = [](const std::string&) { return true; };
  EXPECT_THROW(items->Restrict("[Unread]=true"), MailStoreError);
  house.disk.unreadable = [](const std::string&) { return false; };
  EXPECT_EQ(items->Restrict("[Unread]=true")->Count(), 0);
}

TEST_F(MaildirStoreTest, ObjectsOfAClosedStoreFail) {
  house.deliver("new/1700000001.a", mailText({}));
  const auto item = house.unread()->Item(1);
  const auto forward = item->Forward();
  const auto application = house.application();
  house.close();
  EXPECT_THROW(item->ClassName(), MailStoreError);
  EXPECT_THROW(item->UnRead(), MailStoreError);
  EXPECT_THROW(application->Version(), MailStoreError);
  forward->Recipients()->Add("cell@phone.example");
  EXPECT_THROW(forward->send(), MailStoreError);
}

TEST_F(MaildirStoreTest, DeliverNowHandsTheOutboxOver) {
  house.delivering = true;
  house.open();
  house.deliver("new/1700000001.a", mailText({}));
  house.forward(house.unread()->Item(1));
  createAs<UtilityObject>(house.factory(), prog_id::kUtility)->DeliverNow();
  house.events.runUntilIdle();
  ASSERT_THAT(house.transport.taken, SizeIs(1));
  EXPECT_EQ(house.transport.taken[0].envelope.sender, "ann@example.org");
  EXPECT_THAT(house.transport.taken[0].envelope.recipients, ElementsAre("cell@phone.example"));
  EXPECT_THAT(house.outbox(), IsEmpty());
}

TEST_F(MaildirStoreTest, WithoutAWayOutForwardsWait) {
  house.deliver("new/1700000001.a", mailText({}));
  house.forward(house.unread()->Item(1));
  int ends = 0;
  const auto sync = house.mapi()->SyncObjects()->Item(1);
  sync->onSyncEnd([&] { ++ends; });
  sync->Start();
  house.events.runUntilIdle();
  EXPECT_EQ(ends, 1);
  EXPECT_THAT(house.outbox(), SizeIs(1));
}

TEST_F(MaildirStoreTest, ASynchronisationDeliversAndThenEnds) {
  house.delivering = true;
  house.open();
  house.deliver("new/1700000001.a", mailText({}));
  house.forward(house.unread()->Item(1));
  const auto sync = house.mapi()->SyncObjects()->Item(1);
  std::size_t takenAtEnd = 0;
  sync->onSyncEnd([&] { takenAtEnd = house.transport.taken.size(); });
  sync->Start();
  house.events.runUntilIdle();
  EXPECT_EQ(takenAtEnd, 1U);
}

TEST_F(MaildirStoreTest, ARefusedForwardIsMentionedAndKept) {
  house.delivering = true;
  house.transport.answer = [](const OutgoingMessage&) {
    return Outcome{Outcome::Kind::kPermanent, "no such user", false};
  };
  house.open();
  house.deliver("new/1700000001.a", mailText({}));
  house.forward(house.unread()->Item(1));
  house.mapi()->SyncObjects()->Item(1)->Start();
  house.events.runUntilIdle();
  EXPECT_THAT(house.notices, testing::Contains(HasSubstr("no such user")));
  EXPECT_THAT(house.outbox(), IsEmpty());
  EXPECT_FALSE(std::filesystem::is_empty(house.settings.outbox + "/failed"));
}

TEST_F(MaildirStoreTest, WhatAnEarlierRunLeftIsDeliveredAtTheStart) {
  house.deliver("new/1700000001.a", mailText({}));
  house.forward(house.unread()->Item(1));
  house.delivering = true;
  house.open();
  house.application();
  EXPECT_THAT(house.transport.taken, SizeIs(1));
}

TEST_F(MaildirStoreTest, ADeliveryThatWasPutOffIsTriedAgainByALaterCheck) {
  house.delivering = true;
  house.transport.answer = [](const OutgoingMessage&) {
    return Outcome{Outcome::Kind::kTemporary, "busy", false};
  };
  house.open();
  house.deliver("new/1700000001.a", mailText({}));
  house.forward(house.unread()->Item(1));
  createAs<UtilityObject>(house.factory(), prog_id::kUtility)->DeliverNow();
  ASSERT_THAT(house.transport.taken, SizeIs(1));
  house.transport.answer = nullptr;
  (void)house.unread();
  EXPECT_THAT(house.transport.taken, SizeIs(1)) << "not before it is due";
  house.clock.advance(std::chrono::minutes{5});
  (void)house.unread();
  EXPECT_THAT(house.transport.taken, SizeIs(2));
  EXPECT_THAT(house.outbox(), IsEmpty());
}

TEST_F(MaildirStoreTest, AMapiObjectOfSomebodyElseIsRefused) {
  const auto session = createAs<LibrarySession>(house.factory(), prog_id::kLibrarySession);
  EXPECT_THROW(session->MAPIOBJECT(std::make_shared<MapiObject>()), MailStoreError);
}

}  // namespace
}  // namespace relaybird
