// SPDX-License-Identifier: MIT
// A connection of its own for each task: capabilities, the folders, then EXAMINE and UID SEARCH, or
// APPEND for each copy.
//
// Copies wait on the disk, in a folder of the account's: NAME.part while the server has not taken
// the message, NAME.copy afterwards. So they take no memory while messages are sent, and one that
// could not be stored is tried again after a later series, also by the next run, unless the server
// refuses it. A crash at the wrong moment loses a copy, never a message.
//
// The delivery waits while copies are stored, and a server may fail over one of them each time. So
// a failure is followed by a pause, and the next try begins with the other copies.
#include "stores/account/sent_folder.h"

#include <algorithm>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "mail/providers.h"
#include "message/text/header_text.h"
#include "outbox/delivery/outgoing_message.h"
#include "platform/text/ascii_text.h"
#include "stores/account/connect_failure_text.h"
#include "stores/account/imap_client.h"
#include "stores/account/imap_trace.h"

namespace relaybird {

namespace {

constexpr std::size_t kReceiveAtOnce = std::size_t{64} << 10;

// The user has read enough by then; more only come from a server whose words are always others.
constexpr std::size_t kMostCausesTold = 16;

constexpr const char* kSignInRefused = "sign-in";

// What stays the same in a server's words when the cause does: numbers of the session and the time
// are others in each answer.
std::string withoutNumbers(std::string_view words) {
  std::string kept;
  while (!words.empty()) {
    const std::size_t end = std::min(words.find(' '), words.size());
    const std::string_view word = words.substr(0, end);
    if (word.find_first_of("0123456789") == word.npos) {
      kept += std::string(word) + ' ';
    }
    words.remove_prefix(std::min(end + 1, words.size()));
  }
  return kept;
}

std::string messageIdOf(std::string_view message) {
  while (const auto field = takeField(message)) {
    if (equalsAsciiCase(field->name, "Message-ID")) {
      return unfolded(field->value);
    }
  }
  return {};
}

std::string withCrLf(std::string_view text) {
  std::string made;
  made.reserve(text.size() + text.size() / 32);
  for (const char c : text) {
    made += c == '\n' ? "\r\n" : std::string_view(&c, 1);
  }
  return made;
}

// The copies on the disk. What fails here loses a copy and nothing else.
class WaitingCopies {
 public:
  WaitingCopies(const StoreWorld& world, std::string folder)
      : files_(world.files), random_(world.random), folder_(std::move(folder)) {}

  // The name of the copy; empty if it could not be written.
  std::string begin(const OutgoingText& text) {
    const auto number = random_(16);
    std::string name = number ? toHex(*number) : std::string();
    if (name.empty() || !MakeFolderPath(files_, path(name + kPart))) {
      return {};
    }
    auto file = files_.create(path(name + kPart));
    const auto write = [&](std::string_view piece) { return (*file)->write(piece); };
    if (!file || !text.forEachPiece(write) || !(*file)->close()) {
      drop(name);
      return {};
    }
    return name;
  }
  void complete(const std::string& name) {
    (void)files_.rename(path(name + kPart), path(name + kCopy));
  }
  void drop(const std::string& name) { (void)files_.remove(path(name + kPart)); }
  void remove(const std::string& name) { (void)files_.remove(path(name)); }
  // The files of complete copies.
  std::vector<std::string> complete() { return named(kCopy); }
  // What a crash has left: no other program uses the account at the same time.
  void dropLeftovers() {
    for (const std::string& name : named(kPart)) {
      remove(name);
    }
  }
  Result<std::string> read(const std::string& name) {
    return readFile(files_, path(name), kLargestSentCopy);
  }

 private:
  static constexpr const char* kPart = ".part";
  static constexpr const char* kCopy = ".copy";
  std::string path(const std::string& name) const { return folder_ + '/' + name; }
  std::vector<std::string> named(std::string_view ending) {
    std::vector<std::string> names;
    if (const auto entries = files_.list(folder_)) {
      for (const FolderEntry& entry : *entries) {
        if (entry.name.ends_with(ending)) {
          names.push_back(entry.name);
        }
      }
    }
    return names;
  }

