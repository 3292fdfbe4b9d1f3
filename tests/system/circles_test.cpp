// SPDX-License-Identifier: MIT
// Users who forward to each other, and machines that answer forwards: the whole engine over real
// Maildirs, with a post office between them. Counts the forwards and answers that one message
// causes.
#include <gtest/gtest.h>

#include <iostream>
#include <map>

#include "message/circles.h"
#include "support/mail_text.h"
#include "system/pass_program.h"

namespace relaybird {
namespace {

constexpr int kChecks = 16;

// The program of one mailbox, with its own state folder and key unless others are given.
struct User {
  User(FakeClock& time, const std::string& name, std::vector<std::string> addresses,
       const std::string& state)
      : address(name + "@" + name + ".example"),
        stateFolder(state.empty() ? temp.path("state") : state),
        sleeper(time),
        program(maildirSettings(temp.path("Maildir"), temp.path("outbox"), address), stateFolder,
                disk, std::hash<std::string>()(address), &transport, &time) {
    for (const char* part : {"", "/new", "/cur", "/tmp"}) {
      std::filesystem::create_directory(temp.path("Maildir") + part);
    }
    PreferenceFields& fields = program.prefs.fields();
    fields.mstrFwdToAddress = std::move(addresses);
    fields.mlngMaxToForward = 10000;
    fields.mbolFormatForCellPhone = false;
  }

  void receive(const std::string& bytes) {
    const std::string name = std::to_string(1700000000 + ++received) + ".M1P1.host";
    writeBytes(temp.path("Maildir/new/") + name, bytes);
  }
  // One check; the sent messages are taken from the transport.
  std::vector<OutgoingMessage> check() {
    program.pass();
    return std::exchange(transport.taken, {});
  }
  // How many lines of the log have these words.
  std::size_t told(const std::string& words) const {
    return static_cast<std::size_t>(std::count_if(
        program.log.lines.begin(), program.log.lines.end(),
        [&](const std::string& line) { return line.find(words) != std::string::npos; }));
  }
  std::size_t unread() {
    return static_cast<std::size_t>(
        createAs<Application>(program.store.factory(), prog_id::kApplication)
            ->GetNamespace("MAPI")
            ->GetDefaultInbox()
            ->Items()
            ->Restrict("[Unread]=true")
            ->Count());
  }

  std::string address;
  TempFolder temp;
  std::string stateFolder;
  int received = 0;
  FakeTransport transport;
  RecordingSleeper sleeper;
  UnsyncedDisk disk{sleeper};
  PassProgram program;
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

class Circles : public testing::Test {
 protected:
  // A mailbox without a user: a program answers incoming mail, or keeps it.
  using Machine = std::function<std::optional<std::string>(const OutgoingMessage&)>;

  User& add(const std::string& name, const std::vector<std::string>& forwardsTo,
            const std::string& stateFolder = {}) {
    std::vector<std::string> addresses;
    addresses.reserve(forwardsTo.size());
    for (const std::string& to : forwardsTo) {
      addresses.push_back(to + "@" + to + ".example");
    }
    users_.push_back(std::make_unique<User>(clock_, name, addresses, stateFolder));
    return *users_.back();
  }
  void addMachine(const std::string& name, Machine machine) {
    machines_[name + "@" + name + ".example"] = std::move(machine);
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
              std::max(count.longestChain, traceMarks(HeaderBlock(message.bytes)).size());
          post(message, count);
        }
      }
      clock_.advance(std::chrono::minutes{15});
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
                        gateway(message.bytes));
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

