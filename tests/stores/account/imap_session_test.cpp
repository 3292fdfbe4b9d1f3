// SPDX-License-Identifier: MIT
// The life of a connection: when it is opened and opened again, how long is waited for what, and
// the end. Idling is in imap_session_idle_test.cpp, what is fetched in imap_session_fetch_test.cpp,
// read marks in imap_session_marks_test.cpp.
#include <gmock/gmock.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "stores/account/imap_session_fixture.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using namespace std::chrono_literals;

class ImapSessionTest : public ImapSessionFixture {};

TEST_F(ImapSessionTest, DoesNotConnectBeforeAnythingIsWanted) {
  session_->close();
  EXPECT_FALSE(runUntil([] { return false; }));
  EXPECT_EQ(network_.connections(), 0U);
}

TEST_F(ImapSessionTest, FindsTheUnreadMessages) {
  account_.find(3)->seen = true;
  EXPECT_EQ(refresh(), Wanted::kThere);
  EXPECT_THAT(unseen(), ElementsAre(1, 2, 4, 5));
  EXPECT_TRUE(session_->status().up);
  EXPECT_EQ(accepted_, 1);
  EXPECT_THAT(account_.commands,
              ElementsAre("CAPABILITY", "ID (\"name\" \"Relaybird\" \"version\" \"1.0\")",
                          "SELECT \"INBOX\"", HasSubstr("UID SEARCH")));
}

TEST_F(ImapSessionTest, AsksOnceForEachFurtherRefreshAndIdlesInBetween) {
  refresh();
  runUntil([&] { return account_.count("IDLE") == 1; });
  account_.add(9, simpleMail("new"));
  account_.commands.clear();
  EXPECT_EQ(refresh(), Wanted::kThere);
  EXPECT_THAT(unseen(), ElementsAre(1, 2, 3, 4, 5, 9));
  EXPECT_THAT(account_.commands, ElementsAre("DONE", "NOOP", HasSubstr("UID SEARCH")));
}

TEST_F(ImapSessionTest, ConnectsAgainByItself) {
  refresh();
  network_.end(0).close();
  EXPECT_TRUE(runUntil([&] { return network_.connections() == 2 && session_->status().up; }));
  EXPECT_EQ(failure(), "");
}

// Connections that end at once, and the pauses between them.
class FailingServerTest : public ImapSessionTest {
 protected:
  std::vector<std::chrono::milliseconds> pauses(std::size_t count) {
    arrange_ = [](ServerEnd& end) { end.dropAfterSaying(0); };
    const std::size_t before = network_.connections();
    auto last = network_.steadyTime();
    network_.end(before - 1).close();
    std::vector<std::chrono::milliseconds> found;
    for (std::size_t i = 1; i <= count; ++i) {
      EXPECT_TRUE(runUntil([&] { return network_.connections() == before + i; }, 30min));
      found.push_back(network_.steadyTime() - std::exchange(last, network_.steadyTime()));
    }
    return found;
  }
};

TEST_F(FailingServerTest, PausesDoubleUpToTenMinutes) {
  refresh();
  EXPECT_THAT(pauses(11),
              ElementsAre(5s, 10s, 20s, 40s, 80s, 160s, 320s, 10min, 10min, 10min, 10min));
}

// Many programs must not return to a server at the same moment.
TEST_F(FailingServerTest, PausesVaryByAQuarter) {
  refresh();
  chance_ = '\0';
  EXPECT_THAT(pauses(3), ElementsAre(3750ms, 7500ms, 15s));
  arrange_ = {};
  ASSERT_TRUE(runUntil([&] { return session_->status().up; }, 30min));
  runUntil([] { return false; }, 2min);
  chance_ = '\xff';
  EXPECT_THAT(pauses(2), ElementsAre(6240ms, 12480ms));
}

