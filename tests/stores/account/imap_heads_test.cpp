// SPDX-License-Identifier: MIT
// How many heads are kept and asked for ahead: few where headers are large, whoever wrote them.
#include <gtest/gtest.h>

#include <algorithm>

#include "stores/account/imap_session_fixture.h"

namespace relaybird {
namespace {

constexpr std::size_t kManyAddressees = 100'000;

class ImapHeadsTest : public ImapSessionFixture {
 protected:
  // Messages 10, 11, ... with so many bytes of addressees each. Their numbers, from the top down.
  std::vector<std::uint32_t> addMails(std::size_t count, std::size_t bytes) {
    std::vector<std::uint32_t> uids;
    for (std::size_t i = 0; i < count; ++i) {
      const auto uid = static_cast<std::uint32_t>(10 + i);
      account_.add(uid, "To: " + std::string(bytes, 'x') + "\r\n" + simpleMail("m"));
      uids.insert(uids.begin(), uid);
    }
    return uids;
  }
  std::size_t memory() {
    return session_->look([](const ImapWork& work) { return work.headsMemory(); });
  }
  // Walks down the messages as a listing does, with `ahead` heads asked for before the walk comes
  // to them. Returns the most that the heads took in memory.
  std::size_t walk(const std::vector<std::uint32_t>& uids, std::size_t ahead) {
    std::size_t most = 0;
    for (std::size_t i = 0; i < uids.size(); ++i) {
      const auto from = uids.begin() + static_cast<std::ptrdiff_t>(i);
      const auto count = std::min(ahead, uids.size() - i);
      session_->work([&](ImapWork& work) {
        work.wantHeads({from, from + static_cast<std::ptrdiff_t>(count)});
      });
      EXPECT_TRUE(runUntil([&] {
        most = std::max(most, memory());
        return head(uids[i]) != Wanted::kComing;
      })) << uids[i];
      if (head(uids[i]) != Wanted::kThere) {
        ADD_FAILURE() << uids[i] << ": " << static_cast<int>(head(uids[i]));
        break;
      }
      session_->work([&](ImapWork& work) { return work.takeHead(uids[i]); });
    }
    return most;
  }
  // Of which message 10 + i the head was asked for, and how often.
  std::vector<int> timesAsked(std::size_t count) const {
    std::vector<int> times(count);
    for (const std::string& command : account_.commands) {
      if (!command.starts_with("UID FETCH ")) {
        continue;
      }
      const auto uids = UidSet::parse(command.substr(10, command.find(' ', 10) - 10));
      for (std::size_t i = 0; uids && i < count; ++i) {
        times[i] += uids->contains(static_cast<std::uint32_t>(10 + i)) ? 1 : 0;
      }
    }
    return times;
  }
};

TEST_F(ImapHeadsTest, KeepsAThousandHeadsThatNobodyTakes) {
  std::vector<std::uint32_t> uids;
  for (std::uint32_t uid = 10; uid < 1210; ++uid) {
    account_.mails.push_back({uid, simpleMail("m")});
    uids.push_back(uid);
  }
  refresh();
  session_->work([&](ImapWork& work) { work.wantHeads(uids); });
  EXPECT_TRUE(runUntil([&] { return head(1209) == Wanted::kThere; }));
  EXPECT_EQ(head(10), Wanted::kThere);
  session_->work([](ImapWork& work) { work.wantHeads({1, 1209}); });
  EXPECT_EQ(head(10), Wanted::kNot);
  EXPECT_EQ(head(1209), Wanted::kThere);
  EXPECT_EQ(head(1), Wanted::kComing);
}

// A mailbox full of messages to whole towns took a gigabyte.
TEST_F(ImapHeadsTest, LargeHeadersFetchedAheadDoNotFillTheMemory) {
  const auto uids = addMails(600, kManyAddressees);
  refresh();
  const std::size_t most = walk(uids, 400);
  EXPECT_LE(most, kHeadsKeptBytes);
  EXPECT_GE(most, kHeadsKeptBytes / 2);
  // Nearly all of them once, and in groups: the first commands are sent before the size is known.
  const auto times = timesAsked(600);
  EXPECT_LE(std::count_if(times.begin(), times.end(), [](int n) { return n > 1; }), 450);
  EXPECT_EQ(std::count_if(times.begin(), times.end(), [](int n) { return n > 2; }), 0);
  EXPECT_LE(account_.count("UID FETCH"), 40U);
}

TEST_F(ImapHeadsTest, AHeadLargerThanAllThatIsKeptIsStillHad) {
  auto uids = addMails(3, kHeadsKeptBytes - 2000);
  refresh();
  EXPECT_LE(walk(uids, 3), 2 * kHeadsKeptBytes);
}

// The heads of a check that was stopped were in the way of the next one.
TEST_F(ImapHeadsTest, HeadsThatNobodyTakesDoNotSlowDownTheNextWalk) {
  const auto uids = addMails(600, kManyAddressees);
  refresh();
  session_->work([&](ImapWork& work) { work.wantHeads({uids.begin(), uids.begin() + 100}); });
  EXPECT_TRUE(runUntil([&] { return memory() > kHeadsKeptBytes - 2 * kManyAddressees; }));
  account_.commands.clear();
  walk({uids.begin() + 200, uids.end()}, 400);
  EXPECT_LE(account_.count("UID FETCH"), 40U);
}

TEST_F(ImapHeadsTest, SmallHeadsAreAskedForInFullGroups) {
  const auto uids = addMails(1000, 100);
  refresh();
  walk(uids, 400);
  EXPECT_LE(account_.count("UID FETCH"), 15U);
}

}  // namespace
}  // namespace relaybird
