// SPDX-License-Identifier: MIT
// Kills the program, and cuts the power, at every step of a whole run over an account that changes
// the disk: the messages' identities, the spool of large messages, the outbox, the journal, what
// became of each recipient. Then the program starts again on what is left. No message may be lost.
// One may leave twice only if the server had taken it and the disk did not know yet.
//
// Disk, servers and time are in memory. A run is recorded once: how the servers stood before each
// step of the disk. Any step can be a kill then.
#include <gmock/gmock.h>

#include <iostream>
#include <map>
#include <set>

#include "compose/cls_security.h"
#include "engine/forwarding_engine.h"
#include "outbox/delivery/make_transport.h"
#include "outbox/smtp_server.h"
#include "platform/profile/profile_file.h"
#include "platform/system/os_version.h"
#include "stores/account/account_inbox.h"
#include "stores/account/imap_server_script.h"
#include "stores/mailbox/mailbox_store.h"
#include "stores/maildir/maildir_house.h"
#include "support/cut_disk.h"
#include "support/faulty_file_system.h"
#include "support/no_disk.h"
#include "support/recording_reports.h"

namespace relaybird {
namespace {

const std::string kState = "/home/ann/.local/state";
const std::string kOutbox = kState + "/rbx/outbox";

// That a message has left is on the medium after the first of these steps.
const std::vector<std::string> kNotes = {"sync of file " + kOutbox + "/journal",
                                         "remove " + kOutbox + "/new/"};

DiskImage freshDisk() {
  return {{"/", "/home", "/home/ann", "/home/ann/.local"}, {{"/home/ann/password", "hidden"}}};
}

// What is outside the computer, and outlives the program.
struct Outside {
  struct Taken {
    std::string subject;
    std::string id;
    bool operator<(const Taken& other) const {
      return std::tie(subject, id) < std::tie(other.subject, other.id);
    }
  };
  // What the program changes out there.
  struct State {
    std::set<std::uint32_t> seen;
    std::vector<Taken> taken;  // by the server for sending
    bool operator<(const State& other) const {
      return std::tie(seen, taken) < std::tie(other.seen, other.taken);
    }
  };
  State state() const {
    State state{{}, taken};
    for (const ServerMail& mail : account.mails) {
      if (mail.seen) {
        state.seen.insert(mail.uid);
      }
    }
    return state;
  }
  void set(const State& state) {
    taken = state.taken;
    for (ServerMail& mail : account.mails) {
      mail.seen = state.seen.contains(mail.uid);
    }
  }

  ServerAccount account;
  std::vector<Taken> taken;
  bool refusesOne = false;     // the server does not know one of the two addresses
  std::size_t tooLarge = 0;    // messages that are larger than the settings allow
  bool readMeanwhile = false;  // another program marks all read between the kill and the next start
};

MailSettings annsSettings() {
  MailSettings settings;
  settings.mailbox = MailboxKind::kAccount;
  settings.imap.server = {MailProtocol::kImap, "imap.example.org", 993, Security::kTls, ""};
  settings.imap.user = "ann";
  settings.imap.secret = SecretSource::kCredential;
  settings.imap.secretName = "password";
  settings.delivery = DeliveryKind::kSmtp;
  settings.smtp.server = {MailProtocol::kSmtp, "smtp.example.org", 465, Security::kTls, ""};
  settings.smtp.signIn = std::nullopt;
  settings.outbox = kOutbox;
  settings.address = "ann@example.org";
  return settings;
}

// One run of the program: engine, store, IMAP session and SMTP, on one thread.
class Program {
 public:
  Program(FileSystem& files, Outside& outside, std::uint64_t run)
      : files_(files), outside_(outside), run_(run) {
    imap_.serve([this](ServerEnd&) { return imapServer(outside_.account); });
    smtp_.serve([this](ServerEnd&) { return server_.script(smtp_.connections() - 1); });
    server_.fault = [this](const SmtpMoment& moment) {
      const bool unknown = moment.verb == "RCPT" && outside_.refusesOne &&
                           moment.argument.find("gone@") != std::string::npos;
      return unknown ? std::optional(SmtpFault{.reply = "550 5.1.1 nobody here"}) : std::nullopt;
    };
    prefs_.ReadIniPref();
    prefs_.fields().mstrFwdToAddress = {"cell@phone.example"};
    if (outside_.refusesOne) {
      prefs_.fields().mstrFwdToAddress.emplace_back("gone@phone.example");
    }
    prefs_.fields().mbolMaxFwdSize = outside_.tooLarge > 0;
    prefs_.fields().mdblMaxFwdSize = 1;
    prefs_.fields().mlngMaxToForward = 100;
    prefs_.fields().mbolIgnoreExistingUnread = false;
    prefs_.fields().mbolIncludeAttachments = true;
  }

