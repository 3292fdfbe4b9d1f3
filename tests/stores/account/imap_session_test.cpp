// SPDX-License-Identifier: MIT
#include "stores/account/imap_session.h"

#include <gmock/gmock.h>

#include "platform/posix/posix_file_system.h"
#include "stores/account/imap_server_script.h"
#include "stores/mailbox/inbox.h"
#include "support/fake_clock.h"
#include "support/scripted_network.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;
using namespace std::chrono_literals;

class ImapSessionTest : public testing::Test {
 protected:
  ImapSessionTest() {
    network_.serve([this](ServerEnd& end) {
      if (arrange_) {
        arrange_(end);
      }
      return imapServer(account_);
    });
    for (std::uint32_t uid = 1; uid <= 5; ++uid) {
      account_.add(uid, simpleMail("m" + std::to_string(uid)));
    }
    session_ = std::make_unique<ImapSession>(world());
  }

  ImapSessionWorld world() {
    return {network_,
            {MailProtocol::kImap, "imap.example.org", 993, Security::kTls, ""},
            "INBOX",
            "1.0",
            {[this](std::stop_token) {
               ++signIns_;
               return SignInMaterial{SignIn{"ann", SignInMethod::kPassword, Secret("x")}, {}};
             },
             [this] { ++accepted_; }, [this] { ++refused_; }},
            [](std::size_t count) { return std::string(count, '\x80'); },
            files_,
            folder_.path("spool"),
            {},
            [] {},
            [this](const std::string& words) { complaints_.push_back(words); }};
  }

  // Runs the session until `reached`; false if that takes more than `limit` of the network's time.
  template <class Reached>
  bool runUntil(const Reached& reached, std::chrono::milliseconds limit = 10min) {
    const auto until = network_.steadyTime() + limit;
    // Ends the last wait at the limit.
    network_.after(limit, [] {});
    while (!reached()) {
      if (network_.steadyTime() >= until || !session_->step()) {
        return reached();
      }
    }
    return true;
  }

  Wanted refresh() {
    const auto number = session_->work([](ImapWork& work) { return work.wantRefresh(); });
    Wanted state = Wanted::kComing;
    runUntil([&] {
      state = session_->look([&](const ImapWork& work) { return work.refreshed(number); });
      return state != Wanted::kComing;
    });
    return state;
  }
  std::vector<std::uint32_t> unseen() {
    return session_->look([](const ImapWork& work) {
      return work.unseen() ? *work.unseen() : std::vector<std::uint32_t>();
    });
  }
  std::string failure() {
    const auto status = session_->status();
    return status.failure ? status.failure->text : "";
  }
  std::string subject(std::uint32_t uid) {
    session_->work([&](ImapWork& work) { work.wantHeads({uid}); });
    runUntil([&] { return head(uid) != Wanted::kComing; });
    if (head(uid) != Wanted::kThere) {
      return head(uid) == Wanted::kGone
                 ? "gone"
                 : session_->work([&](ImapWork& work) { return work.takeHeadFailure(uid); }).text;
    }
    return HeaderBlock(session_->work([&](ImapWork& work) { return work.takeHead(uid); }).header)
        .subject();
  }
  Wanted head(std::uint32_t uid) {
    return session_->look([&](const ImapWork& work) { return work.head(uid); });
  }
  std::string body(std::uint32_t uid) {
    session_->work([&](ImapWork& work) { work.wantBody(uid); });
    runUntil([&] {
      return session_->look([&](const ImapWork& work) { return work.body(uid); }) !=
             Wanted::kComing;
    });
    auto file = session_->work([&](ImapWork& work) { return work.takeBody(uid); });
    if (!file) {
      return file.error().text;
    }
    std::string bytes((*file)->info().size, '\0');
    EXPECT_EQ((*file)->readAt(0, bytes.data(), bytes.size()).value(), bytes.size());
    return bytes;
  }
  void mark(std::uint32_t uid, bool seen = true) {
    session_->work([&](ImapWork& work) { work.setSeen(uid, seen); });
  }
  bool runUntilMarked(std::uint32_t uid) {
    return runUntil([&] {
      return session_->look([&](const ImapWork& work) { return work.mark(uid); }) !=
             ImapWork::Mark::kOnItsWay;
    });
  }

