// SPDX-License-Identifier: MIT
// The test's side of the memory store: fills the inbox, sets names and failures, and reads what was
// sent. The engine's side is in the other sources of this folder.
#include "memory_store/memory_store.h"

#include <algorithm>
#include <utility>

#include "memory_store/memory_state.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

class MemoryOutgoing : public OutgoingMail {
 public:
  explicit MemoryOutgoing(std::shared_ptr<MemoryState> state) : state_(std::move(state)) {}
  OutgoingState state() override { return {}; }
  std::size_t waiting() override { return 0; }
  void tryAgain(std::function<void()> done) override { state_->events.post(std::move(done)); }

 private:
  std::shared_ptr<MemoryState> state_;
};

}  // namespace

MemoryStore::MemoryStore(EventQueue& events)
    : state_(std::make_shared<MemoryState>(events)),
      outgoing_(std::make_unique<MemoryOutgoing>(state_)) {
  restoreComponents();
}

MemoryStore::~MemoryStore() = default;

void MemoryStore::setHook(Hook hook) {
  state_->hook = std::move(hook);
}

std::string MemoryStore::deliver(MemoryItem item) {
  const RecordRef record = state_->makeRecord(std::move(item));
  record->place = MemoryPlace::kInbox;
  state_->inbox.push_back(record);
  return record->entryId;
}

std::size_t MemoryStore::inboxCount() const {
  return state_->inbox.size();
}

std::size_t MemoryStore::unreadCount() const {
  return static_cast<std::size_t>(std::count_if(state_->inbox.begin(), state_->inbox.end(),
                                                [](const auto& record) { return record->unread; }));
}

bool MemoryStore::isUnread(std::size_t position) const {
  return state_->inbox.at(position)->unread;
}

void MemoryStore::setUnread(std::size_t position, bool unread) {
  state_->inbox.at(position)->unread = unread;
}

void MemoryStore::takeAway(std::size_t position) {
  state_->inbox.at(position)->place = MemoryPlace::kGone;
  state_->inbox.erase(state_->inbox.begin() + static_cast<std::ptrdiff_t>(position));
}

std::vector<MemoryMessage> MemoryStore::outbox() const {
  return state_->outbox;
}

std::size_t MemoryStore::outboxCount() const {
  return state_->outbox.size();
}

std::vector<MemoryMessage> MemoryStore::drafts() const {
  std::vector<MemoryMessage> drafts;
  for (const auto& record : state_->drafts) {
    drafts.push_back(toMessage(*record));
  }
  return drafts;
}

void MemoryStore::setKnownName(const std::string& name, const std::string& address) {
  state_->knownNames[asciiLower(name)] = address;
}

void MemoryStore::setUnresolvable(const std::string& recipient) {
  state_->unresolvable.insert(asciiLower(recipient));
}

void MemoryStore::setSyncEndsByItself(bool itself) {
  state_->syncEndsByItself = itself;
}

std::size_t MemoryStore::endSyncs() {
  std::size_t ended = 0;
  for (const auto& held : std::exchange(state_->syncs, {})) {
    const auto sync = held.lock();
    if (!sync || !sync->running) {
      continue;
    }
    state_->postEnd(sync);
    ++ended;
  }
  return ended;
}

std::size_t MemoryStore::syncStarts() const {
  return state_->syncStarts;
}

std::size_t MemoryStore::syncRuns() const {
  return state_->syncRuns;
}

std::size_t MemoryStore::deliveries() const {
  return state_->deliveries;
}

std::size_t MemoryStore::attachedSessions() const {
  return state_->attachedSessions;
}

void MemoryStore::setVersion(const std::string& version) {
  state_->version = version;
}

void MemoryStore::setOutboxFull(bool full) {
  state_->outboxFull = full;
}

void MemoryStore::quitApplication() {
  ++state_->era;
}

void MemoryStore::removeComponent(std::string_view progId) {
  registry_.add(progId, [name = std::string(progId)]() -> std::shared_ptr<AutomationObject> {
    throw MailStoreError("Cannot create object: " + name + " is not installed");
  });
}

void MemoryStore::restoreComponents() {
  addMemoryComponents(registry_, state_);
}

}  // namespace relaybird
