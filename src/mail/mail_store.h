// SPDX-License-Identifier: MIT
// The mail store: what the forwarding engine, the forward builder and the address check need from
// the user's mail application and its safe-item library. The engine accesses mail only through
// these classes. A store (in memory, a Maildir, an account, the desktop mail application)
// implements them and does not depend on the engine.
//
// Objects are made by program identifier through an ObjectFactory and shared by reference, as
// automation objects are; a holder may drop its reference at any time and in any order.
//
// Failure: every call but the destructors may throw MailStoreError with the mail application's own
// text, and nothing else. Only ResolveAll answers failure by its result. A call that throws has
// changed nothing, unless its comment says otherwise.
//
// A server that is lost while a collection is walked: the call that needed it throws. From then on
// UnRead(), in both forms, of all received items throws with the reason, and so does
// ItemCollection::Item, until the items of the folder are listed anew. So a walk cannot take the
// server's failure for that of the items: a caller that is about to reject an item because it could
// not be read asks UnRead() first.
//
// Threads: all calls come from the user-interface thread. A store may work on threads of its own,
// but raises its events on that thread.
//
// Texts are UTF-8. A text that the item does not have reads as empty, a date as kNoDate.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "mail/outgoing_mail.h"
#include "platform/clock.h"

namespace relaybird {

class MailStoreError : public std::runtime_error {
 public:
  explicit MailStoreError(const std::string& text, std::int32_t code = 0, std::string source = {})
      : std::runtime_error(text), code_(code), source_(std::move(source)) {}
  /// For logs: the mail application's fault code or an errno value; 0 where there is none.
  std::int32_t code() const { return code_; }
  /// Who raised the error, as that one calls itself; empty where it is not known.
  const std::string& source() const { return source_; }

