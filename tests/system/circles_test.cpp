// SPDX-License-Identifier: MIT
// Users who forward to each other, and machines that answer forwards: the whole engine over real
// Maildirs, and over accounts at IMAP servers that the test plays, with a post office between them.
// Counts the forwards and answers that one message causes.
#include <gtest/gtest.h>

#include <iostream>
#include <map>

#include "engine/engine_house.h"
#include "message/circles.h"
#include "stores/account/account_house.h"
#include "stores/mailbox/mailbox_store.h"
#include "stores/maildir/maildir_house.h"
#include "support/mail_text.h"
#include "support/whole_text.h"
#include "system/pass_program.h"

namespace relaybird {
namespace {

constexpr int kChecks = 16;

std::string addressOf(const std::string& name) {
  return name + "@" + name + ".example";
}

// The program of one mailbox.
class User {
 public:
  User(std::string mailAddress, const std::string& state)
      : address(std::move(mailAddress)), stateFolder(state.empty() ? temp.path("state") : state) {}
  virtual ~User() = default;

  virtual void receive(const std::string& bytes) = 0;
  virtual std::size_t unread() = 0;
  virtual FakeClock& clock() = 0;

  // One check; the sent messages are taken from the transport.
  std::vector<OutgoingMessage> check() {
    pass();
    return std::exchange(transport.taken, {});
  }
  // How many lines of the log have these words.
  std::size_t told(const std::string& words) {
    const std::vector<std::string>& lines = log().lines;
    return static_cast<std::size_t>(std::count_if(
        lines.begin(), lines.end(),
        [&](const std::string& line) { return line.find(words) != std::string::npos; }));
  }

  const std::string address;
  const TempFolder temp;
  const std::string stateFolder;  // has the key; two mailboxes of one user share it

 protected:
  virtual void pass() = 0;
  virtual RecordingLog& log() = 0;
  void forwardTo(const std::vector<std::string>& addresses, PreferenceFields& fields) {
    fields.mstrFwdToAddress = addresses;
    fields.mlngMaxToForward = 10000;
    fields.mbolFormatForCellPhone = false;
  }

  FakeTransport transport;
  int received = 0;
};

class MaildirUser : public User {
 public:
  MaildirUser(const std::string& mailAddress, const std::vector<std::string>& addresses,
              const std::string& state)
      : User(mailAddress, state) {
    for (const char* part : {"", "/new", "/cur", "/tmp"}) {
      std::filesystem::create_directory(temp.path("Maildir") + part);
    }
    forwardTo(addresses, program_.prefs.fields());
  }

  void receive(const std::string& bytes) override {
    const std::string name = std::to_string(1700000000 + ++received) + ".M1P1.host";
    writeBytes(temp.path("Maildir/new/") + name, bytes);
  }
  std::size_t unread() override {
    return static_cast<std::size_t>(
        createAs<Application>(program_.store.factory(), prog_id::kApplication)
            ->GetNamespace("MAPI")
            ->GetDefaultInbox()
            ->Items()
            ->Restrict("[Unread]=true")
            ->Count());
  }
  FakeClock& clock() override { return clock_; }

 private:
  void pass() override { program_.pass(); }
  RecordingLog& log() override { return program_.log; }

  FakeClock clock_;
  RecordingSleeper sleeper_{clock_};
  UnsyncedDisk disk_{sleeper_};
  PassProgram program_{maildirSettings(temp.path("Maildir"), temp.path("outbox"), address),
                       stateFolder,
                       disk_,
                       std::hash<std::string>()(address),
                       &transport,
                       &clock_};
};

// An account, and what its server has.
class AccountUser : public User {
 public:
  AccountUser(const std::string& mailAddress, const std::vector<std::string>& addresses,
              const std::string& state)
      : User(mailAddress, state) {
    house_.keepAlive = [this] {
      house_.events.runUntilIdle();
      return true;
    };
    house_.settings.address = address;
    house_.settings.imap.user = address;
    house_.settings.outbox = temp.path("outbox");
    StoreWorld world = house_.world();
    world.stateFolder = stateFolder;
    world.random = countingRandom(std::hash<std::string>()(address));
    world.notice = [this](const StoreNotice& told) { log_.AddToLog(told.line); };
    auto inbox = std::make_unique<AccountInbox>(house_.settings, world, kServedByCaller);
    inbox_ = inbox.get();
    store_ = std::make_unique<MailboxStore>(std::move(inbox), house_.settings, world,
                                            borrowed(&transport));
    engine_ = std::make_unique<EngineHouse>(store_->factory(), house_.clock, house_.sleeper, log_);
    engine_->forwardEverything();
    forwardTo(addresses, engine_->prefs.fields());
  }

