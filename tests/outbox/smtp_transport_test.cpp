// SPDX-License-Identifier: MIT
// Delivery to an SMTP server, from the outbox on disk to what the server has taken: what each
// answer and each failure at each step comes to.
#include "outbox/delivery/smtp_transport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <map>

#include "outbox/delivery/delivery_settlement.h"
#include "outbox/delivery/smtp_words.h"
#include "outbox/delivery_fixture.h"
#include "outbox/smtp_server.h"

namespace relaybird {
namespace {

using std::chrono::minutes;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

// One run of the program's delivery, with a disk, a server and a clock of its own.
struct SmtpWorld {
  explicit SmtpWorld(bool pipelining = true) {
    disk.clock.set(std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now()));
    server.pipelining = pipelining;
    network.serve([this](ServerEnd& end) {
      if (prepare) {
        prepare(end, network.connections() - 1);
      }
      return onConnect ? onConnect(network.connections() - 1)
                       : server.script(network.connections() - 1);
    });
    outbox = disk.open();
    restart();
  }
  void restart() {
    worker.reset();
    transport = std::make_unique<SmtpTransport>(SmtpTransport::Setting{
        {MailProtocol::kSmtp, "smtp.example.org", 465, Security::kTls, ""},
        signIn,
        [this] { return std::make_unique<BorrowedNetwork>(network, onSend); },
        [this](const ProtocolLine& line) {
          trace.push_back((line.sent ? "> " : "< ") + line.text);
        }});
    worker.emplace(
        DeliveryWorker::Setting{disk.disk, disk.clock, *outbox, transport.get(), executor, events,
                                [this](const StoreNotice& told) { notices.push_back(told.line); }});
  }
  static std::string sender(int number) { return "ann" + std::to_string(number) + "@example.org"; }
  static std::string text(int number, const std::string& to = "bob@example.org") {
    return "From: " + sender(number) + "\nBcc: " + to + "\nSubject: message " +
           std::to_string(number) + "\nMessage-ID: <" + std::to_string(number) +
           "@id>\n\n.dot\n..\nbody\n";
  }
  void send(int number, const std::string& to = "bob@example.org") {
    ASSERT_TRUE(outbox->send("entry " + std::to_string(number),
                             "<" + std::to_string(number) + "@id>", writes(text(number, to))));
  }
  void sendMany(int count) {
    for (int number = 1; number <= count; ++number) {
      send(number);
    }
  }
  void flush() {
    worker->flush(nullptr);
    events.runUntilIdle();
  }
  // Flushes until all has had its chance.
  void flushForADay() {
    for (int i = 0; i < 30 && waiting() > 0; ++i) {
      disk.clock.advance(minutes{60});
      flush();
    }
  }
  std::size_t waiting() { return disk.names("new").size(); }
  // Messages that are on record as handed over, whether their files are gone or not.
  std::size_t recordedDeliveries() {
    const std::string journal = readBytes(disk.journal);
    std::size_t count = 0;
    for (std::size_t at = 0; (at = journal.find(" delivered ", at)) != journal.npos; ++at) {
      ++count;
    }
    return count;
  }
  std::size_t journalSyncs() {
    const auto record = disk.files.record();
    return static_cast<std::size_t>(
        std::count(record.begin(), record.end(), "sync " + disk.journal));
  }
  std::size_t failed() { return disk.names("failed").size() / 2; }

