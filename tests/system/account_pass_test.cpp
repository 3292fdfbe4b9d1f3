// SPDX-License-Identifier: MIT
// Whole checks over an account: the engine, the store and the IMAP session, with a server that the
// test plays. What happens to a message when its server is lost, slow, or refuses things: it must
// neither be marked read without a forward nor be left out later. Only a message that is refused
// again and again, over half an hour and more while others come, is given up and told.
#include <gmock/gmock.h>

#include "engine/engine_house.h"
#include "stores/account/account_house.h"
#include "stores/mailbox/mailbox_store.h"
#include "stores/maildir/maildir_house.h"
#include "support/whole_text.h"

namespace relaybird {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using namespace std::chrono_literals;

class AccountPassTest : public testing::Test {
 protected:
  AccountPassTest() {
    house_.keepAlive = [this] {
      house_.events.runUntilIdle();
      if (whileWaiting_) {
        whileWaiting_();
      }
      return !engine_.state().stopWanted();
    };
    program_.forwardEverything();
  }

  void add(std::uint32_t uid, std::size_t bytes = 0) {
    house_.account.add(uid,
                       simpleMail("m" + std::to_string(uid)) + std::string(bytes, 'x') + "\r\n");
  }
  ServerEnd& line() { return house_.network.end(house_.network.connections() - 1); }
  void check() {
    engine_.pass().ForwardMail();
    house_.events.runUntilIdle();
  }
  std::vector<std::string> forwarded() const {
    std::vector<std::string> subjects;
    for (const OutgoingMessage& message : transport_.taken) {
      subjects.push_back(fieldOf(wholeText(message.text), "Subject"));
    }
    return subjects;
  }
  void serveUntilConnected() {
    for (int i = 0; i < 100 && !inbox_->alive(); ++i) {
      inbox_->step();
    }
    EXPECT_TRUE(inbox_->alive());
  }
  // Lets the marks reach the server.
  void settle() {
    int ends = 0;
    inbox_->synchronise([&] { ++ends; });
    for (int i = 0; i < 100 && ends == 0; ++i) {
      inbox_->step();
      house_.events.runUntilIdle();
    }
    EXPECT_EQ(ends, 1);
  }
  bool seen(std::uint32_t uid) { return house_.account.find(uid)->seen; }