  // A server tells a program that waits in IDLE at once.
  void receive(const std::string& bytes) override {
    std::string lines;
    for (const char c : bytes) {
      lines += c == '\r' ? "" : c == '\n' ? "\r\n" : std::string(1, c);
    }
    house_.account.add(static_cast<std::uint32_t>(++received), std::move(lines));
    if (inbox_->alive()) {
      house_.network.end(house_.network.connections() - 1)
          .say("* " + std::to_string(received) + " EXISTS\r\n");
    }
  }
  std::size_t unread() override {
    const std::vector<ServerMail>& mails = house_.account.mails;
    return static_cast<std::size_t>(std::count_if(
        mails.begin(), mails.end(), [](const ServerMail& mail) { return !mail.seen; }));
  }
  FakeClock& clock() override { return house_.clock; }

 private:
  static constexpr auto kServedByCaller = AccountInbox::Threading::kCaller;

  // The marks reach the server before it ends.
  void pass() override {
    engine_->engine.pass().ForwardMail();
    bool ended = false;
    inbox_->synchronise([&] { ended = true; });
    for (int i = 0; i < 100 && !ended; ++i) {
      inbox_->step();
      house_.events.runUntilIdle();
    }
    EXPECT_TRUE(ended);
  }
  RecordingLog& log() override { return log_; }

  AccountHouse house_;
  RecordingLog log_{&house_.clock};
  AccountInbox* inbox_ = nullptr;
  std::unique_ptr<MailboxStore> store_;
  std::unique_ptr<EngineHouse> engine_;
};

// The messages that one message caused.
struct Count {
  std::size_t forwards = 0;
  std::size_t answers = 0;
  std::size_t longestChain = 0;  // traces
  int lastCheck = 0;             // the last one that forwarded anything
  std::vector<std::size_t> ofEach;
};

std::ostream& operator<<(std::ostream& out, const Count& count) {
  out << count.forwards << " forwards (";
  for (const std::size_t each : count.ofEach) {
    out << ' ' << each;
  }
  return out << " ), " << count.answers << " answers, longest chain " << count.longestChain
             << ", last forward in check " << count.lastCheck;
}

class Circles : public testing::TestWithParam<MailboxKind> {
 protected:
  // A mailbox without a user: a program answers incoming mail, or keeps it.
  using Machine = std::function<std::optional<std::string>(const OutgoingMessage&)>;

  User& add(const std::string& name, const std::vector<std::string>& forwardsTo,
            const std::string& stateFolder = {}) {
    std::vector<std::string> addresses;
    addresses.reserve(forwardsTo.size());
    for (const std::string& to : forwardsTo) {
      addresses.push_back(addressOf(to));
    }
    if (GetParam() == MailboxKind::kAccount) {
      users_.push_back(std::make_unique<AccountUser>(addressOf(name), addresses, stateFolder));
    } else {
      users_.push_back(std::make_unique<MaildirUser>(addressOf(name), addresses, stateFolder));
    }
    return *users_.back();
  }
  void addMachine(const std::string& name, Machine machine) {
    machines_[addressOf(name)] = std::move(machine);
  }

  // Every user checks in turn, that many times; sent mail is in the next inbox at once.
  Count run(int checks = kChecks) {
    Count count;
    count.ofEach.resize(users_.size());
    for (int round = 1; round <= checks; ++round) {
      for (std::size_t i = 0; i < users_.size(); ++i) {
        for (const OutgoingMessage& message : users_[i]->check()) {
          ++count.forwards;
          ++count.ofEach[i];
          count.lastCheck = round;
          count.longestChain =
              std::max(count.longestChain, traceMarks(HeaderBlock(wholeText(message.text))).size());
          post(message, count);
        }
      }
      for (const auto& user : users_) {
        user->clock().advance(std::chrono::minutes{15});
      }
    }
    std::cout << count << '\n';
    return count;
  }

  std::function<std::string(std::string)> gateway = [](std::string bytes) { return bytes; };