  OutboxWorld disk;
  FakeEventQueue events;
  InlineExecutor executor;
  ScriptedNetwork network;
  SmtpServer server;
  std::function<std::unique_ptr<ServerScript>(std::size_t)> onConnect;
  std::function<void(ServerEnd&, std::size_t)> prepare;
  BorrowedNetwork::OnSend onSend;
  std::optional<SmtpTransport::SignInCalls> signIn;
  std::vector<std::string> notices;
  std::vector<std::string> trace;
  std::unique_ptr<Outbox> outbox;
  std::unique_ptr<SmtpTransport> transport;
  std::optional<DeliveryWorker> worker;
};

TEST(SmtpTransport, SendsASeriesOnOneConnectionByteForByte) {
  for (const bool pipelining : {true, false}) {
    SmtpWorld world(pipelining);
    world.sendMany(3);
    world.flush();
    EXPECT_EQ(world.network.connections(), 1u);
    ASSERT_THAT(world.server.taken, SizeIs(3));
    EXPECT_EQ(world.server.taken[1].sender, "ann2@example.org");
    EXPECT_THAT(world.server.taken[1].recipients, ElementsAre("bob@example.org"));
    EXPECT_EQ(world.server.taken[1].text,
              "From: ann2@example.org\r\nSubject: message 2\r\nMessage-ID: <2@id>\r\n\r\n"
              ".dot\r\n..\r\nbody\r\n");
    EXPECT_THAT(world.server.violations, IsEmpty());
    EXPECT_EQ(world.server.commands.back(), "QUIT");
    EXPECT_EQ(std::count(world.server.commands.begin(), world.server.commands.end(), "RSET"),
              pipelining ? 2 : 0);
    EXPECT_EQ(world.waiting(), 0u);
  }
}

TEST(SmtpTransport, WhatTheServerHasTakenIsOnRecordBeforeTheNextTextLeaves) {
  for (const bool pipelining : {true, false}) {
    SmtpWorld world(pipelining);
    std::vector<std::size_t> recorded;
    std::vector<std::size_t> durable;
    world.sendMany(4);
    world.disk.files.reset();
    world.onSend = [&](std::string_view bytes) {
      if (bytes.find("Subject: message") != bytes.npos) {
        recorded.push_back(world.recordedDeliveries());
        durable.push_back(world.journalSyncs());
      }
    };
    world.flush();
    EXPECT_THAT(recorded, ElementsAre(0, 1, 2, 3)) << "or a kill sends two a second time";
    // The wait for the disk comes after the next commands: with pipelining these are the text.
    EXPECT_THAT(durable, ElementsAreArray(pipelining ? std::vector<std::size_t>{0, 0, 1, 2}
                                                     : std::vector<std::size_t>{0, 1, 2, 3}));
    EXPECT_EQ(world.journalSyncs(), 4u);
    EXPECT_EQ(world.waiting(), 0u);
  }
}

// The steps at which the server fails for the second of three messages, and how.
// The first three belong to the opening of the connection, which is the Network's.
const std::vector<std::string> kVerbs = {"greeting", "STARTTLS", "AUTH", "EHLO", "MAIL",
                                         "RCPT",     "DATA",     "END",  "RSET", "QUIT"};
const std::vector<std::string> kAnswers = {"421", "450", "451",  "452",  "454", "550",
                                           "552", "554", "drop", "hang", "cut"};

SmtpFault faultOf(const std::string& answer) {
  SmtpFault fault;
  fault.drop = answer == "drop";
  fault.hang = answer == "hang";
  fault.cut = answer == "cut";
  if (answer[0] >= '0' && answer[0] <= '9') {
    fault.reply = answer + " no";
  }
  return fault;
}

bool opens(const std::string& verb) {
  return verb == "greeting" || verb == "STARTTLS" || verb == "AUTH";
}

// Fails to open as a Network does that meets the answer at that step.
class NeverOpen : public ServerScript {
 public:
  NeverOpen(std::string verb, std::string answer)
      : verb_(std::move(verb)), answer_(std::move(answer)) {}
  void connecting(ServerEnd& end) override {
    using Cause = ConnectFailure::Cause;
    if (answer_ == "hang") {
      return;
    }
    const bool temporary = answer_[0] == '4';
    ConnectFailure failure;
    failure.step = verb_ == "AUTH"       ? ConnectStep::kSignIn
                   : verb_ == "STARTTLS" ? ConnectStep::kEncrypt
                                         : ConnectStep::kConnect;
    failure.cause = answer_ == "drop"     ? Cause::kClosed
                    : answer_ == "cut"    ? Cause::kTls
                    : temporary           ? Cause::kBusy
                    : verb_ == "AUTH"     ? Cause::kSignInRefused
                    : verb_ == "STARTTLS" ? Cause::kNoEncryption
                                          : Cause::kProtocol;
    failure.words = "It failed";
    failure.answer = faultOf(answer_).reply;
    end.fail(failure);
  }
  void heard(ServerEnd&, std::string_view) override {}

 private:
  std::string verb_;
  std::string answer_;
};

// What has to become of the three messages in the first series: d delivered, k kept for a later
// try, f failed, u unknown, w waits untried.
std::string expectedFate(const std::string& verb, const std::string& answer) {
  const bool permanent = answer[0] == '5';
  const bool temporary = answer[0] == '4';
  if (verb == "EHLO" || opens(verb)) {
    return "kww";
  }
  if (verb == "RSET" || verb == "QUIT") {
    return "ddd";
  }
  if (permanent) {
    return "dfd";
  }
  if (verb == "END") {
    return temporary ? "dkd" : "dud";
  }
  return answer == "421" ? "dkw" : "dkd";
}

std::string fateOf(SmtpWorld& world, int number) {
  const std::string title = "message " + std::to_string(number) + "\"";
  for (const std::string& notice : world.notices) {
    if (notice.find(title) == notice.npos) {
      continue;
    }
    return notice.starts_with("Handed over")           ? "d"
           : notice.starts_with("Refused for good")    ? "f"
           : notice.starts_with("Sent, but no answer") ? "u"
                                                       : "k";
  }
  return "w";
}

void tryCell(const std::string& verb, const std::string& answer, bool pipelining,
             std::string& shown) {
  SCOPED_TRACE(verb + " answered by " + answer + (pipelining ? ", pipelining" : ", lockstep"));
  SmtpWorld world(pipelining);
  world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
    const bool always = verb == "EHLO" || verb == "RSET" || verb == "QUIT";
    const bool hit = moment.verb == verb || (verb == "EHLO" && moment.verb == "HELO");
    if (hit && (always || moment.sender == SmtpWorld::sender(2))) {
      return faultOf(answer);
    }
    return std::nullopt;
  };
  if (opens(verb)) {
    world.onConnect = [&](std::size_t) { return std::make_unique<NeverOpen>(verb, answer); };
  }
  world.sendMany(3);
  world.flush();
  for (int number = 1; number <= 3; ++number) {
    shown += fateOf(world, number);
  }
  EXPECT_EQ(shown, expectedFate(verb, answer));
  world.server.fault = nullptr;
  world.onConnect = nullptr;
  world.flushForADay();
  const bool answerLost = shown == "dud";
  EXPECT_EQ(world.server.count(SmtpWorld::sender(1)), 1u);
  EXPECT_EQ(world.server.count(SmtpWorld::sender(2)), shown[1] == 'f' ? 0u : answerLost ? 2u : 1u);
  EXPECT_EQ(world.server.count(SmtpWorld::sender(3)), 1u);
  EXPECT_EQ(world.failed(), shown[1] == 'f' ? 1u : 0u);
  EXPECT_EQ(world.waiting(), 0u);
  EXPECT_THAT(world.server.violations, IsEmpty());
}