  FakeClock clock_;
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
         std::to_string(std::hash<std::string>()(message.bytes)) + "@echo.example>\n\nI am away.\n";
}

TEST_F(Circles, TwoUsersWhoForwardToEachOtherMakeOneForwardEach) {
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
TEST_F(Circles, AUsersSecondMailboxForwardsWhatHisFirstOneSentIt) {
  User& work = add("work", {"home"});
  User& home = add("home", {"cell", "work"}, work.stateFolder);
  work.receive(news());
  const Count count = run();
  EXPECT_EQ(count.ofEach, (std::vector<std::size_t>{1, 1}));
  EXPECT_EQ(work.told("not forwarded because it is one of your own forwards"), 1U);
  EXPECT_EQ(home.told("not forwarded because it"), 0U);
}

TEST_F(Circles, ThreeUsersInARingMakeOneForwardEach) {
  User& ann = add("ann", {"bob"});
  add("bob", {"cid"});
  add("cid", {"ann"});
  ann.receive(news());
  const Count count = run();
  EXPECT_EQ(count.ofEach, (std::vector<std::size_t>{1, 1, 1}));
  EXPECT_EQ(ann.told("not forwarded because it is one of your own forwards"), 1U);
}

// Each copy takes another path, and no path contains a user twice: one, two and two.
TEST_F(Circles, ThreeUsersWhoAllForwardToEachOtherMakeOneForwardAHop) {
  User& ann = add("ann", {"bob", "cid"});
  add("bob", {"ann", "cid"});
  add("cid", {"ann", "bob"});
  ann.receive(news());
  const Count count = run();
  EXPECT_EQ(count.ofEach, (std::vector<std::size_t>{1, 2, 2}));
  EXPECT_EQ(count.longestChain, 3U);
}

TEST_F(Circles, ARingLongerThanTheLimitEndsAtTheLimit) {
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

TEST_F(Circles, ReportsAndTaskRequestsEndToo) {
  for (const char* kind : {"ReportItem", "TaskRequestItem", "meetingitem"}) {
    User& ann = add(std::string("ann") + kind, {std::string("bob") + kind});
    add(std::string("bob") + kind, {std::string("ann") + kind});
    ann.receive(mailTextOfKind(kind, {}));
  }
  const Count count = run();
  EXPECT_EQ(count.ofEach, (std::vector<std::size_t>{1, 1, 1, 1, 1, 1}));
}

// Some gateways remove unknown fields; only the Message-ID is left.
TEST_F(Circles, WhatAMailingListResendsWithoutItsTraceIsKnownByItsMessageId) {
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

TEST_F(Circles, AMachineThatAnswersEachForwardIsNotForwarded) {
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
      return answerTo(message, fields(fieldOf(message.bytes, "Message-ID")));
    });
    add("ann" + std::to_string(i), {machine}).receive(news());
  }
  const Count count = run();
  EXPECT_EQ(count.ofEach, (std::vector<std::size_t>{1, 1, 1, 1}));
  EXPECT_EQ(count.answers, 4U);
}

TEST_F(Circles, APersonWhoRepliesToAForwardIsForwarded) {
  int replies = 0;
  addMachine("cell", [&](const OutgoingMessage& message) -> std::optional<std::string> {
    if (++replies > 1) {
      return std::nullopt;
    }
    return answerTo(message, "Return-Path: <cell@cell.example>\nIn-Reply-To: " +
                                 fieldOf(message.bytes, "Message-ID") + "\n");
  });
  add("ann", {"cell"}).receive(news());
  EXPECT_EQ(run().forwards, 2U);
}

// Such an answer looks like new mail. It causes one forward in each check and never more; the
// number in an hour is bounded by the limit on forwards to one address, not by the content of the
// mail.
TEST_F(Circles, AMachineWhoseAnswersNameNothingMakesOneForwardACheck) {
  addMachine("echo", [](const OutgoingMessage& message) {
    return answerTo(message, "Return-Path: <machine@echo.example>\nAuto-Submitted: auto-replied\n");
  });
  add("ann", {"echo"}).receive(news());
  EXPECT_EQ(run().forwards, static_cast<std::size_t>(kChecks));
}

// A bounce of a forward that went through two users goes to the second one, and ends there.
TEST_F(Circles, ABounceOfAForwardIsNotForwarded) {
  addMachine("dead", [](const OutgoingMessage& message) {
    return "Return-Path: <>\nFrom: mailer-daemon@dead.example\nTo: " + message.envelope.sender +
           "\nSubject: Undelivered\nAuto-Submitted: auto-replied\n\nNo such user.\n\n" +
           message.bytes;
  });
  User& ann = add("ann", {"bob"});
  User& bob = add("bob", {"dead"});
  ann.receive(news());
  const Count count = run();
  EXPECT_EQ(count.ofEach, (std::vector<std::size_t>{1, 1}));
  EXPECT_EQ(count.answers, 1U);
  EXPECT_EQ(bob.told("or a report about one"), 1U);
}

}  // namespace
}  // namespace relaybird
