// SPDX-License-Identifier: MIT
// The account store over a scripted server. Nothing runs on a thread of its own.
#include <chrono>
#include <map>

#include "contract/mail_store_contract.h"
#include "contract/mailbox_under_test.h"
#include "stores/account/account_house.h"
#include "stores/mailbox/mailbox_store.h"

namespace relaybird {
namespace {

class AccountUnderTest : public MailboxUnderTest {
 public:
  AccountUnderTest() {
    house_.settings.outbox = house_.temp.path("outbox");
    house_.settings.addressBook = makeAddressBook(house_.temp);
    auto inbox = house_.makeInbox();
    inbox_ = inbox.get();
    // The application of an account is there once its server is.
    EXPECT_TRUE(inbox_->signIn());
    store_ =
        std::make_unique<MailboxStore>(std::move(inbox), house_.settings, house_.world(), nullptr);
  }

  void deliver(const SampleMail& mail) override {
    ServerMail& added = house_.account.add(++lastUid_, textOf(mail));
    added.seen = !mail.unread;
    added.date = internalDate(mail.received);
    uids_[mail.subject] = lastUid_;
    tellChange();
  }

  void takeAway(const std::string& subject) override {
    house_.account.remove(uids_.at(subject));
    tellChange();
  }

  void runPendingEvents() override {
    for (int i = 0; i < 20; ++i) {
      house_.network.after(std::chrono::milliseconds(1), [] {});
      inbox_->step();
      house_.events.runUntilIdle();
    }
  }

  bool listsReadItems() override { return false; }

 private:
  MailStore& whole() const override { return *store_; }
  FaultyFileSystem& disk() override { return house_.disk; }
  std::string outboxFolder() const override { return house_.settings.outbox; }
  void loseInbox() override {
    house_.reachable = false;
    if (house_.network.connections() > 0) {
      house_.network.end(house_.network.connections() - 1).close();
      runPendingEvents();
    }
  }
  void findInbox() override {
    house_.reachable = true;
    // The program tries again a while after a failure.
    house_.network.after(std::chrono::minutes(15), [] {});
    runPendingEvents();
  }

  static std::string internalDate(DateTime moment) {
    static constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                              "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const auto day = std::chrono::floor<std::chrono::days>(moment);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss time(std::chrono::floor<std::chrono::seconds>(moment - day));
    char text[40];
    std::snprintf(text, sizeof text, "%02u-%s-%04d %02d:%02d:%02d +0000", unsigned(date.day()),
                  kMonths[unsigned(date.month()) - 1], int(date.year()), int(time.hours().count()),
                  int(time.minutes().count()), int(time.seconds().count()));
    return text;
  }

  void tellChange() {
    if (house_.network.connections() > 0) {
      house_.network.end(house_.network.connections() - 1)
          .say("* " + std::to_string(house_.account.mails.size()) +
               " EXISTS\r\n* 1 FETCH (FLAGS ())"
               "\r\n");
      runPendingEvents();
    }
  }

  AccountHouse house_;
  AccountInbox* inbox_ = nullptr;
  std::unique_ptr<MailboxStore> store_;
  std::map<std::string, std::uint32_t> uids_;  // by subject
  std::uint32_t lastUid_ = 0;
};

std::unique_ptr<StoreUnderTest> makeAccount() {
  return std::make_unique<AccountUnderTest>();
}

INSTANTIATE_TEST_SUITE_P(Account, MailStoreContract,
                         testing::Values(StoreMaker{"account", makeAccount}), storeMakerName);

}  // namespace
}  // namespace relaybird