TEST(SmtpTransport, EveryAnswerAndFailureAtEveryStepHasItsOutcome) {
  std::printf(
      "The fates of three messages, of which the second meets the answer:\n"
      "d delivered, k kept, f failed, u unknown, w waits untried\n\n%-16s",
      "");
  for (const std::string& answer : kAnswers) {
    std::printf(" %-4s", answer.c_str());
  }
  std::printf("\n");
  for (const bool pipelining : {true, false}) {
    for (const std::string& verb : kVerbs) {
      std::printf("%-8s %-11s", verb.c_str(), pipelining ? "pipelining" : "lockstep");
      for (const std::string& answer : kAnswers) {
        std::string shown;
        tryCell(verb, answer, pipelining, shown);
        std::printf(" %-4s", shown.c_str());
      }
      std::printf("\n");
    }
  }
}

// The connection is lost when so many bytes were heard, or said; on later ones all is well.
void tryDrop(bool pipelining, bool heard, std::size_t bytes, std::map<std::size_t, int>& counted) {
  SCOPED_TRACE((heard ? "heard " : "said ") + std::to_string(bytes) +
               (pipelining ? ", pipelining" : ", lockstep"));
  SmtpWorld world(pipelining);
  world.prepare = [&](ServerEnd& end, std::size_t connection) {
    if (connection == 0 && heard) {
      end.dropAfterHearing(bytes);
    } else if (connection == 0) {
      end.dropAfterSaying(bytes);
    }
  };
  world.sendMany(3);
  world.flush();
  const std::size_t before = world.server.taken.size();
  const bool unknown =
      fateOf(world, 1) == "u" || fateOf(world, 2) == "u" || fateOf(world, 3) == "u";
  world.flushForADay();
  for (int number = 1; number <= 3; ++number) {
    EXPECT_GE(world.server.count(SmtpWorld::sender(number)), 1u);
  }
  // Nothing is doubled but the one message whose answer was lost, and that once.
  EXPECT_LE(world.server.taken.size(), unknown ? 4u : 3u);
  EXPECT_EQ(world.waiting(), 0u);
  EXPECT_EQ(world.failed(), 0u);
  ++counted[world.server.taken.size()];
  EXPECT_LE(before, 3u);
}

TEST(SmtpTransport, ADropAtEveryByteLosesNothingAndDoublesOnlyWhatLostItsAnswer) {
  std::map<std::size_t, int> counted;
  for (const bool pipelining : {true, false}) {
    SmtpWorld whole(pipelining);
    whole.sendMany(3);
    whole.flush();
    const std::size_t heard = whole.network.end(0).heard().size();
    ASSERT_GT(heard, 450u);
    std::size_t said = 0;
    for (const std::string& line : whole.trace) {
      said += line.starts_with("< ") ? line.size() : 0;
    }
    ASSERT_GT(said, 250u);
    for (std::size_t bytes = 0; bytes <= heard && !testing::Test::HasFailure(); ++bytes) {
      tryDrop(pipelining, true, bytes, counted);
    }
    for (std::size_t bytes = 0; bytes <= said && !testing::Test::HasFailure(); ++bytes) {
      tryDrop(pipelining, false, bytes, counted);
    }
  }
  EXPECT_GT(counted[3], 1000);
  EXPECT_GT(counted[4], 50) << "no drop fell between a text and its answer";
}

TEST(SmtpTransport, AServersLimitOfMessagesAConnectionLosesAndDoublesNothing) {
  struct Way {
    std::string verb;
    SmtpFault fault;
    std::size_t most;
  };
  const SmtpFault close{.reply = "", .drop = true, .hang = false, .cut = false};
  for (const bool pipelining : {true, false}) {
    for (const Way& way : {Way{"MAIL", {.reply = "421 4.7.0 too many messages"}, 20},
                           Way{"MAIL", {.reply = "451 4.7.1 too many messages in a session"}, 20},
                           Way{"MAIL", {.reply = "450 no more"}, 7},
                           Way{"RCPT", {.reply = "452 4.5.3 too many recipients this session"}, 9},
                           Way{"DATA", {.reply = "421 enough"}, 3}, Way{"MAIL", close, 20},
                           Way{"RSET", close, 1}, Way{"MAIL", {.reply = "421 one"}, 1}}) {
      SCOPED_TRACE(way.verb + " " + way.fault.reply + (pipelining ? ", pipelining" : ", lockstep"));
      SmtpWorld world(pipelining);
      world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
        if (moment.verb == way.verb && moment.taken >= way.most) {
          return way.fault;
        }
        return std::nullopt;
      };
      world.sendMany(50);
      world.flush();
      EXPECT_THAT(world.server.taken, SizeIs(50));
      EXPECT_EQ(world.waiting(), 0u);
      EXPECT_THAT(world.server.violations, IsEmpty());
      std::map<std::string, int> each;
      for (const TakenMessage& message : world.server.taken) {
        ++each[message.sender];
      }
      EXPECT_THAT(each, SizeIs(50));
    }
  }
}

TEST(SmtpTransport, WhileTheQueueIsLongThereAreUpToThreeConnectionsAndFewerWhereRefused) {
  for (const std::size_t most : {1u, 2u, 3u, 9u}) {
    for (const std::string how : {"busy", "greeting", "MAIL"}) {
      SCOPED_TRACE(std::to_string(most) + " connections, then " + how);
      SmtpWorld world;
      world.onConnect = [&](std::size_t connection) -> std::unique_ptr<ServerScript> {
        if (how == "busy" && connection >= most) {
          return std::make_unique<NeverOpen>("greeting", "421");
        }
        return world.server.script(connection);
      };
      world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
        const bool here = (how == "greeting" && moment.verb == "EHLO") || moment.verb == how;
        if (here && moment.connection >= most) {
          return SmtpFault{.reply = "421 4.7.0 too many connections"};
        }
        return std::nullopt;
      };
      world.sendMany(60);
      world.flush();
      EXPECT_THAT(world.server.taken, SizeIs(60));
      EXPECT_EQ(world.waiting(), 0u);
      EXPECT_THAT(world.notices, Not(Contains(StartsWith("Kept"))));
      EXPECT_LE(world.network.connections(), most >= 3 ? 3u : most + 2);
      if (most >= 3) {
        EXPECT_EQ(world.network.connections(), 3u);
      }
    }
  }
  SmtpWorld few;
  few.sendMany(5);
  few.flush();
  EXPECT_EQ(few.network.connections(), 1u);
}