// A connection that lasted for hours without a word counted with those that failed before it, so
// the next one was opened after minutes.
TEST_F(FailingServerTest, AConnectionThatLastedEndsTheGrowthOfThePauses) {
  refresh();
  pauses(5);
  arrange_ = {};
  ASSERT_TRUE(runUntil([&] { return session_->status().idles; }, 30min));
  runUntil([] { return false; }, 1s);
  // The session has nothing to do meanwhile, and is not woken.
  for (const auto until = network_.steadyTime() + 2min; network_.steadyTime() < until;) {
    network_.wait(until - network_.steadyTime());
  }
  EXPECT_EQ(pauses(1).front(), 5s);
}

TEST_F(ImapSessionTest, TellsWhyItCannotConnect) {
  network_.serve({});
  EXPECT_EQ(refresh(), Wanted::kFailed);
  EXPECT_THAT(failure(), HasSubstr("imap.example.org"));
  // A request soon after fails at once, with the same words.
  EXPECT_EQ(refresh(), Wanted::kFailed);
  EXPECT_EQ(network_.connections(), 1U);
}

// The next try by itself may be minutes away.
TEST_F(FailingServerTest, ARequestIsTriedAtOnceUnlessATryHasJustFailed) {
  refresh();
  pauses(7);
  runUntil([] { return false; }, 1min);
  arrange_ = {};
  const auto begin = network_.steadyTime();
  EXPECT_EQ(refresh(), Wanted::kThere);
  EXPECT_EQ(network_.steadyTime(), begin);
}

TEST_F(ImapSessionTest, WithoutASecretItIsToldWhetherAnotherTryIsOfUse) {
  using Cause = SignInFailure::Cause;
  for (const auto& [cause, code] : {std::pair{Cause::kMissing, kNoSecretYet},
                                    {Cause::kDeclined, kNoSecretYet},
                                    {Cause::kRefused, kLogonRefused},
                                    {Cause::kFailed, 0}}) {
    missing_ = SignInFailure{cause, "there is no password"};
    EXPECT_EQ(refresh(), Wanted::kFailed);
    EXPECT_EQ(session_->status().failure->code, code);
    EXPECT_THAT(failure(), HasSubstr("there is no password"));
    runUntil([] { return false; }, 1min);
  }
  EXPECT_EQ(network_.connections(), 0U);
}

TEST_F(ImapSessionTest, DoesNotRepeatARefusedSignIn) {
  arrange_ = [](ServerEnd& end) {
    end.fail({ConnectFailure::Cause::kSignInRefused, ConnectStep::kSignIn,
              "the server refused the user name or password", "NO [AUTHENTICATIONFAILED] no"});
  };
  EXPECT_EQ(refresh(), Wanted::kFailed);
  EXPECT_EQ(refused_, 1);
  EXPECT_EQ(session_->status().failure->code, kLogonRefused);
  EXPECT_THAT(failure(), HasSubstr("signing in"));
  EXPECT_THAT(failure(), HasSubstr("The server said: NO [AUTHENTICATIONFAILED] no"));
  mark(1);
  EXPECT_FALSE(runUntil([&] { return network_.connections() > 1; }, 120min));
}

// A server that offers other ways to sign in has not seen the secret.
TEST_F(ImapSessionTest, ASecretThatWasNotSentIsNotSpent) {
  arrange_ = [](ServerEnd& end) {
    end.fail({ConnectFailure::Cause::kSignInRefused, ConnectStep::kSignIn,
              "imap.example.org does not offer to sign in with a password", ""});
  };
  EXPECT_EQ(refresh(), Wanted::kFailed);
  EXPECT_EQ(refused_, 0);
  EXPECT_EQ(session_->status().failure->code, kLogonRefused);
}

TEST_F(ImapSessionTest, FailsWhereTheFolderIsRefused) {
  account_.instead = [&](const std::string& tag, const std::string& command) {
    return command.starts_with("SELECT") ? std::optional<std::string>(tag + " NO not yours\r\n")
                                         : std::nullopt;
  };
  EXPECT_EQ(refresh(), Wanted::kFailed);
  EXPECT_THAT(failure(), HasSubstr("the folder INBOX cannot be opened: not yours"));
}

