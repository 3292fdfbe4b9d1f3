// SPDX-License-Identifier: MIT
// The folder of sent mail at a server that a test plays.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <memory>

#include "platform/posix/posix_clock.h"
#include "platform/posix/posix_file_system.h"
#include "platform/system/random_bytes.h"
#include "stores/account/account_store.h"
#include "stores/account/sent_folder.h"
#include "support/fake_timers.h"
#include "support/scripted_network.h"
#include "support/store_fakes.h"
#include "support/temp_folder.h"

namespace relaybird {

// Lends the network of the test.
class LentNetwork : public Network {
 public:
  explicit LentNetwork(Network& network) : network_(network) {}
  std::unique_ptr<Connection> connect(const MailServer& server, const std::optional<SignIn>& signIn,
                                      std::chrono::milliseconds limit,
                                      std::function<void(ProtocolLine)> trace) override {
    return network_.connect(server, signIn, limit, std::move(trace));
  }
  void wait(std::chrono::milliseconds limit) override { network_.wait(limit); }
  void wake() override { network_.wake(); }
  std::chrono::milliseconds steadyTime() const override { return network_.steadyTime(); }

 private:
  Network& network_;
};

class SentFolderTest : public testing::Test {
 protected:
  SentFolderTest() {
    writeBytes(temp_.path("imap-password"), "secret\n");
    settings_.imap.server = {MailProtocol::kImap, "imap.example.org", 993, Security::kTls, ""};
    settings_.imap.user = "ann";
    settings_.imap.secret = SecretSource::kCredential;
    settings_.imap.secretName = "imap-password";
    network_.serve([this](ServerEnd& arriving) {
      appending_.clear();
      if (arrange_) {
        arrange_(arriving);
      }
      return answerLines([this](ServerEnd& end, std::string_view line) { answer(end, line); });
    });
  }
  void answer(ServerEnd& end, std::string_view line) {
    if (!appending_.empty()) {
      return appended(end, line);
    }
    const std::string tag(line.substr(0, line.find(' ')));
    const std::string command(line.substr(tag.size() + 1));
    commands_.push_back(command);
    const std::string verb = command.substr(0, command.find_first_of(" \""));
    if (hangsAt_ == verb) {
      return end.hang();
    }
    if (verb == "APPEND" && refusedVerb_ != verb) {
      appending_ = tag;
      literal_.clear();
      expected_ = std::stoul(command.substr(command.rfind('{') + 1));
      return end.say("+ go on\r\n");
    }
    if (verb == "CAPABILITY") {
      end.say("* CAPABILITY IMAP4rev1 ID\r\n");
    } else if (verb == "LIST") {
      end.say(folders_);
    } else if (verb == "UID") {
      end.say(found_);
    }
    end.say(tag + (refusedVerb_ == verb ? refusal_ : " OK done\r\n"));
  }
  void appended(ServerEnd& end, std::string_view line) {
    if (literal_.size() < expected_) {
      literal_ += std::string(line) + "\r\n";
      return;
    }
    if (!endsOver_.empty() && literal_.starts_with(endsOver_ + "\r\n")) {
      appending_.clear();
      return end.close();
    }
    stored_.push_back(literal_);
    end.say(std::exchange(appending_, {}) + " OK stored\r\n");
  }
  // Takes each message as the outcome says.
  struct Taking : SingleTransport {
    Outcome deliver(const OutgoingMessage& message, std::stop_token) override {
      return message.subject == "bad" ? Outcome{Outcome::Kind::kPermanent, "550 no"} : Outcome{};
    }
  };
  struct Messages : MessageFeed {
    std::optional<FedMessage> next() override {
      if (subjects.empty()) {
        return std::nullopt;
      }
      const std::string subject = subjects.back();
      subjects.pop_back();
      return FedMessage{++last, {{}, subject, OutgoingText("Subject: " + subject + "\n\ntext\n")}};
    }
    void report(std::vector<Verdict> verdicts) override { reported += verdicts.size(); }
    void makeDurable() override {}
    void putBack(std::uint64_t) override {}
    std::size_t waiting() const override { return subjects.size(); }
    std::vector<std::string> subjects;
    std::uint64_t last = 0;
    std::size_t reported = 0;
  };
  // One series of a transport of its own, or of `by`.
  void deliver(std::vector<std::string> subjects, Transport* by = nullptr) {
    Messages feed;
    feed.subjects = std::move(subjects);
    const std::size_t count = feed.subjects.size();
    const auto own = withSentFolder(std::make_shared<Taking>(), settings_, world());
    (by == nullptr ? own.get() : by)->deliverAll(feed, {});
    EXPECT_EQ(feed.reported, count);
    events_.runUntilIdle();
  }
  // A transport that keeps copies, of a server that takes no other password than `right`.
  std::shared_ptr<Transport> keepingCopiesWithPassword(const std::string& right) {
    settings_.keepSentCopy = true;
    network_.serve([this, right](ServerEnd& end) {
      if (end.signIn()->secret.bytes() != right) {
        end.fail({ConnectFailure::Cause::kSignInRefused, ConnectStep::kSignIn, "refused", "NO no"});
      }
      return answerLines([this](ServerEnd& from, std::string_view line) { answer(from, line); });
    });
    return withSentFolder(std::make_shared<Taking>(), settings_, world());
  }
  void pass(std::chrono::milliseconds time) {
    const auto until = network_.steadyTime() + time;
    while (network_.steadyTime() < until) {
      network_.wait(until - network_.steadyTime());
    }
  }
  static std::string lineOf(const std::string& matter, const std::string& rest) {
    return matter + ": Mail server imap.example.org" + rest;
  }
  std::size_t copiesWaiting() {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(temp_.path(""))) {
      count += entry.path().string().find("sent-copies/") != std::string::npos &&
               entry.is_regular_file();
    }
    return count;
  }
  StoreWorld world() {
    StoreWorld made{files_, clock_, events_, executor_, commandRunner_, systemRandomBytes};
    made.notice = [this](const StoreNotice& notice) { told_.push_back(notice.line); };
    made.version = "2.3.4";
    made.verbose = verbose_;
    made.stateFolder = temp_.path("state");
    std::filesystem::create_directory(made.stateFolder);
    made.secrets.credentialFolder = temp_.path("");
    made.network = [this] { return std::make_unique<LentNetwork>(network_); };
    return made;
  }
  Arrived has(std::stop_token stop = {}) {
    commands_.clear();
    const Arrived there = SentFolder(settings_, world()).has("<1@id>", std::move(stop));
    events_.runUntilIdle();
    return there;
  }

