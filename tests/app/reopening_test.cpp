// SPDX-License-Identifier: MIT
// A program that works over an account is given other settings while its servers do not answer. It
// closes the mailbox and opens it again, and the user-interface thread waits for none of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>

#include "app/program_core.h"
#include "outbox/smtp_server.h"
#include "platform/main_loop.h"
#include "platform/posix/poll_waiter.h"
#include "platform/posix/posix_file_system.h"
#include "platform/profile/profile_file.h"
#include "prefs/pref_bench.h"
#include "stores/account/imap_server_script.h"
#include "support/fake_clock.h"
#include "support/store_fakes.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

using testing::HasSubstr;
using testing::SizeIs;

// A server that stands still at a moment of the test's choice, with the thread that listens to it.
class HeldUpServer {
 public:
  void standStill() {
    std::unique_lock lock(mutex_);
    held_ = true;
    changed_.notify_all();
    changed_.wait(lock, [this] { return goesOn_; });
  }
  void waitUntilHeld() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return held_; });
  }
  void goOn() {
    const std::lock_guard lock(mutex_);
    goesOn_ = true;
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool held_ = false;
  bool goesOn_ = false;
};

struct TestFolders : HomeFolders {
  explicit TestFolders(const TempFolder& temp) : state(temp.path("state")) {
    appData = temp.path("config");
  }
  std::string stateFolder() const override { return state; }
  std::string state;
};

class ReopeningTest : public testing::Test {
 protected:
  ReopeningTest() {
    std::filesystem::create_directories(temp_.path("config/rbx"));
    std::filesystem::create_directories(temp_.path("state"));
    writeBytes(temp_.path("password"), "hidden");
    writeBytes(temp_.path("config/rbx/rbx_prefs.ini"),
               "[mail]\nstore=account\naddress=ann@example.org\nimap_host=imap.example.org\n"
               "imap_user=ann\nimap_secret=credential\nimap_secret_name=password\n"
               "delivery=smtp\nsmtp_host=smtp.example.org\nsmtp_sign_in=none\n");
    account_.add(1, simpleMail("tea"));
    imapNetwork_.serve([this](ServerEnd&) { return imapServer(account_); });
    smtpNetwork_.serve([this](ServerEnd&) { return smtp_.script(smtpNetwork_.connections() - 1); });
    core_ = std::make_unique<ProgramCore>(
        platform(), ProgramIdentity{"relaybird", "1.2.3", {1, 2, 3}}, loop_,
        [this](const StoreNotice& notice) { notices_ += notice.line + "\n"; },
        [this] {
          loop_.processPending();
          return true;
        });
  }
  ~ReopeningTest() override {
    mark_.goOn();
    verdict_.goOn();
    core_.reset();
  }

  ProgramPlatform platform() {
    ProgramPlatform system;
    auto clock = std::make_unique<FakeClock>();
    system.sleeper = std::make_unique<RecordingSleeper>(*clock);
    system.clock = std::move(clock);
    system.files = std::make_unique<PosixFileSystem>(*system.sleeper);
    system.profiles = std::make_unique<ProfileFile>(*system.files);
    system.folders = std::make_unique<TestFolders>(temp_);
    system.osVersion = std::make_unique<FakeOsVersion>();
    system.commands = std::make_unique<NoCommands>();
    system.random = [](std::size_t count) { return std::string(count, '\x80'); };
    system.user = {temp_.path(), "ann@here.example", "Ann"};
    system.credentialFolder = temp_.path();
    // The inbox's is made on this thread, that for sending on the delivery's.
    system.network = [this, here = std::this_thread::get_id()] {
      return std::make_unique<BorrowedNetwork>(std::this_thread::get_id() == here ? imapNetwork_
                                                                                  : smtpNetwork_);
    };
    return system;
  }