TEST_F(ImapSessionTest, GivesUpAServerThatDoesNotAnswer) {
  for (const char* command : {"CAPABILITY", "SELECT", "UID SEARCH"}) {
    account_.instead = [command](const std::string&, const std::string& heard) {
      return heard.starts_with(command) ? std::optional<std::string>("") : std::nullopt;
    };
    session_ = std::make_unique<ImapSession>(world());
    const auto begin = network_.steadyTime();
    EXPECT_EQ(refresh(), Wanted::kFailed) << command;
    EXPECT_THAT(failure(), HasSubstr("does not answer")) << command;
    EXPECT_LE(network_.steadyTime() - begin, 2 * kSearchSilenceLimit + kSilenceLimit) << command;
  }
}

// Each connection that was opened to it counted as one that had lasted.
TEST_F(ImapSessionTest, GivesUpAServerThatNeverAnswersASearch) {
  account_.instead = [](const std::string&, const std::string& command) {
    return command.starts_with("UID SEARCH") ? std::optional<std::string>("") : std::nullopt;
  };
  EXPECT_EQ(refresh(), Wanted::kFailed);
  EXPECT_EQ(network_.connections(), 2U);
}

// A large folder could never be read: the connection was dropped while the server searched.
TEST_F(ImapSessionTest, WaitsForAServerThatOpensAndSearchesSlowly) {
  account_.capabilities = "IMAP4rev1";
  account_.instead = [&](const std::string& tag, const std::string& command) {
    std::string answer;
    if (command.starts_with("SELECT")) {
      answer = "* 1 EXISTS\r\n* OK [UIDVALIDITY 7] x\r\n";
    } else if (command.starts_with("UID SEARCH")) {
      answer = "* SEARCH 4\r\n";
    } else {
      return std::optional<std::string>();
    }
    network_.after(2min,
                   [this, answer = answer + tag + " OK\r\n"] { network_.end(0).say(answer); });
    return std::optional<std::string>("");
  };
  EXPECT_EQ(refresh(), Wanted::kThere) << failure();
  EXPECT_THAT(unseen(), ElementsAre(4));
  EXPECT_EQ(network_.connections(), 1U);
}

TEST_F(ImapSessionTest, AsksOneSearchAtATime) {
  refresh();
  const auto ask = [](ImapWork& work) { return work.wantRefresh(); };
  EXPECT_EQ(session_->work(ask), session_->work(ask)) << "none was sent since the first request";
  refresh();
  account_.instead = [&](const std::string&, const std::string& command) {
    return command.starts_with("UID SEARCH") ? std::optional<std::string>("") : std::nullopt;
  };
  account_.commands.clear();
  for (int i = 0; i < 20; ++i) {
    session_->work([](ImapWork& work) { work.wantRefresh(); });
    network_.wake();  // the step would wait for the answer
    session_->step();
  }
  EXPECT_EQ(network_.connections(), 1U);
  EXPECT_EQ(account_.count("UID SEARCH"), 1U);
}

TEST_F(ImapSessionTest, GivesUpAServerThatTrickles) {
  arrange_ = [](ServerEnd& end) { end.trickle(1, 20s); };
  const auto begin = network_.steadyTime();
  EXPECT_EQ(refresh(), Wanted::kFailed);
  EXPECT_LE(network_.steadyTime() - begin, kReplyLimit + kConnectLimit);
}

TEST_F(ImapSessionTest, KeepsAServerThatAnswersSlowlyButAnswersEach) {
  arrange_ = [](ServerEnd& end) { end.trickle(8, 20s); };
  const auto begin = network_.steadyTime();
  EXPECT_EQ(refresh(), Wanted::kThere);
  EXPECT_GT(network_.steadyTime() - begin, kReplyLimit);
  EXPECT_EQ(network_.connections(), 1U);
}

