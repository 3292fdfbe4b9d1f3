// SPDX-License-Identifier: MIT
// The account store over a real Dovecot. The connection is served by the thread of the test.
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <filesystem>

#include "contract/mail_store_contract.h"
#include "contract/mailbox_under_test.h"
#include "platform/curl/curl_network.h"
#include "stores/account/account_house.h"
#include "stores/mailbox/mailbox_store.h"
#include "support/mail_servers.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;

// The network, with waits that are short and a time that the test can move on.
class HurriedNetwork : public Network {
 public:
  explicit HurriedNetwork(std::chrono::milliseconds& later) : later_(later) {}
  std::unique_ptr<Connection> connect(const MailServer& server, const std::optional<SignIn>& signIn,
                                      std::chrono::milliseconds limit,
                                      std::function<void(ProtocolLine)> trace) override {
    return real_.connect(server, signIn, limit, std::move(trace));
  }
  void wait(std::chrono::milliseconds limit) override {
    real_.wait(std::min<std::chrono::milliseconds>(limit, 5ms));
  }
  void wake() override { real_.wake(); }
  std::chrono::milliseconds steadyTime() const override { return real_.steadyTime() + later_; }

 private:
  CurlNetwork real_;
  std::chrono::milliseconds& later_;
};

class DovecotUnderTest : public MailboxUnderTest {
 public:
  DovecotUnderTest() {
    ::signal(SIGPIPE, SIG_IGN);
    const MailServers::Values proxy =
        servers_.ask("proxy " + std::to_string(servers_.port("plain.imap")));
    proxy_ = proxy.at("name");
    MailSettings& settings = house_.settings;
    settings.imap.server = {MailProtocol::kImap, "localhost",
                            static_cast<std::uint16_t>(std::stoi(proxy.at("port"))),
                            Security::kNone, ""};
    settings.imap.user = user_;
    writeBytes(house_.temp.path("password"), MailServers::kPassword);
    settings.outbox = house_.temp.path("outbox");
    settings.addressBook = makeAddressBook(house_.temp);
    StoreWorld world = house_.world();
    world.network = [this] { return std::make_unique<HurriedNetwork>(later_); };
    auto inbox = std::make_unique<AccountInbox>(settings, world, AccountInbox::Threading::kCaller);
    inbox_ = inbox.get();
    EXPECT_TRUE(inbox_->signIn());
    store_ = std::make_unique<MailboxStore>(std::move(inbox), settings, world, nullptr);
  }

  void deliver(const SampleMail& mail) override {
    const std::string name = servers_.deliver(
        user_, textOf(mail), [&](const std::string& path) { setReceived(path, mail.received); });
    if (!mail.unread) {
      const std::string folder = servers_.maildir(user_);
      std::filesystem::rename(folder + "/new/" + name, folder + "/cur/" + name + ":2,S");
    }
    refresh();
  }

  void takeAway(const std::string& subject) override {
    servers_.ask("delete " + user_ + " " + subject);
    refresh();
  }

  // A synchronisation may begin another at its end, and that a third one.
  void runPendingEvents() override {
    for (int round = 0; round < 4; ++round) {
      refresh();
    }
  }

  bool listsReadItems() override { return false; }

 private:
  MailStore& whole() const override { return *store_; }
  FaultyFileSystem& disk() override { return house_.disk; }
  std::string outboxFolder() const override { return house_.settings.outbox; }
  void loseInbox() override {
    servers_.ask("gate " + proxy_ + " closed");
    stepUntil([this] { return !inbox_->alive(); });
  }
  void findInbox() override {
    servers_.ask("gate " + proxy_ + " open");
    later_ += 15min;  // the program tries again a while after a failure
  }

  template <typename Reached>
  void stepUntil(const Reached& reached) {
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (!reached()) {
      ASSERT_LT(std::chrono::steady_clock::now(), end) << "the server does not answer";
      inbox_->step();
      house_.events.runUntilIdle();
    }
  }
  // The inbox knows the present state of the server, and whatever was to end by then has ended.
  void refresh() {
    bool done = false;
    inbox_->synchronise([&done] { done = true; });
    stepUntil([&done] { return done; });
    house_.events.runUntilIdle();
  }

  MailServers& servers_ = MailServers::get();
  std::string user_ = servers_.freshUser();
  std::string proxy_;
  AccountHouse house_;
  std::chrono::milliseconds later_{0};
  AccountInbox* inbox_ = nullptr;
  std::unique_ptr<MailboxStore> store_;
};

std::unique_ptr<StoreUnderTest> makeDovecot() {
  return std::make_unique<DovecotUnderTest>();
}

INSTANTIATE_TEST_SUITE_P(Dovecot, MailStoreContract,
                         testing::Values(StoreMaker{"dovecot", makeDovecot}), storeMakerName);

}  // namespace
}  // namespace relaybird
