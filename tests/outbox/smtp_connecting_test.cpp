// SPDX-License-Identifier: MIT
// Connections that are not made: sign-ins that are refused, secrets that change, servers out of
// reach.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include "outbox/delivery/smtp_transport.h"
#include "outbox/delivery/smtp_words.h"
#include "outbox/smtp_world.h"
#include "support/signs_in.h"

namespace relaybird {
namespace {

using std::chrono::minutes;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

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
      auto script = world.server.script(connection);
      return offersSignIn ? std::make_unique<SignsIn>(std::move(script)) : std::move(script);
    };
    world.restart();
  }
  SmtpWorld& world;
  bool offersSignIn = true;
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
  EXPECT_THAT(world.notices[0], HasSubstr("smtp.example.org: It failed: 535 no The server"));
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

TEST(SmtpTransport, AServerThatOffersNoSignInHasAcceptedNoSecret) {
  SmtpWorld world;
  SignInDesk desk(world);
  desk.secrets = {"right"};
  desk.offersSignIn = false;
  world.send(1);
  world.flush();
  EXPECT_EQ(world.waiting(), 0u) << "the delivery goes on without";
  EXPECT_EQ(desk.accepted, 0);
}

// Knows no way to sign in that the client has, so that no secret is sent.
class OtherWaysOnly : public ServerScript {
 public:
  void connecting(ServerEnd& end) override {
    end.fail({.cause = ConnectFailure::Cause::kSignInRefused,
              .step = ConnectStep::kSignIn,
              .words = "smtp.example.org does not offer to sign in with a password",
              .answer = {}});
  }
  void heard(ServerEnd&, std::string_view) override {}
};

TEST(SmtpTransport, ASecretThatWasNotSentIsNotSpent) {
  SmtpWorld world;
  SignInDesk desk(world);
  desk.secrets = {"right"};
  world.onConnect = [](std::size_t) { return std::make_unique<OtherWaysOnly>(); };
  world.send(1);
  world.flush();
  EXPECT_EQ(desk.refused, 0);
  EXPECT_EQ(world.waiting(), 1u);
  EXPECT_THAT(world.notices, SizeIs(1));
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

}  // namespace
}  // namespace relaybird
