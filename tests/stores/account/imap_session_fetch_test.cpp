// SPDX-License-Identifier: MIT
// Heads and bodies over a connection: pieces, what is fetched ahead, and what a server refuses or
// does not give.
#include <gmock/gmock.h>

#include <functional>

#include "stores/account/imap_session_fixture.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;

class ImapFetchTest : public ImapSessionFixture {};

TEST_F(ImapFetchTest, FetchesHeadsAndBodies) {
  refresh();
  EXPECT_EQ(subject(4), "m4");
  EXPECT_EQ(body(4), simpleMail("m4"));
  EXPECT_EQ(account_.count("UID FETCH 4 (UID BODY.PEEK[])"), 1U);
}

// Each step of a walk woke the session's thread, two or three times a message.
TEST_F(ImapFetchTest, TakingWhatWasFetchedAheadWakesNobody) {
  refresh();
  const auto wakesOf = [&](const std::function<void(ImapWork&)>& act) {
    const int before = network_.wakes();
    session_->work(act);
    return network_.wakes() - before;
  };
  EXPECT_EQ(wakesOf([](ImapWork& work) { work.wantHeads({5, 4, 3}); }), 1);
  runUntil([&] { return head(3) == Wanted::kThere; });
  EXPECT_EQ(wakesOf([](ImapWork& work) { work.wantHeads({5, 4, 3}); }), 0);
  EXPECT_EQ(wakesOf([](ImapWork& work) { work.wantBodiesAhead({5, 4}); }), 1);
  runUntil([&] {
    return session_->look([](const ImapWork& work) { return work.body(4) == Wanted::kThere; });
  });
  EXPECT_EQ(wakesOf([](ImapWork& work) {
              (void)work.takeHead(5);
              work.wantBody(5);
              (void)work.takeBody(5);
            }),
            0);
  EXPECT_EQ(wakesOf([](ImapWork& work) { work.wantBody(3); }), 1);
  // The thread has to know when to send the first mark; the next one goes with it.
  EXPECT_EQ(wakesOf([](ImapWork& work) { work.setSeen(5, true); }), 1);
  session_->step();
  EXPECT_EQ(wakesOf([](ImapWork& work) { work.setSeen(4, true); }), 0);
  EXPECT_TRUE(runUntilMarked(4));
  EXPECT_EQ(wakesOf([](ImapWork& work) { (void)work.wantRefresh(); }), 1);
}

TEST_F(ImapFetchTest, FetchesALargeMessageInPieces) {
  for (const std::size_t size : {kPieceBytes + 1, 3 * kPieceBytes, 7 * kPieceBytes + 5}) {
    std::string large = simpleMail("large");
    while (large.size() < size) {
      large += std::string(70, static_cast<char>('a' + large.size() % 23)) + "\r\n";
    }
    large.resize(size);
    account_.remove(9);
    account_.add(9, large);
    refresh();
    EXPECT_EQ(subject(9), "large");
    EXPECT_TRUE(body(9) == large) << size;
    EXPECT_EQ(account_.count("UID FETCH 9 (UID BODY.PEEK[])"), 0U);
  }
  const auto left = files_.list(folder_.path("spool"));
  ASSERT_TRUE(left);
  for (const FolderEntry& entry : *left) {
    EXPECT_EQ(entry.name, "messages");
  }
}

// The pass took it for the message's own failure, and marked the message read.
TEST_F(ImapFetchTest, ADiskThatTakesNoFetchedMessagesIsNotBlamedOnTheMessage) {
  writeBytes(folder_.path("spool"), "no folder");
  account_.add(9, simpleMail("large") + std::string(kBodyInMemory + 1, 'x'));
  refresh();
  subject(9);
  session_->work([](ImapWork& work) {
    work.wantBody(9);
    return 0;
  });
  EXPECT_TRUE(runUntil([&] {
    return session_->look([](const ImapWork& work) { return work.body(9) == Wanted::kLost; });
  }));
  const auto file = session_->work([](ImapWork& work) { return work.takeBody(9); });
  ASSERT_FALSE(file);
  EXPECT_EQ(file.error().code, kInboxLost) << file.error().text;
}

TEST_F(ImapFetchTest, FetchesAMessageThatIsLargerThanTheServerSays) {
  account_.instead = [&](const std::string& tag, const std::string& command) {
    std::optional<std::string> answer;
    if (command.find("RFC822.SIZE") != std::string::npos) {
      answer = "* 1 FETCH (UID 1 FLAGS () RFC822.SIZE 10 BODY[HEADER.FIELDS (X)] {0}\r\n)\r\n" +
               tag + " OK\r\n";
    }
    return answer;
  };
  account_.find(1)->bytes = simpleMail("m1") + std::string(9 << 20, 'x');
  refresh();
  subject(1);
  EXPECT_TRUE(body(1) == account_.find(1)->bytes);
}

