// SPDX-License-Identifier: MIT
// The state that the memory store's objects share. Private to this folder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "memory_store/memory_store.h"

namespace relaybird {

/// Texts and contents are shared between an item and its forwards: copying an item is cheap.
using SharedText = std::shared_ptr<const std::string>;

/// Never changes, so that an item and its forwards can hold the same one.
struct MemoryFile {
  std::string name;
  SharedText content;
  std::int32_t size = 0;
};

struct MemoryAddressee {
  std::string address;
  RecipientType type = RecipientType::kTo;
};

using MemoryAddressees = std::vector<std::shared_ptr<MemoryAddressee>>;

/// Where an item is.
enum class MemoryPlace { kUnstored, kInbox, kDrafts, kSent, kGone };

struct MemoryRecord {
  std::string kind = "MailItem";
  std::string entryId;
  MemoryPlace place = MemoryPlace::kUnstored;
  bool unread = false;
  std::string subject;
  std::string bodyHead;  ///< what a forward puts before the original's text
  SharedText bodyText;
  bool html = false;
  DateTime received = kNoDate;
  DateTime modified = kNoDate;
  std::string senderName;
  std::string senderAddress;
  std::deque<std::shared_ptr<MemoryFile>> files;
  MemoryAddressees recipients;
  MemoryAddressees replyRecipients;
  std::shared_ptr<MemoryRecord> task;

  std::string body() const { return bodyText ? bodyHead + *bodyText : bodyHead; }
};

using RecordRef = std::shared_ptr<MemoryRecord>;

/// The part of a synchronisation object that its event needs.
struct MemorySync {
  std::uint64_t era = 0;
  bool running = false;
  std::function<void()> handler;
};

struct MemoryState : std::enable_shared_from_this<MemoryState> {
  explicit MemoryState(EventQueue& queue) : events(queue) {}

  RecordRef makeRecord(MemoryItem item);
  std::string newEntryId();
  /// The address of a recipient; nothing if it cannot be resolved.
  std::optional<std::string> resolve(const std::string& recipient) const;
  /// Posts the end of a synchronisation.
  void postEnd(const std::shared_ptr<MemorySync>& sync);

  EventQueue& events;
  MemoryStore::Hook hook;
  /// Goes up when the application ends; objects of an earlier one fail.
  std::uint64_t era = 0;
  std::string version = "16.0.0.1";

  std::vector<RecordRef> inbox;
  std::vector<RecordRef> drafts;
  std::vector<MemoryMessage> outbox;
  std::uint64_t lastEntryId = 0;
  bool outboxFull = false;
  bool outboxRefused = false;  ///< a message, and has not been seen to take one since

  std::map<std::string, std::string> knownNames;  ///< by name in lower case
  std::set<std::string> unresolvable;             ///< in lower case

  bool syncEndsByItself = true;
  std::vector<std::weak_ptr<MemorySync>> syncs;
  std::size_t syncStarts = 0;
  std::size_t syncRuns = 0;
  std::size_t deliveries = 0;
  std::shared_ptr<MapiObject> mapiObject = std::make_shared<MapiObject>();
  std::size_t attachedSessions = 0;
};

/// The connection of an object to the store. Every object holds one, made from the one of the
/// object that it was obtained from.
class MemoryLink {
 public:
  explicit MemoryLink(std::shared_ptr<MemoryState> state)
      : state_(std::move(state)), era_(state_->era) {}

  /// Announces an operation to the hook; throws where the application has ended since.
  void begin(std::string_view operation) const;
  MemoryState* operator->() const { return state_.get(); }
  MemoryState& state() const { return *state_; }
  std::uint64_t era() const { return era_; }

 private:
  std::shared_ptr<MemoryState> state_;
  std::uint64_t era_;
};

MemoryMessage toMessage(const MemoryRecord& record);

std::shared_ptr<MailItem> makeMemoryItem(const MemoryLink& link, RecordRef record);
std::shared_ptr<AutomationObject> makeMemoryApplication(const MemoryLink& link);
/// Adds everything that the store offers.
void addMemoryComponents(ObjectRegistry& registry, const std::shared_ptr<MemoryState>& state);

}  // namespace relaybird