  AccountHouse house_;
  FakeTransport transport_;
  AccountInbox* inbox_ = nullptr;
  std::function<void()> whileWaiting_;
  std::unique_ptr<AccountInbox> made_ = house_.makeInbox();
  MailboxStore store_{(inbox_ = made_.get(), std::move(made_)), house_.settings, house_.world(),
                      borrowed(&transport_)};
  RecordingLog log_{&house_.clock};
  EngineHouse program_{store_.factory(), house_.clock, house_.sleeper, log_};
  clsPref& prefs_ = program_.prefs;
  ForwardingEngine& engine_ = program_.engine;
};

// The attachment takes ten minutes, and something comes every second. Until then the wait was given
// up after a minute, and the message was marked read without a forward.
TEST_F(AccountPassTest, ALargeMessageOverASlowLineIsForwarded) {
  add(1, std::size_t{6} << 20);
  house_.arrange = [](ServerEnd& end) { end.trickle(std::size_t{10} << 10, 1s); };
  check();
  EXPECT_THAT(forwarded(), ElementsAre("FW: m1")) << testing::PrintToString(log_.lines);
}

// Its message is not taken for one that has vanished, since it keeps its identifier.
TEST_F(AccountPassTest, ARenumberingDuringAWalkKeepsNothingFromBeingForwarded) {
  add(1);
  add(2);
  bool done = false;
  house_.account.instead = [&](const std::string&, const std::string& command) {
    if (command.find("BODY.PEEK[]") == std::string::npos || std::exchange(done, true)) {
      return std::optional<std::string>();
    }
    house_.account.uidValidity = 8;
    for (ServerMail& mail : house_.account.mails) {
      mail.uid += 100;
    }
    line().close();
    return std::optional<std::string>("");
  };
  check();
  EXPECT_TRUE(done);
  check();
  settle();
  EXPECT_THAT(forwarded(), ElementsAre("FW: m2", "FW: m1"));
  EXPECT_TRUE(seen(101));
  EXPECT_TRUE(seen(102));
}

// Each check ended at this message, because it could not be marked.
TEST_F(AccountPassTest, AMessageThatIsTooLargeBlocksNoOtherInAFolderThatMayOnlyBeRead) {
  house_.account.readOnly = true;
  prefs_.fields().mbolMaxFwdSize = true;
  prefs_.fields().mdblMaxFwdSize = 1;
  add(1);
  add(2, 2500000);
  add(3);
  for (int i = 0; i < 3; ++i) {
    check();
  }
  EXPECT_THAT(forwarded(), ElementsAre("FW: m3", "FW: m1"));
  EXPECT_THAT(log_.lines, Not(Contains(HasSubstr("An Error occured"))));
  EXPECT_EQ(house_.account.count("UID STORE"), 0U);
}

// Every check failed.
TEST_F(AccountPassTest, MoreUnreadMessagesThanCanBeCountedAreLookedAtFromTheNewestOn) {
  prefs_.fields().mlngMaxToForward = 2;
  for (std::uint32_t uid = 1; uid <= 32769; ++uid) {
    house_.account.mails.push_back({uid, {}});
  }
  house_.account.mails[32768].bytes = simpleMail("newest");
  house_.account.mails[32767].bytes = simpleMail("before");
  check();
  check();
  EXPECT_EQ(engine_.state().itemsInPass, 32767);
  EXPECT_THAT(forwarded(), ElementsAre("FW: newest", "FW: before"));
  std::size_t told = 0;
  for (const std::string& notice : house_.notices) {
    told += notice.find("32769 unread") != std::string::npos ? 1 : 0;
  }
  EXPECT_EQ(told, 1U);
}

// Two lines in the log for each message at every check, and none said which message it was.
TEST_F(AccountPassTest, ARefusedMarkIsToldOnceWithItsMessageAndTriedRarely) {
  add(1);
  house_.account.instead = [](const std::string& tag, const std::string& command) {
    return command.starts_with("UID STORE") ? std::optional<std::string>(tag + " NO full\r\n")
                                            : std::nullopt;
  };
  for (int i = 0; i < 30; ++i) {
    check();
    settle();
  }
  EXPECT_THAT(forwarded(), ElementsAre("FW: m1"));
  EXPECT_GE(house_.account.count("UID STORE"), 3U) << "the server may take it later";
  EXPECT_LE(house_.account.count("UID STORE"), 7U);
  std::size_t told = 0;
  for (const std::string& notice : house_.notices) {
    told += notice.find("mark") != std::string::npos ? 1 : 0;
  }
  EXPECT_EQ(told, 1U);
  EXPECT_THAT(house_.notices, Contains(HasSubstr("the message imap-7-1 as read: full")));
}

class LostLineTest : public AccountPassTest {
 protected:
  LostLineTest() {
    for (std::uint32_t uid = 1; uid <= 4; ++uid) {
      add(uid);
    }
  }
  // From now on `act` is all that a command for a whole message leads to.
  void atBody(std::function<void()> act) {
    house_.account.instead = [act = std::move(act)](
                                 const std::string&,
                                 const std::string& command) -> std::optional<std::string> {
      if (command.find("BODY.PEEK[]") == std::string::npos) {
        return std::nullopt;
      }
      act();
      return "";
    };
  }
  void expectAllForwardedOnceLater() {
    house_.account.instead = {};
    house_.reachable = true;
    whileWaiting_ = {};
    serveUntilConnected();
    check();
    settle();
    EXPECT_THAT(forwarded(), ElementsAre("FW: m4", "FW: m3", "FW: m2", "FW: m1"));
    for (std::uint32_t uid = 1; uid <= 4; ++uid) {
      EXPECT_TRUE(seen(uid)) << uid;
    }
  }
};

// A forward that could not be built counted as one that failed: the message was marked read.
TEST_F(LostLineTest, StopDuringAFetchMarksNothingReadWithoutAForward) {
  atBody([this] { whileWaiting_ = [this] { engine_.pass().stopAfterItem(); }; });
  check();
  EXPECT_THAT(forwarded(), IsEmpty());
  EXPECT_THAT(log_.lines, Contains(HasSubstr("stopped before its end")));
  line().close();
  EXPECT_EQ(house_.account.count("UID STORE"), 0U);
  expectAllForwardedOnceLater();
}

TEST_F(LostLineTest, AConnectionThatIsLostDuringAFetchMarksNothingReadWithoutAForward) {
  atBody([this] {
    house_.reachable = false;
    line().close();
  });
  check();
  EXPECT_THAT(forwarded(), IsEmpty());
  EXPECT_EQ(house_.account.count("UID STORE"), 0U);
  EXPECT_THAT(log_.lines, Contains(HasSubstr("An Error occured at ")));
  expectAllForwardedOnceLater();
}

TEST_F(LostLineTest, AServerThatFallsSilentDuringAFetchMarksNothingReadWithoutAForward) {
  atBody([this] { house_.reachable = false; });
  check();
  EXPECT_EQ(house_.account.count("UID STORE"), 0U);
  expectAllForwardedOnceLater();
}

// The rest of the inbox was put on the ignore list, thousands of items in a second, and stayed
// there until forwarding was switched on anew.
TEST_F(LostLineTest, AConnectionThatIsLostInTheMiddleOfTheWalkLeavesTheRestForTheNextCheck) {
  house_.account.instead = [this](const std::string&, const std::string& command) {
    if (command.starts_with("UID FETCH") && command.find("BODY.PEEK[]") == std::string::npos) {
      house_.reachable = false;
      line().close();
      return std::optional<std::string>("");
    }
    return std::optional<std::string>();
  };
  check();
  EXPECT_THAT(log_.lines, Contains(HasSubstr("An Error occured at ")));
  EXPECT_EQ(engine_.state().itemsVisited, 1);
  expectAllForwardedOnceLater();
}

// The connection stays up, and the server says NO or BAD.
class RefusingServerTest : public LostLineTest {
 protected:
  // From now on whatever asks for one of these messages, and has this in its command.
  void refuse(const std::string& part, const UidSet& uids, const std::string& answer) {
    house_.account.instead = [=](const std::string& tag,
                                 const std::string& command) -> std::optional<std::string> {
      if (!command.starts_with("UID FETCH") || command.find(part) == std::string::npos) {
        return std::nullopt;
      }
      UidSet asked = *UidSet::parse(command.substr(10, command.find(' ', 10) - 10));
      const auto before = asked.count();
      asked.remove(uids);
      return asked.count() < before ? std::optional(tag + ' ' + answer + "\r\n") : std::nullopt;
    };
  }
  void pass(std::chrono::milliseconds time) {
    const auto until = house_.network.steadyTime() + time;
    house_.network.after(time, [this] { house_.network.wake(); });
    while (house_.network.steadyTime() < until) {
      inbox_->step();
    }
  }
  std::size_t logged(const std::string& words) const {
    std::size_t count = 0;
    for (const std::string& line : log_.lines) {
      count += line.find(words) != std::string::npos ? 1 : 0;
    }
    return count;
  }
  const UidSet all_{{1, 2, 3, 4}};
};

// Each refusal marked a message read without a forward, and those fetched ahead as well.
TEST_F(RefusingServerTest, RefusedTextsMarkNothingReadWithoutAForward) {
  for (const char* answer :
       {"NO [UNAVAILABLE] FETCH Server error", "NO [TEMPFAIL] try later",
        "NO Request is throttled. Suggested Backoff Time: 299923", "BAD busy"}) {
    refuse("BODY.PEEK[]", all_, answer);
    for (int i = 0; i < 5; ++i) {
      check();
      EXPECT_EQ(engine_.state().itemsVisited, 1);
    }
    pass(kRefusalPause);
  }
  EXPECT_EQ(logged("An Error occured at "), 20U);
  EXPECT_EQ(logged("The mail server refuses a message for now: FETCH Server error [UNAVAILABLE]"),
            5U);
  EXPECT_EQ(logged("Tried but failed"), 0U);
  EXPECT_EQ(house_.account.count("UID STORE"), 0U);
  expectAllForwardedOnceLater();
}

// They were put on the ignore list with the reason of another message.
TEST_F(RefusingServerTest, RefusedHeadsPutNothingOnTheIgnoreList) {
  prefs_.fields().mintSenderFilter = kForwardAllButListed;
  prefs_.fields().mcolSenderList = {"bob"};
  house_.account.add(5, "From: bob@example.org\r\nSubject: b\r\n\r\nx\r\n");
  refuse("", all_, "NO [UNAVAILABLE] FETCH Server error");
  for (int i = 0; i < 3; ++i) {
    check();
    EXPECT_EQ(engine_.state().itemsVisited, 2);
    pass(kRefusalPause);
  }
  EXPECT_EQ(logged(" not forwarded because "), 1U);
  EXPECT_EQ(house_.account.count("UID STORE"), 0U);
  expectAllForwardedOnceLater();
}

TEST_F(RefusingServerTest, ADamagedMessageIsToldAfterHalfAnHourAndBlocksNoOthersThen) {
  refuse("BODY.PEEK[]", UidSet({3}), "NO [SERVERBUG] damaged");
  for (std::uint32_t i = 0; i < 4; ++i) {
    EXPECT_EQ(logged("Tried but failed to forward m3"), 0U);
    add(10 + i);
    settle();
    check();
    check();
    pass(kRefusalPause);
  }
  EXPECT_EQ(logged("damaged [SERVERBUG]"), 7U) << "twice in each of three tries, and in the end";
  EXPECT_EQ(logged("Tried but failed to forward m3"), 1U);
  settle();
  EXPECT_THAT(forwarded(), ElementsAre("FW: m10", "FW: m4", "FW: m11", "FW: m12", "FW: m13",
                                       "FW: m2", "FW: m1"));
  EXPECT_TRUE(seen(3));
}

// It counted as refused for the first time again, and ended three checks of four.
TEST_F(RefusingServerTest, AMessageWhoseHeadIsDamagedIsToldAndBlocksNoOthersThen) {
  refuse("", UidSet({3}), "NO damaged");
  for (std::uint32_t i = 0; i < 8; ++i) {
    add(10 + i);
    settle();
    check();
    pass(kRefusalPause);
  }
  settle();
  EXPECT_EQ(logged("An Error occured at "), 3U);
  EXPECT_THAT(house_.notices, Contains("damaged"));
  EXPECT_EQ(forwarded().size(), 11U);
  EXPECT_FALSE(seen(3));
}

// The connection was gone when the failure was looked at, so it counted as the reason: each check
// ended there for good.
TEST_F(RefusingServerTest, AMessageOverWhichTheServerEndsTheConnectionBlocksNoOthersForLong) {
  house_.account.instead = [this](const std::string&,
                                  const std::string& command) -> std::optional<std::string> {
    const bool meant = command.starts_with("UID FETCH") &&
                       command.find("BODY.PEEK[]") != std::string::npos &&
                       UidSet::parse(command.substr(10, command.find(' ', 10) - 10))->contains(3);
    if (meant) {
      line().close();
    }
    return meant ? std::optional(std::string()) : std::nullopt;
  };
  for (std::uint32_t i = 0; i < 4; ++i) {
    add(10 + i);
    settle();
    check();
    pass(kRefusalPause);
  }
  settle();
  check();
  settle();
  EXPECT_EQ(logged("Tried but failed to forward m3"), 1U);
  EXPECT_EQ(forwarded().size(), 7U);
  EXPECT_TRUE(seen(3));
  EXPECT_TRUE(seen(1));
}

// The rule takes what it cannot read for a reason to reject.
class LostUnderARuleTest : public LostLineTest, public testing::WithParamInterface<int> {};

TEST_P(LostUnderARuleTest, LeavesTheRestForTheNextCheck) {
  prefs_.fields().mintSenderFilter = static_cast<std::int16_t>(GetParam());
  prefs_.fields().mcolSenderList = {GetParam() == kForwardOnlyListed ? "ann" : "nobody"};
  if (GetParam() == 0) {
    prefs_.fields().mbolFilterText = true;
    prefs_.fields().mstrTextToMatch = {"text"};
    prefs_.fields().mintTextToCheck = kCheckBody;
  }
  atBody([this] {
    house_.reachable = false;
    line().close();
  });
  check();
  EXPECT_EQ(engine_.state().itemsVisited, 1);
  expectAllForwardedOnceLater();
}

INSTANTIATE_TEST_SUITE_P(Rules, LostUnderARuleTest,
                         testing::Values(0, kForwardOnlyListed, kForwardAllButListed));

}  // namespace
}  // namespace relaybird