TEST_F(ImapFetchTest, ReportsAMessageThatHasVanished) {
  refresh();
  account_.remove(4);
  EXPECT_EQ(subject(4), "gone");
  EXPECT_EQ(body(4), "The message is no longer there");
  EXPECT_EQ(subject(3), "m3");
}

TEST_F(ImapFetchTest, AsksAgainWithoutStructureForHeadsThatARefusedGroupLeftOut) {
  account_.instead = [&](const std::string& tag, const std::string& command) {
    return command.find("BODYSTRUCTURE") != std::string::npos
               ? std::optional<std::string>(tag + " NO [SERVERBUG] broken\r\n")
               : std::nullopt;
  };
  refresh();
  EXPECT_EQ(subject(4), "m4");
}

TEST_F(ImapFetchTest, ReportsAHeadThatTheServerRefuses) {
  account_.instead = [&](const std::string& tag, const std::string& command) {
    return command.starts_with("UID FETCH") ? std::optional<std::string>(tag + " NO broken\r\n")
                                            : std::nullopt;
  };
  refresh();
  EXPECT_EQ(subject(4), "The mail server refuses a message for now: broken");
  EXPECT_EQ(body(4), "The mail server refuses a message for now: broken");
  for (int i = 0; i < 3; ++i) {
    runUntil([] { return false; }, kRefusalPauseAlone);
    subject(4);
    body(4);
  }
  EXPECT_EQ(subject(4), "broken");
  EXPECT_EQ(body(4), "broken");
}

// All of a group counted as damaged, and a hundred messages were asked for again one by one while
// the server had no time for any.
TEST_F(ImapFetchTest, AServerThatRefusesAllHeadsIsNotAskedForEachOfThem) {
  std::vector<std::uint32_t> uids;
  for (std::uint32_t uid = 1000; uid > 600; --uid) {
    uids.push_back(uid);
  }
  for (std::uint32_t uid = 601; uid <= 1000; ++uid) {
    account_.add(uid, simpleMail("m" + std::to_string(uid)));
  }
  refresh();
  account_.instead = [&](const std::string& tag, const std::string& command) {
    return command.starts_with("UID FETCH") ? std::optional<std::string>(tag + " NO busy\r\n")
                                            : std::nullopt;
  };
  session_->work([&](ImapWork& work) { work.wantHeads(uids); });
  EXPECT_TRUE(runUntil(
      [&] { return !session_->look([](const ImapWork& work) { return work.wantsAnything(); }); }));
  EXPECT_EQ(head(1000), Wanted::kLost);
  EXPECT_EQ(head(999), Wanted::kNot);
  EXPECT_LE(account_.count("UID FETCH"), 2 * kHeadCommandsAhead + 1);
  account_.instead = {};
  EXPECT_EQ(subject(1000), "m1000");
  EXPECT_EQ(subject(999), "m999");
}

TEST_F(ImapFetchTest, OneHeadThatTheServerRefusesCostsTheOthersOfItsGroupNothing) {
  account_.instead = [&](const std::string& tag, const std::string& command) {
    return command.starts_with("UID FETCH") &&
                   UidSet::parse(command.substr(10, command.find(' ', 10) - 10))->contains(3)
               ? std::optional<std::string>(tag + " NO damaged\r\n")
               : std::nullopt;
  };
  refresh();
  session_->work([](ImapWork& work) { work.wantHeads({5, 4, 3, 2, 1}); });
  EXPECT_TRUE(runUntil(
      [&] { return !session_->look([](const ImapWork& work) { return work.wantsAnything(); }); }));
  for (const std::uint32_t uid : {5U, 4U, 2U, 1U}) {
    EXPECT_EQ(head(uid), Wanted::kThere) << uid;
  }
  EXPECT_EQ(head(3), Wanted::kNot) << "nobody waits for it";
}