  TempFolder temp_;
  PosixSleeper sleeper_;
  PosixFileSystem files_{sleeper_};
  PosixClock clock_;
  FakeEventQueue events_;
  InlineExecutor executor_;
  NoCommands commandRunner_;
  ScriptedNetwork network_;
  MailSettings settings_;
  std::string folders_ =
      "* LIST (\\HasNoChildren) \"/\" INBOX\r\n* LIST (\\HasNoChildren \\Sent) \"/\" "
      "\"Gesendet\"\r\n";
  std::string found_ = "* SEARCH 17\r\n";
  std::string refusedVerb_;
  std::string refusal_ = " NO not here\r\n";
  std::string hangsAt_;
  std::function<void(ServerEnd&)> arrange_;  // each connection, before anything is said
  std::string endsOver_;  // the beginning of a copy over which the connection ends
  std::vector<std::string> commands_;
  std::string appending_;  // the tag of the command whose message is being received
  std::string literal_;
  std::size_t expected_ = 0;
  std::vector<std::string> stored_;
  std::vector<std::string> told_;
  std::shared_ptr<std::atomic<bool>> verbose_ = std::make_shared<std::atomic<bool>>(false);
};

inline constexpr const char* kNotSearched = "The folder of sent mail cannot be searched";
inline constexpr const char* kNotStored =
    "Copies of forwards wait, as they cannot be stored in the folder of sent mail";
inline constexpr const char* kNotTaken =
    "The server does not store copies of forwards in the folder of sent mail";

}  // namespace relaybird