  ScriptedNetwork network_;
  FakeClock clock_;
  RecordingSleeper sleeper_{clock_};
  PosixFileSystem files_{sleeper_};
  TempFolder folder_;
  ServerAccount account_;
  std::function<void(ServerEnd&)> arrange_;
  int signIns_ = 0;
  int accepted_ = 0;
  int refused_ = 0;
  std::vector<std::string> complaints_;
  std::unique_ptr<ImapSession> session_;
};

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

TEST_F(ImapSessionTest, HearsOfChangesWhileItIdles) {
  refresh();
  EXPECT_TRUE(runUntil([&] { return session_->status().idles; }));
  EXPECT_FALSE(session_->look([](const ImapWork& work) { return work.changed(); }));
  network_.end(0).say("* 6 EXISTS\r\n");
  EXPECT_TRUE(runUntil(
      [&] { return session_->look([](const ImapWork& work) { return work.changed(); }); }));
}

TEST_F(ImapSessionTest, RenewsIdleBeforeServersTireOfIt) {
  refresh();
  const auto begin = network_.steadyTime();
  EXPECT_TRUE(runUntil([&] { return account_.count("IDLE") == 3; }, 60min));
  EXPECT_LE(network_.steadyTime() - begin, 2 * 29min);
  EXPECT_EQ(network_.connections(), 1U);
}

// It was asked again without a pause, thousands of times in a second.
TEST_F(ImapSessionTest, DoesNotRepeatIdleThatTheServerEndsAtOnce) {
  account_.instead = [](const std::string& tag, const std::string& command) {
    return command == "IDLE" ? std::optional<std::string>(tag + " OK done\r\n") : std::nullopt;
  };
  refresh();
  runUntil([] { return false; }, 20min);
  EXPECT_GE(account_.count("IDLE"), 2U);
  EXPECT_LE(account_.count("IDLE"), 7U);
  EXPECT_EQ(network_.connections(), 1U);
}

// Each connection was lost after half a minute.
TEST_F(ImapSessionTest, DoesNotAskForIdleAgainWhereTheServerDoesNotAnswerIt) {
  account_.instead = [](const std::string&, const std::string& command) {
    return command == "IDLE" ? std::optional<std::string>("") : std::nullopt;
  };
  refresh();
  runUntil([] { return false; }, 3h);
  EXPECT_EQ(account_.count("IDLE"), 1U);
  EXPECT_EQ(network_.connections(), 2U);
  EXPECT_TRUE(session_->status().up);
}

TEST_F(ImapSessionTest, SendsNoopWhereIdleIsNotOffered) {
  account_.capabilities = "IMAP4rev1";
  refresh();
  EXPECT_TRUE(runUntil([&] { return account_.count("NOOP") == 2; }, 20min));
  EXPECT_FALSE(session_->status().idles);
}

TEST_F(ImapSessionTest, FetchesHeadsAndBodies) {
  refresh();
  EXPECT_EQ(subject(4), "m4");
  EXPECT_EQ(body(4), simpleMail("m4"));
  EXPECT_EQ(account_.count("UID FETCH 4 (UID BODY.PEEK[])"), 1U);
}