  FileSystem& files_;
  RandomBytes random_;
  std::string folder_;
};

// Keeps a copy of each message that is taken.
class CopyingFeed : public MessageFeed {
 public:
  CopyingFeed(MessageFeed& real, WaitingCopies& copies) : real_(real), copies_(copies) {}
  ~CopyingFeed() override {
    for (const auto& [number, name] : names_) {
      copies_.drop(name);
    }
  }
  CopyingFeed(const CopyingFeed&) = delete;
  CopyingFeed& operator=(const CopyingFeed&) = delete;

  std::optional<FedMessage> next() override {
    auto fed = real_.next();
    if (fed && fed->message.text.size() <= kLargestSentCopy) {
      if (std::string name = copies_.begin(fed->message.text); !name.empty()) {
        names_[fed->number] = std::move(name);
      }
    }
    return fed;
  }
  void report(std::vector<Verdict> verdicts) override {
    std::vector<std::uint64_t> taken;
    std::vector<std::uint64_t> others;
    for (const Verdict& verdict : verdicts) {
      const bool delivered = verdict.outcome.kind == Outcome::Kind::kDelivered;
      (delivered ? taken : others).push_back(verdict.number);
    }
    real_.report(std::move(verdicts));
    for (const std::uint64_t number : taken) {
      if (const auto name = names_.extract(number)) {
        copies_.complete(name.mapped());
      }
    }
    for (const std::uint64_t number : others) {
      forget(number);
    }
  }
  void putBack(std::uint64_t number) override {
    forget(number);
    real_.putBack(number);
  }
  void makeDurable() override { real_.makeDurable(); }
  std::size_t waiting() const override { return real_.waiting(); }

 private:
  void forget(std::uint64_t number) {
    if (const auto name = names_.extract(number)) {
      copies_.drop(name.mapped());
    }
  }

  MessageFeed& real_;
  WaitingCopies& copies_;
  std::map<std::uint64_t, std::string> names_;
};

class SentFolderTransport : public Transport {
 public:
  SentFolderTransport(std::shared_ptr<Transport> real, const MailSettings& settings,
                      const StoreWorld& world)
      : real_(std::move(real)), sent_(settings, world) {
    if (settings.keepSentCopy) {
      copies_.emplace(world,
                      world.stateFolder + "/rbx/sent-copies/" + toHex(accountName(settings.imap)));
    }
  }
  void deliverAll(MessageFeed& feed, std::stop_token stop) override {
    if (!copies_) {
      return real_->deliverAll(feed, std::move(stop));
    }
    {
      copies_->dropLeftovers();
      CopyingFeed copying(feed, *copies_);
      real_->deliverAll(copying, stop);
    }
    std::deque<std::string> names = copiesInTurn();
    if (!names.empty() && (!pauseUntil_ || sent_.steadyTime() >= *pauseUntil_)) {
      storeCopies(std::move(names), stop);
    }
  }
  void wake() override { real_->wake(); }
  void tryAgain() override {
    pauseUntil_.reset();
    real_->tryAgain();
    sent_.tryAgain();
  }
  bool searches() const override { return true; }
  // What has no identifier cannot be looked for.
  Arrived hasArrived(const OutgoingMessage& message, std::stop_token stop) override {
    const std::string id = messageIdOf(message.text.beginning());
    return id.empty() ? Arrived::kNo : sent_.has(id, std::move(stop));
  }

 private:
  // The one over which the last try failed comes last.
  std::deque<std::string> copiesInTurn() {
    const std::vector<std::string> complete = copies_->complete();
    std::deque<std::string> names(complete.begin(), complete.end());
    std::sort(names.begin(), names.end());
    std::rotate(names.begin(), std::upper_bound(names.begin(), names.end(), failedLast_),
                names.end());
    return names;
  }
  void storeCopies(std::deque<std::string> names, const std::stop_token& stop) {
    bool underWay = false;  // the first of them
    const auto next = [&]() -> std::optional<std::string> {
      while (!names.empty()) {
        if (auto bytes = copies_->read(names.front())) {
          underWay = true;
          return withCrLf(*bytes);
        }
        names.pop_front();
      }
      return std::nullopt;
    };
    const auto ended = [&] {
      underWay = false;
      failures_.erase(names.front());
      copies_->remove(names.front());
      names.pop_front();
    };
    if (sent_.store(next, ended, stop) || stop.stop_requested()) {
      return;
    }
    pauseUntil_ = sent_.steadyTime() + kSentStorePause;
    if (underWay) {
      noteFailure(names.front());
    }
  }
  void noteFailure(const std::string& name) {
    failedLast_ = name;
    if (++failures_[name] >= kMostStoreFailures) {
      failures_.erase(name);
      copies_->remove(name);
      sent_.tellOfUnanswered(kMostStoreFailures);
    }
  }

