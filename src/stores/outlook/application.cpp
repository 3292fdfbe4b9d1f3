// SPDX-License-Identifier: MIT
// The application, its namespace, session and synchronisation objects.
#include <array>
#include <map>
#include <utility>

#include "stores/outlook/connection.h"
#include "stores/outlook/folder.h"
#include "stores/outlook/items.h"
#include "stores/outlook/sync_events.h"

namespace relaybird::outlook {
namespace {

constexpr std::int32_t kInboxFolder = 6;  // olFolderInbox
// After this time the engine gives a synchronisation up, and the next start is a new one.
constexpr std::chrono::minutes kLongestSync{15};

// MAPI's codes (MS-OXCDATA) for a profile that refuses the logon.
bool meansLogonRefused(std::int32_t code) {
  static constexpr std::array<std::uint32_t, 5> kCodes = {
      0x80040111,  // MAPI_E_LOGON_FAILED
      0x80040113,  // MAPI_E_USER_CANCEL
      0x8004011C,  // MAPI_E_UNCONFIGURED
      0x80040120,  // MAPI_E_PASSWORD_EXPIRED
      0x80040121,  // MAPI_E_INVALID_WORKSTATION_ACCOUNT
  };
  for (const std::uint32_t known : kCodes) {
    if (static_cast<std::uint32_t>(code) == known) {
      return true;
    }
  }
  return false;
}

// What the sink and the object share; the sink may be called after the object is gone.
struct SyncState {
  std::function<void()> handler;
  bool running = false;
  DateTime started = kNoDate;
};

class OutlookSyncObject : public SyncObject {
 public:
  OutlookSyncObject(ConnectionRef connection, Object sync)
      : connection_(std::move(connection)),
        sync_(std::move(sync)),
        state_(std::make_shared<SyncState>()),
        events_(sync_, [&queue = connection_->world().events, state = std::weak_ptr(state_)] {
          queue.post([state] { ended(state); });
        }) {}

  // A second start of the mail application's own would end, and be reported, a second time.
  void Start() override {
    connection_->writeHeldMark();
    const DateTime now = connection_->world().clock.now();
    const bool recent = now >= state_->started && now - state_->started < kLongestSync;
    if (state_->running && recent) {
      return sync_.server().requireAlive();
    }
    // Before the call: the end may come while it lasts.
    state_->running = true;
    state_->started = now;
    try {
      sync_.call(L"Start");
    } catch (const MailStoreError&) {
      state_->running = false;
      throw;
    }
  }
  void onSyncEnd(std::function<void()> handler) override { state_->handler = std::move(handler); }

 private:
  static void ended(const std::weak_ptr<SyncState>& held) {
    const auto state = held.lock();
    if (!state) {
      return;
    }
    state->running = false;
    // A copy: the handler may set another one.
    if (const auto handler = state->handler) {
      handler();
    }
  }

  ConnectionRef connection_;
  Object sync_;
  std::shared_ptr<SyncState> state_;
  SyncEvents events_;
};

class OutlookSyncObjects : public SyncObjects {
 public:
  OutlookSyncObjects(ConnectionRef connection, Object objects)
      : connection_(std::move(connection)), objects_(std::move(objects)) {}

  std::int32_t Count() override { return objects_.get(L"Count").number(); }
  std::shared_ptr<SyncObject> Item(std::int32_t index) override {
    auto& kept = items_[index];
    if (!kept) {
      try {
        kept = std::make_shared<OutlookSyncObject>(connection_,
                                                   objects_.child(L"Item", Value::ofNumber(index)));
      } catch (const MailStoreError&) {
        items_.erase(index);
        throw;
      }
    }
    return kept;
  }

 private:
  ConnectionRef connection_;
  Object objects_;
  std::map<std::int32_t, std::shared_ptr<SyncObject>> items_;
};

class OutlookNamespace : public Namespace {
 public:
  OutlookNamespace(ConnectionRef connection, Object mapi)
      : connection_(std::move(connection)), mapi_(std::move(mapi)) {}

  std::shared_ptr<Folder> GetDefaultInbox() override {
    return makeFolder(connection_, mapi_.child(L"GetDefaultFolder", Value::ofNumber(kInboxFolder)),
                      mapi_);
  }
  std::shared_ptr<class SyncObjects> SyncObjects() override {
    if (!syncObjects_) {
      syncObjects_ = std::make_shared<OutlookSyncObjects>(connection_, mapi_.child(L"SyncObjects"));
    }
    return syncObjects_;
  }

 private:
  ConnectionRef connection_;
  Object mapi_;
  std::shared_ptr<class SyncObjects> syncObjects_;
};

class OutlookSession : public Session {
 public:
  explicit OutlookSession(Object session) : session_(std::move(session)) {}
  std::shared_ptr<MapiObject> MAPIOBJECT() override {
    if (!mapiObject_) {
      mapiObject_ = std::make_shared<AutomationMapiObject>(session_.get(L"MAPIOBJECT"));
    }
    return mapiObject_;
  }

 private:
  Object session_;
  std::shared_ptr<MapiObject> mapiObject_;
};

class OutlookApplication : public Application {
 public:
  OutlookApplication(ConnectionRef connection, Object application)
      : connection_(std::move(connection)), application_(std::move(application)) {}

  std::string ClassName() const override { return "Application"; }
  std::string Version() override { return application_.get(L"Version").text(); }
  std::shared_ptr<Namespace> GetNamespace(const std::string& name) override {
    try {
      return std::make_shared<OutlookNamespace>(
          connection_, application_.child(L"GetNamespace", Value::ofText(name)));
    } catch (const MailStoreError& error) {
      if (meansLogonRefused(error.code())) {
        throw MailLogonError(error.what(), error.code());
      }
      throw;
    }
  }
  std::shared_ptr<class Session> Session() override {
    auto& kept = connection_->pass().session;
    if (!kept) {
      kept = std::make_shared<OutlookSession>(application_.child(L"Session"));
    }
    application_.server().requireAlive();
    return kept;
  }
  std::shared_ptr<MailItem> CreateItem(int kind) override {
    if (kind != kMailItemKind) {
      throw MailStoreError("Items of this kind cannot be created");
    }
    return makeNewItem(connection_, application_.item(L"CreateItem", Value::ofNumber(kind)));
  }

 private:
  ConnectionRef connection_;
  Object application_;
};

}  // namespace

std::shared_ptr<Application> makeApplication(const ConnectionRef& connection, Object object) {
  return std::make_shared<OutlookApplication>(connection, std::move(object));
}

}  // namespace relaybird::outlook