TEST_F(ImapSessionTest, EndsOnByeAndConnectsAgain) {
  refresh();
  EXPECT_TRUE(runUntil([&] { return session_->status().idles; }));
  network_.end(0).say("* BYE shutting down\r\n");
  network_.end(0).close();
  EXPECT_TRUE(runUntil([&] { return !session_->status().up; }));
  EXPECT_THAT(failure(), HasSubstr("it has ended the connection: shutting down"));
  EXPECT_FALSE(session_->status().idles);
  EXPECT_TRUE(runUntil([&] { return session_->status().up; }));
}

TEST_F(ImapSessionTest, EndsOnWhatCannotBeRead) {
  refresh();
  network_.end(0).say("* 1 FETCH (BODY[] {99999999999}\r\n");
  EXPECT_TRUE(runUntil([&] { return !session_->status().up; }));
  EXPECT_THAT(failure(), HasSubstr("impossible size"));
}

TEST_F(ImapSessionTest, BearsOddDataAtAnyTime) {
  account_.instead = [&](const std::string& tag, const std::string& command) {
    network_.end(network_.connections() - 1)
        .say(
            "* 2 EXPUNGE\r\n* VANISHED 77\r\n* 5 EXISTS\r\n* 3 FETCH (FLAGS (\\Seen))\r\nx9 OK\r\n"
            "* THREAD (1)(2)\r\n* OK [ALERT] look\r\nrubbish\r\n+ what\r\n* 1 FETCH (" +
            std::string(1000, '(') + "\r\n* FETCH\r\n");
    (void)tag;
    (void)command;
    return std::optional<std::string>();
  };
  EXPECT_EQ(refresh(), Wanted::kThere);
  EXPECT_THAT(unseen(), ElementsAre(1, 2, 3, 4, 5));
  EXPECT_EQ(subject(2), "m2");
  EXPECT_EQ(body(2), simpleMail("m2"));
  mark(2);
  EXPECT_TRUE(runUntilMarked(2));
  EXPECT_TRUE(account_.find(2)->seen);
  EXPECT_EQ(network_.connections(), 1U);
}

TEST_F(ImapSessionTest, ForgetsEverythingWhenTheFolderIsNumberedAnew) {
  refresh();
  const auto before = session_->look([](const ImapWork& work) { return work.generation(); });
  mark(1);
  account_.uidValidity = 8;
  network_.end(0).close();
  EXPECT_TRUE(runUntil([&] {
    return session_->look([](const ImapWork& work) { return work.generation(); }) != before;
  }));
  runUntil([&] { return session_->status().idles; });
  EXPECT_FALSE(account_.find(1)->seen);
}

TEST_F(ImapSessionTest, ConnectsAgainWhenTheNumbersChangeUnderIt) {
  refresh();
  account_.uidValidity = 8;
  network_.end(0).say("* OK [UIDVALIDITY 8] changed\r\n");
  EXPECT_TRUE(runUntil([&] {
    return session_->status().up &&
           session_->look([](const ImapWork& work) { return work.uidValidity(); }) == 8;
  }));
}

TEST_F(ImapSessionTest, SaysGoodbyeAfterTheLastMarks) {
  refresh();
  mark(3);
  const auto begin = network_.steadyTime();
  session_->close();
  EXPECT_FALSE(runUntil([] { return false; }));
  EXPECT_TRUE(account_.find(3)->seen);
  EXPECT_EQ(account_.commands.back(), "LOGOUT");
  EXPECT_EQ(network_.steadyTime(), begin) << "marks wait for others only while there is time";
}

TEST_F(ImapSessionTest, TriesRefusedMarksOneByOneBeforeItSaysGoodbye) {
  refresh();
  account_.instead = [](const std::string& tag, const std::string& command) {
    return command.starts_with("UID STORE 1:3 ") ? std::optional<std::string>(tag + " NO full\r\n")
                                                 : std::nullopt;
  };
  for (const std::uint32_t uid : {1U, 2U, 3U}) {
    mark(uid);
  }
  session_->close();
  EXPECT_FALSE(runUntil([] { return false; }));
  EXPECT_TRUE(account_.find(1)->seen && account_.find(2)->seen && account_.find(3)->seen);
  EXPECT_EQ(account_.commands.back(), "LOGOUT");
}

