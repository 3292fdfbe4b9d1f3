// SPDX-License-Identifier: MIT
// The state that the objects of a store share: the inbox, the outbox, the address book and the
// user's own identity. Private to this folder.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "mail/mail_settings.h"
#include "mail/mail_store.h"
#include "mail/store_world.h"
#include "message/address/address_book.h"
#include "message/circles.h"
#include "message/writing/forward.h"
#include "outbox/delivery/delivery_worker.h"
#include "outbox/outbox.h"
#include "outbox/trace_mark.h"
#include "stores/mailbox/inbox.h"
#include "stores/mailbox/read_marks.h"

namespace relaybird {

/// Calls that need the outbox open it first. Throws MailStoreError only. User-interface thread
/// only.
class MailboxSession {
 public:
  /// `transport` may be null: forwards then stay in the outbox.
  MailboxSession(std::unique_ptr<Inbox> inbox, MailSettings settings, StoreWorld world,
                 std::shared_ptr<Transport> transport);
  ~MailboxSession();
  MailboxSession(const MailboxSession&) = delete;
  MailboxSession& operator=(const MailboxSession&) = delete;

  // Each opens what is not open yet, and throws if the inbox or the outbox cannot be used; a later
  // call tries again.
  void check();
  /// Whether the inbox can be used now.
  void requireAlive();
  /// May wait for a server. Throws MailLogonError where that refuses the user.
  void signIn();
  /// These do nothing once the session is closed.
  void userAsks();
  void minutePassed();
  void forwardingSwitched(bool on);
  /// As MailStore::beginToClose().
  bool beginToClose(std::function<void()> ready);
  /// Writes the mark that is held back, unless its message is just being read, ends a delivery
  /// under way, and makes every later call throw.
  void close();

  /// Identifies the mailbox; the folder as the settings name it where the identity is unknown.
  std::string place() const;
  /// As MailStore::lockName().
  std::string lockName() const;
  bool isFolder() const { return !inbox_->folder().empty(); }
  const MailSettings& settings() const { return settings_; }
  const Clock& clock() const { return world_.clock; }
  /// An object that only identifies the session.
  const std::shared_ptr<MapiObject>& mapiObject() const { return mapiObject_; }

  /// Also retries kept messages of the outbox that are due.
  std::shared_ptr<InboxView> list();
  /// This and the next throw after a message could not be read because of its server, until the
  /// next list(). A pass that would take the failure for the message's ends thereby.
  bool unread(const InboxEntry& entry);
  void setUnread(const InboxEntry& entry, bool unread);
  void writeHeldBack() {
    if (marks_) {
      marks_->writeHeldBack();
    }
  }
  /// Called when another item is taken from a listing. Throws after a send that failed because of
  /// the disk, so that the pass ends and the remaining items stay as they are. After the next
  /// list() it throws only while the disk still refuses messages.
  void itemTaken() {
    requireInbox();
    writeHeldBack();
    if (outlet_ != Outlet::kOpen) {
      requireOutlet();
    }
  }
  /// The item that the pass is forwarding: the one whose read mark is held back.
  std::optional<InboxEntry> beingForwarded() const;

  /// Throws where the message has vanished or cannot be read. May wait for a server. If the reason
  /// is the server, the mark of this message is not held back any more: it stays unread.
  std::unique_ptr<InputFile> openMessage(const InboxEntry& entry);
  /// Throws only if the outbox cannot be opened. May wait for a server.
  InboxHead headOf(const InboxEntry& entry);
  /// Writes a sentence about one message to the log, once for each message.
  void complain(const InboxEntry& entry, const std::string& text);
  /// Tells the user, once, that not all unread messages are looked at. `counted`: there are so many
  /// and not more.
  void tellOfTooMany(std::size_t unread, std::size_t most, bool counted);

  /// Resolves a recipient: an address or "Name <address>" as a whole (readRecipient()), or a name
  /// in the address book. Nothing if it is none of these. A notice reports once a recipient that
  /// cannot be resolved, and the address where the recipient was written in another form.
  std::optional<Mailbox> resolve(const std::string& recipient);

  /// Puts a forward into the outbox, durably, under a Message-ID and with a trace mark of this
  /// mailbox. `answers` is the item that it forwards, if there is one.
  void send(const std::optional<InboxEntry>& answers, ForwardDraft draft);
  /// Starts the delivery of the outbox.
  void deliver();
  /// Starts to refresh the inbox and to deliver the outbox. `done` is called later, once both are
  /// over.
  void synchronise(std::function<void()> done);

  // As in OutgoingMail; also before the outbox is open.
  OutgoingState outgoing();
  std::size_t waiting();
  std::size_t recentlyWaiting();
  void tryAgain(std::function<void()> done);

 private:
  class Reading;

  void use(Result<void> (Inbox::*usable)());
  void requireNotClosed() const;
  void endUse();
  void requireAlone();
  void requireOpen();
  void openOutbox();
  std::string outboxFolder() const;
  std::string stateFolder() const { return joinPath(world_.stateFolder, "rbx"); }
  std::size_t mostPerHour() const { return settings_.mostPerHour.value_or(kMostPerHour); }
  void deliverAgain();
  OwnMarks ownMarks() const;
  bool isLost(const Error& error);
  void noteFailure(const InboxEntry& entry, const Error& error);
  void requireInbox() const;
  std::optional<Mailbox> fromAddressBook(const std::string& name);
  void tellAbout(const std::string& recipient, const std::optional<Mailbox>& found);
  void requireOutlet();
  Result<void> putIntoOutbox(const std::string& entryId, ForwardDraft draft);
  Result<std::string> messageIdFor(const std::string& entryId);

  MailSettings settings_;
  StoreWorld world_;
  std::shared_ptr<Transport> transport_;
  std::unique_ptr<Inbox> inbox_;
  AddressBookFile addressBook_;
  std::shared_ptr<MapiObject> mapiObject_ = std::make_shared<MapiObject>();
  bool closed_ = false;  ///< or being closed
  bool gone_ = false;    ///< close() was called
  int reading_ = 0;      ///< calls on the stack that read a message and may wait for it
  /// Whether the disk takes messages: yes; no, in this pass; to be tested before the next message.
  enum class Outlet { kOpen, kRefused, kToBeTried };
  Outlet outlet_ = Outlet::kOpen;
  std::string refusal_;        ///< the error of the disk
  std::optional<Error> lost_;  ///< why no message of the last listing can be read any more
  std::unordered_set<std::string> complained_;
  bool toldOfTooMany_ = false;
  std::string addressBookTrouble_;                                 ///< what was last reported of it
  std::unordered_map<std::string, std::string> toldOfRecipients_;  ///< last report, by recipient

  // In the order in which they are opened; either all are set or none. A call that waits shares
  // those that it uses, as the session may be closed meanwhile.
  std::shared_ptr<Outbox> outbox_;
  std::optional<TraceMark> trace_;
  std::shared_ptr<ReadMarks> marks_;
  std::unique_ptr<DeliveryWorker> delivery_;
};

}  // namespace relaybird
