// SPDX-License-Identifier: MIT
// Servers and connections that fail: every answer and failure at every step, a drop at every byte,
// servers that hang, trickle or talk nonsense, and a stop of the program in the middle.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include "outbox/delivery/smtp_transport.h"
#include "outbox/smtp_world.h"

namespace relaybird {
namespace {

using std::chrono::minutes;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

// The steps at which the server fails for the second of three messages, and how.
// The first three belong to the opening of the connection, which is the Network's. What that makes
// of the answers is in smtp_opening_test.cpp.
const std::vector<std::string> kVerbs = {"greeting", "STARTTLS", "AUTH", "EHLO", "MAIL",
                                         "RCPT",     "DATA",     "END",  "RSET", "QUIT"};
const std::vector<std::string> kAnswers = {"421", "450", "451",  "452",  "454", "550",
                                           "552", "554", "drop", "hang", "cut"};

bool opens(const std::string& verb) {
  return verb == "greeting" || verb == "STARTTLS" || verb == "AUTH";
}

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

TEST(SmtpTransport, EveryWaitHasItsLimit) {
  struct Row {
    std::string verb;
    std::chrono::milliseconds limit;
  };
  for (const Row& row : {Row{"EHLO", kSmtpEnvelopeLimit}, Row{"MAIL", kSmtpEnvelopeLimit},
                         Row{"RCPT", kSmtpEnvelopeLimit}, Row{"DATA", kSmtpDataLimit},
                         Row{"END", kSmtpEndLimit}, Row{"QUIT", kSmtpLinger + kSmtpQuitLimit}}) {
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

// The recipient that was refused was forgotten, as if the whole message might have arrived.
TEST(SmtpTransport, ALostAnswerDoesNotHideARecipientThatWasRefusedForTheTimeBeing) {
  SmtpWorld world;
  world.server.fault = [](const SmtpMoment& moment) -> std::optional<SmtpFault> {
    if (moment.verb == "RCPT" && moment.argument.find("full@") != std::string::npos) {
      return SmtpFault{.reply = "450 mailbox busy"};
    }
    return moment.verb == "END" ? std::optional(SmtpFault{.drop = true}) : std::nullopt;
  };
  FewMessages feed;
  feed.recipients = {"good@example.org", "full@example.org"};
  world.transport->deliverAll(feed, {});
  ASSERT_THAT(feed.told, SizeIs(1));
  const Outcome& outcome = feed.told[0].outcome;
  EXPECT_EQ(outcome.kind, Outcome::Kind::kUnknown);
  ASSERT_THAT(outcome.refused, SizeIs(1));
  EXPECT_EQ(outcome.refused[0].address, "full@example.org");
  EXPECT_FALSE(outcome.refused[0].permanent);
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

}  // namespace
}  // namespace relaybird
