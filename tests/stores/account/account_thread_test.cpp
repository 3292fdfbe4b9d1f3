// SPDX-License-Identifier: MIT
// The account's inbox with a thread of its own, as in the program. The server is the scripted one,
// which that thread alone touches while the inbox lives.
#include <gmock/gmock.h>

#include <atomic>
#include <condition_variable>
#include <future>
#include <mutex>

#include "message/circles.h"
#include "stores/account/account_house.h"

namespace relaybird {
namespace {

OwnMarks noMarks() {
  return {[](std::string_view) { return false; }, [](std::string_view) { return false; }};
}

class AccountThreadTest : public testing::Test {
 protected:
  AccountThreadTest() {
    for (std::uint32_t uid = 1; uid <= 300; ++uid) {
      house_.account.add(uid, simpleMail("m" + std::to_string(uid)));
    }
  }

  AccountHouse house_;
};

TEST_F(AccountThreadTest, AWalkReadsAndMarksWhatAThreadFetches) {
  auto inbox = std::make_unique<AccountInbox>(house_.settings, house_.world());
  inbox->forwardingSwitched(
      true);  // or minutes without use, which pass at once, end the connection
  int ends = 0;
  inbox->synchronise([&] { ++ends; });
  const auto listing = inbox->list();
  ASSERT_TRUE(listing) << listing.error().text;
  ASSERT_EQ((*listing)->size(), 300U);
  const auto again = inbox->list();  // asks the thread what the server has said meanwhile
  ASSERT_TRUE(again) << again.error().text;
  EXPECT_EQ(*again, *listing);
  for (std::size_t i = 300; i-- > 0;) {
    const InboxHead head = (*listing)->head(i, noMarks());
    ASSERT_FALSE(head.failure) << head.failure->text;
    if (i % 3 == 0) {
      ASSERT_TRUE((*listing)->open(i));
      ASSERT_TRUE((*listing)->setSeen(i, true));
    }
  }
  (void)inbox->syncMarks({"imap-7-1"});
  house_.events.runUntilIdle();
  EXPECT_EQ(ends, 1);
  inbox->close();
  inbox.reset();
  for (const ServerMail& mail : house_.account.mails) {
    EXPECT_EQ(mail.seen, mail.uid % 3 == 1) << mail.uid;
  }
}

TEST_F(AccountThreadTest, EndsAtOnceWhileTheServerHangs) {
  house_.account.instead = [](const std::string&, const std::string& command) {
    return command.starts_with("UID SEARCH") ? std::optional<std::string>("") : std::nullopt;
  };
  int asked = 0;
  house_.keepAlive = [&] { return ++asked < 2; };
  auto inbox = std::make_unique<AccountInbox>(house_.settings, house_.world());
  EXPECT_FALSE(inbox->list());
}

TEST_F(AccountThreadTest, AnInboxThatWasNeverUsedHasNoThread) {
  AccountInbox inbox(house_.settings, house_.world());
  EXPECT_TRUE(inbox.beginToClose([] { ADD_FAILURE(); }));
  inbox.close();
  EXPECT_EQ(house_.network.connections(), 0U);
}

// The session's thread stands still in the server, or in the disk, for as long as the test wants.
class HeldUpAccountTest : public AccountThreadTest {
 protected:
  HeldUpAccountTest() {
    house_.account.instead = [this](const std::string&, const std::string&) {
      holdUp(serverHangs_);
      return std::optional<std::string>();
    };
    house_.disk.refused = [this](const std::string&) {
      holdUp(diskHangs_);
      return false;
    };
    inbox_ = std::make_unique<AccountInbox>(house_.settings, house_.world());
    inbox_->forwardingSwitched(true);
    listing_ = *inbox_->list();
  }
  ~HeldUpAccountTest() override {
    letGo();
    inbox_.reset();
  }

  void letGo() {
    const std::lock_guard lock(mutex_);
    letGo_ = true;
    changed_.notify_all();
  }
  void waitUntilHeldUp() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return heldUp_; });
  }
  // What status line, tick, stop and the start of a synchronisation ask of an inbox, and what a
  // pass asks besides the texts of messages.
  void askEverythingElse() {
    const auto asked = std::async(std::launch::async, [this] {
      (void)inbox_->identity();
      (void)inbox_->folder();
      (void)inbox_->check();
      (void)inbox_->alive();
      inbox_->userAsks();
      inbox_->synchronise([] {});
      for (std::size_t i = 0; i < listing_->size(); ++i) {
        (void)listing_->entryId(i);
        (void)listing_->seen(i);
        (void)listing_->setSeen(i, true);
      }
      (void)inbox_->syncMarks({"imap-7-1", "imap-7-300"});
      house_.events.runUntilIdle();
    });
    // The limit is only reached where something waits.
    EXPECT_EQ(asked.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    letGo();
  }

  std::atomic<bool> serverHangs_{false};
  std::atomic<bool> diskHangs_{false};
  std::unique_ptr<AccountInbox> inbox_;
  std::shared_ptr<InboxListing> listing_;

 private:
  void holdUp(bool hangs) {
    if (hangs) {
      std::unique_lock lock(mutex_);
      heldUp_ = true;
      changed_.notify_all();
      changed_.wait(lock, [this] { return letGo_; });
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  bool heldUp_ = false;
  bool letGo_ = false;
};

TEST_F(HeldUpAccountTest, NothingButTextsWaitsForAServerThatHangs) {
  serverHangs_ = true;
  inbox_->synchronise([] {});
  waitUntilHeldUp();
  askEverythingElse();
}

TEST_F(HeldUpAccountTest, NothingWaitsForTheGoodbyeToAServerThatHangs) {
  ASSERT_TRUE(listing_->setSeen(299, true));
  serverHangs_ = true;
  bool ready = false;
  waitUntilHeldUp();  // with the mark
  const auto closed = std::async(std::launch::async, [&] {
    EXPECT_FALSE(inbox_->beginToClose([&] { ready = true; }));
    house_.events.runUntilIdle();
  });
  EXPECT_EQ(closed.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_FALSE(ready);
  letGo();
  while (!ready) {
    house_.events.runPending();
    std::this_thread::yield();
  }
  inbox_.reset();
  EXPECT_TRUE(house_.account.find(300)->seen);
  EXPECT_EQ(house_.account.commands.back(), "LOGOUT");
}

// The fingerprints of messages are written to it.
TEST_F(HeldUpAccountTest, NothingWaitsForADiskThatHangs) {
  diskHangs_ = true;
  EXPECT_FALSE((*listing_).head(299, noMarks()).failure);
  waitUntilHeldUp();
  askEverythingElse();
}

}  // namespace
}  // namespace relaybird
