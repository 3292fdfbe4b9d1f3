// SPDX-License-Identifier: MIT
// Runs the contract's tests of all stores for the Maildir: the store works on a temporary folder,
// to which messages are delivered as files. PartialStore leaves components out, as a machine does
// on which they are not installed.
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <map>

#include "contract/mail_store_contract.h"
#include "contract/partial_store.h"
#include "contract/sent_message.h"
#include "stores/maildir/maildir_house.h"
#include "support/mail_text.h"

namespace relaybird {
namespace {

class MaildirUnderTest : public StoreUnderTest {
 public:
  MaildirUnderTest() {
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
    const auto seconds =
        std::chrono::floor<std::chrono::seconds>(mail.received).time_since_epoch().count();
    // Deliverers stamp names by their own clock, whatever the message says of itself.
    const std::string id = std::to_string(1800000000 + ++count_) + ".M1P1.host";
    const std::string path = house_.deliver(mail.unread ? "new/" + id : "cur/" + id + ":2,S",
                                            mailTextOfKind(mail.kind, text));
    const timespec times[2] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    names_[mail.subject] = id;
  }

  void takeAway(const std::string& subject) override {
    for (const std::string& name : house_.contents()) {
      if (name.find(names_.at(subject)) != std::string::npos) {
        std::filesystem::remove(house_.maildir + "/" + name);
      }
    }
  }

  std::vector<SentMail> outbox() override {
    std::vector<SentMail> sent;
    for (const OutboxFile& file : house_.outbox()) {
      sent.push_back(readSentMessage(file.bytes));
    }
    return sent;
  }

  void removeComponent(std::string_view progId) override { partial_.remove(progId); }
  void runPendingEvents() override { house_.events.runUntilIdle(); }

  std::optional<std::pair<std::string, std::string>> knownName() override {
    return std::pair("Ann Example", "ann@example.org");
  }

  bool begin(Trouble trouble) override {
    if (trouble == Trouble::kOutboxRefuses) {
      house_.disk.failFromStep(house_.disk.steps() + 1, ENOSPC);
    } else {
      std::filesystem::rename(house_.maildir, house_.temp.path("away"));
    }
    return true;
  }
  void end(Trouble trouble) override {
    if (trouble == Trouble::kOutboxRefuses) {
      house_.disk.reset();
    } else {
      std::filesystem::rename(house_.temp.path("away"), house_.maildir);
    }
  }

 private:
  MaildirHouse house_;
  PartialStore partial_{[this]() -> MailStore& { return *house_.store; }};
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
