// SPDX-License-Identifier: MIT
// The account store over a scripted server. Nothing runs on a thread of its own.
#include <cerrno>
#include <map>
#include <set>

#include "contract/mail_store_contract.h"
#include "contract/sent_message.h"
#include "platform/text/ascii_text.h"
#include "stores/account/account_house.h"
#include "stores/mailbox/mailbox_store.h"
#include "support/mail_text.h"

namespace relaybird {
namespace {

class AccountUnderTest : public StoreUnderTest, private MailStore, private ObjectFactory {
 public:
  AccountUnderTest() {
    house_.settings.outbox = house_.temp.path("outbox");
    house_.settings.addressBook = house_.temp.path("book.vcf");
    writeBytes(house_.settings.addressBook,
               "BEGIN:VCARD\r\nVERSION:4.0\r\nFN:Ann Example\r\nEMAIL:ann@example.org\r\n"
               "END:VCARD\r\n");
    auto inbox = house_.makeInbox();
    inbox_ = inbox.get();
    // The application of an account is there once its server is.
    EXPECT_TRUE(inbox_->signIn());
    store_ =
        std::make_unique<MailboxStore>(std::move(inbox), house_.settings, house_.world(), nullptr);
  }

  MailStore& store() override { return *this; }

  void deliver(const SampleMail& mail) override {
    MailText text;
    text.from = mail.senderAddress.empty() ? "" : mail.senderName + " <" + mail.senderAddress + ">";
    text.subject = mail.subject;
    text.body = mail.body;
    text.html = mail.html;
    for (const auto& [name, bytes] : mail.attachments) {
      text.attachments.emplace_back(name, bytes);
    }
    ServerMail& added = house_.account.add(++lastUid_, mailTextOfKind(mail.kind, text));
    added.seen = !mail.unread;
    added.date = internalDate(mail.received);
    uids_[mail.subject] = lastUid_;
    tellChange();
  }

  void takeAway(const std::string& subject) override {
    house_.account.remove(uids_.at(subject));
    tellChange();
  }

  std::vector<SentMail> outbox() override {
    std::vector<SentMail> sent;
    for (const std::string& name : filesIn(house_.settings.outbox + "/new")) {
      sent.push_back(readSentMessage(readBytes(name)));
    }
    return sent;
  }

  void removeComponent(std::string_view progId) override { missing_.insert(asciiLower(progId)); }

  void runPendingEvents() override {
    for (int i = 0; i < 20; ++i) {
      house_.network.after(std::chrono::milliseconds(1), [] {});
      inbox_->step();
      house_.events.runUntilIdle();
    }
  }

  std::optional<std::pair<std::string, std::string>> knownName() override {
    return std::pair("Ann Example", "ann@example.org");
  }

  bool listsReadItems() override { return false; }

  bool begin(Trouble trouble) override {
    if (trouble == Trouble::kOutboxRefuses) {
      house_.disk.failFromStep(house_.disk.steps() + 1, ENOSPC);
    } else {
      house_.reachable = false;
      if (house_.network.connections() > 0) {
        house_.network.end(house_.network.connections() - 1).close();
        runPendingEvents();
      }
    }
    return true;
  }
  void end(Trouble trouble) override {
    if (trouble == Trouble::kOutboxRefuses) {
      house_.disk.reset();
    } else {
      house_.reachable = true;
      // The program tries again a while after a failure.
      house_.network.after(std::chrono::minutes(15), [] {});
      runPendingEvents();
    }
  }

 private:
  ObjectFactory& factory() override { return *this; }
  OutgoingMail& outgoing() override { return store_->outgoing(); }
  std::string place() const override { return store_->place(); }
  std::shared_ptr<AutomationObject> CreateObject(std::string_view progId) override {
    if (missing_.count(asciiLower(progId)) != 0) {
      throw MailStoreError("not installed");
    }
    return store_->factory().CreateObject(progId);
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

  static std::vector<std::string> filesIn(const std::string& folder) {
    std::set<std::string> names;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(folder, none)) {
      names.insert(entry.path().string());
    }
    return {names.begin(), names.end()};
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
  std::set<std::string> missing_;
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
