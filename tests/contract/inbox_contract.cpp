// SPDX-License-Identifier: MIT
// Folder and collections.
#include <set>
#include <string>
#include <vector>

#include "contract/mail_store_contract.h"

namespace relaybird {
namespace {

using Subjects = std::vector<std::string>;

TEST_P(MailStoreContract, AnEmptyInboxHasNothingUnread) {
  EXPECT_EQ(items()->Count(), 0);
  EXPECT_EQ(unread()->Count(), 0);
}

TEST_P(MailStoreContract, AnInboxOfReadItemsHasNothingUnread) {
  SampleMail mail;
  mail.unread = false;
  outside->deliver(mail);
  EXPECT_EQ(items()->Count(), outside->listsReadItems() ? 1 : 0);
  EXPECT_EQ(unread()->Count(), 0);
}

TEST_P(MailStoreContract, ListsItemsOldestFirst) {
  deliverSubjects({"one", "two", "three"});
  EXPECT_EQ(subjectsOf(*items()), (Subjects{"one", "two", "three"}));
}

TEST_P(MailStoreContract, RestrictLetsThroughTheUnreadOnesInTheSameOrder) {
  deliverSubjects({"one", "two", "three", "four"});
  items()->Item(2)->UnRead(false);
  EXPECT_EQ(subjectsOf(*unread()), (Subjects{"one", "three", "four"}));
}

TEST_P(MailStoreContract, TheFilterIsTakenInAnyCaseAndWithBlanks) {
  deliverSubjects({"one"});
  for (const auto* filter :
       {"[Unread]=true", "[UNREAD]=TRUE", "[UnRead] = True", " [unread]=true "}) {
    EXPECT_EQ(items()->Restrict(filter)->Count(), 1) << filter;
  }
}

TEST_P(MailStoreContract, OtherFiltersAreRefused) {
  deliverSubjects({"one"});
  for (const auto* filter : {"", "[Unread]=false", "[Subject]='one'", "[Unread]=true AND 1=1"}) {
    EXPECT_THROW(items()->Restrict(filter), MailStoreError) << filter;
  }
}

TEST_P(MailStoreContract, IndicesOutsideTheCollectionThrow) {
  deliverSubjects({"one", "two"});
  for (const auto& collection : {items(), unread()}) {
    EXPECT_EQ(collection->Item(1)->Subject(), "one");
    EXPECT_EQ(collection->Item(2)->Subject(), "two");
    for (const std::int32_t index : {0, 3, -1, 65536, 65537}) {
      EXPECT_THROW(collection->Item(index), MailStoreError) << index;
    }
  }
}

TEST_P(MailStoreContract, AnEmptyCollectionHasNoFirstItem) {
  EXPECT_THROW(items()->Item(1), MailStoreError);
  EXPECT_THROW(unread()->Item(1), MailStoreError);
}

TEST_P(MailStoreContract, TheFoldersOwnCollectionIsLive) {
  const auto collection = items();
  EXPECT_EQ(collection->Count(), 0);
  deliverSubjects({"one"});
  EXPECT_EQ(collection->Count(), 1);
  EXPECT_EQ(collection->Item(1)->Subject(), "one");
}

TEST_P(MailStoreContract, ARestrictedCollectionStaysAsItWas) {
  deliverSubjects({"one", "two"});
  const auto collection = unread();
  deliverSubjects({"three"});
  collection->Item(1)->UnRead(false);
  EXPECT_EQ(collection->Count(), 2);
  EXPECT_EQ(collection->Item(1)->Subject(), "one");
  EXPECT_EQ(collection->Item(2)->Subject(), "two");
  EXPECT_EQ(subjectsOf(*unread()), (Subjects{"two", "three"}));
}

TEST_P(MailStoreContract, ARestrictedCollectionCanBeRestrictedAgain) {
  deliverSubjects({"one", "two", "three"});
  const auto collection = unread();
  collection->Item(2)->UnRead(false);
  const auto again = collection->Restrict("[Unread]=true");
  EXPECT_EQ(subjectsOf(*again), (Subjects{"one", "three"}));
}

TEST_P(MailStoreContract, AWalkFromTheLastToTheFirstMayMarkEveryItemRead) {
  deliverSubjects({"one", "two", "three", "four"});
  const auto collection = unread();
  Subjects visited;
  for (std::int32_t i = collection->Count(); i >= 1; --i) {
    const auto item = collection->Item(i);
    visited.push_back(item->Subject());
    item->UnRead(false);
  }
  EXPECT_EQ(visited, (Subjects{"four", "three", "two", "one"}));
  EXPECT_EQ(unread()->Count(), 0);
  EXPECT_EQ(items()->Count(), 4);
}

TEST_P(MailStoreContract, IndicesStayWhileItemsAreTakenAwayDuringAWalk) {
  deliverSubjects({"one", "two", "three"});
  const auto collection = unread();
  outside->takeAway("two");
  outside->takeAway("three");
  EXPECT_EQ(collection->Count(), 3);
  EXPECT_EQ(collection->Item(1)->Subject(), "one");
  EXPECT_EQ(subjectsOf(*items()), Subjects{"one"});
}

TEST_P(MailStoreContract, AnItemThatWasTakenAwayGivesAnErrorAndNothingElse) {
  deliverSubjects({"one", "two"});
  const auto collection = unread();
  const auto item = collection->Item(1);
  outside->takeAway("one");
  EXPECT_THROW(item->Body(), MailStoreError);
  EXPECT_EQ(plainLines(collection->Item(2)->Body()), "Body");
}

TEST_P(MailStoreContract, EntryIdentifiersAreAllDifferentAndStay) {
  deliverSubjects({"one", "two", "three"});
  std::vector<std::string> before;
  const auto collection = unread();
  for (std::int32_t i = 1; i <= 3; ++i) {
    before.push_back(collection->Item(i)->EntryID());
  }
  EXPECT_EQ(std::set<std::string>(before.begin(), before.end()).size(), 3u);
  for (const auto& id : before) {
    EXPECT_FALSE(id.empty());
  }

  collection->Item(2)->UnRead(false);
  deliverSubjects({"four"});
  for (std::int32_t i = 1; i <= 3; ++i) {
    EXPECT_EQ(collection->Item(i)->EntryID(), before[static_cast<std::size_t>(i - 1)]);
  }
  if (!outside->listsReadItems()) {
    before.erase(before.begin() + 1);
  }
  const auto after = items();
  for (std::size_t i = 0; i < before.size(); ++i) {
    EXPECT_EQ(after->Item(static_cast<std::int32_t>(i + 1))->EntryID(), before[i]);
  }
}

TEST_P(MailStoreContract, ItemsOutliveWhatTheyWereObtainedFrom) {
  deliverSubjects({"one"});
  std::shared_ptr<MailItem> item = unread()->Item(1);
  const auto recipients = item->Forward()->Recipients();
  EXPECT_EQ(item->Subject(), "one");
  EXPECT_EQ(recipients->Count(), 0);
}

TEST_P(MailStoreContract, SeveralHundredItemsKeepTheirOrder) {
  Subjects subjects;
  for (int i = 0; i < 300; ++i) {
    subjects.push_back("number " + std::to_string(i));
  }
  deliverSubjects(subjects);
  const auto collection = unread();
  ASSERT_EQ(collection->Count(), 300);
  EXPECT_EQ(subjectsOf(*collection), subjects);
}

TEST_P(MailStoreContract, AnInboxOutOfReachIsAnErrorAndRecovers) {
  deliverSubjects({"one"});
  const auto folder = inbox();
  if (!outside->begin(Trouble::kInboxUnreachable)) {
    GTEST_SKIP() << "cannot be provoked";
  }
  EXPECT_THROW(folder->Items()->Restrict("[Unread]=true")->Count(), MailStoreError);
  outside->end(Trouble::kInboxUnreachable);
  EXPECT_EQ(folder->Items()->Restrict("[Unread]=true")->Count(), 1);
}

}  // namespace
}  // namespace relaybird
