// SPDX-License-Identifier: MIT
// What the stores share, over a server that the test plays: it confirms marks only when events run.
#include <cerrno>
#include <filesystem>
#include <map>

#include "contract/mail_store_contract.h"
#include "contract/partial_store.h"
#include "contract/sent_message.h"
#include "stores/mailbox/mailbox_house.h"
#include "support/mail_text.h"

namespace relaybird {
namespace {

class MailboxUnderTest : public StoreUnderTest {
 public:
  MailboxUnderTest() {
    house_.delivering = false;
    house_.settings.addressBook = house_.temp.path("book.vcf");
    writeBytes(house_.settings.addressBook,
               "BEGIN:VCARD\r\nVERSION:4.0\r\nFN:Ann Example\r\nEMAIL:ann@example.org\r\n"
               "END:VCARD\r\n");
    house_.open();
  }

  MailStore& store() override { return partial_; }

  void deliver(const SampleMail& mail) override {
    MailText text;
    text.from = mail.senderAddress.empty() ? "" : mail.senderName + " <" + mail.senderAddress + ">";
    text.subject = mail.subject;
    text.body = mail.body;
    text.html = mail.html;
    for (const auto& [name, bytes] : mail.attachments) {
      text.attachments.emplace_back(name, bytes);
    }
    ids_[mail.subject] = house_.server.deliver(mailTextOfKind(mail.kind, text));
    house_.server.messages.back().seen = !mail.unread;
    house_.server.messages.back().received = mail.received;
  }

  void takeAway(const std::string& subject) override { house_.server.remove(ids_.at(subject)); }

  std::vector<SentMail> outbox() override {
    std::vector<SentMail> sent;
    for (const OutboxFile& file : outboxFiles(house_.outbox())) {
      sent.push_back(readSentMessage(file.bytes));
    }
    return sent;
  }

  void removeComponent(std::string_view progId) override { partial_.remove(progId); }

  void runPendingEvents() override {
    do {
      house_.inbox->confirmMarks();
      house_.inbox->endSynchronisation();
      house_.events.runUntilIdle();
    } while (house_.inbox->synchronising());
  }

  std::optional<std::pair<std::string, std::string>> knownName() override {
    return std::pair("Ann Example", "ann@example.org");
  }

  bool begin(Trouble trouble) override {
    const Error error{ENOTCONN, "There is no connection to the mail server"};
    if (trouble == Trouble::kOutboxRefuses) {
      house_.disk.failFromStep(house_.disk.steps() + 1, ENOSPC);
    } else {
      house_.server.alive = error;
      house_.server.listing = error;
    }
    return true;
  }
  void end(Trouble trouble) override {
    if (trouble == Trouble::kOutboxRefuses) {
      house_.disk.reset();
    } else {
      house_.server.alive = {};
      house_.server.listing = {};
    }
  }

 private:
  MailboxHouse house_;
  PartialStore partial_{[this]() -> MailStore& { return *house_.store; }};
  std::map<std::string, std::string> ids_;  // by subject
};

std::unique_ptr<StoreUnderTest> makeMailbox() {
  return std::make_unique<MailboxUnderTest>();
}

INSTANTIATE_TEST_SUITE_P(Mailbox, MailStoreContract,
                         testing::Values(StoreMaker{"mailbox", makeMailbox}), storeMakerName);

}  // namespace
}  // namespace relaybird
