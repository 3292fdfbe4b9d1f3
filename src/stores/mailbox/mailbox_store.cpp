// SPDX-License-Identifier: MIT
// The store and its objects apart from the items: the application with its namespace, inbox and
// synchronisation, and the utility and library session. They are thin: each holds the shared
// MailboxSession and passes its calls on.
#include "stores/mailbox/mailbox_store.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "mail/shared_components.h"
#include "message/text/libraries.h"
#include "stores/mailbox/forward_item.h"
#include "stores/mailbox/inbox_item.h"
#include "stores/mailbox/mailbox_session.h"

namespace relaybird {

namespace {

using SessionRef = std::shared_ptr<MailboxSession>;

// The version of the mail application whose part the store plays.
constexpr const char* kVersion = "16.0";

// A check counts items in 16 bits, and would fail with more. The newest ones are what a user waits
// for.
constexpr std::size_t kMostUnread = 32767;

std::int32_t toCount(std::size_t size) {
  if (size > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
    throw MailStoreError("Overflow: the folder holds too many messages");
  }
  return static_cast<std::int32_t>(size);
}

// Some messages of one listing.
class InboxSelection : public ItemCollection {
 public:
  InboxSelection(SessionRef session, std::shared_ptr<InboxView> view,
                 std::vector<std::size_t> chosen)
      : session_(std::move(session)), view_(std::move(view)), chosen_(std::move(chosen)) {}

  std::int32_t Count() override { return toCount(chosen_.size()); }

  std::shared_ptr<MailItem> Item(std::int32_t index) override {
    requireIndex(index, Count());
    session_->itemTaken();
    return std::make_shared<InboxItem>(
        session_, InboxEntry{view_, chosen_[static_cast<std::size_t>(index - 1)]});
  }

  std::shared_ptr<ItemCollection> Restrict(const std::string& filter) override {
    return unreadOf(session_, view_, chosen_.size(), filter,
                    [this](std::size_t i) { return chosen_[i]; });
  }

  // The newest unread ones of `count` messages of the view; `at` gives the index of each.
  template <class At>
  static std::shared_ptr<ItemCollection> unreadOf(const SessionRef& session,
                                                  const std::shared_ptr<InboxView>& view,
                                                  std::size_t count, const std::string& filter,
                                                  const At& at) {
    if (!isUnreadFilter(filter)) {
      throw MailStoreError("Cannot parse the condition: " + filter);
    }
    session->writeHeldBack();
    std::vector<std::size_t> unread;
    std::size_t all = 0;
    for (std::size_t i = count; i-- > 0;) {
      if (session->unread({view, at(i)}) && ++all <= kMostUnread) {
        unread.push_back(at(i));
      }
    }
    if (all > kMostUnread) {
      session->tellOfTooMany(all, kMostUnread, view->listing->isWhole());
    }
    std::reverse(unread.begin(), unread.end());
    return std::make_shared<InboxSelection>(session, view, std::move(unread));
  }

 private:
  SessionRef session_;
  std::shared_ptr<InboxView> view_;
  std::vector<std::size_t> chosen_;
};

// All of the inbox, as it is when it is counted or restricted.
class InboxItems : public ItemCollection {
 public:
  explicit InboxItems(SessionRef session) : session_(std::move(session)) {}

  std::int32_t Count() override {
    view_ = session_->list();
    return toCount(view_->listing->size());
  }

  std::shared_ptr<MailItem> Item(std::int32_t index) override {
    if (!view_) {
      view_ = session_->list();
    }
    requireIndex(index, toCount(view_->listing->size()));
    session_->itemTaken();
    return std::make_shared<InboxItem>(session_,
                                       InboxEntry{view_, static_cast<std::size_t>(index - 1)});
  }

  std::shared_ptr<ItemCollection> Restrict(const std::string& filter) override {
    view_ = session_->list();
    return InboxSelection::unreadOf(session_, view_, view_->listing->size(), filter,
                                    [](std::size_t i) { return i; });
  }

 private:
  SessionRef session_;
  std::shared_ptr<InboxView> view_;  // the last listing
};

class InboxFolder : public Folder {
 public:
  explicit InboxFolder(SessionRef session) : session_(std::move(session)) {}
  std::shared_ptr<ItemCollection> Items() override {
    return std::make_shared<InboxItems>(session_);
  }

 private:
  SessionRef session_;
};

// Refreshes the inbox and delivers the outbox, side by side.
class StoreSync : public SyncObject {
 public:
  explicit StoreSync(SessionRef session) : session_(std::move(session)) {}

  void Start() override {
    if (state_->running) {
      return;
    }
    // The end is reported later, never inside this call, and this object may be gone by then.
    session_->synchronise([weak = std::weak_ptr<State>(state_)] {
      if (const auto state = weak.lock()) {
        state->running = false;
        // A copy: the handler may set another one.
        if (const auto handler = state->handler) {
          handler();
        }
      }
    });
    state_->running = true;
  }

  void onSyncEnd(std::function<void()> handler) override { state_->handler = std::move(handler); }

 private:
  struct State {
    bool running = false;
    std::function<void()> handler;
  };