TEST(SmtpTransport, ThrottlingHoldsEverythingBackInsteadOfTryingEachMessage) {
  for (const std::string reply : {"421 4.7.0 slow down", "450 4.7.28 unusual rate of mail",
                                  "451 too many messages", "452 4.7.1 rate limit exceeded"}) {
    for (const std::string verb : {"MAIL", "RCPT", "DATA", "END"}) {
      SCOPED_TRACE(verb + " " + reply);
      SmtpWorld world;
      int refusals = 0;
      world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
        if (moment.verb != verb) {
          return std::nullopt;
        }
        ++refusals;
        return SmtpFault{.reply = reply};
      };
      world.sendMany(5);
      world.flush();
      EXPECT_LE(refusals, 2);
      EXPECT_EQ(world.waiting(), 5u);
      ASSERT_THAT(world.notices, SizeIs(1));
      EXPECT_THAT(world.notices[0], HasSubstr("how much mail may leave"));
      world.server.fault = nullptr;
      world.disk.clock.advance(minutes{2});
      world.flush();
      EXPECT_THAT(world.server.taken, SizeIs(5));
    }
  }
}

TEST(SmtpTransport, OneMessageThatIsAlwaysToldToSlowDownBlocksNoOther) {
  for (const std::string reply : {"450 4.7.28 unusual rate of mail", "421 4.7.0 slow down"}) {
    for (const std::string verb : {"RCPT", "DATA", "END"}) {
      SCOPED_TRACE(verb + " " + reply);
      SmtpWorld world;
      world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
        const bool meant = moment.verb == verb && moment.sender == SmtpWorld::sender(1);
        return meant ? std::optional(SmtpFault{.reply = reply}) : std::nullopt;
      };
      world.sendMany(4);
      world.flush();
      world.disk.clock.advance(minutes{1});
      world.flush();
      EXPECT_THAT(world.server.taken, SizeIs(3));
      // Neither does it hold up what comes when it has been refused for long.
      for (int hour = 0; hour < 10; ++hour) {
        world.disk.clock.advance(minutes{60});
        world.flush();
      }
      world.send(5);
      world.flush();
      world.disk.clock.advance(minutes{1});
      world.flush();
      EXPECT_THAT(world.server.taken, SizeIs(4));
      world.disk.clock.advance(kGiveUpAfter);
      world.flush();
      EXPECT_EQ(world.failed(), 1u);
    }
  }
}

TEST(SmtpTransport, NoMessageIsGivenUpWhileTheAccountIsToldToSlowDown) {
  SmtpWorld world;
  world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
    const bool meant = moment.verb == "END";
    return meant ? std::optional(SmtpFault{.reply = "450 4.7.28 unusual rate"}) : std::nullopt;
  };
  world.sendMany(3);
  for (int day = 0; day < 8; ++day) {
    world.flushForADay();
  }
  EXPECT_EQ(world.waiting(), 3u);
  EXPECT_EQ(world.failed(), 0u);
  world.server.fault = nullptr;
  world.flushForADay();
  EXPECT_THAT(world.server.taken, SizeIs(3));
}

TEST(SmtpTransport, AQuotaOfTheAccountPutsNoMessageIntoFailed) {
  for (const std::string reply : {"550 5.4.5 Daily user sending quota exceeded",
                                  "550 5.7.233 tenant external recipient rate limit exceeded",
                                  "554 5.2.0 STOREDRV.Submission.SubmissionQuotaExceeded",
                                  "550 5.7.705 Access denied, tenant has exceeded threshold",
                                  "554 You have reached your daily limit"}) {
    for (const std::string verb : {"MAIL", "RCPT", "DATA", "END"}) {
      SCOPED_TRACE(verb + " " + reply);
      SmtpWorld world;
      world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
        return moment.verb == verb ? std::optional(SmtpFault{.reply = reply}) : std::nullopt;
      };
      world.sendMany(4);
      for (int minute = 0; minute < 120; ++minute) {
        world.flush();
        world.disk.clock.advance(minutes{1});
      }
      EXPECT_EQ(world.waiting(), 4u);
      EXPECT_EQ(world.failed(), 0u);
      EXPECT_LE(world.network.connections(), 3u);
      ASSERT_THAT(world.notices, SizeIs(1));
      EXPECT_THAT(world.notices[0], HasSubstr("later by itself"));
      world.server.fault = nullptr;
      world.disk.clock.advance(kRetryAfterLimit);
      world.flush();
      EXPECT_THAT(world.server.taken, SizeIs(4));
    }
  }
}

TEST(SmtpTransport, ARecipientThatMeetsTheAccountsQuotaIsTriedAgainAndNotGivenUp) {
  SmtpWorld world;
  world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
    const bool outside = moment.verb == "RCPT" && moment.argument.find("cid") != std::string::npos;
    return outside ? std::optional(SmtpFault{.reply = "550 5.7.233 external limit"}) : std::nullopt;
  };
  world.send(1, "bob@example.org, cid@example.net");
  world.flush();
  EXPECT_EQ(world.failed(), 0u);
  EXPECT_EQ(world.waiting(), 1u);
  world.server.fault = nullptr;
  world.flushForADay();
  ASSERT_THAT(world.server.taken, SizeIs(2));
  EXPECT_THAT(world.server.taken[1].recipients, ElementsAre("cid@example.net"));
}

