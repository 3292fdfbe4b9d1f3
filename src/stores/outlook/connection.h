// SPDX-License-Identifier: MIT
// The store's connection to the mail application and to the components beside it: makes objects by
// program identifier, tells the user what to do about a component that is not there, and keeps what
// one pass over the inbox uses again and again.
#pragma once

#include <windows.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "mail/mail_store.h"
#include "mail/store_world.h"
#include "stores/outlook/dispatch.h"

namespace relaybird::outlook {

/// Makes an object by its program identifier; a result like that of CoCreateInstance.
using ObjectMaker = std::function<HRESULT(std::string_view progId, ComPtr<IDispatch>& object)>;

/// By the registry of this computer. COM must be in use on this thread.
HRESULT createRegistered(std::string_view progId, ComPtr<IDispatch>& object);

/// What MAPIOBJECT gives: an interface that the safe-item library understands.
class AutomationMapiObject : public MapiObject {
 public:
  explicit AutomationMapiObject(Value value) : value_(std::move(value)) {}
  const Value& value() const { return value_; }

 private:
  Value value_;
};

class Connection : public std::enable_shared_from_this<Connection> {
 public:
  Connection(const StoreWorld& world, ObjectMaker make);

  /// The application: the one that somebody holds, or a new one. Throws where it cannot be started.
  std::shared_ptr<Application> application();
  /// A new object. `progId` is one of prog_id. Throws, and tells the user once what to do where the
  /// component is missing. The application is made by application() alone.
  Object create(std::string_view progId);
  /// A new mail item.
  std::shared_ptr<MailItem> newItem();

  const StoreWorld& world() const { return world_; }

  /// A pass over the inbox begins: drops what the former one has kept.
  void beginPass();
  /// Kept for the pass: making them costs several calls for each forward, and they do not change.
  struct PassParts {
    std::shared_ptr<Session> session;  ///< of the application
    Object attachedLibrary;            ///< the library's session
    std::shared_ptr<MapiObject> libraryAttachedTo;
  };
  PassParts& pass() { return pass_; }

  // One mark as read may be held back, that of the item which is being forwarded: an application
  // that ends meanwhile leaves the item unread, and the next check forwards it.

  struct HeldMark {
    std::shared_ptr<const void> item;
    std::string entryId;
    std::function<void()> write;
  };
  /// Another mark that is held is written first.
  void holdMark(HeldMark mark);
  bool holdsMarkOf(const std::shared_ptr<const void>& item) const {
    return item != nullptr && held_.item == item;
  }
  /// The mark is not wanted any more, or is written by the caller.
  void dropMark();
  /// Writes the mark that is held, if there is one. Does not throw: an application that has gone is
  /// met by the caller's next call.
  void writeHeldMark() { writeMark(false); }
  /// The forward of the item whose mark is held has been sent. Where the mark cannot be written any
  /// more, the item is remembered, so that it is not forwarded a second time.
  void forwardSent() { writeMark(true); }
  /// The items whose marks are still to be written, by identifier.
  std::set<std::string, std::less<>>& unmarked() { return unmarked_; }

  /// A listing of the inbox has left out so many items, the last one for that reason. The user is
  /// told where there are more of them than at the former listing.
  void itemsLeftOut(std::size_t count, const std::string& why);

  /// The outbox refused a message for a reason that every other message would meet too. No item is
  /// handed out for an hour, or until outboxMayTake().
  void outboxRefused(std::string why);
  /// The outbox has taken a message, or a person wants it to be tried.
  void outboxMayTake() { outboxRefused_.clear(); }
  /// Throws with the reason of outboxRefused().
  void requireOutbox() const;

 private:
  void writeMark(bool forwarded);
  void explain(std::string_view progId, HRESULT result);

  StoreWorld world_;
  ObjectMaker make_;
  std::shared_ptr<Server> server_;
  std::weak_ptr<Application> application_;
  PassParts pass_;
  HeldMark held_;
  std::set<std::string, std::less<>> unmarked_;
  std::size_t leftOut_ = 0;
  std::string outboxRefused_;
  DateTime outboxRefusedAt_ = kNoDate;
  std::set<std::string, std::less<>> explained_;
};

using ConnectionRef = std::shared_ptr<Connection>;

/// The application's own object, over `object`.
std::shared_ptr<Application> makeApplication(const ConnectionRef& connection, Object object);

}  // namespace relaybird::outlook
