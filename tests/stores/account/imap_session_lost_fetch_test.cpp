// SPDX-License-Identifier: MIT
// Heads and bodies whose connection is lost: what is asked for again, and which message is to blame
// when it happens again and again.
#include <gmock/gmock.h>

#include <functional>

#include "stores/account/imap_session_fixture.h"

namespace relaybird {
namespace {

using testing::HasSubstr;
using namespace std::chrono_literals;

class ImapLostFetchTest : public ImapSessionFixture {};

TEST_F(ImapLostFetchTest, FindsAMessageOverWhichTheServerDrops) {
  account_.instead = [&](const std::string&, const std::string& command) {
    if (command.starts_with("UID FETCH") &&
        UidSet::parse(command.substr(10, command.find(' ', 10) - 10))->contains(3)) {
      network_.end(network_.connections() - 1).close();
      return std::optional<std::string>("");
    }
    return std::optional<std::string>();
  };
  refresh();
  session_->work([](ImapWork& work) { work.wantHeads({5, 4, 3, 2, 1}); });
  runUntil([&] { return !session_->look([](const ImapWork& w) { return w.wantsAnything(); }); });
  // The others can be had, though not all of them in the first try.
  for (const std::uint32_t uid : {5U, 4U, 2U, 1U}) {
    if (head(uid) != Wanted::kThere) {
      runUntil([] { return false; }, 1min);
    }
    EXPECT_EQ(subject(uid), "m" + std::to_string(uid));
  }
  std::string words;
  for (int i = 0; i < 5 && words.find("lost whenever") == std::string::npos; ++i) {
    words = subject(3);
    runUntil([] { return false; }, kRefusalPauseAlone);
  }
  EXPECT_EQ(words, "the connection is lost whenever this message is asked for");
}

TEST_F(ImapLostFetchTest, FindsABodyOverWhichTheServerDrops) {
  account_.instead = [&](const std::string&, const std::string& command) {
    if (command.starts_with("UID FETCH 3 ") && command.ends_with("BODY.PEEK[])")) {
      network_.end(network_.connections() - 1).close();
      return std::optional<std::string>("");
    }
    return std::optional<std::string>();
  };
  refresh();
  subject(3);
  std::string words;
  for (int i = 0; i < 5 && words.find("lost whenever") == std::string::npos; ++i) {
    words = body(3);
    runUntil([] { return false; }, kRefusalPauseAlone);
  }
  EXPECT_EQ(words, "the connection is lost whenever this message is fetched");
  EXPECT_EQ(body(2), simpleMail("m2"));
}

// Each of them is asked for once more at once, on the next connection, which counts with the first.
TEST_F(ImapLostFetchTest, AMessageIsGivenUpAfterTwoTriesInWhichTheServerEndsTheConnectionOverIt) {
  struct Ending {
    const char* name;
    int most;  // times that the message is asked for
    std::function<std::string(ServerEnd&)> end;
  };
  for (const Ending& ending :
       {Ending{"closes", 3,
               [](ServerEnd& end) {
                 end.close();
                 return std::string();
               }},
        Ending{"says goodbye", 3, [](ServerEnd&) { return std::string("* BYE sorry\r\n"); }},
        Ending{
            "talks nonsense", 3,
            [](ServerEnd&) { return std::string("* 3 FETCH (BODY[] {99999999999999999999}\r\n"); }},
        Ending{"is cut off by the network", 5, [](ServerEnd& end) {
                 end.fail({ConnectFailure::Cause::kNotReached, ConnectStep::kReady, "reset", ""});
                 return std::string();
               }}}) {
    SCOPED_TRACE(ending.name);
    int asked = 0;
    account_.instead = [&](const std::string&,
                           const std::string& command) -> std::optional<std::string> {
      if (!command.starts_with("UID FETCH 3 ") || !command.ends_with("BODY.PEEK[])")) {
        return std::nullopt;
      }
      ++asked;
      return ending.end(network_.end(network_.connections() - 1));
    };
    session_ = std::make_unique<ImapSession>(world());
    refresh();
    subject(3);
    std::string words;
    for (int i = 0; i < 5 && words.find("lost whenever") == std::string::npos; ++i) {
      words = body(3);
      runUntil([] { return false; }, kRefusalPauseAlone);
    }
    EXPECT_EQ(words, "the connection is lost whenever this message is fetched");
    EXPECT_EQ(asked, ending.most);
  }
}

// Two connections that an overloaded server ended within a second lost the message.
TEST_F(ImapLostFetchTest, ConnectionsThatEndInOneMomentCountOnceAgainstAMessage) {
  int asked = 0;
  account_.instead = [&](const std::string&, const std::string& command) {
    if (!command.starts_with("UID FETCH 3 ") || !command.ends_with("BODY.PEEK[])")) {
      return std::optional<std::string>();
    }
    ++asked;
    network_.end(network_.connections() - 1).close();
    return std::optional<std::string>("* BYE too busy\r\n");
  };
  refresh();
  subject(3);
  for (int i = 0; i < 9; ++i) {
    EXPECT_THAT(body(3), testing::Not(HasSubstr("whenever"))) << i;
    runUntil([] { return false; }, 1min);
  }
  EXPECT_GE(asked, 9);
  account_.instead = {};
  EXPECT_EQ(body(3), simpleMail("m3"));
}

// Two drops of the network at the same message, days apart, made it a failed one.
TEST_F(ImapLostFetchTest, DoesNotBlameAMessageForDropsOfTheNetwork) {
  int drops = 0;
  account_.instead = [&](const std::string&, const std::string& command) {
    if (command.starts_with("UID FETCH 3 ") && ++drops <= 3) {
      network_.after(10s, [this] { network_.end(network_.connections() - 1).close(); });
      return std::optional<std::string>("* 3 FETCH (UID 3 ");
    }
    return std::optional<std::string>();
  };
  refresh();
  for (int i = 0; i < 3 && drops < 3; ++i) {
    EXPECT_THAT(subject(3), testing::Not(HasSubstr("whenever")));
    runUntil([] { return false; }, kRefusalPauseAlone);
  }
  EXPECT_EQ(subject(3), "m3");
  drops = 0;
  for (int i = 0; i < 3 && drops < 3; ++i) {
    EXPECT_THAT(body(3), testing::Not(HasSubstr("whenever")));
    runUntil([] { return false; }, kRefusalPauseAlone);
  }
  EXPECT_EQ(body(3), simpleMail("m3"));
}

// The failure of the outage was the answer to the first question after it.
TEST_F(ImapLostFetchTest, AFailureDoesNotOutliveItsOutage) {
  refresh();
  subject(4);
  arrange_ = [](ServerEnd& end) { end.dropAfterSaying(0); };
  network_.end(0).hang();
  session_->work([](ImapWork& work) {
    work.wantHeads({5, 3, 2});
    work.wantBody(4);
  });
  EXPECT_TRUE(runUntil([&] { return head(2) == Wanted::kLost; }));
  EXPECT_EQ(session_->look([](const ImapWork& work) { return work.body(4); }), Wanted::kLost);
  arrange_ = {};
  EXPECT_TRUE(runUntil([&] { return session_->status().up; }, 30min));
  EXPECT_EQ(subject(2), "m2");
  EXPECT_EQ(body(4), simpleMail("m4"));
  EXPECT_EQ(head(5), Wanted::kNot);
}

TEST_F(ImapLostFetchTest, WhatIsWantedAgainDuringAnOutageIsAskedForAgain) {
  refresh();
  arrange_ = [](ServerEnd& end) { end.dropAfterSaying(0); };
  network_.end(0).hang();
  session_->work([](ImapWork& work) {
    work.wantHeads({5});
    work.wantBody(4);
  });
  EXPECT_TRUE(runUntil([&] { return head(5) == Wanted::kLost; }));
  session_->work([](ImapWork& work) {
    work.wantHeads({5});
    work.wantBody(4);
  });
  EXPECT_EQ(head(5), Wanted::kComing);
  EXPECT_EQ(session_->look([](const ImapWork& work) { return work.body(4); }), Wanted::kComing);
}

TEST_F(ImapLostFetchTest, GoesOnWithALargeMessageWhereTheConnectionWasLost) {
  account_.add(9, simpleMail("large") + std::string(12 * kPieceBytes, 'x'));
  refresh();
  subject(9);
  std::size_t connections = 0;
  account_.instead = [&](const std::string&, const std::string& command) {
    if (command.find(".PEEK[]<" + std::to_string(6 * kPieceBytes) + '.') != std::string::npos &&
        connections < 5) {
      connections = network_.connections();
      network_.end(connections - 1).close();
      return std::optional<std::string>("");
    }
    return std::optional<std::string>();
  };
  std::string bytes;
  for (int i = 0; i < 9 && bytes.size() < kPieceBytes; ++i) {
    bytes = body(9);
    if (bytes.size() < kPieceBytes) {
      EXPECT_THAT(bytes, testing::Not(HasSubstr("whenever"))) << i;
      connections = 5;
      runUntil([] { return false; }, kRefusalPauseAlone);
    }
  }
  EXPECT_TRUE(bytes == account_.find(9)->bytes);
  EXPECT_GT(network_.connections(), 1U);
  EXPECT_EQ(account_.count("UID FETCH 9 (UID BODY.PEEK[]<0."), 1U);
}

// What was fetched ahead is asked for anew when it is wanted.
TEST_F(ImapLostFetchTest, ABodyAheadThatWasLostWithItsConnectionCanBeHad) {
  refresh();
  subject(4);
  account_.instead = [this](const std::string&, const std::string& command) {
    if (!command.ends_with("BODY.PEEK[])")) {
      return std::optional<std::string>();
    }
    network_.end(network_.connections() - 1).close();
    account_.instead = {};
    return std::optional<std::string>("");
  };
  session_->work([](ImapWork& work) { work.wantBodiesAhead({4}); });
  EXPECT_TRUE(runUntil([&] { return network_.connections() == 2 && session_->status().up; }));
  EXPECT_EQ(body(4), simpleMail("m4"));
}

// Drops over its head and, later, over its body added up.
TEST_F(ImapLostFetchTest, AMessageThatCouldBeHadIsCleared) {
  int drops = 0;
  account_.instead = [&](const std::string&, const std::string& command) {
    if (command.starts_with("UID FETCH 3 ") && ++drops <= 3) {
      network_.end(network_.connections() - 1)
          .fail({ConnectFailure::Cause::kNotReached, ConnectStep::kReady, "lost", ""});
      return std::optional<std::string>("");
    }
    return std::optional<std::string>();
  };
  refresh();
  for (int i = 0; i < 4 && drops < 3; ++i) {
    subject(3);
    runUntil([] { return false; }, kRefusalPauseAlone);
  }
  EXPECT_EQ(subject(3), "m3");
  drops = 0;
  for (int i = 0; i < 4 && drops < 3; ++i) {
    EXPECT_THAT(body(3), testing::Not(HasSubstr("whenever")));
    runUntil([] { return false; }, kRefusalPauseAlone);
  }
  EXPECT_EQ(body(3), simpleMail("m3"));
}

}  // namespace
}  // namespace relaybird