TEST(SmtpTransport, GreylistingConcernsOneMessage) {
  SmtpWorld world;
  world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
    if (moment.verb == "RCPT" && moment.sender == SmtpWorld::sender(1)) {
      return SmtpFault{.reply = "450 4.7.1 Greylisted, try again in five minutes"};
    }
    return std::nullopt;
  };
  world.sendMany(3);
  world.flush();
  EXPECT_THAT(world.server.taken, SizeIs(2));
  EXPECT_EQ(world.network.connections(), 1u);
}

TEST(SmtpTransport, AServerThatBreaksDownAtGroupsDoublesOneMessageAndNoMore) {
  SmtpWorld world;
  world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
    const bool breaks = moment.verb == "END" && moment.more;
    return breaks ? std::optional(SmtpFault{.drop = true}) : std::nullopt;
  };
  world.sendMany(6);
  world.flush();
  world.flushForADay();
  EXPECT_EQ(world.waiting(), 0u);
  EXPECT_THAT(world.server.taken, SizeIs(7));
  EXPECT_EQ(world.server.count(SmtpWorld::sender(1)), 2u);
}

TEST(SmtpTransport, EachRecipientKeepsItsOwnAnswer) {
  for (const bool pipelining : {true, false}) {
    SmtpWorld world(pipelining);
    world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
      if (moment.argument.find("gone@") != std::string::npos) {
        return SmtpFault{.reply = "550 5.1.1 no such user"};
      }
      if (moment.argument.find("full@") != std::string::npos) {
        return SmtpFault{.reply = "450 4.2.1 busy"};
      }
      return std::nullopt;
    };
    world.send(1, "good@example.org, gone@example.org, full@example.org");
    world.send(2);
    world.flush();
    ASSERT_THAT(world.server.taken, SizeIs(2));
    EXPECT_THAT(world.server.taken[0].recipients, ElementsAre("good@example.org"));
    EXPECT_EQ(world.failed(), 1u);
    EXPECT_EQ(world.waiting(), 1u);
    EXPECT_THAT(world.notices,
                Contains(HasSubstr("smtp.example.org refuses the recipient gone@example.org: 550 "
                                   "5.1.1 no such user The address does not exist")));
    world.server.fault = nullptr;
    world.flushForADay();
    ASSERT_THAT(world.server.taken, SizeIs(3));
    EXPECT_THAT(world.server.taken[2].recipients, ElementsAre("full@example.org"));
  }
}

TEST(SmtpTransport, AServerThatWantsATextThoughItRefusedEverybodyGetsALoneDot) {
  for (const bool pipelining : {true, false}) {
    SmtpWorld world(pipelining);
    world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
      if (moment.sender != SmtpWorld::sender(1)) {
        return std::nullopt;
      }
      if (moment.verb == "RCPT") {
        return SmtpFault{.reply = "550 no such user"};
      }
      if (moment.verb == "DATA") {
        return SmtpFault{.reply = "354 go on all the same"};
      }
      return std::nullopt;
    };
    world.sendMany(2);
    world.flush();
    EXPECT_EQ(world.failed(), 1u);
    ASSERT_THAT(world.server.taken, SizeIs(1));
    EXPECT_EQ(world.server.taken[0].sender, SmtpWorld::sender(2));
    EXPECT_THAT(world.server.violations, IsEmpty());
  }
}

TEST(SmtpTransport, AnErrorForTheSenderOutranksWhatIsSaidOfTheCommandsAfterIt) {
  SmtpWorld world;
  world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
    if (moment.verb == "MAIL") {
      return SmtpFault{.reply = "550 5.7.60 not your address"};
    }
    return std::nullopt;
  };
  world.send(1);
  world.flush();
  EXPECT_EQ(world.failed(), 1u);
  EXPECT_THAT(world.notices[0], HasSubstr("refuses the sender: 550 5.7.60 not your address"));
  EXPECT_THAT(world.notices[0], HasSubstr("may not send under this address"));
}

TEST(SmtpTransport, WhatAServerCannotTakeIsRefusedBeforeAnythingIsSaidOfIt) {
  struct Row {
    std::string message;
    std::string words;
  };
  const std::string from = "From: ann@example.org\nBcc: bob@example.org\nSubject: s\n\n";
  for (const Row& row :
       {Row{from + std::string(3000, 'x') + "\n", "lines that mail must not have"},
        Row{from + "one\rtwo\n", "characters or lines"},
        Row{from + std::string("a\0b\n", 4), "characters or lines"},
        Row{"From: ann@example.org\nBcc: j\xc3\xb6rg@example.org\nSubject: s\n\nx\n",
            "does not offer SMTPUTF8"},
        Row{from + std::string(60, 'x') + "\n" + std::string(900, 'y') + "\n",
            "5.3.4 smtp.example.org takes messages of up to 1 MB"}}) {
    SmtpWorld world;
    world.server.capabilities = {"SIZE 1000"};
    ASSERT_TRUE(world.outbox->send("entry", "id", writes(row.message)));
    world.flush();
    EXPECT_EQ(world.failed(), 1u);
    ASSERT_THAT(world.notices, SizeIs(1));
    EXPECT_THAT(world.notices[0], HasSubstr(row.words));
    EXPECT_THAT(world.server.commands, Not(Contains(StartsWith("MAIL"))));
  }
}