TEST_F(ImapSessionTest, FetchesALargeMessageInPieces) {
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
TEST_F(ImapSessionTest, ADiskThatTakesNoFetchedMessagesIsNotBlamedOnTheMessage) {
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

TEST_F(ImapSessionTest, FetchesAMessageThatIsLargerThanTheServerSays) {
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

TEST_F(ImapSessionTest, ReportsAMessageThatHasVanished) {
  refresh();
  account_.remove(4);
  EXPECT_EQ(subject(4), "gone");
  EXPECT_EQ(body(4), "The message is no longer there");
  EXPECT_EQ(subject(3), "m3");
}

TEST_F(ImapSessionTest, AsksAgainWithoutStructureForHeadsThatARefusedGroupLeftOut) {
  account_.instead = [&](const std::string& tag, const std::string& command) {
    return command.find("BODYSTRUCTURE") != std::string::npos
               ? std::optional<std::string>(tag + " NO [SERVERBUG] broken\r\n")
               : std::nullopt;
  };
  refresh();
  EXPECT_EQ(subject(4), "m4");
}

TEST_F(ImapSessionTest, ReportsAHeadThatTheServerRefuses) {
  account_.instead = [&](const std::string& tag, const std::string& command) {
    return command.starts_with("UID FETCH") ? std::optional<std::string>(tag + " NO broken\r\n")
                                            : std::nullopt;
  };
  refresh();
  EXPECT_EQ(subject(4), "broken");
  EXPECT_EQ(body(4), "broken");
}

// It counted as vanished, and was marked read.
TEST_F(ImapSessionTest, AMessageWhoseTextTheServerDoesNotGiveHasNotVanished) {
  account_.instead = [](const std::string& tag, const std::string& command) {
    return command.ends_with("BODY.PEEK[])")
               ? std::optional<std::string>("* 4 FETCH (UID 4 BODY[] NIL)\r\n" + tag + " OK\r\n")
               : std::nullopt;
  };
  refresh();
  subject(4);
  EXPECT_EQ(body(4), "the mail server has the message, but does not give its text");
}

// A short piece counted as the last one, and half a message was forwarded.
TEST_F(ImapSessionTest, AShortPieceInTheMiddleIsAContradiction) {
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

TEST_F(ImapSessionTest, KeepsNoMoreAheadThanThereIsRoomForWhateverTheServerSaysOfSizes) {
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

TEST_F(ImapSessionTest, SendsMarksTogetherALittleLater) {
  refresh();
  mark(1);
  mark(2);
  mark(4);
  EXPECT_TRUE(runUntilMarked(4));
  EXPECT_TRUE(account_.find(1)->seen && account_.find(2)->seen && account_.find(4)->seen);
  EXPECT_EQ(account_.count("UID STORE 1:2,4 +FLAGS.SILENT (\\Seen)"), 1U);
  EXPECT_EQ(account_.count("UID STORE"), 1U);
}

TEST_F(ImapSessionTest, SendsMarksBeforeItRefreshes) {
  refresh();
  mark(1);
  EXPECT_EQ(refresh(), Wanted::kThere);
  EXPECT_TRUE(account_.find(1)->seen);
  EXPECT_THAT(unseen(), ElementsAre(2, 3, 4, 5));
  mark(1, false);
  refresh();
  EXPECT_THAT(unseen(), ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(ImapSessionTest, LeavesOutMessagesWhoseMarksAreOnTheirWay) {
  refresh();
  account_.instead = [&](const std::string& tag, const std::string& command) {
    return command.starts_with("UID STORE")
               ? std::optional<std::string>("* OK slow " + tag + "\r\n")
               : std::nullopt;
  };
  mark(2);
  refresh();
  EXPECT_THAT(unseen(), ElementsAre(1, 3, 4, 5));
}

TEST_F(ImapSessionTest, FindsTheOneMarkThatTheServerRefuses) {
  refresh();
  account_.instead = [&](const std::string& tag, const std::string& command) {
    const bool hits = command.starts_with("UID STORE") &&
                      UidSet::parse(command.substr(10, command.find(' ', 10) - 10))->contains(2);
    return hits ? std::optional<std::string>(tag + " NO [OVERQUOTA] full\r\n") : std::nullopt;
  };
  mark(1);
  mark(2);
  mark(3);
  EXPECT_TRUE(runUntilMarked(2));
  EXPECT_TRUE(runUntilMarked(3));
  const auto state = [&](std::uint32_t uid) {
    return session_->look([&](const ImapWork& work) { return work.mark(uid); });
  };
  EXPECT_EQ(state(1), ImapWork::Mark::kDurable);
  EXPECT_EQ(state(2), ImapWork::Mark::kRefused);
  EXPECT_EQ(state(3), ImapWork::Mark::kDurable);
  EXPECT_THAT(complaints_, ElementsAre("Mail server imap.example.org: The server does not mark the "
                                       "message imap-7-2 as read: full [OVERQUOTA]"));
  refresh();
  EXPECT_THAT(unseen(), ElementsAre(2, 4, 5));
}

TEST_F(ImapSessionTest, ListsAMessageAgainThatAnotherProgramMarksUnread) {
  refresh();
  mark(2);
  runUntilMarked(2);
  refresh();
  account_.find(2)->seen = false;
  refresh();
  EXPECT_THAT(unseen(), ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(ImapSessionTest, KeepsMarksOverALostConnection) {
  refresh();
  mark(2);
  network_.end(0).close();
  EXPECT_TRUE(runUntilMarked(2));
  EXPECT_EQ(network_.connections(), 2U);
  EXPECT_TRUE(account_.find(2)->seen);
}

// The server answered OK and forgot, so the mail was forwarded at every check.
TEST_F(ImapSessionTest, RefusesMarksWhereTheServerWouldForgetThem) {
  refresh();
  mark(2);
  account_.permanentFlags = "(\\Answered \\*)";
  network_.end(0).close();
  EXPECT_TRUE(runUntilMarked(2));
  EXPECT_EQ(session_->look([](const ImapWork& work) { return work.mark(2); }),
            ImapWork::Mark::kRefused);
  EXPECT_EQ(account_.count("UID STORE"), 0U);
  EXPECT_THAT(complaints_, ElementsAre(HasSubstr("may only be read")));
}

// The message stayed hidden, so its journal entry was settled as that of a message that is gone.
TEST_F(ImapSessionTest, ARefusedMarkAsksForANewListing) {
  refresh();
  std::string tag;
  account_.instead = [&](const std::string& heard, const std::string& command) {
    if (command.starts_with("UID STORE")) {
      tag = heard;
      return std::optional<std::string>("");
    }
    return std::optional<std::string>();
  };
  mark(2);
  refresh();
  EXPECT_THAT(unseen(), ElementsAre(1, 3, 4, 5));
  EXPECT_FALSE(session_->look([](const ImapWork& work) { return work.changed(); }));
  network_.end(0).say(tag + " NO full\r\n");
  EXPECT_TRUE(runUntilMarked(2));
  EXPECT_TRUE(session_->look([](const ImapWork& work) { return work.changed(); }));
  refresh();
  EXPECT_THAT(unseen(), ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(ImapSessionTest, ConnectsAgainByItself) {
  refresh();
  network_.end(0).close();
  EXPECT_TRUE(runUntil([&] { return network_.connections() == 2 && session_->status().up; }));
}

TEST_F(ImapSessionTest, PausesLongerAfterEachFailure) {
  refresh();
  arrange_ = [](ServerEnd& end) { end.dropAfterSaying(0); };
  network_.end(0).close();
  std::vector<std::chrono::milliseconds> times;
  runUntil(
      [&] {
        if (times.size() + 1 < network_.connections()) {
          times.push_back(network_.steadyTime());
        }
        return network_.connections() == 12;
      },
      300min);
  ASSERT_THAT(times, SizeIs(11));
  for (std::size_t i = 2; i < times.size(); ++i) {
    const auto length = times[i] - times[i - 1];
    EXPECT_GE(length, 5s);
    EXPECT_LE(length, kLongestPause + kConnectLimit + 3min);
    if (i < 7) {
      EXPECT_GT(length, times[i - 1] - times[i - 2]);
    }
  }
}

TEST_F(ImapSessionTest, TellsWhyItCannotConnect) {
  network_.serve({});
  EXPECT_EQ(refresh(), Wanted::kFailed);
  EXPECT_THAT(failure(), HasSubstr("imap.example.org"));
  // A request soon after fails at once, with the same words.
  EXPECT_EQ(refresh(), Wanted::kFailed);
  EXPECT_EQ(network_.connections(), 1U);
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
  account_.instead = [&](const std::string&, const std::string& command) {
    return command.starts_with("UID SEARCH") ? std::optional<std::string>("") : std::nullopt;
  };
  account_.commands.clear();
  for (int i = 0; i < 20; ++i) {
    session_->work([](ImapWork& work) { work.wantRefresh(); });
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

TEST_F(ImapSessionTest, EndsOnByeAndConnectsAgain) {
  refresh();
  network_.end(0).say("* BYE shutting down\r\n");
  EXPECT_TRUE(runUntil([&] { return !session_->status().up; }));
  EXPECT_THAT(failure(), HasSubstr("it has ended the connection: shutting down"));
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

TEST_F(ImapSessionTest, FindsAMessageOverWhichTheServerDrops) {
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
    runUntil([] { return false; }, 20min);
  }
  EXPECT_EQ(words, "the connection is lost whenever this message is asked for");
}

TEST_F(ImapSessionTest, FindsABodyOverWhichTheServerDrops) {
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
    runUntil([] { return false; }, 20min);
  }
  EXPECT_EQ(words, "the connection is lost whenever this message is fetched");
  EXPECT_EQ(body(2), simpleMail("m2"));
}

// Two drops of the network at the same message, days apart, made it a failed one.
TEST_F(ImapSessionTest, DoesNotBlameAMessageForDropsOfTheNetwork) {
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
    runUntil([] { return false; }, 20min);
  }
  EXPECT_EQ(subject(3), "m3");
  drops = 0;
  for (int i = 0; i < 3 && drops < 3; ++i) {
    EXPECT_THAT(body(3), testing::Not(HasSubstr("whenever")));
    runUntil([] { return false; }, 20min);
  }
  EXPECT_EQ(body(3), simpleMail("m3"));
}

// The failure of the outage was the answer to the first question after it.
TEST_F(ImapSessionTest, AFailureDoesNotOutliveItsOutage) {
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

TEST_F(ImapSessionTest, WhatIsWantedAgainDuringAnOutageIsAskedForAgain) {
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

TEST_F(ImapSessionTest, GoesOnWithALargeMessageWhereTheConnectionWasLost) {
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
      runUntil([] { return false; }, 20min);
    }
  }
  EXPECT_TRUE(bytes == account_.find(9)->bytes);
  EXPECT_GT(network_.connections(), 1U);
  EXPECT_EQ(account_.count("UID FETCH 9 (UID BODY.PEEK[]<0."), 1U);
}

TEST_F(ImapSessionTest, KeepsOneMessageForWhichNobodyWaits) {
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

TEST_F(ImapSessionTest, SaysGoodbyeAfterTheLastMarks) {
  refresh();
  mark(3);
  session_->close();
  EXPECT_FALSE(runUntil([] { return false; }));
  EXPECT_TRUE(account_.find(3)->seen);
  EXPECT_EQ(account_.commands.back(), "LOGOUT");
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

TEST_F(ImapSessionTest, SurvivesADropAtEveryByte) {
  std::size_t said = 1;
  int sessions = 0;
  for (std::size_t drop = 0; drop < said; ++drop) {
    for (ServerMail& mail : account_.mails) {
      mail.seen = false;
    }
    const std::size_t first = network_.connections();
    arrange_ = [&, dropped = false](ServerEnd& end) mutable {
      if (!std::exchange(dropped, true)) {
        end.dropAfterSaying(drop);
      }
    };
    session_ = std::make_unique<ImapSession>(world());
    int tries = 0;
    while (refresh() != Wanted::kThere && ++tries < 5) {
      runUntil([] { return false; }, 10s);
    }
    ASSERT_LT(tries, 5) << "drop after " << drop;
    ASSERT_EQ(unseen().size(), 5U) << "drop after " << drop;
    ASSERT_EQ(subject(4), "m4") << "drop after " << drop;
    ASSERT_EQ(body(4), simpleMail("m4")) << "drop after " << drop;
    mark(4);
    ASSERT_TRUE(runUntilMarked(4)) << "drop after " << drop;
    ASSERT_TRUE(account_.find(4)->seen) << "drop after " << drop;
    ++sessions;
    if (network_.connections() == first + 1) {
      break;  // so much was not said on the first connection
    }
    said = drop + 2;
  }
  EXPECT_GT(sessions, 500);
}

}  // namespace
}  // namespace relaybird