  SessionRef session_;
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

class StoreSyncObjects : public SyncObjects {
 public:
  explicit StoreSyncObjects(std::shared_ptr<SyncObject> only) : only_(std::move(only)) {}
  std::int32_t Count() override { return 1; }
  std::shared_ptr<SyncObject> Item(std::int32_t index) override {
    requireIndex(index, 1);
    return only_;
  }

 private:
  std::shared_ptr<SyncObject> only_;
};

class StoreNamespace : public Namespace {
 public:
  explicit StoreNamespace(SessionRef session)
      : session_(session), sync_(std::make_shared<StoreSync>(std::move(session))) {}

  std::shared_ptr<Folder> GetDefaultInbox() override {
    return std::make_shared<InboxFolder>(session_);
  }
  std::shared_ptr<class SyncObjects> SyncObjects() override {
    return std::make_shared<StoreSyncObjects>(sync_);
  }

 private:
  SessionRef session_;
  std::shared_ptr<SyncObject> sync_;
};

class StoreSession : public Session {
 public:
  explicit StoreSession(SessionRef session) : session_(std::move(session)) {}
  std::shared_ptr<MapiObject> MAPIOBJECT() override { return session_->mapiObject(); }

 private:
  SessionRef session_;
};

class StoreApplication : public Application {
 public:
  explicit StoreApplication(SessionRef session) : session_(std::move(session)) {}

  std::string ClassName() const override { return "Application"; }
  std::string Version() override {
    session_->requireAlive();
    return kVersion;
  }
  std::shared_ptr<Namespace> GetNamespace(const std::string& name) override {
    if (name != "MAPI") {
      throw MailStoreError("There is no namespace of the name " + name);
    }
    session_->signIn();
    return std::make_shared<StoreNamespace>(session_);
  }
  std::shared_ptr<class Session> Session() override {
    return std::make_shared<StoreSession>(session_);
  }
  // The user's own message, a test message for example. It may be written while a pass forwards
  // another one, since events run then, and has nothing to do with that.
  std::shared_ptr<MailItem> CreateItem(int kind) override {
    if (kind != kMailItemKind) {
      throw MailStoreError("Items of this kind cannot be created");
    }
    return std::make_shared<ForwardItem>(session_, std::nullopt);
  }

 private:
  SessionRef session_;
};

class StoreUtility : public UtilityObject {
 public:
  explicit StoreUtility(SessionRef session) : session_(std::move(session)) {}
  std::string ClassName() const override { return "MAPIUtils"; }
  void DeliverNow() override { session_->deliver(); }

 private:
  SessionRef session_;
};

class StoreLibrarySession : public LibrarySession {
 public:
  explicit StoreLibrarySession(SessionRef session) : session_(std::move(session)) {}
  std::string ClassName() const override { return "RDOSession"; }
  void MAPIOBJECT(std::shared_ptr<MapiObject> object) override {
    if (object != session_->mapiObject()) {
      throw MailStoreError("The object is not a MAPI session");
    }
  }

 private:
  SessionRef session_;
};

class StoreOutgoing : public OutgoingMail {
 public:
  explicit StoreOutgoing(SessionRef session) : session_(std::move(session)) {}
  OutgoingState state() override { return session_->outgoing(); }
  std::size_t waiting() override { return session_->waiting(); }
  std::size_t recentlyWaiting() override { return session_->recentlyWaiting(); }
  void tryAgain(std::function<void()> done) override { session_->tryAgain(std::move(done)); }
  void userAsks() override { session_->userAsks(); }
  void minutePassed() override { session_->minutePassed(); }
  void forwardingSwitched(bool on) override { session_->forwardingSwitched(on); }

 private:
  SessionRef session_;
};

void addComponents(ObjectRegistry& registry, const SessionRef& session) {
  addSharedComponents(registry);
  registry.add(prog_id::kApplication, [session] {
    session->check();
    return std::make_shared<StoreApplication>(session);
  });
  // A pass makes such an item of a message that cannot be forwarded as it is, and has just marked
  // that message as read.
  registry.add(prog_id::kMailItem, [session] {
    return std::make_shared<ForwardItem>(session, session->beingForwarded());
  });
  registry.add(prog_id::kUtility, [session] { return std::make_shared<StoreUtility>(session); });
  registry.add(prog_id::kLibrarySession,
               [session] { return std::make_shared<StoreLibrarySession>(session); });
}

}  // namespace

MailboxStore::MailboxStore(std::unique_ptr<Inbox> inbox, MailSettings settings, StoreWorld world,
                           std::shared_ptr<Transport> transport)
    : session_(std::make_shared<MailboxSession>(std::move(inbox), std::move(settings),
                                                std::move(world), std::move(transport))),
      outgoing_(std::make_unique<StoreOutgoing>(session_)) {
  prepareLibraries();
  addComponents(registry_, session_);
}

MailboxStore::~MailboxStore() {
  session_->close();
}

std::string MailboxStore::place() const {
  return session_->place();
}

std::string MailboxStore::lockName() const {
  return session_->lockName();
}

bool MailboxStore::beginToClose(std::function<void()> ready) {
  return session_->beginToClose(std::move(ready));
}

std::string MailboxStore::folder() const {
  return session_->isFolder() ? session_->place() : std::string();
}

}  // namespace relaybird