TEST(SmtpTransport, SaysSizeAndEightBitsAndForeignLettersWhereTheServerKnowsThem) {
  SmtpWorld world;
  ASSERT_TRUE(world.outbox->send(
      "entry", "id",
      writes("From: ann@example.org\nBcc: j\xc3\xb6rg@example.org\nSubject: s\n\n\xc3\xb6\n.\n")));
  world.flush();
  ASSERT_THAT(world.server.taken, SizeIs(1));
  const std::string& text = world.server.taken[0].text;
  EXPECT_THAT(world.server.commands,
              Contains("MAIL FROM:<ann@example.org> SIZE=" + std::to_string(text.size()) +
                       " BODY=8BITMIME SMTPUTF8"));
}

TEST(SmtpTransport, ALargeMessagePassesThroughSmallBuffersAndIsAloneInMemory) {
  SmtpWorld world;
  world.prepare = [](ServerEnd& end, std::size_t) {
    end.acceptAtMost(5000);
    end.keepUnreadBelow(100);
  };
  std::string body;
  while (body.size() < 3'000'000) {
    body += ".a line of a large attachment, and some more of it\n";
  }
  ASSERT_TRUE(world.outbox->send("entry", "id", writes(world.text(7) + body)));
  world.sendMany(3);
  world.flush();
  ASSERT_THAT(world.server.taken, SizeIs(4));
  EXPECT_EQ(world.server.taken[0].text.size() % 100, (world.server.taken[0].text.size()) % 100);
  EXPECT_THAT(world.server.taken[0].text,
              HasSubstr("\r\n.a line of a large attachment, and some more of it\r\n"));
  EXPECT_GT(world.server.taken[0].text.size(), body.size());
  EXPECT_EQ(world.waiting(), 0u);
}

TEST(SmtpTransport, EveryWaitHasItsLimit) {
  struct Row {
    std::string verb;
    std::chrono::milliseconds limit;
  };
  for (const Row& row : {Row{"EHLO", kSmtpEnvelopeLimit}, Row{"MAIL", kSmtpEnvelopeLimit},
                         Row{"RCPT", kSmtpEnvelopeLimit}, Row{"DATA", kSmtpDataLimit},
                         Row{"END", kSmtpEndLimit}, Row{"QUIT", kSmtpQuitLimit}}) {
    SCOPED_TRACE(row.verb);
    SmtpWorld world(false);
    world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
      return moment.verb == row.verb ? std::optional(SmtpFault{.hang = true}) : std::nullopt;
    };
    world.send(1);
    const auto begin = world.network.steadyTime();
    world.flush();
    EXPECT_GE(world.network.steadyTime() - begin, row.limit);
    EXPECT_LE(world.network.steadyTime() - begin, row.limit + std::chrono::seconds{1});
  }
}

TEST(SmtpTransport, AServerThatTricklesItsAnswerForEverIsLeft) {
  SmtpWorld world;
  world.server.capabilities = {std::string(3000, 'x')};
  world.prepare = [](ServerEnd& end, std::size_t) { end.trickle(1, std::chrono::seconds{30}); };
  world.send(1);
  const auto begin = world.network.steadyTime();
  world.flush();
  EXPECT_LE(world.network.steadyTime() - begin, kSmtpEnvelopeLimit + std::chrono::minutes{1});
  EXPECT_THAT(world.notices, ElementsAre(HasSubstr("did not answer in time to the greeting")));
}

TEST(SmtpTransport, NonsenseAndEndlessAnswersEndTheConnection) {
  for (const std::string& reply :
       {std::string("hello there"), std::string("250-and\r\n550 other"), std::string("999 what"),
        std::string("354 too early"), "250 " + std::string(100'000, 'x'), [] {
          std::string lines;
          for (int i = 0; i < 3000; ++i) {
            lines += "250-" + std::string(100, 'x') + "\r\n";
          }
          return lines + "250 end";
        }()}) {
    SmtpWorld world;
    world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
      return moment.verb == "MAIL" ? std::optional(SmtpFault{.reply = reply}) : std::nullopt;
    };
    world.send(1);
    world.flush();
    ASSERT_THAT(world.notices, SizeIs(1)) << reply.substr(0, 40);
    EXPECT_THAT(world.notices[0],
                StartsWith("Kept for a later try: \"message 1\": smtp.example.org: "
                           "It "));
    EXPECT_THAT(world.server.taken, IsEmpty());
  }
}

// Fails to sign in for all secrets but one.
struct SignInDesk {
  explicit SignInDesk(SmtpWorld& of) : world(of) {
    world.signIn = SmtpTransport::SignInCalls{
        [this](std::stop_token) -> Result<SignIn> {
          ++asked;
          if (secrets.empty()) {
            return Error{0, "The server has refused the password. Enter a new one"};
          }
          return SignIn{"ann", SignInMethod::kPassword, Secret(secrets.front())};
        },
        [this] {
          ++refused;
          secrets.erase(secrets.begin());
        },
        [this] { ++accepted; }, [this] { ++triedAgain; }};
    world.onConnect = [this](std::size_t connection) -> std::unique_ptr<ServerScript> {
      const auto& given = world.network.end(connection).signIn();
      if (!given || given->secret.bytes() != "right") {
        return std::make_unique<NeverOpen>("AUTH", "535");
      }
      return world.server.script(connection);
    };
    world.restart();
  }
  SmtpWorld& world;
  std::vector<std::string> secrets;
  int asked = 0;
  int refused = 0;
  int accepted = 0;
  int triedAgain = 0;
};

