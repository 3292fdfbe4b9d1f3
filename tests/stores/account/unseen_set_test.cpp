// SPDX-License-Identifier: MIT
// The unread messages by changes instead of lists. Wherever a server numbers its changes, what is
// known of the folder must be what a list of it would say, whatever other programs do, and whenever
// connections are lost.
#include "stores/account/unseen_set.h"

#include <gmock/gmock.h>

#include <random>

#include "stores/account/imap_work.h"
#include "stores/account/numbering_server.h"
#include "support/no_disk.h"

namespace relaybird {
namespace {

using testing::Each;
using testing::HasSubstr;
using testing::Not;
using Mail = NumberedFolder::Mail;
using Uids = std::vector<std::uint32_t>;

// A client of the folder that connects and disconnects as it is told.
class Party {
 public:
  Party(NumberedFolder& folder, std::string capabilities, ServerOddities oddities = {},
        std::size_t most = kMostUnseen)
      : folder_(folder), capabilities_(std::move(capabilities)), odd_(oddities), most_(most) {}

  void connect() {
    ++connections;
    server_.emplace(folder_, capabilities_, odd_);
    server_->meanwhile = meanwhile;
    client_ = std::make_unique<ImapClient>(work_.events(), std::function<void(ProtocolLine)>());
    client_->capability([](const Result<void>&) {});
    talk();
    const auto opened = [this](const Result<ImapOpened>& result) {
      ASSERT_TRUE(result) << result.error().text;
      work_.attach(*client_, *result);
    };
    if (!client_) {
      return;
    }
    if (const auto moment = work_.openingMoment()) {
      client_->selectSince("INBOX", *moment, opened);
    } else {
      client_->select("INBOX", opened);
    }
    talk();
  }
  void lose(Loss how = Loss::kOther) {
    client_.reset();
    work_.detach(how);
  }
  // Of the answers from now on, so many bytes arrive before the connection is lost.
  void loseAfter(std::size_t bytes) { left_ = bytes; }

  // The connection is closed as soon as this is asked.
  void closeOver(const std::string& beginning) { closeOver_ = beginning; }

  // Until both sides have nothing more to say.
  void talk() {
    while (client_) {
      work_.pump();
      std::string& output = client_->dialogue().output();
      if (output.empty()) {
        return;
      }
      const std::size_t end = output.find("\r\n");
      const std::string line = output.substr(0, end);
      output.erase(0, end + 2);
      std::string answer = server_->answer(line);
      if (!closeOver_.empty() && server_->commands.back().starts_with(closeOver_)) {
        lose(Loss::kClosedAtOnce);
        return;
      }
      const bool lost = answer.size() > left_;
      answer.resize(std::min(answer.size(), left_));
      left_ -= left_ == kAll ? 0 : answer.size();
      client_->dialogue().received(answer);
      if (lost) {
        left_ = kAll;
        lose();
      }
    }
  }

  Uids refresh() {
    work_.wantRefresh();
    talk();
    while (work_.wantsAnything() && connections < 1000) {
      connect();
    }
    return unseen();
  }
  Uids unseen() const { return work_.unseen() ? *work_.unseen() : Uids(); }
  void mark(std::uint32_t uid, bool seen) { work_.setSeen(uid, seen); }
  bool isWhole() const { return work_.unseenIsWhole(); }
  std::optional<bool> isUnseen(std::uint32_t uid) const { return work_.isUnseen(uid); }
  bool asked(const std::string& beginning) const {
    return std::any_of(server_->commands.begin(), server_->commands.end(),
                       [&](const std::string& each) { return each.starts_with(beginning); });
  }
  std::vector<std::string>& commands() { return server_->commands; }

  std::function<void()> meanwhile = [] {};
  int connections = 0;

 private:
  static constexpr std::size_t kAll = static_cast<std::size_t>(-1);
  NumberedFolder& folder_;
  std::string capabilities_;
  ServerOddities odd_;
  std::size_t most_;
  NoFiles files_;
  BodySpool spool_{files_, "/spool"};
  MessageIdentities identities_{files_, "/spool/messages"};
  ImapWork work_{spool_, identities_, [](const std::string&) {}, [] { return kNoDate; }, most_};
  std::optional<NumberingServer> server_;
  std::unique_ptr<ImapClient> client_;
  std::size_t left_ = kAll;
  std::string closeOver_;
};

constexpr const char* kPlain = "";
constexpr const char* kNumbers = "CONDSTORE";
constexpr const char* kResync = "ENABLE CONDSTORE QRESYNC";

class UnseenSetTest : public testing::TestWithParam<const char*> {
 protected:
  UnseenSetTest() {
    for (int i = 0; i < 6; ++i) {
      folder_.arrive();
    }
  }

