// SPDX-License-Identifier: MIT
// What a check costs in calls of the mail application: each is a message to another process and
// back, which takes up to some milliseconds. The figures of docs/performance.md are from here, but
// for the time, which script/bench outlook measures.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <string>

#include "stores/outlook/outlook_house.h"

namespace relaybird {
namespace {

// Calls by kind, or by name.
using Counts = std::map<std::string, std::size_t>;

std::string kindOf(const std::string& call) {
  for (const char* kind : {"create", "name", "type information", "class information"}) {
    if (call.starts_with(kind)) {
      return kind;
    }
  }
  return "call";
}

class AutomationCost : public testing::Test {
 protected:
  // What one check calls, by name.
  Counts callsOfCheck() {
    house_.tell("counts\tclear=1");
    house_.check();
    return outlook_double::DoubleWorld::only().calls().counts();
  }

  // What each further item of a check costs: a check of many less a check of few.
  template <class Prepare>
  Counts perItem(Prepare prepare) {
    prepare(kFew);
    callsOfCheck();  // the names are looked up once for good
    prepare(kFew);
    const Counts few = callsOfCheck();
    prepare(kMany);
    Counts more = callsOfCheck();
    for (const auto& [call, count] : few) {
      more[call] -= count;
    }
    Counts each;
    for (const auto& [call, count] : more) {
      EXPECT_EQ(count % (kMany - kFew), 0u) << call;
      each[call] = count / (kMany - kFew);
    }
    return each;
  }

  static Counts byKind(const Counts& counts, const char* title) {
    Counts kinds;
    for (const auto& [call, count] : counts) {
      kinds[kindOf(call)] += count;
      if (count > 0) {
        std::printf("%s: %zu x %s\n", title, count, call.c_str());
      }
    }
    for (const auto& [kind, count] : kinds) {
      std::printf("%s: %zu %s in all\n", title, count, kind.c_str());
    }
    return kinds;
  }

  static constexpr std::size_t kFew = 10;
  static constexpr std::size_t kMany = 60;

  OutlookHouse house_;
};

TEST_F(AutomationCost, OfAForwardedItem) {
  std::size_t wanted = 0;
  auto each = byKind(perItem([&](std::size_t items) {
                       for (std::size_t i = 0; i < items; ++i) {
                         house_.deliver(static_cast<int>(i));
                       }
                       wanted += items;
                     }),
                     "a forwarded item");
  EXPECT_EQ(house_.sent(), wanted);
  EXPECT_LE(each["call"], 20u);
  EXPECT_LE(each["create"], 3u);
  EXPECT_LE(each["type information"], 1u);
  EXPECT_EQ(each["name"], 0u);
}

TEST_F(AutomationCost, OfAForwardedItemWithEachSettingThatAddsCalls) {
  struct Row {
    const char* setting;
    std::size_t calls;
    std::size_t classes;
    void (*change)(PreferenceFields& fields);
  };
  const Row rows[] = {
      {"nothing", 20, 1, [](PreferenceFields&) {}},
      {"another address", 21, 1,
       [](PreferenceFields& fields) { fields.mstrFwdToAddress.push_back("b@phone.example"); }},
      {"blind copy", 21, 1, [](PreferenceFields& fields) { fields.mbolBcc = true; }},
      {"old items ignored", 21, 1,
       [](PreferenceFields& fields) { fields.mbolIgnoreExistingUnread = true; }},
      {"short format", 22, 2,
       [](PreferenceFields& fields) { fields.mbolFormatForCellPhone = true; }},
      {"size limit", 24, 1, [](PreferenceFields& fields) { fields.mbolMaxFwdSize = true; }},
      {"without attachments", 25, 1,
       [](PreferenceFields& fields) { fields.mbolIncludeAttachments = false; }},
  };
  auto& fields = house_.engine.prefs.fields();
  const PreferenceFields before = fields;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.setting);
    fields = before;
    fields.mlngMaxToForward = 10000;
    row.change(fields);
    auto each = byKind(perItem([&](std::size_t items) {
                         for (std::size_t i = 0; i < items; ++i) {
                           house_.deliver(static_cast<int>(i), {{"file", "content", 7}});
                         }
                       }),
                       row.setting);
    EXPECT_LE(each["call"], row.calls);
    EXPECT_LE(each["type information"], row.classes);
  }
}

TEST_F(AutomationCost, OfAnItemOnTheIgnoreList) {
  house_.engine.prefs.fields().mintSenderFilter = kForwardAllButListed;
  house_.engine.prefs.fields().mcolSenderList = {"bob"};
  std::size_t there = 0;
  Counts each = perItem([&](std::size_t items) {
    for (; there < items; ++there) {
      house_.deliver(static_cast<int>(there));
    }
    house_.check();  // decides on the new ones
  });
  byKind(each, "an ignored item");
  EXPECT_EQ(house_.sent(), 0u);
  std::erase_if(each, [](const auto& call) { return call.second == 0; });
  EXPECT_EQ(each, (Counts{{"Items.Item", 1}, {"MailItem.EntryID", 1}}));
}

}  // namespace
}  // namespace relaybird