 private:
  void post(const OutgoingMessage& message, Count& count) {
    for (const std::string& to : message.envelope.recipients) {
      for (const auto& user : users_) {
        if (user->address == to) {
          user->receive("Return-Path: <" + message.envelope.sender + ">\n" +
                        gateway(wholeText(message.text)));
        }
      }
      const auto machine = machines_.find(to);
      const auto answer = machine == machines_.end() ? std::nullopt : machine->second(message);
      for (const auto& user : users_) {
        if (answer && user->address == message.envelope.sender) {
          ++count.answers;
          user->receive(*answer);
        }
      }
    }
  }

  std::vector<std::unique_ptr<User>> users_;
  std::map<std::string, Machine> machines_;
};

std::string news() {
  MailText mail;
  mail.subject = "Lunch";
  mail.extraFields = "Message-ID: <1@writer.example>\n";
  return "Return-Path: <wren@writer.example>\n" + mailText(mail);
}

std::string answerTo(const OutgoingMessage& message, const std::string& fields) {
  return fields + "From: machine@echo.example\nTo: " + message.envelope.sender +
         "\nSubject: Away: " + message.subject + "\nMessage-ID: <" +
         std::to_string(std::hash<std::string>()(wholeText(message.text))) +
         "@echo.example>\n\nI am away.\n";
}

TEST_P(Circles, TwoUsersWhoForwardToEachOtherMakeOneForwardEach) {
  User& ann = add("ann", {"bob"});
  User& bob = add("bob", {"ann"});
  ann.receive(news());
  const Count count = run();
  EXPECT_EQ(count.ofEach, (std::vector<std::size_t>{1, 1}));
  EXPECT_EQ(count.longestChain, 2U);
  EXPECT_EQ(ann.told("not forwarded because it is one of your own forwards"), 1U);
  EXPECT_EQ(bob.told("not forwarded because it"), 0U);
  EXPECT_EQ(ann.unread(), 1U) << "what came back stays unread";
}

// Two mailboxes of one user share a key, but count as two in a chain.
TEST_P(Circles, AUsersSecondMailboxForwardsWhatHisFirstOneSentIt) {
  User& work = add("work", {"home"});
  User& home = add("home", {"cell", "work"}, work.stateFolder);
  work.receive(news());
  const Count count = run();
  EXPECT_EQ(count.ofEach, (std::vector<std::size_t>{1, 1}));
  EXPECT_EQ(work.told("not forwarded because it is one of your own forwards"), 1U);
  EXPECT_EQ(home.told("not forwarded because it"), 0U);
}

TEST_P(Circles, ThreeUsersInARingMakeOneForwardEach) {
  User& ann = add("ann", {"bob"});
  add("bob", {"cid"});
  add("cid", {"ann"});
  ann.receive(news());
  const Count count = run();
  EXPECT_EQ(count.ofEach, (std::vector<std::size_t>{1, 1, 1}));
  EXPECT_EQ(ann.told("not forwarded because it is one of your own forwards"), 1U);
}

// Each copy takes another path, and no path contains a user twice: one, two and two.
TEST_P(Circles, ThreeUsersWhoAllForwardToEachOtherMakeOneForwardAHop) {
  User& ann = add("ann", {"bob", "cid"});
  add("bob", {"ann", "cid"});
  add("cid", {"ann", "bob"});
  ann.receive(news());
  const Count count = run();
  EXPECT_EQ(count.ofEach, (std::vector<std::size_t>{1, 2, 2}));
  EXPECT_EQ(count.longestChain, 3U);
}

TEST_P(Circles, ARingLongerThanTheLimitEndsAtTheLimit) {
  const std::vector<std::string> names = {"ann", "bob", "cid", "dan", "eve", "fay", "gil"};
  for (std::size_t i = 0; i < names.size(); ++i) {
    User& user = add(names[i], {names[(i + 1) % names.size()]});
    if (i == 0) {
      user.receive(news());
    }
  }
  const Count count = run();
  EXPECT_EQ(count.ofEach, (std::vector<std::size_t>{1, 1, 1, 1, 1, 0, 0}));
  EXPECT_EQ(count.longestChain, kHopLimit);
}

TEST_P(Circles, ReportsAndTaskRequestsEndToo) {
  for (const char* kind : {"ReportItem", "TaskRequestItem", "meetingitem"}) {
    User& ann = add(std::string("ann") + kind, {std::string("bob") + kind});
    add(std::string("bob") + kind, {std::string("ann") + kind});
    ann.receive(mailTextOfKind(kind, {}));
  }
  const Count count = run();
  EXPECT_EQ(count.ofEach, (std::vector<std::size_t>{1, 1, 1, 1, 1, 1}));
}

// Some gateways remove unknown fields; only the Message-ID is left.
TEST_P(Circles, WhatAMailingListResendsWithoutItsTraceIsKnownByItsMessageId) {
  gateway = [](std::string bytes) {
    const std::size_t at = bytes.find("\nX-Relaybird-Trace:");
    std::size_t end = bytes.find('\n', at + 1);
    while (bytes[end + 1] == ' ') {
      end = bytes.find('\n', end + 1);
    }
    return bytes.erase(at, end - at);
  };
  User& ann = add("ann", {"ann"});
  ann.receive(news());
  EXPECT_EQ(run().forwards, 1U);
  EXPECT_EQ(ann.told("not forwarded because it is one of your own forwards"), 1U);
}

TEST_P(Circles, AMachineThatAnswersEachForwardIsNotForwarded) {
  const std::vector<std::function<std::string(const std::string& id)>> kinds = {
      [](const std::string& id) {
        return "Return-Path: <machine@echo.example>\nAuto-Submitted: auto-replied\nIn-Reply-To: " +
               id + "\n";
      },
      [](const std::string& id) {
        return "Return-Path: <>\nReferences: <1@writer.example>\n " + id + "\n";
      },
      [](const std::string& id) {
        return "Auto-Submitted: auto-generated\nReferences: <1@writer.example> " + id + "\n";
      },
      [](const std::string& id) { return "Precedence: auto_reply\nIn-Reply-To: " + id + "\n"; },
  };
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    const std::string machine = "echo" + std::to_string(i);
    addMachine(machine, [fields = kinds[i]](const OutgoingMessage& message) {
      return answerTo(message, fields(fieldOf(wholeText(message.text), "Message-ID")));
    });
    add("ann" + std::to_string(i), {machine}).receive(news());
  }
  const Count count = run();
  EXPECT_EQ(count.ofEach, (std::vector<std::size_t>{1, 1, 1, 1}));
  EXPECT_EQ(count.answers, 4U);
}

TEST_P(Circles, APersonWhoRepliesToAForwardIsForwarded) {
  int replies = 0;
  addMachine("cell", [&](const OutgoingMessage& message) -> std::optional<std::string> {
    if (++replies > 1) {
      return std::nullopt;
    }
    return answerTo(message, "Return-Path: <cell@cell.example>\nIn-Reply-To: " +
                                 fieldOf(wholeText(message.text), "Message-ID") + "\n");
  });
  add("ann", {"cell"}).receive(news());
  EXPECT_EQ(run().forwards, 2U);
}

// Such an answer looks like new mail. It causes one forward in each check and never more; the
// number in an hour is bounded by the limit on forwards to one address, not by the content of the
// mail.
TEST_P(Circles, AMachineWhoseAnswersNameNothingMakesOneForwardACheck) {
  addMachine("echo", [](const OutgoingMessage& message) {
    return answerTo(message, "Return-Path: <machine@echo.example>\nAuto-Submitted: auto-replied\n");
  });
  add("ann", {"echo"}).receive(news());
  EXPECT_EQ(run().forwards, static_cast<std::size_t>(kChecks));
}

// A bounce of a forward that went through two users goes to the second one, and ends there.
TEST_P(Circles, ABounceOfAForwardIsNotForwarded) {
  addMachine("dead", [](const OutgoingMessage& message) {
    return "Return-Path: <>\nFrom: mailer-daemon@dead.example\nTo: " + message.envelope.sender +
           "\nSubject: Undelivered\nAuto-Submitted: auto-replied\n\nNo such user.\n\n" +
           wholeText(message.text);
  });
  User& ann = add("ann", {"bob"});
  User& bob = add("bob", {"dead"});
  ann.receive(news());
  const Count count = run();
  EXPECT_EQ(count.ofEach, (std::vector<std::size_t>{1, 1}));
  EXPECT_EQ(count.answers, 1U);
  EXPECT_EQ(bob.told("or a report about one"), 1U);
}

INSTANTIATE_TEST_SUITE_P(Mailboxes, Circles,
                         testing::Values(MailboxKind::kMaildir, MailboxKind::kAccount),
                         [](const auto& kind) {
                           return kind.param == MailboxKind::kAccount ? "Account" : "Maildir";
                         });

}  // namespace
}  // namespace relaybird