  // The servers' state is brought up to date by this, so that a step of the disk can record it.
  void noteTaken() {
    for (; noted_ < server_.taken.size(); ++noted_) {
      std::string text = server_.taken[noted_].text;
      std::erase(text, '\r');
      outside_.taken.push_back({fieldOf(text, "Subject").substr(4), fieldOf(text, "Message-ID")});
    }
  }
  void work() {
    for (int i = 0; i < 2; ++i) {
      engine_.pass().ForwardMail();
      settle();
    }
    noteTaken();
  }
  const std::vector<std::string>& log() const { return log_.lines; }

 private:
  StoreWorld world(ScriptedNetwork& network) {
    StoreWorld world{.files = files_,
                     .clock = clock_,
                     .events = events_,
                     .executor = executor_,
                     .commands = commands_,
                     .random = countingRandom(run_),
                     .stateFolder = kState,
                     .notice = [this](const StoreNotice& told) { log_.AddToLog(told.line); }};
    world.secrets.credentialFolder = "/home/ann";
    world.network = [&network] { return std::make_unique<BorrowedNetwork>(network); };
    world.keepAlive = [this] {
      events_.runUntilIdle();
      return true;
    };
    return world;
  }
  std::shared_ptr<Transport> transport() {
    return std::move(makeTransport(annsSettings(), world(smtp_)).value());
  }
  // Lets the marks reach the server, and the outbox be sent.
  void settle() {
    events_.runUntilIdle();
    int ends = 0;
    inbox_->synchronise([&] { ++ends; });
    for (int i = 0; i < 200 && ends == 0; ++i) {
      inbox_->step();
      events_.runUntilIdle();
    }
  }

  FileSystem& files_;
  Outside& outside_;
  std::uint64_t run_;
  std::size_t noted_ = 0;
  FakeClock clock_{makeTime(2026, 11, 20, 15, 4, 5) + std::chrono::minutes{run_}};
  FakeEventQueue events_;
  InlineExecutor executor_;
  NoCommands commands_;
  ScriptedNetwork imap_;
  ScriptedNetwork smtp_;
  SmtpServer server_;
  FakeTimers timers_{clock_};
  RecordingSleeper sleeper_{clock_};
  RecordingDisplay display_;
  RecordingLog log_{&clock_};
  RecordingAlerts alerts_;
  RecordingTrace trace_;
  NoFiles noFiles_;
  NoFolders folders_;
  NotWindows osVersion_;
  ProfileFile profiles_{noFiles_};
  AccountInbox* inbox_ = nullptr;
  std::unique_ptr<AccountInbox> made_ = std::make_unique<AccountInbox>(
      annsSettings(), world(imap_), AccountInbox::Threading::kCaller);
  MailboxStore store_{(inbox_ = made_.get(), std::move(made_)), annsSettings(), world(imap_),
                      transport()};
  clsPref prefs_{{.files = noFiles_,
                  .profiles = profiles_,
                  .folders = folders_,
                  .osVersion = osVersion_,
                  .objects = store_.factory(),
                  .makeReader = itemReaders(store_.factory())}};
  ForwardingEngine engine_{{.objects = store_.factory(),
                            .prefs = prefs_,
                            .display = display_,
                            .log = log_,
                            .alerts = alerts_,
                            .trace = trace_,
                            .clock = clock_,
                            .sleeper = sleeper_,
                            .timers = timers_}};
};

// A recorded run. The servers' state before step n + 1 of the disk is at `states[n]`.
struct Recording {
  Recording(const Clock& clock, const DiskImage& image, Outside& outside) : disk(clock, image) {
    FaultyFileSystem watched(disk);
    {
      Program program(watched, outside, 2);
      watched.onEveryStep([&](const std::string&) {
        program.noteTaken();
        states[disk.steps()] = outside.state();
      });
      program.work();
    }
    states[disk.steps()] = outside.state();
  }

