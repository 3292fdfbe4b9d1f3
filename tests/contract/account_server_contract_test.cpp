// SPDX-License-Identifier: MIT
// The account store over a real Dovecot. The connection is served by the thread of the test.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "contract/mail_store_contract.h"
#include "contract/partial_store.h"
#include "contract/sent_message.h"
#include "platform/curl/curl_network.h"
#include "platform/posix/posix_file_system.h"
#include "stores/account/account_inbox.h"
#include "stores/mailbox/mailbox_store.h"
#include "support/fake_clock.h"
#include "support/fake_timers.h"
#include "support/faulty_file_system.h"
#include "support/mail_servers.h"
#include "support/mail_text.h"
#include "support/store_fakes.h"

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

class DovecotUnderTest : public StoreUnderTest {
 public:
  DovecotUnderTest() {
    ::signal(SIGPIPE, SIG_IGN);
    const MailServers::Values proxy =
        servers_.ask("proxy " + std::to_string(servers_.port("plain.imap")));
    proxy_ = proxy.at("name");
    MailSettings settings;
    settings.mailbox = MailboxKind::kAccount;
    settings.imap.server = {MailProtocol::kImap, "localhost",
                            static_cast<std::uint16_t>(std::stoi(proxy.at("port"))),
                            Security::kNone, ""};
    settings.imap.user = user_;
    settings.imap.secret = SecretSource::kCredential;
    settings.imap.secretName = "password";
    settings.address = "ann@example.org";
    settings.name = "Ann Example";
    settings.outbox = temp_.path("outbox");
    settings.addressBook = temp_.path("book.vcf");
    writeBytes(temp_.path("password"), MailServers::kPassword);
    writeBytes(settings.addressBook,
               "BEGIN:VCARD\r\nVERSION:4.0\r\nFN:Ann Example\r\nEMAIL:ann@example.org\r\n"
               "END:VCARD\r\n");
    outbox_ = settings.outbox;
    auto inbox =
        std::make_unique<AccountInbox>(settings, world(), AccountInbox::Threading::kCaller);
    inbox_ = inbox.get();
    EXPECT_TRUE(inbox_->signIn());
    store_ = std::make_unique<MailboxStore>(std::move(inbox), settings, world(), nullptr);
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
    const timespec times[2] = {{seconds, 0}, {seconds, 0}};
    const std::string name =
        servers_.deliver(user_, mailTextOfKind(mail.kind, text), [&](const std::string& path) {
          ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
        });
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

  std::vector<SentMail> outbox() override {
    std::vector<std::string> files;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(outbox_ + "/new", none)) {
      files.push_back(entry.path().string());
    }
    std::sort(files.begin(), files.end());
    std::vector<SentMail> sent;
    for (const std::string& file : files) {
      sent.push_back(readSentMessage(readBytes(file)));
    }
    return sent;
  }

  void removeComponent(std::string_view progId) override { partial_.remove(progId); }

  // A synchronisation may begin another at its end, and that a third one.
  void runPendingEvents() override {
    for (int round = 0; round < 4; ++round) {
      refresh();
    }
  }

  std::optional<std::pair<std::string, std::string>> knownName() override {
    return std::pair("Ann Example", "ann@example.org");
  }

  bool listsReadItems() override { return false; }

  bool begin(Trouble trouble) override {
    if (trouble == Trouble::kOutboxRefuses) {
      disk_.failFromStep(disk_.steps() + 1, ENOSPC);
      return true;
    }
    servers_.ask("gate " + proxy_ + " closed");
    stepUntil([this] { return !inbox_->alive(); });
    return true;
  }
  void end(Trouble trouble) override {
    if (trouble == Trouble::kOutboxRefuses) {
      disk_.reset();
      return;
    }
    servers_.ask("gate " + proxy_ + " open");
    later_ += 15min;  // the program tries again a while after a failure
  }

 private:
  StoreWorld world() {
    StoreWorld world{.files = disk_,
                     .clock = clock_,
                     .events = events_,
                     .executor = executor_,
                     .commands = commands_,
                     .random = [](std::size_t count) { return std::string(count, '\x80'); },
                     .stateFolder = temp_.path("state")};
    world.secrets.credentialFolder = temp_.path();
    world.network = [this] { return std::make_unique<HurriedNetwork>(later_); };
    return world;
  }

  template <typename Reached>
  void stepUntil(const Reached& reached) {
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (!reached()) {
      ASSERT_LT(std::chrono::steady_clock::now(), end) << "the server does not answer";
      inbox_->step();
      events_.runUntilIdle();
    }
  }
  // The inbox knows the present state of the server, and whatever was to end by then has ended.
  void refresh() {
    bool done = false;
    inbox_->synchronise([&done] { done = true; });
    stepUntil([&done] { return done; });
    events_.runUntilIdle();
  }

  MailServers& servers_ = MailServers::get();
  std::string user_ = servers_.freshUser();
  std::string proxy_;
  TempFolder temp_;
  std::string outbox_;
  FakeClock clock_;
  RecordingSleeper sleeper_{clock_};
  PosixFileSystem realDisk_{sleeper_};
  FaultyFileSystem disk_{realDisk_};
  FakeEventQueue events_;
  InlineExecutor executor_;
  NoCommands commands_;
  std::chrono::milliseconds later_{0};
  AccountInbox* inbox_ = nullptr;
  std::unique_ptr<MailboxStore> store_;
  PartialStore partial_{[this]() -> MailStore& { return *store_; }};
};

std::unique_ptr<StoreUnderTest> makeDovecot() {
  return std::make_unique<DovecotUnderTest>();
}

INSTANTIATE_TEST_SUITE_P(Dovecot, MailStoreContract,
                         testing::Values(StoreMaker{"dovecot", makeDovecot}), storeMakerName);

}  // namespace
}  // namespace relaybird