TEST(SmtpTransport, ARefusedSignInIsTriedOnceMoreWithAFreshSecretAndThenEverythingWaits) {
  SmtpWorld world;
  SignInDesk desk(world);
  desk.secrets = {"wrong", "wrong too", "and again"};
  world.sendMany(30);
  world.flush();
  EXPECT_EQ(world.network.connections(), 2u);
  EXPECT_EQ(desk.refused, 2);
  ASSERT_THAT(world.notices, SizeIs(1));
  EXPECT_THAT(world.notices[0], HasSubstr("smtp.example.org: It failed: 535 no The provider"));
  EXPECT_THAT(world.notices[0], HasSubstr("app password"));
  desk.secrets.clear();
  world.flushForADay();
  EXPECT_EQ(world.network.connections(), 2u) << "there was nothing new to sign in with";
  EXPECT_THAT(world.notices, SizeIs(2));
  EXPECT_EQ(world.waiting(), 30u);
  desk.secrets = {"right"};
  world.worker->tryAgain(nullptr);
  world.events.runUntilIdle();
  EXPECT_EQ(desk.triedAgain, 1);
  EXPECT_GT(desk.accepted, 0);
  EXPECT_EQ(world.waiting(), 0u);
}

// Keeps the client waiting for its sign-in.
class SlowToOpen : public ServerScript {
 public:
  explicit SlowToOpen(std::vector<ServerEnd*>& ends) : ends_(ends) {}
  void connecting(ServerEnd& end) override { ends_.push_back(&end); }
  void heard(ServerEnd&, std::string_view) override {}

 private:
  std::vector<ServerEnd*>& ends_;
};

TEST(SmtpTransport, AGoodSecretIsNotTakenForTheOldOneThatTwoConnectionsWereRefusedFor) {
  SmtpWorld world;
  SignInDesk desk(world);
  desk.secrets = {"expired", "right", "never needed"};
  std::vector<ServerEnd*> slow;
  world.onConnect = [&](std::size_t connection) -> std::unique_ptr<ServerScript> {
    if (connection == 1 || connection == 2) {
      return std::make_unique<SlowToOpen>(slow);
    }
    return world.server.script(connection);
  };
  world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
    if (moment.verb != "END" || moment.connection > 0 || slow.size() < 2) {
      return std::nullopt;
    }
    for (ServerEnd* end : slow) {
      end->fail({.cause = ConnectFailure::Cause::kSignInRefused,
                 .step = ConnectStep::kSignIn,
                 .words = "It was refused",
                 .answer = "535 no"});
    }
    return SmtpFault{.drop = true};
  };
  world.sendMany(30);
  world.flush();
  EXPECT_THAT(slow, SizeIs(2));
  EXPECT_EQ(desk.refused, 1);
  EXPECT_EQ(world.waiting(), 1u) << "the message whose answer got lost";
}

TEST(SmtpTransport, AnExpiredTokenIsReplacedWithoutAWord) {
  SmtpWorld world;
  SignInDesk desk(world);
  desk.secrets = {"expired", "right"};
  world.sendMany(3);
  world.flush();
  EXPECT_THAT(world.server.taken, SizeIs(3));
  EXPECT_THAT(world.notices, Not(Contains(StartsWith("Kept"))));
}

TEST(SmtpTransport, AfterALongOutageMailLeavesWithinMinutes) {
  SmtpWorld world;
  bool reached = false;
  world.onConnect = [&](std::size_t connection) -> std::unique_ptr<ServerScript> {
    return reached ? world.server.script(connection)
                   : std::make_unique<NeverOpen>("greeting", "drop");
  };
  world.send(1);
  for (int minute = 0; minute < 250; ++minute) {
    world.flush();
    world.disk.clock.advance(minutes{1});
  }
  EXPECT_THAT(world.notices, SizeIs(1));
  reached = true;
  world.disk.clock.advance(kLongestRetryOfConnection);
  world.flush();
  EXPECT_EQ(world.waiting(), 0u);
}

TEST(SmtpTransport, AReasonIsToldOnceThoughTheServerNumbersItsAnswers) {
  SmtpWorld world;
  int number = 0;
  world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
    return moment.verb == "END" ? std::optional(SmtpFault{.reply = "450 4.7.28 unusual rate id" +
                                                                   std::to_string(++number)})
                                : std::nullopt;
  };
  world.sendMany(3);
  world.flushForADay();
  EXPECT_GT(number, 10);
  EXPECT_THAT(world.notices, SizeIs(1));
}

TEST(SmtpTransport, MessagesThatWaitForTheirTimeOpenNoConnectionsForOne) {
  SmtpWorld world;
  std::string verb = "END";
  std::string reply = "450 4.7.28 unusual rate";
  world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
    return moment.verb == verb && (verb == "END" || moment.sender != SmtpWorld::sender(1))
               ? std::optional(SmtpFault{.reply = reply})
               : std::nullopt;
  };
  // From now on what was tried comes last.
  world.send(1);
  world.flush();
  world.disk.clock.advance(minutes{1});
  verb = "RCPT";
  reply = "450 4.2.1 busy";
  for (int number = 2; number <= 10; ++number) {
    world.send(number);
  }
  world.flush();
  ASSERT_EQ(world.waiting(), 9u);
  world.server.fault = nullptr;
  const std::size_t before = world.network.connections();
  world.send(11);
  world.flush();
  EXPECT_EQ(world.waiting(), 9u);
  EXPECT_EQ(world.network.connections(), before + 1);
}

TEST(SmtpTransport, FailuresToConnectNameServerAndStepAndSayWhatToDo) {
  using Cause = ConnectFailure::Cause;
  struct Row {
    Cause cause;
    ConnectStep step;
    std::string words;
  };
  for (const Row& row :
       {Row{Cause::kNoSuchHost, ConnectStep::kResolve, "no server of this name"},
        Row{Cause::kNotReached, ConnectStep::kConnect, "cannot be reached"},
        Row{Cause::kNoEncryption, ConnectStep::kEncrypt, "does not offer the encryption"},
        Row{Cause::kCertificate, ConnectStep::kEncrypt, "certificate cannot be trusted"},
        Row{Cause::kTls, ConnectStep::kEncrypt, "could not be encrypted"},
        Row{Cause::kBusy, ConnectStep::kSignIn, "turns connections away"},
        Row{Cause::kProtocol, ConnectStep::kConnect, "does not speak"},
        Row{Cause::kTimedOut, ConnectStep::kConnect, "in time"},
        Row{Cause::kClosed, ConnectStep::kConnect, "ended the connection"}}) {
    const std::string told =
        connectWords({MailProtocol::kSmtp, "smtp.example.org", 587, Security::kStartTls, ""},
                     {row.cause, row.step, "smtp.example.org did this", "554 server words"});
    EXPECT_THAT(told, StartsWith("smtp.example.org did this: 554 server words\n"));
    EXPECT_THAT(told, HasSubstr(row.words));
  }
}

