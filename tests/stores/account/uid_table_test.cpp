// SPDX-License-Identifier: MIT
#include "stores/account/uid_table.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace relaybird {
namespace {

// Enough for several merges.
constexpr std::uint32_t kMany = 5000;

template <class Value>
std::vector<std::uint32_t> uidsOf(UidTable<Value>& table) {
  std::vector<std::uint32_t> uids;
  for (const auto& entry : table.entries()) {
    uids.push_back(entry.uid);
  }
  return uids;
}

std::vector<std::uint32_t> range(std::uint32_t first, std::uint32_t last) {
  std::vector<std::uint32_t> uids;
  for (std::uint32_t uid = first; uid <= last; ++uid) {
    uids.push_back(uid);
  }
  return uids;
}

TEST(UidTable, FindsWhatWasSetInAnyOrder) {
  UidTable<std::uint32_t> table;
  for (std::uint32_t i = 0; i < kMany; ++i) {
    const std::uint32_t uid = 1 + i * 2999 % kMany;  // 2999 is prime: each once
    table.set(uid, uid * 2);
  }
  for (std::uint32_t uid = 1; uid <= kMany; ++uid) {
    ASSERT_TRUE(table.contains(uid)) << uid;
    ASSERT_EQ(*table.find(uid), uid * 2);
  }
  EXPECT_FALSE(table.contains(0));
  EXPECT_FALSE(table.contains(kMany + 1));
  EXPECT_EQ(uidsOf(table), range(1, kMany));
}

TEST(UidTable, ALaterValueReplacesTheOneBefore) {
  UidTable<int> table;
  for (std::uint32_t uid = 1; uid <= kMany; ++uid) {
    table.set(uid, 1);
  }
  table.set(7, 2);
  EXPECT_EQ(*table.find(7), 2);
  EXPECT_EQ(uidsOf(table), range(1, kMany)) << "each once";
  EXPECT_EQ(*table.find(7), 2) << "after the merge too";
}

TEST(UidTable, OfTooManyTheNewestAreKept) {
  UidTable<int> table(10);
  for (std::uint32_t uid = kMany; uid >= 1; --uid) {
    table.set(uid, 1);
  }
  EXPECT_EQ(uidsOf(table), range(kMany - 9, kMany));
  EXPECT_FALSE(table.contains(kMany - 10));
}

TEST(UidTable, KeepsOnlyWhatIsWanted) {
  UidTable<int> table;
  for (std::uint32_t uid = 1; uid <= kMany; ++uid) {
    table.set(uid, 1);
  }
  UidSet wanted;
  wanted.add(2, 4);
  EXPECT_TRUE(table.keepOnly(wanted));
  EXPECT_FALSE(table.keepOnly(wanted)) << "nothing is left to be removed";
  EXPECT_EQ(uidsOf(table), range(2, 4));
  table.clear();
  EXPECT_EQ(uidsOf(table), std::vector<std::uint32_t>());
}

}  // namespace
}  // namespace relaybird
