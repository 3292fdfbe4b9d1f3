// SPDX-License-Identifier: MIT
// A mailbox on a server that the test plays: marks are confirmed when the test says so, messages
// vanish, the server refuses. The server outlives the inboxes that work on it, as one does that is
// used before and after a crash of the program.
#pragma once

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "message/memory_files.h"
#include "stores/mailbox/inbox.h"

namespace relaybird {

struct FakeServer {
  struct Message {
    std::uint32_t uid = 0;
    std::string bytes;
    bool seen = false;
    DateTime received = kNoDate;
  };

  /// The identifier of the new message.
  std::string deliver(const std::string& bytes = "Subject: x\n\ny\n") {
    messages.push_back({nextUid++, bytes, false, kNoDate});
    ++changes;
    return idOf(messages.back());
  }
  std::string idOf(const Message& message) const {
    return std::to_string(uidValidity) + "." + std::to_string(message.uid);
  }
  Message* find(const std::string& entryId) {
    for (Message& message : messages) {
      if (idOf(message) == entryId) {
        return &message;
      }
    }
    return nullptr;
  }
  bool seen(const std::string& entryId) { return find(entryId) && find(entryId)->seen; }
  void remove(const std::string& entryId) {
    std::erase_if(messages, [&](const Message& message) { return idOf(message) == entryId; });
    ++changes;
  }
  /// The server numbers its messages anew.
  void renumber() {
    ++uidValidity;
    ++changes;
  }

  std::uint32_t uidValidity = 7;
  std::uint32_t nextUid = 1;
  std::vector<Message> messages;
  int changes = 0;

  // What the server, or the way to it, answers.
  Result<void> check;
  Result<void> alive;
  Result<void> signIn;
  Result<void> listing;
  Result<void> marking;
  Result<void> opening;
  /// Whether a listing has all unread messages.
  bool listsAll = true;

  /// What was asked, in order: "seen ID", "unseen ID", "close", "sync", "user asks", "minute",
  /// "on", "off".
  std::vector<std::string> asked;
};

class FakeInbox : public Inbox {
 public:
  explicit FakeInbox(FakeServer& server, std::string folder = {})
      : server_(server), folder_(std::move(folder)) {}

  // Of the test.

  /// The server does what was queued so far.
  void confirmMarks() {
    for (const auto& [entryId, seen] : std::exchange(queue_, {})) {
      if (FakeServer::Message* message = server_.find(entryId)) {
        message->seen = seen;
      }
    }
  }
  /// The server refuses what was queued so far.
  void refuseMarks() {
    for (const auto& mark : std::exchange(queue_, {})) {
      refused_.insert(mark.first);
    }
    ++server_.changes;
  }
  std::size_t marksOnTheirWay() const { return queue_.size(); }
  bool synchronising() const { return !waiting_.empty(); }
  void endSynchronisation() {
    for (const auto& done : std::exchange(waiting_, {})) {
      done();
    }
  }
  /// A listing as the server has it, without the marks that are on their way.
  bool forgetsQueueInListings = false;
  /// What happens while a call waits for the server.
  std::function<void()> whileWaiting;
  /// Called by close(), before it ends.
  std::function<void()> whileClosing;
  /// Whether closing takes time, until this is called.
  bool saysGoodbye = false;
  std::function<void()> readyToClose;

  // As Inbox.

  Result<std::string> identity() const override {
    return folder_.empty() ? std::string("imap:ann@imap.example.org/INBOX") : folder_;
  }
  std::string folder() const override { return folder_; }
  Result<void> check() override { return server_.check; }
  Result<void> alive() override { return server_.alive; }
  Result<void> signIn() override {
    wait();
    return server_.signIn;
  }
  void userAsks() override { server_.asked.emplace_back("user asks"); }
  void minutePassed() override { server_.asked.emplace_back("minute"); }
  void forwardingSwitched(bool on) override { server_.asked.emplace_back(on ? "on" : "off"); }
  Result<std::shared_ptr<InboxListing>> list() override;
  MarkReport syncMarks(const std::unordered_set<std::string>& entryIds) override;
  void synchronise(std::function<void()> done) override { waiting_.push_back(std::move(done)); }
  bool beginToClose(std::function<void()> ready) override {
    server_.asked.emplace_back("goodbye");
    readyToClose = std::move(ready);
    return !saysGoodbye;
  }
  void close() override {
    server_.asked.push_back("close");
    if (whileClosing) {
      whileClosing();
    }
    waiting_.clear();
  }

