// SPDX-License-Identifier: MIT
// Calls of the mail application cost up to milliseconds each, so an item asks for nothing twice
// that cannot change while a pass looks at it: its identifier, its class, its collections. The mark
// is written only where it changes. It is forgotten when the item is forwarded, because the
// application may write the item then: the mark that follows is written for certain.
//
// Callers mark an item as read before they forward it. That mark is held back until the forward has
// been sent: an application that is closed or crashes in between would leave an item that is read
// and was never forwarded.
#include "stores/outlook/items.h"

#include <array>
#include <utility>

namespace relaybird::outlook {
namespace {

// MAPI's codes (MS-OXCDATA) for an outbox that can take no message at all.
bool meansOutboxUnusable(std::int32_t code) {
  static constexpr std::array<std::uint32_t, 5> kCodes = {
      0x8004010D,  // MAPI_E_NOT_ENOUGH_DISK
      0x8004010E,  // MAPI_E_NOT_ENOUGH_RESOURCES
      0x80040115,  // MAPI_E_NETWORK_ERROR
      0x80040116,  // MAPI_E_DISK_ERROR
      0x8004060C,  // the mailbox is full
  };
  for (const std::uint32_t known : kCodes) {
    if (static_cast<std::uint32_t>(code) == known) {
      return true;
    }
  }
  return false;
}

class OutlookItem : public ItemOver<MailItem> {
 public:
  OutlookItem(ConnectionRef connection, std::shared_ptr<ListedItem> listed)
      : connection_(std::move(connection)), listed_(std::move(listed)) {}
  OutlookItem(ConnectionRef connection, Object object)
      : connection_(std::move(connection)), object_(std::move(object)) {}

  std::string ClassName() const override { return target().className(); }
  std::string EntryID() override {
    if (listed_) {
      return listed_->entryId;
    }
    return target().get(L"EntryID").text();
  }
  // Always asked for: this is how a caller learns that the application has gone.
  bool UnRead() override {
    const bool unread = target().get(L"UnRead").truth();
    if (connection_->holdsMarkOf(listed_)) {
      return false;
    }
    know(unread);
    return unread;
  }
  // The first mark as read is held back until the forward has been sent; a second one is written.
  void UnRead(bool unread) override {
    const bool held = connection_->holdsMarkOf(listed_);
    if (held) {
      connection_->dropMark();
      know(true);
    }
    if (listed_ && listed_->unread == unread) {
      return listed_->server->requireAlive();
    }
    if (listed_ && !held && !unread && listed_->unread == true) {
      listed_->server->requireAlive();
      know(false);
      return connection_->holdMark(
          {listed_, listed_->entryId,
           [listed = listed_, object = target()] { writeMark(*listed, object, false); }});
    }
    if (listed_) {
      writeMark(*listed_, target(), unread);
      connection_->unmarked().erase(listed_->entryId);
      return;
    }
    target().put(L"UnRead", Value::ofTruth(unread));
  }
  std::string Subject() override { return subjectThrough(target()); }
  void Subject(const std::string& subject) override { subjectThrough(writable(), subject); }
  using ItemOver::Body;
  void Body(const std::string& body) override { writable().put(L"Body", Value::ofText(body)); }
  DateTime ReceivedTime() override { return target().get(L"ReceivedTime").date(); }
  // Versions differ in the name.
  DateTime LastModificationDate() override {
    const Object& item = target();
    const bool plain = item.has(L"LastModificationDate");
    return item.get(plain ? L"LastModificationDate" : L"LastModificationTime").date();
  }
  std::shared_ptr<MailItem> Forward() override {
    if (!listed_) {
      throw MailStoreError("An item that has not been sent cannot be forwarded");
    }
    if (!connection_->holdsMarkOf(listed_)) {
      know(std::nullopt);
    }
    return makeNewItem(connection_, target().item(L"Forward"));
  }
  void send() override {
    const Object& item = writable();
    try {
      item.call(L"Send");
    } catch (const MailStoreError& error) {
      noteRefusal(error);
      throw;
    }
    markSent();
  }
  // Without adding the task to the user's tasks.
  std::shared_ptr<MailItem> GetAssociatedTask() override {
    return makeNewItem(connection_, target().item(L"GetAssociatedTask", Value::ofTruth(false)));
  }