  std::shared_ptr<ItemCollection> unread() {
    return createAs<Application>(core_->objects(), prog_id::kApplication)
        ->GetNamespace("MAPI")
        ->GetDefaultInbox()
        ->Items()
        ->Restrict("[Unread]=true");
  }
  void deliver() { createAs<UtilityObject>(core_->objects(), prog_id::kUtility)->DeliverNow(); }
  // Or minutes without use, which pass at once here, would end the connection.
  void keepConnection() { core_->outgoing().forwardingSwitched(true); }
  // Forwards the message while both servers stand still: one with the mark, the other with the
  // verdict. They answer when they go on, or never.
  void forwardToServersThatHang(bool answer = true) {
    account_.instead = [this, answer](const std::string&, const std::string& command) {
      const bool mark = command.starts_with("UID STORE");
      if (mark) {
        mark_.standStill();
      }
      const bool silent = !answer && (mark || command == "LOGOUT");
      return silent ? std::optional<std::string>("") : std::nullopt;
    };
    smtp_.fault = [this, answer](const SmtpMoment& moment) {
      const bool verdict = moment.verb == "END";
      if (verdict) {
        verdict_.standStill();
      }
      return verdict && !answer ? std::optional(SmtpFault{.hang = true}) : std::nullopt;
    };
    ASSERT_FALSE(core_->prepare());
    keepConnection();
    {
      const auto item = unread()->Item(1);
      item->UnRead(false);
      const auto forward = item->Forward();
      forward->Recipients()->Add("cell@phone.example");
      forward->send();
      item->UnRead(false);
    }
    deliver();
    mark_.waitUntilHeld();
    verdict_.waitUntilHeld();
  }
  // What the windows go on with. The limit is only reached where something waits.
  void expectNoWait(const std::function<void()>& act) {
    const auto done = std::async(std::launch::async, act);
    EXPECT_EQ(done.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    mark_.goOn();
    verdict_.goOn();
  }
  void reopen() {
    core_->reopen([this](const Result<void>& opened) { opened_ = opened; });
  }
  std::string whyNoUse() {
    try {
      (void)unread();
    } catch (const MailStoreError& error) {
      return error.what();
    }
    return {};
  }

  TempFolder temp_;
  ServerAccount account_;
  SmtpServer smtp_;
  HeldUpServer mark_;
  HeldUpServer verdict_;
  ScriptedNetwork imapNetwork_;
  ScriptedNetwork smtpNetwork_;
  MainLoop loop_{std::make_shared<PollWaiter>()};
  std::string notices_;
  std::optional<Result<void>> opened_;
  std::unique_ptr<ProgramCore> core_;
};

TEST_F(ReopeningTest, EventsRunWhileServersHangAndNothingIsLostOrForwardedTwice) {
  forwardToServersThatHang();
  bool served = false;
  expectNoWait([&] {
    reopen();
    loop_.post([&] { served = true; });
    loop_.processPending();
    EXPECT_TRUE(served);
    EXPECT_FALSE(opened_);
    EXPECT_THAT(whyNoUse(), HasSubstr("closed"));
    EXPECT_EQ(core_->outgoing().waiting(), 1U) << "what waits is still told";
  });
  loop_.runUntil([this] { return opened_.has_value(); });
  ASSERT_TRUE(*opened_) << opened_->error().text;
  EXPECT_TRUE(account_.find(1)->seen);
  EXPECT_THAT(notices_, HasSubstr("Handed over for delivery"));
  EXPECT_EQ(unread()->Count(), 0);
  EXPECT_EQ(core_->outgoing().waiting(), 0U);
  core_->closeStore();
  EXPECT_THAT(smtp_.taken, SizeIs(1));
}

TEST_F(ReopeningTest, WithoutAnyAnswerNothingIsForwardedAgain) {
  forwardToServersThatHang(false);
  expectNoWait([this] { reopen(); });
  loop_.runUntil([this] { return opened_.has_value(); });
  ASSERT_TRUE(*opened_) << opened_->error().text;
  keepConnection();
  EXPECT_FALSE(account_.find(1)->seen);
  EXPECT_THAT(notices_, HasSubstr("no answer came"));
  account_.instead = {};
  smtp_.fault = {};
  EXPECT_EQ(unread()->Count(), 0) << "the journal knows the mark";
  deliver();
  core_->closeStore();
  EXPECT_TRUE(account_.find(1)->seen);
  EXPECT_THAT(smtp_.taken, SizeIs(1)) << "it waits ten minutes, as it may have arrived";
}

// Two programs on two folders of an account took each other's copies of forwards.
TEST_F(ReopeningTest, TheAccountIsLockedAndNotItsFolder) {
  ASSERT_FALSE(core_->prepare());
  const auto refused = [this](const std::string& user, const std::string& folder) {
    writeBytes(temp_.path("config/rbx/rbx_prefs.ini"),
               "[mail]\nstore=account\naddress=ann@example.org\nimap_host=imap.example.org\n"
               "imap_user=" +
                   user + "\nimap_folder=" + folder +
                   "\nimap_secret=credential\n"
                   "imap_secret_name=password\ndelivery=none\n");
    ProgramCore other(
        platform(), ProgramIdentity{"relaybird", "1.2.3", {1, 2, 3}}, loop_,
        [](const StoreNotice&) {}, [] { return true; });
    const auto refusal = other.prepare(InstanceLock::Wait::kNone);
    return refusal && refusal->mailboxTaken ? refusal->text : "";
  };
  EXPECT_THAT(refused("ANN", "Work"),
              testing::StartsWith("The mailbox imap:ann@imap.example.org is in use by relaybird"));
  EXPECT_EQ(refused("bob", "Work"), "");
}

TEST_F(ReopeningTest, AProgramThatEndsMeanwhileReportsNoMailbox) {
  forwardToServersThatHang();
  expectNoWait([this] { reopen(); });
  core_->closeStore();
  loop_.processPending();
  EXPECT_FALSE(opened_);
  EXPECT_TRUE(account_.find(1)->seen);
  EXPECT_THAT(smtp_.taken, SizeIs(1));
}

}  // namespace
}  // namespace relaybird