 private:
  std::int32_t code_;
  std::string source_;
};

/// The profile was reached, but refused the logon (wrong password, for example). A type of its own,
/// so that the user learns the difference to a mail application that cannot be reached.
class MailLogonError : public MailStoreError {
 public:
  using MailStoreError::MailStoreError;
};

/// Program identifiers, compared without regard to case.
namespace prog_id {
inline constexpr std::string_view kApplication = "outlook.application";
inline constexpr std::string_view kMailItem = "Outlook.mailitem";
inline constexpr std::string_view kSafeMailItem = "redemption.SafeMailItem";
inline constexpr std::string_view kSafeMeetingItem = "redemption.SafeMeetingItem";
inline constexpr std::string_view kSafeTaskItem = "redemption.safeTaskitem";
inline constexpr std::string_view kUtility = "Redemption.MAPIUtils";
inline constexpr std::string_view kLibrarySession = "Redemption.RDOSession";
inline constexpr std::string_view kDictionary = "scripting.dictionary";
}  // namespace prog_id

/// MAPI property tags (MS-OXPROPS): the sender's address and display name, as 8-bit strings.
inline constexpr std::uint32_t kPrSenderEmailAddress = 0x0C1F001E;
inline constexpr std::uint32_t kPrSenderName = 0x0C1A001E;

/// CreateItem's number for a mail item (olMailItem).
inline constexpr int kMailItemKind = 0;

/// The one filter that Folder::items()->Restrict must understand.
inline constexpr std::string_view kUnreadFilter = "[Unread]=true";

/// Base of everything that a factory makes.
class AutomationObject {
 public:
  virtual ~AutomationObject() = default;
  /// The class name as automation reports it ("MailItem", "meetingitem", "SafeMailItem"); callers
  /// compare it without regard to case.
  virtual std::string ClassName() const = 0;
};

class Attachment {
 public:
  virtual ~Attachment() = default;
  /// Bytes of the attached file itself, not of its transfer encoding. May read the message, and
  /// throws where it cannot.
  virtual std::int32_t Size() = 0;
  /// Takes the attachment off its item; the following ones move down by one.
  virtual void Delete() = 0;
};

class Attachments {
 public:
  virtual ~Attachments() = default;
  virtual std::int32_t Count() = 0;
  /// 1-based; an index outside 1..Count() throws.
  virtual std::shared_ptr<Attachment> Item(std::int32_t index) = 0;
};

enum class RecipientType : std::int32_t { kTo = 1, kBlindCopy = 3 };

class Recipient {
 public:
  virtual ~Recipient() = default;
  virtual RecipientType Type() = 0;
  virtual void Type(RecipientType type) = 0;
};

class Recipients {
 public:
  virtual ~Recipients() = default;
  /// Appends an address or a name, unresolved, of type To. Throws only where the store cannot be
  /// reached, not for a bad address, which ResolveAll finds.
  virtual std::shared_ptr<Recipient> Add(const std::string& address) = 0;
  virtual std::int32_t Count() = 0;
  /// 1-based; an index outside 1..Count() throws.
  virtual std::shared_ptr<Recipient> Item(std::int32_t index) = 0;
  /// 1-based; the following recipients move down by one.
  virtual void Remove(std::int32_t index) = 0;
  /// True when the store can send to every recipient; true for an empty list.
  virtual bool ResolveAll() = 0;
};

/// An item of the mail store, received or not sent yet. A received item that has vanished, that
/// cannot be read, or whose server is lost: ClassName and the dates throw; Subject, SenderName,
/// Fields and the recipients hold what could be read, perhaps nothing; Body, Attachments and
/// GetAssociatedTask throw, and of its Forward() everything that needs the message. An item that
/// was sent throws at every call.
class MailItem : public AutomationObject {
 public:
  /// The store's opaque identifier, stable while the item stays in its folder; empty for an item
  /// that was never stored. Must not read the message, so it does not fail for a received item.
  virtual std::string EntryID() = 0;
  /// Both throw once the server is lost (see above). Setting the flag throws too where the item has
  /// vanished or the mark cannot be written; the flag is as before then.
  ///
  /// Setting the flag to the value that it has does nothing and does not fail. A store whose flags
  /// survive a crash may hold back marking an item as read until the item's forward has been sent,
  /// the flag is set again, another item is taken from a collection, or the store is asked to list,
  /// to synchronise or to deliver, whichever comes first.
  virtual bool UnRead() = 0;
  virtual void UnRead(bool unread) = 0;
  virtual std::string Subject() = 0;
  virtual void Subject(const std::string& subject) = 0;
  /// Plain text. May read the whole message, and wait for a server for that.
  virtual std::string Body() = 0;
  /// Replaces the text; an HTML form of it is dropped. Throws for a received item, as setting its
  /// subject does.
  virtual void Body(const std::string& body) = 0;
  virtual DateTime ReceivedTime() = 0;
  virtual DateTime LastModificationDate() = 0;
  virtual std::string SenderName() = 0;
  /// The value of a MAPI property. Throws for a tag that the store does not know; the desktop mail
  /// application's library may give an empty text instead.
  virtual std::string Fields(std::uint32_t tag) = 0;
  /// A new item that forwards this one, not addressed or stored yet. Cheap: a store that has to
  /// read the message for it does so on the first access to the forward, which throws where that
  /// fails. Throws for an item that is itself not sent yet.
  virtual std::shared_ptr<MailItem> Forward() = 0;
  virtual std::shared_ptr<class Attachments> Attachments() = 0;
  virtual std::shared_ptr<class Recipients> Recipients() = 0;
  virtual std::shared_ptr<class Recipients> ReplyRecipients() = 0;
  /// Keeps the changes of a received item. For an unsent item a store may do nothing.
  virtual void Save() = 0;
  /// Hands the item to the outbox. Returns once it is stored durably. Throws for an item without
  /// recipients or with unresolved ones, and where the outbox cannot keep it (see
  /// ItemCollection::Item); nothing has been sent then.
  virtual void send() = 0;
  /// The task of a task request; throws for any other item.
  virtual std::shared_ptr<MailItem> GetAssociatedTask() = 0;
};

/// A wrapper that reads and writes an item without the mail application's security prompts. Every
/// member but ClassName and Item acts on the wrapped item and throws where none was set.
class SafeItem : public MailItem {
 public:
  virtual std::shared_ptr<MailItem> Item() = 0;
  virtual void Item(std::shared_ptr<MailItem> item) = 0;
};

class ItemCollection {
 public:
  virtual ~ItemCollection() = default;
  /// Lists the folder, unless the collection was made by Restrict, which has its items. Throws
  /// where that fails.
  virtual std::int32_t Count() = 0;
  /// 1-based; an index outside 1..Count() throws. Items of a collection made by Restrict keep their
  /// index while their flags change. Does not read the message. Throws once the server is lost (see
  /// above).
  ///
  /// After a send that the outbox refused for a reason that affects every message (a full,
  /// read-only or broken disk) this throws, so that the pass over the collection ends and the
  /// remaining items stay as they are. Collections of later Items() calls throw too until the
  /// outbox takes messages again. A store that only learns this by sending tries it after an hour,
  /// or after OutgoingMail::userAsks().
  virtual std::shared_ptr<MailItem> Item(std::int32_t index) = 0;
  /// The members that match the filter, in the same order, as a new collection that later changes
  /// do not affect. Throws for a filter other than kUnreadFilter (any case, blanks ignored), and
  /// where the folder cannot be listed. May wait for a server. One
  /// listing serves the whole collection: EntryID, UnRead and the order come from it.
  virtual std::shared_ptr<ItemCollection> Restrict(const std::string& filter) = 0;
};

class Folder {
 public:
  virtual ~Folder() = default;
  /// The items, oldest first, listed on the first access. Of the same second, and of a kind without
  /// a time of reception (such as a task request), they may stand at any place.
  virtual std::shared_ptr<ItemCollection> Items() = 0;
};

/// Sends and receives for the account.
class SyncObject {
 public:
  virtual ~SyncObject() = default;
  /// Starts a synchronisation and returns. Its end is reported by the SyncEnd handler, on the
  /// user-interface thread and never inside this call, also where the server cannot be reached,
  /// which a notice tells. A start during a synchronisation joins it. Throws where nothing could be
  /// started; no end is reported then.
  virtual void Start() = 0;
  /// Sets the handler of the SyncEnd event; replaces any earlier one.
  virtual void onSyncEnd(std::function<void()> handler) = 0;
};

class SyncObjects {
 public:
  virtual ~SyncObjects() = default;
  virtual std::int32_t Count() = 0;
  /// 1-based; the same object every time for one namespace.
  virtual std::shared_ptr<SyncObject> Item(std::int32_t index) = 0;
};

class Namespace {
 public:
  virtual ~Namespace() = default;
  virtual std::shared_ptr<Folder> GetDefaultInbox() = 0;
  virtual std::shared_ptr<class SyncObjects> SyncObjects() = 0;
};

/// What ties a library session to the application's session. Only the store that gives it knows
/// what it is; the same session may give the same one or another each time.
class MapiObject {
 public:
  virtual ~MapiObject() = default;
};

class Session {
 public:
  virtual ~Session() = default;
  virtual std::shared_ptr<MapiObject> MAPIOBJECT() = 0;
};

class Application : public AutomationObject {
 public:
  /// For example "16.0.0.1". Throws when the application has ended; callers read the version to
  /// test that.
  virtual std::string Version() = 0;
  /// Logs on with the current profile. Throws for a name other than "MAPI" and where the server
  /// cannot be reached, and MailLogonError when the profile refuses the logon.
  virtual std::shared_ptr<Namespace> GetNamespace(const std::string& name) = 0;
  virtual std::shared_ptr<class Session> Session() = 0;
  /// A new, empty, unstored item; only kMailItemKind is known.
  virtual std::shared_ptr<MailItem> CreateItem(int kind) = 0;
};

class UtilityObject : public AutomationObject {
 public:
  /// Asks the store to deliver the messages in the outbox. Returns without waiting for a server.
  /// Throws where the outbox cannot be opened; what happens to a message is told by notices.
  virtual void DeliverNow() = 0;
};

class LibrarySession : public AutomationObject {
 public:
  /// Throws for an object that is not of a session of the same store.
  virtual void MAPIOBJECT(std::shared_ptr<MapiObject> object) = 0;
};

/// A set of texts with values, compared byte for byte.
class Dictionary : public AutomationObject {
 public:
  virtual bool Exists(const std::string& key) const = 0;
  /// Adding a key that is there throws.
  virtual void Add(const std::string& key, const std::string& item) = 0;
  virtual std::int32_t Count() const = 0;
};

/// Makes objects by program identifier. A mail item may be made by the application where it has no
/// identifier of its own.
class ObjectFactory {
 public:
  virtual ~ObjectFactory() = default;
  /// Throws for an identifier that is unknown or whose component is not installed, unless the store
  /// makes such objects in another way.
  virtual std::shared_ptr<AutomationObject> CreateObject(std::string_view progId) = 0;
};

/// CreateObject for a known class; throws MailStoreError also when the object is of another class.
template <class T>
std::shared_ptr<T> createAs(ObjectFactory& factory, std::string_view progId) {
  auto object = std::dynamic_pointer_cast<T>(factory.CreateObject(progId));
  if (!object) {
    throw MailStoreError("The object " + std::string(progId) + " is of an unexpected class");
  }
  return object;
}

/// The answer of a store's call. Throws MailStoreError for a null pointer, which no caller can use.
/// `what` names the object ("inbox").
template <class T>
std::shared_ptr<T> required(std::shared_ptr<T> answer, const char* what) {
  if (!answer) {
    throw MailStoreError(std::string("The mail store gave no ") + what);
  }
  return answer;
}

/// One mail store, opened. A store's folder offers this to the programs and nothing else; each
/// store has a function that makes one from its settings (the table in app/store_openers.cpp).
class MailStore {
 public:
  virtual ~MailStore() = default;
  virtual ObjectFactory& factory() = 0;
  virtual OutgoingMail& outgoing() = 0;
  /// Identifies the mailbox: the same text for every way of naming it.
  virtual std::string place() const = 0;
  /// What two programs must not work on at once: the place, or the account that it belongs to.
  virtual std::string lockName() const { return place(); }
  /// The folder on this disk that holds the mailbox, to be locked against programs with another
  /// state folder; empty for a mailbox on a server.
  virtual std::string folder() const { return {}; }
  /// Begins to close the store, so that its destruction does not wait for a server: what would take
  /// time then is begun now and goes on by itself. Nothing else of the store may be used any more;
  /// calls of its objects fail. True: it can be destroyed without a wait now. False: `ready` is
  /// called later, by an event, once it can; never after it was destroyed. Called once at most.
  virtual bool beginToClose(std::function<void()> /*ready*/) { return true; }
};

}  // namespace relaybird