// The others of the group were asked for at once, one by one, and counted as damaged when the walk
// came to them.
TEST_F(ImapFetchTest, BodiesThatARefusedGroupLeftOutAreAskedForWhenTheyAreNeeded) {
  refresh();
  for (const std::uint32_t uid : {5U, 4U, 3U}) {
    subject(uid);
  }
  account_.instead = [&](const std::string& tag, const std::string& command) {
    return command.ends_with("BODY.PEEK[])") ? std::optional<std::string>(tag + " NO busy\r\n")
                                             : std::nullopt;
  };
  const auto bodies = [&] { return account_.count("UID FETCH 3:5 (UID BODY.PEEK[])"); };
  session_->work([](ImapWork& work) { work.wantBodiesAhead({5, 4, 3}); });
  EXPECT_TRUE(runUntil([&] {
    return bodies() == 1 && session_->look([](const ImapWork& w) { return !w.wantsAnything(); });
  }));
  EXPECT_EQ(body(5), "The mail server refuses a message for now: busy");
  EXPECT_EQ(account_.count("UID FETCH 5 (UID BODY.PEEK[])"), 1U);
  EXPECT_EQ(account_.count("UID FETCH 4 (UID BODY.PEEK[])"), 0U);
  account_.instead = {};
  EXPECT_EQ(body(5), simpleMail("m5"));
  EXPECT_EQ(body(4), simpleMail("m4"));
}

// A server that gives only so much in a time gives the rest later, however often that takes.
TEST_F(ImapFetchTest, GoesOnWithALargeMessageWhereAPieceWasRefused) {
  account_.add(9, simpleMail("large") + std::string(5 * kPieceBytes, 'x'));
  refresh();
  subject(9);
  for (std::uint64_t piece = 1; piece <= 5; ++piece) {
    const std::string origin = ".PEEK[]<" + std::to_string(piece * kPieceBytes) + '.';
    account_.instead = [&](const std::string& tag, const std::string& command) {
      return command.find(origin) != std::string::npos
                 ? std::optional<std::string>(tag + " NO [LIMIT] enough\r\n")
                 : std::nullopt;
    };
    EXPECT_EQ(body(9), "The mail server refuses a message for now: enough [LIMIT]") << piece;
    runUntil([] { return false; }, kRefusalPauseAlone);
  }
  account_.instead = {};
  EXPECT_TRUE(body(9) == account_.find(9)->bytes);
  EXPECT_EQ(account_.count("UID FETCH 9 (UID BODY.PEEK[]<0."), 1U);
}

// Each check fetched it from its beginning, and none came to the messages behind it.
TEST_F(ImapFetchTest, APieceThatComesWithARefusalHasCome) {
  const std::string text = simpleMail("large") + std::string(kPieceBytes, 'x');
  account_.add(9, text);
  const std::string size = std::to_string(kPieceBytes);
  account_.instead = [&](const std::string& tag, const std::string& command) {
    const std::string last = text.substr(kPieceBytes);
    return command.find(".PEEK[]<" + size + '.') != std::string::npos
               ? std::optional<std::string>("* 5 FETCH (UID 9 BODY[]<" + size + "> {" +
                                            std::to_string(last.size()) + "}\r\n" + last + ")\r\n" +
                                            tag + " NO [SERVERBUG] broken\r\n")
               : std::nullopt;
  };
  refresh();
  subject(9);
  EXPECT_TRUE(body(9) == text);
}

// It counted as vanished, and was marked read.
TEST_F(ImapFetchTest, AMessageWhoseTextTheServerDoesNotGiveHasNotVanished) {
  account_.instead = [](const std::string& tag, const std::string& command) {
    return command.ends_with("BODY.PEEK[])")
               ? std::optional<std::string>("* 4 FETCH (UID 4 BODY[] NIL)\r\n" + tag + " OK\r\n")
               : std::nullopt;
  };
  refresh();
  subject(4);
  EXPECT_EQ(body(4), "the mail server has the message, but does not give its text");
}

// It counted as vanished; one that is too long counted as empty, and was judged by the rules.
TEST_F(ImapFetchTest, AMessageWhoseHeaderTheServerDoesNotGiveHasNotVanished) {
  for (const std::string& header :
       {std::string("NIL"), "{9000000}\r\n" + std::string(9000000, 'x')}) {
    account_.instead = [&](const std::string& tag, const std::string& command) {
      return command.find("HEADER.FIELDS") != std::string::npos
                 ? std::optional<std::string>("* 4 FETCH (UID 4 BODY[HEADER.FIELDS (X)] " + header +
                                              ")\r\n" + tag + " OK\r\n")
                 : std::nullopt;
    };
    refresh();
    EXPECT_EQ(subject(4), "the mail server has the message, but its header cannot be had");
  }
}