  // Whether the first `count` steps tell on the medium that the message has left.
  bool isNoted(const std::string& subject, std::size_t count) const {
    std::size_t taken = 0;
    while (taken < count && !has(at(taken), subject)) {
      ++taken;
    }
    return std::any_of(kNotes.begin(), kNotes.end(), [&](const std::string& words) {
      return disk.nextStep(words, taken) < count;
    });
  }
  // How the servers stood after `count` steps, before the next one.
  const Outside::State& at(std::size_t count) const {
    return std::prev(states.upper_bound(count))->second;
  }
  static bool has(const Outside::State& state, const std::string& subject) {
    return std::any_of(state.taken.begin(), state.taken.end(),
                       [&](const Outside::Taken& taken) { return taken.subject == subject; });
  }

  CutDisk disk;
  std::map<std::size_t, Outside::State> states;
};

class AccountCrashTest : public testing::Test {
 protected:
  static void add(Outside& outside, std::uint32_t uid, const std::string& subject,
                  std::size_t bytes = 0) {
    std::string mail = simpleMail(subject);
    for (std::size_t size = 0; size < bytes; size += 72) {
      mail += std::string(70, 'x') + "\r\n";
    }
    outside.account.add(uid, std::move(mail));
  }

  // Every step of a run that begins like this, each as a kill and as a power cut. With `only`, the
  // steps whose words contain it.
  void killEverywhere(const DiskImage& image, Outside& outside, const std::string& only = {}) {
    const Recording run(clock_, image, outside);
    expectAllWell(run, outside, run.disk.steps(), run.disk.image());
    ASSERT_FALSE(HasFailure()) << "without a kill";
    std::size_t points = 0;
    std::set<std::pair<DiskImage, Outside::State>> tried;
    for (std::size_t count = 0; count <= run.disk.steps(); ++count) {
      const std::string last = count > 0 ? run.disk.describe(count - 1) : "the start";
      if (last.find(only) == std::string::npos) {
        continue;
      }
      ++points;
      run.disk.eachExtremeAfter(count, [&](const DiskImage& left, const std::string& how) {
        // Right after the step, and right before the next one.
        for (const std::size_t at : {count > 0 ? count - 1 : count, count}) {
          SCOPED_TRACE("killed after step " + std::to_string(count) + " (" + last + "), " + how);
          if (!HasFailure() && tried.insert({left, run.at(at)}).second) {
            outside.set(run.at(at));
            for (ServerMail& mail : outside.account.mails) {
              mail.seen = mail.seen || outside.readMeanwhile;
            }
            CutDisk disk(clock_, left);
            Program(disk, outside, 3).work();
            expectAllWell(run, outside, count, disk.image());
          }
        }
      });
    }
    EXPECT_GT(points, 0U);
    std::cout << "killed at " << points << " points of " << run.disk.steps() << " steps, in "
              << tried.size() << " states of disk and servers: none lost, " << twice_
              << " arrived twice with the same Message-ID, as the server's acceptance was not on "
              << "the disk yet\n";
  }

