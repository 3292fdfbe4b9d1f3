// SPDX-License-Identifier: MIT
// The factory, and the components that stand beside the mail application.
#include "stores/outlook/outlook_store.h"

#include <utility>

#include "mail/shared_components.h"
#include "stores/outlook/connection.h"
#include "stores/outlook/items.h"

namespace relaybird {
namespace outlook {
namespace {

class OutlookUtility : public UtilityObject {
 public:
  OutlookUtility(ConnectionRef connection, Object utility)
      : connection_(std::move(connection)), utility_(std::move(utility)) {}
  std::string ClassName() const override { return "MAPIUtils"; }
  void DeliverNow() override {
    connection_->writeHeldMark();
    utility_.call(L"DeliverNow");
  }

 private:
  ConnectionRef connection_;
  Object utility_;
};

// A library session that is tied to the application's session stays tied, so the next forward of
// the same pass uses it as it is.
class OutlookLibrarySession : public LibrarySession {
 public:
  explicit OutlookLibrarySession(ConnectionRef connection)
      : connection_(std::move(connection)), session_(connection_->pass().attachedLibrary) {
    if (session_.nothing()) {
      session_ = connection_->create(prog_id::kLibrarySession);
    }
  }

  std::string ClassName() const override { return "RDOSession"; }
  void MAPIOBJECT(std::shared_ptr<MapiObject> object) override {
    const auto own = std::dynamic_pointer_cast<AutomationMapiObject>(object);
    if (!own) {
      throw MailStoreError("The object is not a session of the mail application");
    }
    auto& pass = connection_->pass();
    if (pass.libraryAttachedTo == object &&
        pass.attachedLibrary.dispatch() == session_.dispatch()) {
      return session_.server().requireAlive();
    }
    session_.put(L"MAPIOBJECT", own->value());
    pass.attachedLibrary = session_;
    pass.libraryAttachedTo = std::move(object);
  }

 private:
  ConnectionRef connection_;
  Object session_;
};

class OutlookDictionary : public Dictionary {
 public:
  explicit OutlookDictionary(Object dictionary) : dictionary_(std::move(dictionary)) {}
  std::string ClassName() const override { return "Dictionary"; }
  bool Exists(const std::string& key) const override {
    return dictionary_.get(L"Exists", Value::ofText(key)).truth();
  }
  void Add(const std::string& key, const std::string& item) override {
    dictionary_.call(L"Add", Value::ofText(key), Value::ofText(item));
  }
  std::int32_t Count() const override { return dictionary_.get(L"Count").number(); }

 private:
  Object dictionary_;
};

// The mail application has an outbox of its own and delivers by itself: what it holds is not
// counted here, so that nothing wrong is said about it.
class OutlookOutgoing : public OutgoingMail {
 public:
  explicit OutlookOutgoing(ConnectionRef connection) : connection_(std::move(connection)) {}
  OutgoingState state() override { return {}; }
  std::size_t waiting() override { return 0; }
  void tryAgain(std::function<void()> done) override {
    OutlookUtility(connection_, connection_->create(prog_id::kUtility)).DeliverNow();
    connection_->world().events.post(std::move(done));
  }
  void userAsks() override { connection_->outboxMayTake(); }

 private:
  ConnectionRef connection_;
};

class OutlookStore : public MailStore {
 public:
  OutlookStore(const StoreWorld& world, ObjectMaker make)
      : connection_(std::make_shared<Connection>(world, std::move(make))), outgoing_(connection_) {
    using Made = std::shared_ptr<AutomationObject>;
    const auto add = [this](std::string_view progId, auto maker) {
      registry_.add(progId, [connection = connection_, progId, maker]() -> Made {
        return maker(connection, progId);
      });
    };
    add(prog_id::kApplication,
        [](const ConnectionRef& with, std::string_view) { return with->application(); });
    add(prog_id::kMailItem,
        [](const ConnectionRef& with, std::string_view) { return with->newItem(); });
    addSafeItem(prog_id::kSafeMailItem, "SafeMailItem");
    addSafeItem(prog_id::kSafeMeetingItem, "SafeMeetingItem");
    addSafeItem(prog_id::kSafeTaskItem, "SafeTaskItem");
    add(prog_id::kUtility, [](const ConnectionRef& with, std::string_view id) {
      return std::make_shared<OutlookUtility>(with, with->create(id));
    });
    add(prog_id::kLibrarySession, [](const ConnectionRef& with, std::string_view) {
      return std::make_shared<OutlookLibrarySession>(with);
    });
    add(prog_id::kDictionary, [](const ConnectionRef& with, std::string_view id) {
      return std::make_shared<OutlookDictionary>(with->create(id));
    });
  }

  ObjectFactory& factory() override { return registry_; }
  OutgoingMail& outgoing() override { return outgoing_; }
  // The application serves one profile of one user at a time.
  std::string place() const override { return "outlook"; }

 private:
  void addSafeItem(std::string_view progId, const char* className) {
    registry_.add(progId, [connection = connection_, progId, className] {
      return makeSafeItem(connection, connection->create(progId), className);
    });
  }

  ConnectionRef connection_;
  ObjectRegistry registry_;
  OutlookOutgoing outgoing_;
};

}  // namespace
}  // namespace outlook

Result<std::unique_ptr<MailStore>> openOutlookStore(const StoreWorld& world) {
  return std::unique_ptr<MailStore>(
      std::make_unique<outlook::OutlookStore>(world, outlook::createRegistered));
}

}  // namespace relaybird