 private:
  class Listing;

  void wait() {
    if (const auto event = std::exchange(whileWaiting, nullptr)) {
      event();
    }
  }

  FakeServer& server_;
  std::string folder_;
  std::deque<std::pair<std::string, bool>> queue_;
  std::set<std::string> refused_;
  std::vector<std::function<void()>> waiting_;
  std::shared_ptr<Listing> last_;
  int lastChanges_ = -1;
};

class FakeInbox::Listing : public InboxListing {
 public:
  explicit Listing(FakeInbox& inbox) : inbox_(inbox) {
    for (const FakeServer::Message& message : inbox.server_.messages) {
      ids_.push_back(inbox.server_.idOf(message));
      seen_.push_back(message.seen);
    }
    if (inbox.forgetsQueueInListings) {
      return;
    }
    for (const auto& [entryId, seen] : inbox.queue_) {
      for (std::size_t i = 0; i < ids_.size(); ++i) {
        if (ids_[i] == entryId) {
          seen_[i] = seen;
        }
      }
    }
  }

  std::size_t size() const override { return ids_.size(); }
  bool isWhole() const override { return inbox_.server_.listsAll; }
  std::string entryId(std::size_t index) const override { return ids_[index]; }
  bool seen(std::size_t index) const override { return seen_[index]; }

  Result<void> setSeen(std::size_t index, bool seen) override {
    if (seen_[index] == seen) {
      return {};
    }
    inbox_.server_.asked.push_back((seen ? "seen " : "unseen ") + ids_[index]);
    if (!inbox_.server_.marking) {
      return inbox_.server_.marking;
    }
    if (!inbox_.server_.find(ids_[index])) {
      return gone();
    }
    inbox_.queue_.emplace_back(ids_[index], seen);
    seen_[index] = seen;
    return {};
  }

  InboxHead head(std::size_t index, const OwnMarks& own) override {
    InboxHead head;
    const auto file = open(index);
    if (!file) {
      head.failure = file.error();
      return head;
    }
    head.received = inbox_.server_.find(ids_[index])->received;
    head.headers = std::move(readHeaderBlock(**file).value());
    head.kind = readMessageKind(head.headers, **file, own).value();
    return head;
  }

  Result<std::unique_ptr<InputFile>> open(std::size_t index) override {
    inbox_.wait();
    if (!inbox_.server_.opening) {
      return inbox_.server_.opening.error();
    }
    const FakeServer::Message* message = inbox_.server_.find(ids_[index]);
    if (!message) {
      return gone();
    }
    return std::unique_ptr<InputFile>(std::make_unique<MemoryInput>(message->bytes));
  }

 private:
  static Error gone() { return {ENOENT, "The message is no longer there"}; }

  FakeInbox& inbox_;
  std::vector<std::string> ids_;
  std::vector<bool> seen_;
};

inline Result<std::shared_ptr<InboxListing>> FakeInbox::list() {
  wait();
  if (!server_.listing) {
    return server_.listing.error();
  }
  if (!last_ || lastChanges_ != server_.changes) {
    last_ = std::make_shared<Listing>(*this);
    lastChanges_ = server_.changes;
  }
  return std::shared_ptr<InboxListing>(last_);
}

// As the interface demands: marks of messages that are gone for good count as durable, and so does
// everything that neither waits nor was refused.
inline MarkReport FakeInbox::syncMarks(const std::unordered_set<std::string>& entryIds) {
  server_.asked.push_back("sync");
  MarkReport report;
  for (const std::string& entryId : entryIds) {
    const bool waits = std::any_of(queue_.begin(), queue_.end(),
                                   [&](const auto& mark) { return mark.first == entryId; });
    if (refused_.erase(entryId) != 0) {
      report.refused.push_back(entryId);
    } else if (!waits) {
      report.durable.push_back(entryId);
    }
  }
  return report;
}

}  // namespace relaybird