  std::shared_ptr<Transport> real_;
  SentFolder sent_;
  std::optional<WaitingCopies> copies_;
  std::optional<std::chrono::milliseconds> pauseUntil_;
  std::string failedLast_;
  std::map<std::string, int> failures_;  // of copies, since the start
};

}  // namespace

// What is said, without input and output: finds the folder and leaves the rest to a task.
class SentFolder::Talk {
 public:
  // `folder` is empty if there is no such folder.
  using Task = std::function<void(Talk&, const std::string& folder)>;
  Talk(std::string version, std::function<void(ProtocolLine)> trace, Task task)
      : task_(std::move(task)),
        client_({[](ImapHead) {}, [](ImapBody) {}, [] {}}, std::move(trace)) {
    client_.capability([this, version = std::move(version)](const Result<void>&) {
      client_.identify(version);
      begin("listing the folders");
      client_.findSent([this](const Result<std::string>& folder) {
        if (folder) {
          task_(*this, *folder);
        } else {
          fail(folder.error().text);
        }
      });
    });
  }
  Talk(const Talk&) = delete;
  Talk& operator=(const Talk&) = delete;

  ImapClient& client() { return client_; }
  ImapDialogue& dialogue() { return client_.dialogue(); }
  // Names what is done now.
  void begin(std::string step) { step_ = std::move(step); }
  const std::string& step() const { return step_; }
  void end() { ended_ = true; }
  void fail(const std::string& words) {
    end();
    failure_ = words;
  }
  bool over() { return ended_ || !failure().empty(); }
  // Why it has ended; empty if it is done, or if it goes on.
  std::string failure() {
    if (ended_) {
      return failure_;
    }
    if (!dialogue().fault().empty()) {
      return dialogue().fault();
    }
    return dialogue().bye() ? "it has ended the connection: " + *dialogue().bye() : std::string();
  }

