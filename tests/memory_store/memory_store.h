// SPDX-License-Identifier: MIT
// A mailbox in memory, for tests and benchmarks. A test fills the inbox, acts as the server, and
// reads the sent messages; the engine sees a MailStore.
//
// Every call that the engine makes goes through one hook, which can watch it, change the mailbox
// under it, or refuse it. Names are "CreateObject " and the identifier in lower case, or class and
// member: "MailItem.Subject", with "=" after it for writing ("MailItem.Subject="). A safe item
// announces itself as "SafeItem.Body" before the item does as "MailItem.Body"; reply recipients as
// "ReplyRecipients.Add". SyncEnd is an event, not a call.
//
// All calls on one thread. Objects handed out stay usable after the store is gone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "mail/mail_store.h"
#include "mail/shared_components.h"
#include "platform/event_queue.h"

namespace relaybird {

struct MemoryState;

struct MemoryAttachment {
  std::string name;
  std::string content;
  /// What Size returns if it should differ from the content's size, for sizes of gigabytes.
  std::optional<std::int32_t> claimedSize;
};

/// One item as it is put into the inbox.
struct MemoryItem {
  std::string kind = "MailItem";       ///< the class name; any text, also "ContactItem"
  std::optional<std::string> entryId;  ///< made up by the store if not given; may be ""
  bool unread = true;
  std::string subject;
  std::string body;   ///< the plain text
  bool html = false;  ///< has an HTML form too; replacing the body drops it
  DateTime received = kNoDate;
  DateTime modified = kNoDate;
  std::string senderName;
  std::string senderAddress;
  std::vector<MemoryAttachment> attachments;
  /// For a task request. Without it the task has the request's own subject and body.
  std::shared_ptr<MemoryItem> task;
};

struct MemoryRecipient {
  std::string address;
  RecipientType type = RecipientType::kTo;
  bool operator==(const MemoryRecipient&) const = default;
};

/// One item of the outbox or of the drafts, as it was when it was sent, or as it now is.
struct MemoryMessage {
  std::string subject;
  std::string body;
  bool html = false;
  std::vector<MemoryRecipient> recipients;  ///< names replaced by the addresses they resolved to
  std::vector<std::string> replyTo;
  std::vector<MemoryAttachment> attachments;
};

class MemoryStore : public MailStore {
 public:
  using Hook = std::function<void(std::string_view operation)>;

  /// Synchronisations report their end through the queue, which must outlive the
  /// store and the objects made by it.
  explicit MemoryStore(EventQueue& events);
  ~MemoryStore() override;

  ObjectFactory& factory() override { return registry_; }
  /// Has no outbox folder: a sent message has left at once.
  OutgoingMail& outgoing() override { return *outgoing_; }
  std::string place() const override { return "memory"; }

  /// Called at the start of every operation, before anything is done; may throw MailStoreError in
  /// the operation's place, and may call everything below. Replaceable at any time, also by itself.
  void setHook(Hook hook);

  // The inbox.

  /// Adds an item after the others and returns its entry identifier.
  std::string deliver(MemoryItem item);
  std::size_t inboxCount() const;
  std::size_t unreadCount() const;
  /// Positions count from 0, oldest first. Throws std::out_of_range outside the inbox.
  bool isUnread(std::size_t position) const;
  void setUnread(std::size_t position, bool unread);
  /// As when the user moves the item elsewhere: an item that is still held throws.
  void takeAway(std::size_t position);

  // Messages made through the store.

  std::vector<MemoryMessage> outbox() const;
  std::size_t outboxCount() const;
  /// Items that were saved and not (yet) sent, the latest last.
  std::vector<MemoryMessage> drafts() const;

  // Names. A recipient with "@" resolves unless it is set unresolvable; any other only if known.

  void setKnownName(const std::string& name, const std::string& address);
  void setUnresolvable(const std::string& recipient);

  // Synchronisation and delivery.

  /// While on, as at first, a synchronisation posts its end when it starts.
  void setSyncEndsByItself(bool itself);
  /// Posts the end of the running synchronisations and returns their number.
  std::size_t endSyncs();
  std::size_t syncStarts() const;  ///< calls of Start, those that joined included
  std::size_t syncRuns() const;    ///< calls of Start that began a synchronisation
  std::size_t deliveries() const;  ///< calls of DeliverNow
  /// Library sessions that were given this store's own MAPIOBJECT.
  std::size_t attachedSessions() const;

  // Failures.

  void setVersion(const std::string& version);
  /// While full, the outbox takes nothing more.
  void setOutboxFull(bool full);
  /// The application ends: all objects obtained so far, except dictionaries, fail from now on and
  /// their events stay away. A new application can be made.
  void quitApplication();
  /// The component is not installed until it is restored.
  void removeComponent(std::string_view progId);
  void restoreComponents();

 private:
  std::shared_ptr<MemoryState> state_;
  std::unique_ptr<OutgoingMail> outgoing_;
  ObjectRegistry registry_;
};

}  // namespace relaybird