// The keyring may be asking the user for its password.
TEST_F(ImapSessionTest, WhatIsAskedForTheSignInHearsOfTheEnd) {
  bool told = false;
  whileSigningIn_ = [&](const std::stop_token& stop) {
    EXPECT_FALSE(stop.stop_requested());
    session_->close();
    told = stop.stop_requested();
  };
  session_->work([](ImapWork& work) { work.wantRefresh(); });
  EXPECT_FALSE(runUntil([] { return false; }));
  EXPECT_TRUE(told);
}

TEST_F(ImapSessionTest, ClosesInTimeWhereTheServerHangs) {
  refresh();
  network_.end(0).hang();
  mark(3);
  const auto begin = network_.steadyTime();
  session_->close();
  EXPECT_FALSE(runUntil([] { return false; }));
  EXPECT_LE(network_.steadyTime() - begin, kFarewellLimit + 1s);
}

// The window froze for half a minute.
TEST_F(ImapSessionTest, ClosesAtOnceWhileItIsConnecting) {
  class Silent : public ServerScript {
   public:
    void connecting(ServerEnd&) override {}
    void heard(ServerEnd&, std::string_view) override {}
  };
  network_.serve([](ServerEnd&) { return std::make_unique<Silent>(); });
  session_->work([](ImapWork& work) { work.wantRefresh(); });
  session_->step();
  ASSERT_EQ(network_.connections(), 1U);
  const auto begin = network_.steadyTime();
  session_->close();
  int steps = 0;
  while (session_->step() && steps < 100) {
    ++steps;
  }
  EXPECT_LT(steps, 3);
  EXPECT_EQ(network_.steadyTime(), begin);
  EXPECT_TRUE(network_.end(0).abandoned());
}

// The first connection is lost at each of its bytes; on later ones all is well.
class DroppingServerTest : public ImapSessionTest {
 protected:
  // Runs a whole session for each byte, and returns how many there were.
  int dropAtEveryByte(void (ServerEnd::*dropAfter)(std::size_t)) {
    int sessions = 0;
    for (std::size_t bytes = 0; !HasFatalFailure(); ++bytes) {
      SCOPED_TRACE("drop after " + std::to_string(bytes));
      const std::size_t first = network_.connections();
      arrange_ = [&, dropped = false](ServerEnd& end) mutable {
        if (!std::exchange(dropped, true)) {
          (end.*dropAfter)(bytes);
        }
      };
      runASession();
      ++sessions;
      if (network_.connections() == first + 1) {
        break;  // so much does not pass on the first connection
      }
    }
    return sessions;
  }

 private:
  void runASession() {
    for (ServerMail& mail : account_.mails) {
      mail.seen = false;
    }
    session_ = std::make_unique<ImapSession>(world());
    int tries = 0;
    while (refresh() != Wanted::kThere && ++tries < 5) {
      runUntil([] { return false; }, 10s);
    }
    ASSERT_LT(tries, 5);
    ASSERT_EQ(unseen().size(), 5U);
    ASSERT_EQ(subject(4), "m4");
    ASSERT_EQ(body(4), simpleMail("m4"));
    mark(4);
    ASSERT_TRUE(runUntilMarked(4));
    ASSERT_TRUE(account_.find(4)->seen);
  }
};

TEST_F(DroppingServerTest, SurvivesADropAtEveryByteThatTheServerSays) {
  EXPECT_GT(dropAtEveryByte(&ServerEnd::dropAfterSaying), 500);
}

TEST_F(DroppingServerTest, SurvivesADropAtEveryByteThatTheServerHears) {
  EXPECT_GT(dropAtEveryByte(&ServerEnd::dropAfterHearing), 300);
}

}  // namespace
}  // namespace relaybird
