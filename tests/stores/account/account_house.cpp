// SPDX-License-Identifier: MIT
#include "stores/account/account_house.h"

#include <utility>

namespace relaybird {
namespace {

// The house's network, which outlives the inboxes that are made one after another.
class BorrowedNetwork : public Network {
 public:
  explicit BorrowedNetwork(Network& real) : real_(real) {}
  std::unique_ptr<Connection> connect(const MailServer& server, const std::optional<SignIn>& signIn,
                                      std::chrono::milliseconds limit,
                                      std::function<void(ProtocolLine)> trace) override {
    return real_.connect(server, signIn, limit, std::move(trace));
  }
  void wait(std::chrono::milliseconds limit) override { real_.wait(limit); }
  void wake() override { real_.wake(); }
  std::chrono::milliseconds steadyTime() const override { return real_.steadyTime(); }

 private:
  Network& real_;
};

// Refuses every connection.
class Refusal : public ServerScript {
 public:
  void connecting(ServerEnd& end) override {
    end.fail({ConnectFailure::Cause::kNotReached, ConnectStep::kConnect, "connection refused", ""});
  }
  void heard(ServerEnd&, std::string_view) override {}
};

}  // namespace

AccountHouse::AccountHouse() {
  settings.mailbox = MailboxKind::kAccount;
  settings.imap.server = {MailProtocol::kImap, "imap.example.org", 993, Security::kTls, ""};
  settings.imap.user = "Ann@example.org";
  settings.imap.secret = SecretSource::kCredential;
  settings.imap.secretName = "password";
  settings.address = "ann@example.org";
  settings.name = "Ann Example";
  writeBytes(temp.path("password"), "hidden");
  network.serve([this](ServerEnd& end) -> std::unique_ptr<ServerScript> {
    if (!reachable) {
      return std::make_unique<Refusal>();
    }
    if (arrange) {
      arrange(end);
    }
    return imapServer(account);
  });
}

StoreWorld AccountHouse::world() {
  StoreWorld world{.files = disk,
                   .clock = clock,
                   .events = events,
                   .executor = executor,
                   .commands = commands,
                   .random = [](std::size_t count) { return std::string(count, '\x80'); },
                   .stateFolder = temp.path("state"),
                   .notice = [this](const StoreNotice& told) { notices.push_back(told.line); }};
  world.secrets.credentialFolder = temp.path("");
  world.secrets.credentialFolder.pop_back();
  world.secrets.steadyTime = [this] { return network.steadyTime(); };
  world.network = [this] { return std::make_unique<BorrowedNetwork>(network); };
  world.verbose = verbose;
  world.keepAlive = [this] { return keepAlive(); };
  return world;
}

std::unique_ptr<AccountInbox> AccountHouse::makeInbox() {
  auto inbox = std::make_unique<AccountInbox>(settings, world(), AccountInbox::Threading::kCaller);
  inbox->forwardingSwitched(true);
  return inbox;
}

}  // namespace relaybird