  // Changes the folder in a way that depends on the number.
  void happen(unsigned number) {
    const std::uint32_t uid = 1 + (number >> 4U) % (folder_.nextUid - 1);
    switch (number % 8) {
      case 0:
      case 1:
        folder_.arrive();
        break;
      case 2:
        folder_.expunge(uid);
        break;
      case 3:
        folder_.flag(uid, &Mail::deleted, (number & 8U) != 0);
        break;
      default:
        folder_.flag(uid, &Mail::seen, (number & 8U) != 0);
    }
  }

  NumberedFolder folder_;
};

TEST_P(UnseenSetTest, KnowsWhatAListWouldSayWhateverHappens) {
  auto random = [engine = std::mt19937(20260722)]() mutable {  // NOLINT: always the same
    return static_cast<unsigned>(engine());
  };
  int byChanges = 0;
  for (int history = 0; history < 15; ++history) {
    folder_ = {};
    folder_.arrive();
    bool quiet = false;
    Party plain(folder_, kPlain);
    Party party(folder_, GetParam());
    party.meanwhile = [&] {
      if (!quiet && random() % 8 == 0) {
        happen(random());
      }
    };
    for (int step = 0; step < 40; ++step) {
      quiet = false;
      for (unsigned events = random() % 4; events > 0; --events) {
        happen(random());
      }
      if (random() % 3 == 0) {
        party.mark(1 + random() % (folder_.nextUid - 1), random() % 3 != 0);
      }
      if (random() % 6 == 0) {
        party.lose();
      } else if (random() % 6 == 0) {
        party.loseAfter(random() % 200);
      }
      party.refresh();  // while things go on happening
      party.commands().clear();
      quiet = true;
      const Uids known = party.refresh();
      ASSERT_EQ(known, folder_.unread()) << "history " << history << ", step " << step;
      ASSERT_EQ(known, plain.refresh()) << "history " << history << ", step " << step;
      byChanges += party.asked("UID SEARCH") ? 0 : 1;
    }
  }
  // The test would be worth little if lists were asked for all the time.
  EXPECT_GT(byChanges, 15 * 40 * 3 / 4);
}

TEST_P(UnseenSetTest, AFolderInWhichNothingHasHappenedIsNotListedAgain) {
  Party party(folder_, GetParam());
  party.refresh();
  party.refresh();
  party.lose();
  party.connect();
  EXPECT_THAT(party.commands(), Each(Not(HasSubstr("UID"))));
  EXPECT_EQ(party.unseen(), folder_.unread());
  party.refresh();
  EXPECT_FALSE(party.asked("UID SEARCH"));
  EXPECT_EQ(party.unseen(), folder_.unread());
}

// RECENT, which belongs to each SELECT, counted as a change that was not understood.
TEST_P(UnseenSetTest, OpeningAFolderTellsItsChangesWhereTheServerCan) {
  Party party(folder_, GetParam());
  party.refresh();
  party.lose();
  folder_.arrive();
  folder_.expunge(3);
  folder_.flag(2, &Mail::seen, true);
  party.connect();
  party.talk();
  EXPECT_EQ(party.unseen(), folder_.unread());
  EXPECT_EQ(party.asked("UID"), GetParam() != kResync);
}

TEST_P(UnseenSetTest, ListsTheFolderWhereOneOfTwoMessagesWasReplacedMeanwhile) {
  Party party(folder_, GetParam());
  party.refresh();
  party.lose();
  folder_.expunge(2);
  folder_.arrive();
  EXPECT_EQ(party.refresh(), folder_.unread());
}

// Each mark would be told as a change of its own.
TEST_P(UnseenSetTest, ListsTheFolderAfterManyMarks) {
  while (folder_.nextUid <= 400) {
    folder_.arrive();
  }
  Party party(folder_, GetParam());
  party.refresh();
  for (std::uint32_t uid = 1; uid <= 300; ++uid) {
    party.mark(uid, true);
  }
  party.commands().clear();
  const Uids known = party.refresh();
  EXPECT_EQ(known, folder_.unread());
  EXPECT_TRUE(party.asked("UID SEARCH"));
}

TEST_P(UnseenSetTest, ListsTheFolderAtTimesWhateverTheServerTells) {
  Party party(folder_, GetParam());
  party.refresh();
  party.commands().clear();
  int refreshes = 0;
  for (; !party.asked("UID SEARCH") && refreshes < 200; ++refreshes) {
    party.refresh();
  }
  EXPECT_EQ(refreshes, kRefreshesByChanges + 1);
}

// A mailbox of more than half a million unread messages failed each check, and of fewer the oldest
// were listed, so that new mail was never looked at.
TEST_P(UnseenSetTest, OfTooManyMessagesTheNewestAreListed) {
  for (std::uint32_t uid = 7; uid <= 60; ++uid) {
    folder_.arrive();
  }
  for (std::uint32_t uid = 2; uid <= 60; uid += 2) {
    folder_.flag(uid, &Mail::seen, true);
  }
  Party party(folder_, GetParam(), {}, 10);
  const auto newest = [&] {
    Uids all = folder_.unread();
    return Uids(all.end() - 10, all.end());
  };
  EXPECT_EQ(party.refresh(), newest());
  EXPECT_FALSE(party.isWhole());
  EXPECT_EQ(party.isUnseen(3), std::nullopt) << "not known: it is, but is not listed";
  EXPECT_EQ(party.isUnseen(41), true);
  EXPECT_EQ(party.isUnseen(42), false);
  folder_.arrive();
  folder_.flag(2, &Mail::seen, false);  // an old one, below those that are listed
  EXPECT_EQ(party.refresh(), newest());
  EXPECT_EQ(party.isUnseen(2), std::nullopt);
  Uids listed = newest();
  folder_.flag(listed.back(), &Mail::seen, true);
  listed.pop_back();
  EXPECT_EQ(party.refresh(), listed);
  folder_.flag(4, &Mail::seen, false);
  EXPECT_EQ(party.refresh(), listed) << "others between are not known";
}

// Those that were left out come in when others are read, not only after sixty refreshes.
TEST_P(UnseenSetTest, OlderMessagesAreListedWhenNewerOnesAreRead) {
  for (std::uint32_t uid = 7; uid <= 60; ++uid) {
    folder_.arrive();
  }
  for (std::uint32_t uid = 2; uid <= 60; uid += 2) {
    folder_.flag(uid, &Mail::seen, true);
  }
  Party party(folder_, GetParam(), {}, 10);
  (void)party.refresh();
  for (std::uint32_t uid = 9; uid <= 59; uid += 2) {
    folder_.flag(uid, &Mail::seen, true);
    (void)party.refresh();
  }
  EXPECT_EQ(party.refresh(), folder_.unread());
  EXPECT_TRUE(party.isWhole());
}

// A folder that was restored from a backup has lower numbers, and the old ones mean nothing.
TEST_P(UnseenSetTest, ListsTheFolderWhenItsNumberHasGoneBack) {
  Party party(folder_, GetParam());
  party.refresh();
  party.lose();
  folder_.modSeq = 1;
  for (auto& [uid, mail] : folder_.mails) {
    mail = {uid % 2 == 0, false, 1};
  }
  EXPECT_EQ(party.refresh(), folder_.unread());
}

TEST_P(UnseenSetTest, KnowsTheTruthOfServersThatOfferMoreThanTheyKeep) {
  for (bool ServerOddities::*oddity :
       {&ServerOddities::refusesEnable, &ServerOddities::refusesSelect,
        &ServerOddities::refusesChanges, &ServerOddities::hasNoNumbers, &ServerOddities::hidesMarks,
        &ServerOddities::namesNumbers, &ServerOddities::garbles}) {
    ServerOddities odd;
    odd.*oddity = true;
    Party party(folder_, GetParam(), odd);
    for (unsigned step = 0; step < 40; ++step) {
      happen(step * 7919);
      party.mark(1 + step % (folder_.nextUid - 1), true);
      const Uids known = party.refresh();  // before it is compared: it sets the mark
      ASSERT_EQ(known, folder_.unread()) << step;
      if (step % 5 == 4) {
        party.lose();
      }
    }
  }
}

// It could never be read, and was connected to for ever.
TEST_P(UnseenSetTest, IsPlainWithAServerThatFailsOverItsNumbers) {
  for (const bool opening : {true, false}) {
    SCOPED_TRACE(opening);
    Party failing(folder_, GetParam());
    failing.closeOver(opening ? "SELECT \"INBOX\" (" : "UID FETCH 1:*");
    for (int i = 0; i < 4; ++i) {
      failing.refresh();
      folder_.arrive();
    }
    EXPECT_EQ(failing.refresh(), folder_.unread());
    EXPECT_LE(failing.connections, 4);
    EXPECT_TRUE(failing.asked("UID SEARCH"));
  }
}

INSTANTIATE_TEST_SUITE_P(Numbering, UnseenSetTest, testing::Values(kNumbers, kResync));

}  // namespace
}  // namespace relaybird
