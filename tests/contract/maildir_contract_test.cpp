// SPDX-License-Identifier: MIT
// The Maildir store over a temporary folder, to which messages are delivered as files.
#include <filesystem>
#include <map>

#include "contract/mail_store_contract.h"
#include "contract/mailbox_under_test.h"
#include "stores/maildir/maildir_house.h"

namespace relaybird {
namespace {

class MaildirUnderTest : public MailboxUnderTest {
 public:
  MaildirUnderTest() {
    house_.settings.addressBook = makeAddressBook(house_.temp);
    house_.open();
  }

  void deliver(const SampleMail& mail) override {
    // Deliverers stamp names by their own clock, whatever the message says of itself.
    const std::string id = std::to_string(1800000000 + ++count_) + ".M1P1.host";
    setReceived(house_.deliver(mail.unread ? "new/" + id : "cur/" + id + ":2,S", textOf(mail)),
                mail.received);
    names_[mail.subject] = id;
  }

  void takeAway(const std::string& subject) override {
    for (const std::string& name : house_.contents()) {
      if (name.find(names_.at(subject)) != std::string::npos) {
        std::filesystem::remove(house_.maildir + "/" + name);
      }
    }
  }

  void runPendingEvents() override { house_.events.runUntilIdle(); }

 private:
  MailStore& whole() const override { return *house_.store; }
  FaultyFileSystem& disk() override { return house_.disk; }
  std::string outboxFolder() const override { return house_.settings.outbox; }
  void loseInbox() override { std::filesystem::rename(house_.maildir, house_.temp.path("away")); }
  void findInbox() override { std::filesystem::rename(house_.temp.path("away"), house_.maildir); }

  MaildirHouse house_;
  std::map<std::string, std::string> names_;  // unique names by subject
  int count_ = 0;
};

std::unique_ptr<StoreUnderTest> makeMaildir() {
  return std::make_unique<MaildirUnderTest>();
}

INSTANTIATE_TEST_SUITE_P(Maildir, MailStoreContract,
                         testing::Values(StoreMaker{"maildir", makeMaildir}), storeMakerName);

}  // namespace
}  // namespace relaybird
