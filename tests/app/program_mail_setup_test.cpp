// SPDX-License-Identifier: MIT
// What the set-up finds on this computer, and when its reports arrive.
#include "app/program_mail_setup.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>

#include "prefs/fake_files.h"
#include "support/fake_secrets.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Keeps what other threads post until the test runs it.
class KeptEvents : public EventQueue {
 public:
  void post(std::function<void()> event) override {
    const std::scoped_lock lock(mutex_);
    events_.push_back(std::move(event));
  }
  void run() {
    std::vector<std::function<void()>> events;
    {
      const std::scoped_lock lock(mutex_);
      events.swap(events_);
    }
    for (const auto& event : events) {
      event();
    }
  }

 private:
  std::mutex mutex_;
  std::vector<std::function<void()>> events_;
};

class MailSetupOnDisk : public testing::Test {
 protected:
  void addMaildir(const std::string& folder) {
    files.addFolder(folder);
    files.addFolder(folder + "/new");
    files.addFolder(folder + "/cur");
  }
  void make() {
    setup = std::make_unique<ProgramMailSetup>(
        AccountTestWorld{
            files,
            secrets,
            {},
            "1.2.3",
            home,
            [this](const std::string& program) { return notForUs.count(program) == 0; }},
        events, LocalIdentity{home, "ann@host", "Ann"}, "/home/ann/.config",
        [](const auto& report) { report({}); }, [] { return std::string(); });
  }
  FakeFiles files;
  std::string home = "/home/ann";
  std::set<std::string> notForUs;  // programs that the user may not run
  FakeSecretStore keyring;
  SecretWorld secrets;
  KeptEvents events;
  std::unique_ptr<ProgramMailSetup> setup;
};

TEST_F(MailSetupOnDisk, FindsTheUsualMaildirsAndThoseOfMbsync) {
  for (const char* folder : {"/home", "/home/ann", "/home/ann/Mail"}) {
    files.addFolder(folder);
  }
  make();
  EXPECT_THAT(setup->foundMaildirs(), IsEmpty());
  addMaildir("/home/ann/Maildir");
  addMaildir("/home/ann/Mail/INBOX");
  addMaildir("/home/ann/Other Mail");
  files.addFile("/home/ann/.mbsyncrc",
                "# mine\nMaildirStore local\nSubFolders Verbatim\nPath ~/Mail/\n\n"
                "MaildirStore other\nInbox \"~/Other Mail\"\nPathDelim x\n");
  EXPECT_THAT(setup->foundMaildirs(),
              ElementsAre("/home/ann/Maildir", "/home/ann/Mail/INBOX", "/home/ann/Other Mail"));
}

TEST_F(MailSetupOnDisk, FindsMaildirsOfBothConfigurationFilesOfMbsync) {
  for (const char* folder : {"/home", "/home/ann", "/home/ann/.config", "/home/ann/Mail"}) {
    files.addFolder(folder);
  }
  addMaildir("/home/ann/Mail/INBOX");
  addMaildir("/home/ann/Old");
  files.addFile("/home/ann/.config/isyncrc", "MaildirStore near\nPath ~/Mail/");
  make();
  EXPECT_THAT(setup->foundMaildirs(), ElementsAre("/home/ann/Mail/INBOX"));
  files.addFile("/home/ann/.mbsyncrc", "MaildirStore local\nInbox ~/Old\n");
  EXPECT_THAT(setup->foundMaildirs(), ElementsAre("/home/ann/Mail/INBOX", "/home/ann/Old"));
}

TEST_F(MailSetupOnDisk, FindsCommandsThatTakeMessages) {
  make();
  EXPECT_THAT(setup->foundCommands(), IsEmpty());
  const std::vector<std::string> commands = {
      "/usr/sbin/sendmail",       "/usr/lib/sendmail",          "/usr/bin/sendmail",
      "/usr/local/sbin/sendmail", "/usr/local/bin/sendmail",    "/usr/bin/msmtp",
      "/usr/local/bin/msmtp",     "/home/ann/.local/bin/msmtp", "/home/ann/bin/msmtp"};
  for (const std::string& command : commands) {
    files.addFile(command, "program");
  }
  files.addFile("/home/ann/bin/sendmail-old", "another");
  EXPECT_EQ(setup->foundCommands(), commands);
}

TEST_F(MailSetupOnDisk, OffersNoCommandThatTheUserMayNotRun) {
  make();
  files.addFile("/usr/sbin/sendmail", "program");
  files.addFile("/usr/bin/msmtp", "program");
  notForUs = {"/usr/sbin/sendmail"};
  EXPECT_THAT(setup->foundCommands(), ElementsAre("/usr/bin/msmtp"));
}

