// SPDX-License-Identifier: MIT
// What the stores share, over a server that the test plays: it confirms marks only when events run.
#include <cerrno>
#include <map>

#include "contract/mail_store_contract.h"
#include "contract/mailbox_under_test.h"
#include "stores/mailbox/mailbox_house.h"

namespace relaybird {
namespace {

class FakeInboxUnderTest : public MailboxUnderTest {
 public:
  FakeInboxUnderTest() {
    house_.delivering = false;
    house_.settings.addressBook = makeAddressBook(house_.temp);
    house_.open();
  }

  void deliver(const SampleMail& mail) override {
    ids_[mail.subject] = house_.server.deliver(textOf(mail));
    house_.server.messages.back().seen = !mail.unread;
    house_.server.messages.back().received = mail.received;
  }

  void takeAway(const std::string& subject) override { house_.server.remove(ids_.at(subject)); }

  void runPendingEvents() override {
    do {
      house_.inbox->confirmMarks();
      house_.inbox->endSynchronisation();
      house_.events.runUntilIdle();
    } while (house_.inbox->synchronising());
  }

 private:
  MailStore& whole() const override { return *house_.store; }
  FaultyFileSystem& disk() override { return house_.disk; }
  std::string outboxFolder() const override { return house_.outbox(); }
  void loseInbox() override {
    const Error error{ENOTCONN, "There is no connection to the mail server"};
    house_.server.alive = error;
    house_.server.listing = error;
  }
  void findInbox() override {
    house_.server.alive = {};
    house_.server.listing = {};
  }

  MailboxHouse house_;
  std::map<std::string, std::string> ids_;  // by subject
};

std::unique_ptr<StoreUnderTest> makeMailbox() {
  return std::make_unique<FakeInboxUnderTest>();
}

INSTANTIATE_TEST_SUITE_P(Mailbox, MailStoreContract,
                         testing::Values(StoreMaker{"mailbox", makeMailbox}), storeMakerName);

}  // namespace
}  // namespace relaybird