// Messages from nowhere, whose verdicts the test looks at.
struct FewMessages : MessageFeed {
  std::optional<FedMessage> next() override {
    if (given == most) {
      return std::nullopt;
    }
    return FedMessage{++given, {{"a@example.org", {"b@example.org"}}, "s", "text\n"}};
  }
  void report(std::vector<Verdict> verdicts) override {
    std::move(verdicts.begin(), verdicts.end(), std::back_inserter(told));
  }
  void makeDurable() override {}
  void putBack(std::uint64_t) override {}
  std::size_t waiting() const override { return 0; }
  std::uint64_t most = 1;
  std::uint64_t given = 0;
  std::vector<Verdict> told;
};

TEST(SmtpTransport, WhatIsHandedOutIsRecordedDurablyBeforeItsTextIsComplete) {
  struct Watched : FewMessages {
    void makeDurable() override { durable = given; }
    std::uint64_t durable = 0;
  } feed;
  feed.most = 40;
  for (const bool pipelining : {true, false}) {
    SmtpWorld world(pipelining);
    std::uint64_t texts = 0;
    world.onSend = [&](std::string_view bytes) {
      texts += bytes.find("text\r\n") != bytes.npos ? 1 : 0;
      EXPECT_LE(texts, feed.durable);
    };
    feed.given = feed.durable = 0;
    world.transport->deliverAll(feed, {});
    EXPECT_EQ(texts, feed.most);
  }
}

TEST(SmtpTransport, AStopWaitsForAServerThatExaminesTheMessageForSomeSeconds) {
  SmtpWorld world;
  std::stop_source stop;
  world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
    if (moment.verb != "END") {
      return std::nullopt;
    }
    stop.request_stop();
    world.network.after(std::chrono::seconds{3},
                        [&] { world.network.end(0).say("250 2.0.0 taken\r\n"); });
    return SmtpFault{.hang = true};
  };
  FewMessages feed;
  world.transport->deliverAll(feed, stop.get_token());
  ASSERT_THAT(feed.told, SizeIs(1));
  EXPECT_EQ(feed.told[0].outcome.kind, Outcome::Kind::kDelivered);
}

TEST(SmtpTransport, AStopReadsTheAnswerAlthoughTheNextEnvelopeIsNotSentWhole) {
  for (const bool answers : {true, false}) {
    SmtpWorld world;
    std::stop_source stop;
    world.prepare = [](ServerEnd& end, std::size_t) { end.acceptAtMost(16); };
    world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
      if (moment.verb != "END") {
        return std::nullopt;
      }
      stop.request_stop();
      return SmtpFault{.reply = answers ? "250 2.0.0 taken" : "", .hang = !answers};
    };
    FewMessages feed;
    feed.most = 2;
    world.transport->deliverAll(feed, stop.get_token());
    EXPECT_EQ(feed.given, 2u);
    ASSERT_THAT(feed.told, SizeIs(1));
    EXPECT_EQ(feed.told[0].number, 1u);
    EXPECT_EQ(feed.told[0].outcome.kind,
              answers ? Outcome::Kind::kDelivered : Outcome::Kind::kUnknown);
  }
}

TEST(SmtpTransport, AStopEndsEveryWaitAtOnceAndWaitsAMomentForAnAnswerThatIsDue) {
  for (const std::string& verb : kVerbs) {
    SCOPED_TRACE(verb);
    SmtpWorld world(false);
    world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
      return moment.verb == verb ? std::optional(SmtpFault{.hang = true}) : std::nullopt;
    };
    if (opens(verb)) {
      world.onConnect = [&](std::size_t) { return std::make_unique<NeverOpen>(verb, "hang"); };
    }
    std::stop_source stop;
    world.network.whenIdle([&] { stop.request_stop(); });
    FewMessages feed;
    const auto begin = world.network.steadyTime();
    world.transport->deliverAll(feed, stop.get_token());
    EXPECT_LE(world.network.steadyTime() - begin, kSmtpStopLimit);
    const bool unknown = verb == "END";
    if (verb == "QUIT" || verb == "RSET") {
      ASSERT_THAT(feed.told, SizeIs(1));
      EXPECT_EQ(feed.told[0].outcome.kind, Outcome::Kind::kDelivered);
    } else {
      ASSERT_THAT(feed.told, SizeIs(unknown ? 1 : 0));
    }
    if (unknown) {
      EXPECT_EQ(feed.told[0].outcome.kind, Outcome::Kind::kUnknown);
    }
  }
}

TEST(SmtpTransport, TheTraceShowsTheProtocolAndNotTheMessage) {
  SmtpWorld world;
  world.send(1);
  world.flush();
  EXPECT_THAT(world.trace, Contains("> MAIL FROM:<ann1@example.org> SIZE=82"))
      << testing::PrintToString(world.trace);
  for (const std::string& line : world.trace) {
    EXPECT_THAT(line, Not(HasSubstr("body")));
    EXPECT_THAT(line, Not(HasSubstr("Subject")));
  }
}

}  // namespace
}  // namespace relaybird