 private:
  Task task_;
  std::string step_ = "asking what it can do";
  bool ended_ = false;
  std::string failure_;
  ImapClient client_;  // last, as its calls use the other members
};

SentFolder::SentFolder(const MailSettings& settings, const StoreWorld& world)
    : server_(settings.imap.server),
      version_(world.version),
      network_(world.network),
      trace_(imapTrace(world, "IMAP (sent mail)")),
      events_(world.events),
      notice_(world.notice),
      secret_(world.secrets, world.files, settings.imap, settings.imap,
              appPasswordLengthAt(settings.imap.server, settings.address)) {}

Arrived SentFolder::has(const std::string& messageId, std::stop_token stop) {
  bool there = false;
  Talk talk(version_, trace_, [&](Talk& self, const std::string& folder) {
    if (folder.empty()) {
      return self.end();
    }
    self.begin("opening the folder " + oneLine(folder));
    self.client().examine(folder, [&, folder](const Result<void>& opened) {
      if (!opened) {
        return self.fail(opened.error().text);
      }
      self.begin("searching the folder " + oneLine(folder));
      self.client().searchMessageId(messageId, [&](const Result<UidSet>& found) {
        if (!found) {
          return self.fail(found.error().text);
        }
        there = !found->empty();
        self.end();
      });
    });
  });
  if (!converse(talk, searching_, kSentSearchLimit, std::move(stop))) {
    return Arrived::kNotKnownNow;
  }
  return there ? Arrived::kYes : Arrived::kNo;
}

bool SentFolder::store(const std::function<std::optional<std::string>()>& next,
                       const std::function<void()>& ended, std::stop_token stop) {
  bool stored = false;
  bool refusedAny = false;
  const auto refused = [&](const Talk& self, const std::string& words) {
    refusedAny = true;
    tell(refusing_, withoutNumbers(words),
         "Mail server " + server_.host + ", " + self.step() + ": " + oneLine(words));
    ended();
  };
  std::function<void(Talk&, const std::string&)> storeOne;
  storeOne = [&](Talk& self, const std::string& folder) {
    auto message = next();
    for (; message && folder.empty(); message = next()) {
      refused(self, "the account has none");
    }
    if (!message) {
      return self.end();
    }
    self.begin("storing a copy in the folder " + oneLine(folder));
    self.client().append(folder, *message, [&, folder](const Result<void>& answer) {
      if (answer) {
        stored = true;
        ended();
      } else {
        refused(self, answer.error().text);
      }
      storeOne(self, folder);
    });
  };
  Talk talk(version_, trace_, storeOne);
  const bool done = converse(talk, storing_, kSentStoreLimit, std::move(stop));
  if (stored && !refusedAny) {
    refusing_.told.clear();
  }
  return done;
}

void SentFolder::tellOfUnanswered(int tries) {
  tell(refusing_, "unanswered",
       "Mail server " + server_.host + ": it has not answered for a copy in " +
           std::to_string(tries) + " tries");
}

void SentFolder::tryAgain() {
  secret_.tryAgain();
  for (Matter* matter : {&searching_, &storing_, &refusing_}) {
    matter->told.clear();
  }
}

void SentFolder::tell(Matter& matter, const std::string& cause, const std::string& words) {
  if (matter.told.size() >= kMostCausesTold || !matter.told.insert(cause).second) {
    return;
  }
  events_.post(
      [notice = notice_, line = matter.sentence + (": " + words)] { notice(StoreNotice(line)); });
}

// True once the talk is done.
bool SentFolder::converse(Talk& talk, Matter& matter, std::chrono::seconds limit,
                          std::stop_token stop) {
  const auto failed = [&](const std::string& words, const std::string& cause = {}) {
    if (!stop.stop_requested()) {
      tell(matter, cause.empty() ? withoutNumbers(words) : cause, words);
    }
    return false;
  };
  const std::string server = "Mail server " + server_.host;
  SignInMaterial material = secret_.get(stop);
  if (!material.signIn) {
    const bool refused = material.failure.cause == SignInFailure::Cause::kRefused;
    return failed(server + ": " + material.failure.words, refused ? kSignInRefused : "");
  }
  if (stop.stop_requested()) {
    return false;
  }
  const std::unique_ptr<Network> network = network_();
  const std::stop_callback wake(stop, [&network] { network->wake(); });
  const auto until = network->steadyTime() + limit;
  const auto connection = network->connect(server_, material.signIn, limit, trace_);
  bool accepted = false;
  while (!talk.over() && !stop.stop_requested() && network->steadyTime() < until) {
    if (connection->state() == Connection::State::kOpen) {
      if (!std::exchange(accepted, true)) {
        secret_.accepted();
      }
      std::string bytes;
      while (connection->receive(bytes, kReceiveAtOnce) > 0) {
        talk.dialogue().received(bytes);
        bytes.clear();
      }
      std::string& output = talk.dialogue().output();
      output.erase(0, connection->send(output));
      connection->wantToSend(!output.empty());
    }
    if (!talk.over() && connection->state() == Connection::State::kEnded) {
      const ConnectFailure failure = connection->failure().value_or(ConnectFailure());
      // Without an answer the secret was not sent: the server does not know this way to sign in.
      const bool refused =
          failure.cause == ConnectFailure::Cause::kSignInRefused && !failure.answer.empty();
      if (refused) {
        secret_.refused();
      }
      return failed(connectFailureText(server_, failure, talk.step()),
                    refused ? kSignInRefused : "");
    }
    if (!talk.over()) {
      network->wait(until - network->steadyTime());
    }
  }
  if (!talk.over()) {
    ConnectFailure late{ConnectFailure::Cause::kTimedOut, connection->step(), {}, {}};
    late.words = "not done within " + std::to_string(limit.count()) + " seconds";
    return failed(connectFailureText(server_, late, talk.step()));
  }
  if (const std::string words = talk.failure(); !words.empty()) {
    return failed(server + ", " + talk.step() + ": " + oneLine(words));
  }
  matter.told.clear();
  return true;
}

std::shared_ptr<Transport> withSentFolder(std::shared_ptr<Transport> transport,
                                          const MailSettings& settings, const StoreWorld& world) {
  if (!transport) {
    return nullptr;
  }
  return std::make_shared<SentFolderTransport>(std::move(transport), settings, world);
}

}  // namespace relaybird