  // For a safe item, which acts on the object itself.
  const Object& object() const { return target(); }
  const Object& writable() const {
    if (listed_) {
      throw MailStoreError("A received item cannot be changed or sent");
    }
    return target();
  }
  // Only the holder of an item that has not been sent writes its subject, so it is read once.
  std::string subjectThrough(const Object& reader) {
    if (listed_) {
      return reader.get(L"Subject").text();
    }
    if (!subject_) {
      subject_ = reader.get(L"Subject").text();
    }
    return *subject_;
  }
  void subjectThrough(const Object& writer, const std::string& subject) {
    subject_.reset();
    writer.put(L"Subject", Value::ofText(subject));
  }
  // The forward is with the application: from here on its item must not be forwarded again.
  void markSent() {
    sent_ = true;
    connection_->forwardSent();
    connection_->outboxMayTake();
  }
  void noteRefusal(const MailStoreError& error) {
    if (meansOutboxUnusable(error.code())) {
      connection_->outboxRefused(error.what());
    }
  }

 protected:
  const Object& target() const override {
    if (sent_) {
      throw MailStoreError("The item has been sent");
    }
    if (object_.nothing()) {
      object_ = listed_->object.nothing() ? listed_->open() : listed_->object;
    }
    return object_;
  }

 private:
  static void writeMark(ListedItem& listed, const Object& object, bool unread) {
    listed.unread.reset();
    object.put(L"UnRead", Value::ofTruth(unread));
    listed.unread = unread;
  }
  void know(std::optional<bool> unread) {
    if (listed_) {
      listed_->unread = unread;
    }
  }

  ConnectionRef connection_;
  std::shared_ptr<ListedItem> listed_;  // null for an item that has not been received
  mutable Object object_;
  std::optional<std::string> subject_;
  bool sent_ = false;
};

// What the library guards goes through its object, everything else straight to the item.
class OutlookSafeItem : public ItemOver<SafeItem> {
 public:
  OutlookSafeItem(ConnectionRef connection, Object safe, std::string className)
      : connection_(std::move(connection)),
        safe_(std::move(safe)),
        className_(std::move(className)) {}

  // The library makes the same class for an identifier, so there is no need to ask.
  std::string ClassName() const override { return className_; }
  std::shared_ptr<MailItem> Item() override { return item_; }
  void Item(std::shared_ptr<MailItem> item) override {
    auto own = std::dynamic_pointer_cast<OutlookItem>(item);
    if (item && !own) {
      throw MailStoreError("The item is of another mail store");
    }
    item_.reset();
    forgetCollections();
    safe_.putReference(L"Item", Value::ofObject(own ? own->object().dispatch() : nullptr));
    item_ = std::move(own);
  }

  std::string EntryID() override { return wrapped().EntryID(); }
  bool UnRead() override { return wrapped().UnRead(); }
  void UnRead(bool unread) override { wrapped().UnRead(unread); }
  DateTime ReceivedTime() override { return wrapped().ReceivedTime(); }
  DateTime LastModificationDate() override { return wrapped().LastModificationDate(); }
  std::shared_ptr<MailItem> Forward() override { return wrapped().Forward(); }
  std::shared_ptr<MailItem> GetAssociatedTask() override { return wrapped().GetAssociatedTask(); }

  std::string Subject() override { return wrapped().subjectThrough(target()); }
  void Subject(const std::string& subject) override {
    wrapped().subjectThrough(writable(), subject);
  }
  using ItemOver::Body;
  void Body(const std::string& body) override { writable().put(L"Body", Value::ofText(body)); }
  void send() override {
    const Object& safe = writable();
    try {
      safe.call(L"Send");
    } catch (const MailStoreError& error) {
      item_->noteRefusal(error);
      throw;
    }
    item_->markSent();
  }

 protected:
  const Object& target() const override {
    (void)wrapped().object();  // throws for an item that was sent
    return safe_;
  }

 private:
  OutlookItem& wrapped() const {
    if (!item_) {
      throw MailStoreError("The safe item has no item");
    }
    return *item_;
  }
  const Object& writable() const {
    (void)wrapped().writable();
    return safe_;
  }

  ConnectionRef connection_;
  Object safe_;
  std::string className_;
  std::shared_ptr<OutlookItem> item_;
};

}  // namespace

std::shared_ptr<MailItem> makeReceivedItem(const ConnectionRef& connection,
                                           std::shared_ptr<ListedItem> listed) {
  return std::make_shared<OutlookItem>(connection, std::move(listed));
}

std::shared_ptr<MailItem> makeNewItem(const ConnectionRef& connection, Object object) {
  return std::make_shared<OutlookItem>(connection, std::move(object));
}

std::shared_ptr<SafeItem> makeSafeItem(const ConnectionRef& connection, Object object,
                                       std::string className) {
  return std::make_shared<OutlookSafeItem>(connection, std::move(object), std::move(className));
}

}  // namespace relaybird::outlook
