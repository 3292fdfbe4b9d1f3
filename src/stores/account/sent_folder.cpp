// SPDX-License-Identifier: MIT
// A connection that asks one question: capabilities, the folders, EXAMINE (which marks nothing as
// read), UID SEARCH. A lost answer is rare, so nothing is kept open for it.
#include "stores/account/sent_folder.h"

#include <algorithm>
#include <array>
#include <set>
#include <utility>
#include <variant>
#include <vector>

#include "message/text/header_text.h"
#include "platform/text/ascii_text.h"
#include "stores/account/imap_command.h"
#include "stores/account/imap_dialogue.h"

namespace relaybird {

namespace {

constexpr std::size_t kReceiveAtOnce = std::size_t{64} << 10;

// Names of such folders where the server does not say which one it is (RFC 6154).
constexpr std::array<std::string_view, 5> kUsualNames = {"Sent", "INBOX.Sent", "Sent Items",
                                                         "Sent Messages", "[Gmail]/Sent Mail"};

// The question, without input and output.
class Question {
 public:
  explicit Question(std::string messageId)
      : messageId_(std::move(messageId)),
        dialogue_([this](ImapResponse response) { take(std::move(response)); }, {}) {
    dialogue_.send(ImapCommand("CAPABILITY"), [this](const ImapCondition&) { identify(); });
  }
  Question(const Question&) = delete;
  Question& operator=(const Question&) = delete;

  ImapDialogue& dialogue() { return dialogue_; }
  bool over() const { return over_ || dialogue_.bye() || !dialogue_.fault().empty(); }
  bool found() const { return found_; }

 private:
  // Some providers refuse all folders to programs that do not say which they are.
  void identify() {
    if (capabilities_.contains("ID")) {
      dialogue_.send(ImapCommand("ID (\"name\" \"Relaybird\")"), [](const ImapCondition&) {});
    }
    dialogue_.send(ImapCommand("LIST \"\" \"*\""), [this](const ImapCondition&) { open(); });
  }
  void open() {
    if (folder_.empty()) {
      for (const std::string_view name : kUsualNames) {
        if (folder_.empty() && names_.contains(std::string(name))) {
          folder_ = name;
        }
      }
    }
    if (folder_.empty()) {
      over_ = true;
      return;
    }
    dialogue_.send(ImapCommand("EXAMINE").text(folder_), [this](const ImapCondition& reply) {
      over_ = reply.status != ImapStatus::kOk;
      if (!over_) {
        search();
      }
    });
  }
  void search() {
    searching_ = true;
    dialogue_.send(ImapCommand("UID SEARCH HEADER Message-ID").text(messageId_),
                   [this](const ImapCondition&) { over_ = true; });
  }
  void take(ImapResponse response) {
    if (const auto* words = std::get_if<ImapWords>(&response)) {
      if (words->kind == ImapWords::Kind::kCapability) {
        capabilities_.insert(words->words.begin(), words->words.end());
      }
    } else if (auto* folder = std::get_if<ImapMailbox>(&response)) {
      const auto& marks = folder->attributes;
      const bool sent = std::any_of(marks.begin(), marks.end(), [](const std::string& mark) {
        return equalsAsciiCase(mark, "\\Sent");
      });
      if (sent && folder_.empty()) {
        folder_ = folder->name;
      }
      names_.insert(std::move(folder->name));
    } else if (const auto* result = std::get_if<ImapSearch>(&response)) {
      found_ = found_ || (searching_ && !result->numbers.empty());
    }
  }

  std::string messageId_;
  std::set<std::string> capabilities_;
  std::set<std::string> names_;
  std::string folder_;
  bool searching_ = false;
  bool found_ = false;
  bool over_ = false;
  ImapDialogue dialogue_;  // last, as its calls use the other members
};

std::string messageIdOf(std::string_view message) {
  while (const auto field = takeField(message)) {
    if (equalsAsciiCase(field->name, "Message-ID")) {
      return unfolded(field->value);
    }
  }
  return {};
}

class SentFolderTransport : public Transport {
 public:
  SentFolderTransport(std::shared_ptr<Transport> real, const MailSettings& settings,
                      const StoreWorld& world)
      : real_(std::move(real)), sent_(settings, world) {}
  void deliverAll(MessageFeed& feed, std::stop_token stop) override {
    real_->deliverAll(feed, std::move(stop));
  }
  void tryAgain() override { real_->tryAgain(); }
  bool hasArrived(const OutgoingMessage& message, std::stop_token stop) override {
    const std::string id = messageIdOf(message.bytes);
    return !id.empty() && sent_.has(id, std::move(stop));
  }

 private:
  std::shared_ptr<Transport> real_;
  SentFolder sent_;
};

}  // namespace

SentFolder::SentFolder(const MailSettings& settings, const StoreWorld& world)
    : server_(settings.imap.server),
      network_(world.network),
      secret_(world.secrets, world.files, settings.imap, settings.imap) {}

bool SentFolder::has(const std::string& messageId, std::stop_token stop) {
  SignInMaterial material = secret_.get(stop);
  if (!material.signIn || stop.stop_requested()) {
    return false;
  }
  const std::unique_ptr<Network> network = network_();
  const std::stop_callback wake(stop, [&network] { network->wake(); });
  const auto until = network->steadyTime() + kSentSearchLimit;
  const auto connection = network->connect(server_, material.signIn, kSentSearchLimit, {});
  Question question(messageId);
  while (!question.over() && !stop.stop_requested() && network->steadyTime() < until) {
    if (connection->state() == Connection::State::kOpen) {
      std::string bytes;
      while (connection->receive(bytes, kReceiveAtOnce) > 0) {
        question.dialogue().received(bytes);
        bytes.clear();
      }
      std::string& output = question.dialogue().output();
      output.erase(0, connection->send(output));
      connection->wantToSend(!output.empty());
    }
    if (connection->state() == Connection::State::kEnded) {
      const auto& failure = connection->failure();
      if (failure && failure->cause == ConnectFailure::Cause::kSignInRefused &&
          !failure->answer.empty()) {
        secret_.refused();
      }
      break;
    }
    if (!question.over()) {
      network->wait(until - network->steadyTime());
    }
  }
  return question.found();
}

std::shared_ptr<Transport> withSentFolder(std::shared_ptr<Transport> transport,
                                          const MailSettings& settings, const StoreWorld& world) {
  if (!transport) {
    return nullptr;
  }
  return std::make_shared<SentFolderTransport>(std::move(transport), settings, world);
}

}  // namespace relaybird
