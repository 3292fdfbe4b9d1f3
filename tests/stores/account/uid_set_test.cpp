// SPDX-License-Identifier: MIT
#include "stores/account/uid_set.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "stores/account/uid_table.h"

namespace relaybird {
namespace {

TEST(UidSet, IsWrittenInRanges) {
  EXPECT_EQ(UidSet({1, 2, 3, 4, 7, 9, 10}).text(), "1:4,7,9:10");
  EXPECT_EQ(UidSet({5}).text(), "5");
  EXPECT_EQ(UidSet().text(), "");
}

TEST(UidSet, TakesNumbersInAnyOrder) {
  UidSet set({9, 1, 2, 10, 2, 3});
  EXPECT_EQ(set.text(), "1:3,9:10");
  set.add(8, 4);
  EXPECT_EQ(set.text(), "1:10");
  set.add(20);
  set.add(12, 30);
  EXPECT_EQ(set.text(), "1:10,12:30");
  set.add(2);
  EXPECT_EQ(set.count(), 29U);
}

// A walk over 32,000 unread messages with read ones between them took minutes: every number sorted
// all ranges anew.
TEST(UidSet, TakesScatteredNumbersDownwards) {
  UidSet set;
  for (std::uint32_t uid = 64'000; uid >= 2; uid -= 2) {
    set.add(uid);
  }
  EXPECT_EQ(set.ranges().size(), 32'000U);
  for (std::uint32_t uid = 63'999; uid >= 3; uid -= 2) {
    set.add(uid);
  }
  EXPECT_EQ(set.text(), "2:64000");
}

TEST(UidSet, JoinsRangesThatANewOneTouches) {
  UidSet set = *UidSet::parse("3:4,8,12:13,4294967295");
  set.add(5, 7);
  EXPECT_EQ(set.text(), "3:8,12:13,4294967295");
  set.add(10, 1);
  EXPECT_EQ(set.text(), "1:10,12:13,4294967295");
  set.add(11);
  EXPECT_EQ(set.text(), "1:13,4294967295");
  set.add(4294967294);
  EXPECT_EQ(set.text(), "1:13,4294967294:4294967295");
}

TEST(UidSet, ReadsWhatServersSend) {
  EXPECT_EQ(UidSet::parse("3")->text(), "3");
  EXPECT_EQ(UidSet::parse("300:310,405,411")->text(), "300:310,405,411");
  EXPECT_EQ(UidSet::parse("9:7,1,8")->text(), "1,7:9");
  EXPECT_EQ(UidSet::parse("1:4294967295")->count(), 4294967295U);
}

TEST(UidSet, RefusesWhatIsNotASet) {
  for (const char* text : {"", "0", "1,", ",1", "1:", ":2", "*", "1:*", "1 2", "4294967296", "-1",
                           "1,,2", "0:3", "a"}) {
    EXPECT_FALSE(UidSet::parse(text)) << text;
  }
}

TEST(UidSet, RemovesMembers) {
  UidSet set({1, 2, 3, 4, 5, 8});
  set.remove(UidSet({3}));
  EXPECT_EQ(set.text(), "1:2,4:5,8");
  set.remove(UidSet({1}));
  set.remove(UidSet({5}));
  set.remove(UidSet({8}));
  set.remove(UidSet({7}));
  EXPECT_EQ(set.text(), "2,4");
  EXPECT_TRUE(set.contains(4));
  EXPECT_FALSE(set.contains(3));
}

TEST(UidSet, AddsAndRemovesWholeSets) {
  UidSet set = *UidSet::parse("1:10,20:30,4294967290:4294967295");
  set.remove(*UidSet::parse("3:4,8:22,30,40,4294967295"));
  EXPECT_EQ(set.text(), "1:2,5:7,23:29,4294967290:4294967294");
  set.add(*UidSet::parse("3,8:24,4294967295"));
  EXPECT_EQ(set.text(), "1:3,5:29,4294967290:4294967295");
  set.remove(*UidSet::parse("1:4294967295"));
  EXPECT_TRUE(set.empty());
  set.add(UidSet());
  set.remove(UidSet({7}));
  EXPECT_TRUE(set.empty());
}

TEST(UidSet, ListsItsFirstMembersAndNoMore) {
  EXPECT_EQ(UidSet::parse("5:4294967295")->uids(3), (std::vector<std::uint32_t>{5, 6, 7}));
  EXPECT_EQ(UidSet::parse("4294967294:4294967295")->uids(9).size(), 2U);
}

TEST(UidSet, KeepsTheNewest) {
  UidSet set = *UidSet::parse("1:4,7,9:12");
  EXPECT_EQ(set.newest(6), (std::vector<std::uint32_t>{4, 7, 9, 10, 11, 12}));
  EXPECT_EQ(set.newest(100).size(), 9U);
  EXPECT_EQ(UidSet::parse("1:4294967295")->newest(1).front(), 4294967295U);
  set.keepNewest(3);
  EXPECT_EQ(set.text(), "1:4,7,9:12");
  set.keepNewest(2);
  EXPECT_EQ(set.text(), "7,9:12");
}

TEST(UidGathering, JoinsSetsInAnyOrder) {
  UidGathering gathering;
  EXPECT_TRUE(gathering.take().uids.empty());
  gathering.add(UidSet({8, 9}));
  gathering.add(UidSet());
  gathering.add(UidSet({3, 10}));
  gathering.add(UidSet({4, 3}));
  const auto gathered = gathering.take();
  EXPECT_EQ(gathered.uids.text(), "3:4,8:10");
  EXPECT_TRUE(gathered.whole);
  EXPECT_TRUE(gathering.take().uids.empty());
}

TEST(UidGathering, KeepsTheNewestOfTooMany) {
  UidGathering gathering(100);
  for (std::uint32_t uid = 100'000; uid >= 2; uid -= 2) {
    gathering.add(UidSet({uid}));
  }
  auto gathered = gathering.take();
  EXPECT_FALSE(gathered.whole);
  EXPECT_EQ(gathered.uids.ranges().size(), 100U);
  EXPECT_EQ(gathered.uids.ranges().front().first, 100'000U - 198U);
  gathering.add(UidSet({1}));
  EXPECT_TRUE(gathering.take().whole);
}

TEST(UidTable, RemembersTheLatestOfEachMessage) {
  UidTable<int> table;
  for (std::uint32_t uid = 5000; uid > 0; --uid) {  // as a walk reads them, and over several merges
    table.set(uid, 1);
    if (uid % 7 == 0 && uid < 4000) {
      table.set(uid + 3, 2);
    }
  }
  table.set(4000, 3);
  EXPECT_EQ(table.entries().size(), 5000U);
  EXPECT_TRUE(std::is_sorted(table.entries().begin(), table.entries().end(),
                             [](const auto& a, const auto& b) { return a.uid < b.uid; }));
  EXPECT_EQ(*table.find(4000), 3);
  EXPECT_EQ(*table.find(4001), 1);
  EXPECT_EQ(*table.find(10), 2);
  EXPECT_EQ(table.find(5001), nullptr);
  EXPECT_TRUE(table.keepOnly(UidSet({1, 4000, 9000})));
  EXPECT_FALSE(table.keepOnly(UidSet({1, 4000, 9000})));
  EXPECT_EQ(table.entries().size(), 2U);
  EXPECT_FALSE(table.contains(4001));
}

// A program that ran for months in a full mailbox remembered more with every message.
TEST(UidTable, OfTooManyMessagesTheNewestAreRemembered) {
  UidTable<int> table(100);
  for (std::uint32_t uid = 1; uid <= 5000; ++uid) {
    table.set(uid, 1);
  }
  ASSERT_EQ(table.entries().size(), 100U);
  EXPECT_EQ(table.entries().front().uid, 4901U);
}

}  // namespace
}  // namespace relaybird
