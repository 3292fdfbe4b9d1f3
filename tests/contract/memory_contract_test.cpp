// SPDX-License-Identifier: MIT
#include <algorithm>

#include "contract/mail_store_contract.h"
#include "memory_store/memory_store.h"
#include "support/fake_timers.h"

namespace relaybird {
namespace {

class MemoryUnderTest : public StoreUnderTest {
 public:
  MemoryUnderTest() { store_.setKnownName("Ann Example", "ann@example.org"); }

  MailStore& store() override { return store_; }

  void deliver(const SampleMail& mail) override {
    MemoryItem item;
    item.kind = mail.kind;
    item.subject = mail.subject;
    item.body = mail.body;
    item.html = !mail.html.empty();
    item.senderName = mail.senderName;
    item.senderAddress = mail.senderAddress;
    item.received = mail.received;
    item.modified = mail.received;
    item.unread = mail.unread;
    for (const auto& [name, bytes] : mail.attachments) {
      item.attachments.push_back({name, bytes, std::nullopt});
    }
    store_.deliver(std::move(item));
    subjects_.push_back(mail.subject);
  }

  void takeAway(const std::string& subject) override {
    const auto found = std::find(subjects_.begin(), subjects_.end(), subject);
    store_.takeAway(static_cast<std::size_t>(found - subjects_.begin()));
    subjects_.erase(found);
  }

  std::vector<SentMail> outbox() override {
    std::vector<SentMail> sent;
    for (const auto& message : store_.outbox()) {
      SentMail& mail = sent.emplace_back();
      mail.subject = message.subject;
      mail.body = message.body;
      mail.html = message.html;
      mail.replyTo = message.replyTo;
      for (const auto& one : message.recipients) {
        mail.recipients.emplace_back(one.address, one.type);
      }
      for (const auto& one : message.attachments) {
        mail.attachments.push_back({one.name, one.content});
      }
    }
    return sent;
  }

  void removeComponent(std::string_view progId) override { store_.removeComponent(progId); }
  void runPendingEvents() override { events_.runUntilIdle(); }

  std::optional<std::pair<std::string, std::string>> knownName() override {
    return std::pair("Ann Example", "ann@example.org");
  }

  bool begin(Trouble trouble) override {
    if (trouble == Trouble::kApplicationGone) {
      store_.quitApplication();
    } else if (trouble == Trouble::kOutboxRefuses) {
      store_.setOutboxFull(true);
    } else {
      store_.setHook([](std::string_view operation) {
        if (operation == "ItemCollection.Restrict") {
          throw MailStoreError("There is trouble");
        }
      });
    }
    return true;
  }
  void end(Trouble) override {
    store_.setHook(nullptr);
    store_.setOutboxFull(false);
  }

 private:
  FakeEventQueue events_;
  MemoryStore store_{events_};
  std::vector<std::string> subjects_;
};

std::unique_ptr<StoreUnderTest> makeMemory() {
  return std::make_unique<MemoryUnderTest>();
}

INSTANTIATE_TEST_SUITE_P(Memory, MailStoreContract,
                         testing::Values(StoreMaker{"memory", makeMemory}), storeMakerName);

}  // namespace
}  // namespace relaybird