// A short piece counted as the last one, and half a message was forwarded.
TEST_F(ImapFetchTest, AShortPieceInTheMiddleIsAContradiction) {
  account_.add(9, simpleMail("large") + std::string(3 * kPieceBytes, 'x'));
  refresh();
  subject(9);
  const std::string range = "<" + std::to_string(kPieceBytes);
  account_.instead = [&](const std::string& tag, const std::string& command) {
    return command.find(".PEEK[]" + range + '.') != std::string::npos
               ? std::optional<std::string>("* 6 FETCH (UID 9 BODY[]" + range +
                                            "> {3}\r\nabc)\r\n" + tag + " OK\r\n")
               : std::nullopt;
  };
  EXPECT_EQ(body(9), "the server has left out a part of the message");
}

TEST_F(ImapFetchTest, KeepsNoMoreAheadThanThereIsRoomForWhateverTheServerSaysOfSizes) {
  for (ServerMail& mail : account_.mails) {
    mail.bytes += std::string(kBodyAheadBytes + 1, 'x');
  }
  account_.instead = [&](const std::string& tag, const std::string& command) {
    if (command.find("RFC822.SIZE") == std::string::npos) {
      return std::optional<std::string>();
    }
    return std::optional<std::string>(
        "* 1 FETCH (UID 1 RFC822.SIZE 10 BODY[HEADER.FIELDS (X)] {0}\r\n)\r\n" + tag + " OK\r\n");
  };
  refresh();
  subject(1);
  session_->work([](ImapWork& work) { work.wantBodiesAhead({1}); });
  EXPECT_TRUE(runUntil([&] { return account_.count("UID FETCH 1 (UID BODY.PEEK[])") == 1; }));
  EXPECT_TRUE(runUntil([&] {
    return session_->look([](const ImapWork& work) { return work.body(1) == Wanted::kNot; });
  }));
  EXPECT_TRUE(body(1) == account_.find(1)->bytes);
}

TEST_F(ImapFetchTest, KeepsOneMessageForWhichNobodyWaits) {
  refresh();
  for (const std::uint32_t uid : {5U, 4U}) {
    session_->work([&](ImapWork& work) {
      work.wantBody(uid);
      work.leaveBody(uid);
    });
    EXPECT_TRUE(runUntil([&] {
      return session_->look([&](const ImapWork& w) { return w.body(uid) == Wanted::kThere; });
    }));
  }
  EXPECT_EQ(session_->look([](const ImapWork& work) { return work.body(5); }), Wanted::kNot);
  EXPECT_EQ(body(4), simpleMail("m4"));
  EXPECT_EQ(account_.count("UID FETCH 4"), 1U);
}

TEST_F(ImapFetchTest, LargeBodiesAreNotFetchedAheadAndOthersOnlyWhileThereIsRoom) {
  std::vector<std::uint32_t> uids;
  for (std::uint32_t uid = 10; uid < 50; ++uid) {
    account_.add(uid, simpleMail("m") + std::string(kBodyAheadBytes - 200, 'x'));
    uids.push_back(uid);
  }
  account_.add(50, simpleMail("large") + std::string(kBodyAheadBytes, 'x'));
  refresh();
  session_->work([&](ImapWork& work) { work.wantHeads(uids); });
  subject(50);
  EXPECT_TRUE(runUntil([&] { return head(49) == Wanted::kThere; }));
  EXPECT_EQ(session_->work([](ImapWork& work) { return work.wantBodiesAhead({50}); }), 1U);
  EXPECT_FALSE(session_->look([](const ImapWork& work) { return work.wantsAnything(); }));
  const std::size_t asked =
      session_->work([&](ImapWork& work) { return work.wantBodiesAhead(uids); });
  EXPECT_GE(asked, kBodiesAheadBytes / kBodyAheadBytes - 1);
  EXPECT_LE(asked, kBodiesAheadBytes / kBodyAheadBytes + 1);
  EXPECT_TRUE(runUntil(
      [&] { return !session_->look([](const ImapWork& work) { return work.wantsAnything(); }); }));
  EXPECT_EQ(session_->look([](const ImapWork& work) { return work.body(50); }), Wanted::kNot);
}

TEST_F(ImapFetchTest, DropsWhatWasFetchedAheadOfTheWalkOnceItHasPassed) {
  refresh();
  subject(2);
  subject(4);
  session_->work([](ImapWork& work) { work.wantBodiesAhead({2, 4}); });
  const auto state = [&](std::uint32_t uid) {
    return session_->look([uid](const ImapWork& work) { return work.body(uid); });
  };
  EXPECT_TRUE(runUntil([&] { return state(2) == Wanted::kThere && state(4) == Wanted::kThere; }));
  session_->work([](ImapWork& work) { work.dropBodiesBehind(3); });
  EXPECT_EQ(state(4), Wanted::kNot);
  EXPECT_EQ(state(2), Wanted::kThere);
}

}  // namespace
}  // namespace relaybird
