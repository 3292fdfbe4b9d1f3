// SPDX-License-Identifier: MIT
#include "stores/account/sent_copies.h"

#include <gmock/gmock.h>

#include "stores/account/account_house.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace std::chrono_literals;

class SentCopiesTest : public testing::Test {
 protected:
  SentCopiesTest() {
    house_.account.instead = [this](const std::string& tag, const std::string& command) {
      return answer(tag, command);
    };
  }

  // Messages without empty lines, so that an empty line ends what is put into the folder.
  std::optional<std::string> answer(const std::string& tag, const std::string& command) {
    if (!hanging_.empty() && command.starts_with(hanging_)) {
      return "";
    }
    if (command.starts_with("LIST")) {
      return (folder_.empty() ? "" : "* LIST (\\Sent) \"/\" \"" + folder_ + "\"\r\n") + tag +
             " OK\r\n";
    }
    if (command.starts_with("APPEND")) {
      appending_ = tag;
      copy_.clear();
      return "+ go\r\n";
    }
    if (!appending_.empty() && tag.empty()) {
      copies_.push_back(copy_);
      return std::exchange(appending_, {}) + verdict_;
    }
    if (!appending_.empty()) {
      copy_ += tag + (command.empty() ? "" : ' ' + command) + '\n';
      return "";
    }
    return std::nullopt;
  }

  AccountHouse house_;
  std::string folder_ = "Sent";
  std::string hanging_;  // commands that are never answered
  std::string verdict_ = " OK\r\n";
  std::string appending_;
  std::string copy_;
  std::vector<std::string> copies_;
  SentCopies sent_{house_.settings, house_.world()};
};

TEST_F(SentCopiesTest, CannotBeKeptWhereThereIsNoFolderForThem) {
  folder_.clear();
  EXPECT_THAT(sent_.append("A: b\n", {}).error().text, HasSubstr("no folder for sent messages"));
}

TEST_F(SentCopiesTest, AreMarkedAsRead) {
  EXPECT_TRUE(sent_.append("A: b\nC: d\n", {}));
  EXPECT_THAT(copies_, ElementsAre("A: b\nC: d\n"));
  EXPECT_THAT(house_.network.end(0).heard(), HasSubstr("A: b\r\nC: d\r\n\r\n"));
  EXPECT_EQ(house_.account.count("APPEND \"Sent\" (\\Seen) {12}"), 1U);
}

TEST_F(SentCopiesTest, TellWhyACopyWasRefused) {
  verdict_ = " NO [OVERQUOTA] full\r\n";
  EXPECT_EQ(sent_.append("A: b\n", {}).error().text,
            "Mail server imap.example.org, keeping a copy in Sent: full [OVERQUOTA]");
}

TEST_F(SentCopiesTest, UseOneConnectionAsLongAsItLives) {
  EXPECT_TRUE(sent_.append("A: b\n", {}));
  EXPECT_TRUE(sent_.append("A: c\n", {}));
  EXPECT_EQ(house_.network.connections(), 1U);
  house_.network.end(0).close();
  // The loss shows in the first use; the second one has a new connection.
  EXPECT_FALSE(sent_.append("A: d\n", {}));
  EXPECT_TRUE(sent_.append("A: e\n", {}));
  EXPECT_THAT(copies_, ElementsAre("A: b\n", "A: c\n", "A: e\n"));
}

TEST_F(SentCopiesTest, GiveUpAServerThatDoesNotAnswer) {
  for (const char* command : {"CAPABILITY", "LIST", "APPEND"}) {
    hanging_ = command;
    sent_.close();
    const auto begin = house_.network.steadyTime();
    EXPECT_FALSE(sent_.append("A: b\n", {})) << command;
    EXPECT_LE(house_.network.steadyTime() - begin, kSentCopyLimit) << command;
  }
}

TEST_F(SentCopiesTest, EndAtOnceWhenStopped) {
  std::stop_source stop;
  stop.request_stop();
  EXPECT_FALSE(sent_.append("A: b\n", stop.get_token()));
}

// A transport that reports the verdicts it was given, one for each message.
class VerdictTransport : public Transport {
 public:
  explicit VerdictTransport(std::vector<Outcome::Kind> kinds) : kinds_(std::move(kinds)) {}
  void deliverAll(MessageFeed& feed, std::stop_token) override {
    for (const Outcome::Kind kind : kinds_) {
      const auto fed = feed.next();
      Outcome outcome;
      outcome.kind = kind;
      feed.report({{fed->number, outcome}});
    }
  }

 private:
  std::vector<Outcome::Kind> kinds_;
};

class NumberedFeed : public MessageFeed {
 public:
  std::optional<FedMessage> next() override {
    ++last_;
    return FedMessage{last_,
                      {{}, "s" + std::to_string(last_), "N: " + std::to_string(last_) + "\n"}};
  }
  void report(std::vector<Verdict> verdicts) override { reported += verdicts.size(); }
  void putBack(std::uint64_t) override {}
  std::size_t waiting() const override { return 0; }

  std::size_t reported = 0;

 private:
  std::uint64_t last_ = 0;
};

TEST_F(SentCopiesTest, AreKeptOfWhatWasDeliveredAlone) {
  using Kind = Outcome::Kind;
  std::vector<std::string> notices;
  const auto transport = keepingSentCopies(
      std::make_shared<VerdictTransport>(std::vector<Kind>{
          Kind::kDelivered, Kind::kTemporary, Kind::kPermanent, Kind::kUnknown, Kind::kDelivered}),
      std::make_shared<SentCopies>(house_.settings, house_.world()),
      [&](const std::string& text) { notices.push_back(text); });
  NumberedFeed feed;
  transport->deliverAll(feed, {});
  EXPECT_EQ(feed.reported, 5U);
  EXPECT_THAT(copies_, ElementsAre("N: 1\n", "N: 5\n"));
  EXPECT_THAT(notices, IsEmpty());
  verdict_ = " NO full\r\n";
  transport->deliverAll(feed, {});
  EXPECT_THAT(notices, ElementsAre(HasSubstr("No copy of \"s6\" was kept: "), testing::_));
}

}  // namespace
}  // namespace relaybird