  void expectAllWell(const Recording& before, const Outside& after, std::size_t count,
                     const DiskImage& image) {
    std::map<std::string, std::multiset<std::string>> ids;
    for (const Outside::Taken& taken : after.taken) {
      ids[taken.subject].insert(taken.id);
    }
    EXPECT_EQ(ids.size() + after.tooLarge, after.account.mails.size()) << "one was lost";
    std::size_t twice = 0;
    for (const auto& [subject, all] : ids) {
      EXPECT_EQ(all.size(), all.count(*all.begin())) << subject << " has two Message-IDs";
      EXPECT_LE(all.size(), before.isNoted(subject, count) ? 1U : 2U) << subject;
      twice += all.size() - 1;
    }
    EXPECT_LE(twice, 1U) << "more than one was on its way";
    twice_ += twice;
    for (const ServerMail& mail : after.account.mails) {
      EXPECT_TRUE(mail.seen) << mail.uid;
    }
    std::multiset<std::string> refused;
    for (const auto& [path, bytes] : image.files) {
      for (const char* part : {"/tmp/", "/new/"}) {
        EXPECT_FALSE(path.starts_with(kOutbox + part)) << path;
      }
      EXPECT_EQ(path.find("/fetched-"), path.npos) << path;
      if (path.starts_with(kOutbox + "/failed/") && !path.ends_with(".txt") &&
          !path.ends_with(".tmp")) {
        refused.insert(fieldOf(bytes, "Subject"));
      }
    }
    if (after.refusesOne) {
      EXPECT_EQ(refused.size(), ids.size()) << testing::PrintToString(refused);
    }
  }

  FakeClock clock_;
  std::size_t twice_ = 0;
};

TEST_F(AccountCrashTest, AKillAtAnyStepOfTheDiskLosesNothing) {
  Outside outside;
  for (std::uint32_t uid = 1; uid <= 3; ++uid) {
    add(outside, uid, "m" + std::to_string(uid));
  }
  killEverywhere(freshDisk(), outside);
  EXPECT_GT(twice_, 0U) << "no kill fell between an acceptance and its note";
}

TEST_F(AccountCrashTest, AKillBetweenTheFatesOfTwoRecipientsSettlesEachOnce) {
  Outside outside;
  outside.refusesOne = true;
  add(outside, 1, "m1");
  add(outside, 2, "m2");
  killEverywhere(freshDisk(), outside);
}

// The messages were forwarded, but could not be marked: only the journal and their identities keep
// them from being forwarded again under their new numbers.
TEST_F(AccountCrashTest, AKillWhileAFolderIsKnownAgainAfterARenumberingForwardsNothingAnew) {
  Outside outside;
  add(outside, 1, "m1");
  add(outside, 2, "m2");
  outside.account.instead = [](const std::string& tag, const std::string& command) {
    return command.starts_with("UID STORE") ? std::optional(tag + " NO full\r\n") : std::nullopt;
  };
  CutDisk disk(clock_, freshDisk());
  {
    Program program(disk, outside, 1);
    program.work();
  }
  ASSERT_EQ(outside.taken.size(), 2U);
  ASSERT_FALSE(outside.account.find(1)->seen);
  outside.account.instead = {};
  outside.account.uidValidity = 8;
  for (ServerMail& mail : outside.account.mails) {
    mail.uid += 100;
  }
  add(outside, 200, "m3");
  outside.account.mails.back().date = "20-Nov-2026 15:30:00 +0000";
  killEverywhere(disk.image(), outside);
}

TEST_F(AccountCrashTest, AKillWhileALargeMessageIsFetchedLeavesNothingBehind) {
  Outside outside;
  add(outside, 1, "m1", kBodyInMemory + (std::size_t{1} << 16));
  outside.tooLarge = 1;
  killEverywhere(freshDisk(), outside, "fetched");
}

// A message that is fetched again writes over what was left of it, and then removes it. One that is
// not leaves its beginning to the next start.
TEST_F(AccountCrashTest, AKillWhileALargeMessageIsFetchedForTheLastTimeLeavesNothingBehind) {
  Outside outside;
  add(outside, 1, "m1", kBodyInMemory + (std::size_t{1} << 16));
  outside.tooLarge = 1;
  outside.readMeanwhile = true;
  killEverywhere(freshDisk(), outside, "fetched");
}

}  // namespace
}  // namespace relaybird
