// SPDX-License-Identifier: MIT
// Answers that refuse: some recipients, one message, or everything for a while; and what is told of
// it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include "outbox/delivery/delivery_settlement.h"
#include "outbox/delivery/smtp_transport.h"
#include "outbox/smtp_world.h"

namespace relaybird {
namespace {

using std::chrono::minutes;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

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
      EXPECT_THAT(world.notices[0], HasSubstr("tried again in some hours"));
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

}  // namespace
}  // namespace relaybird