TEST_F(MailSetupOnDisk, OffersNoFolderAndNoLinkToNothingAsACommand) {
  make();
  files.addFolder("/usr/bin/msmtp");
  files.addLink("/usr/sbin/sendmail", "/usr/sbin/exim4");
  EXPECT_THAT(setup->foundCommands(), IsEmpty());
  files.addFile("/usr/sbin/exim4", "program");
  EXPECT_THAT(setup->foundCommands(), ElementsAre("/usr/sbin/sendmail"));
}

TEST_F(MailSetupOnDisk, OffersAProgramOnceHoweverManyLinksLeadToIt) {
  make();
  files.addFile("/usr/sbin/sendmail", "program");
  files.addLink("/usr/lib/sendmail", "/usr/sbin/sendmail");
  files.addLink("/usr/bin/msmtp", "/usr/lib/sendmail");
  files.addFile("/usr/local/bin/msmtp", "another program");
  EXPECT_THAT(setup->foundCommands(), ElementsAre("/usr/sbin/sendmail", "/usr/local/bin/msmtp"));
}

TEST_F(MailSetupOnDisk, OffersNoCommandWhosePathHasABlank) {
  home = "/home/Ann Example";
  make();
  files.addFile("/home/Ann Example/bin/msmtp", "program");
  EXPECT_THAT(setup->foundCommands(), IsEmpty());
}

TEST_F(MailSetupOnDisk, LooksForNoCommandInAHomeThatIsNotKnown) {
  home = "";
  make();
  files.addFile("bin/msmtp", "program");
  files.addFile("/bin/msmtp", "program");
  EXPECT_THAT(setup->foundCommands(), IsEmpty());
}

TEST_F(MailSetupOnDisk, KeepsAPasswordUnderTheNameThatTheAccountLooksFor) {
  secrets.keyring = &keyring;
  make();
  AccountSettings account;
  account.server = {MailProtocol::kImap, "imap.example.org", 993, Security::kTls, {}};
  account.user = "ann";
  bool reported = false;
  setup->keepPassword(account, Secret("pass word"), [&](const Result<void>& kept) {
    reported = true;
    EXPECT_TRUE(kept);
  });
  while (!reported) {
    events.run();
  }
  const SecretAnswer kept =
      keyring.lookUp({MailProtocol::kImap, "ann", "imap.example.org", 993}, {});
  EXPECT_EQ(kept.secret.bytes(), "pass word");
}

TEST_F(MailSetupOnDisk, ReportsComeLaterAndNotAfterTheyWereForgotten) {
  make();
  int reports = 0;
  std::string words;
  const auto keep = [&] {
    setup->keepPassword({}, Secret("x"), [&](const Result<void>& kept) {
      ++reports;
      words = kept ? "" : kept.error().text;
    });
  };
  keep();
  EXPECT_EQ(reports, 0);
  while (reports == 0) {
    events.run();
  }
  EXPECT_THAT(words, HasSubstr("built without a keyring"));
  keep();
  setup->forgetReports();
  bool listed = false;
  setup->listOnlineAccounts([&](const OnlineAccountList& list) {
    listed = true;
    EXPECT_TRUE(list.failure);
  });
  while (!listed) {
    events.run();
  }
  EXPECT_EQ(reports, 1);
}

// A keyring that asks the user, who does not answer.
class UnansweredKeyring : public FakeSecretStore {
 public:
  SecretAnswer store(const SecretKey&, const Secret&, std::stop_token stop) override {
    std::unique_lock lock(mutex_);
    asked_ = true;
    changed_.notify_all();
    // The limit only ends a test that fails.
    changed_.wait_for(lock, stop, std::chrono::seconds(20), [] { return false; });
    stopped = stop.stop_requested();
    return {SecretAnswer::End::kCancelled, {}, "cancelled"};
  }
  void waitUntilAsked() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return asked_; });
  }
  std::atomic<bool> stopped = false;

 private:
  std::mutex mutex_;
  std::condition_variable_any changed_;
  bool asked_ = false;
};

TEST_F(MailSetupOnDisk, AnUnansweredKeyringOfAClosedDialogDoesNotBlockTheNextOne) {
  UnansweredKeyring unanswered;
  secrets.keyring = &unanswered;
  make();
  setup->keepPassword({}, Secret("x"), [](const Result<void>&) { FAIL() << "it was forgotten"; });
  unanswered.waitUntilAsked();
  setup->forgetReports();
  bool listed = false;
  setup->listOnlineAccounts([&](const OnlineAccountList&) { listed = true; });
  while (!listed) {
    events.run();
  }
  EXPECT_TRUE(unanswered.stopped);
}

}  // namespace
}  // namespace relaybird
