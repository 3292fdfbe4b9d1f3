// SPDX-License-Identifier: MIT
// The Maildir store and its objects apart from the items: the application with its namespace, inbox
// and synchronisation, and the utility and library session. They are thin: each holds the shared
// MaildirMailbox and passes its calls on. Mail arrives in a Maildir by itself, so a synchronisation
// only delivers the outbox.
#include "stores/maildir/maildir_store.h"

#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "mail/shared_components.h"
#include "message/text/libraries.h"
#include "outbox/delivery/sendmail_transport.h"
#include "stores/maildir/forward_item.h"
#include "stores/maildir/maildir_inbox.h"
#include "stores/maildir/maildir_item.h"
#include "stores/maildir/maildir_mailbox.h"

namespace relaybird {

namespace {

using MailboxRef = std::shared_ptr<MaildirMailbox>;

// The version of the mail application whose part the store plays.
constexpr const char* kVersion = "16.0";

std::int32_t toCount(std::size_t size) {
  if (size > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
    throw MailStoreError("Overflow: the folder holds too many messages");
  }
  return static_cast<std::int32_t>(size);
}

// Some messages of one listing.
class MaildirSelection : public ItemCollection {
 public:
  MaildirSelection(MailboxRef mailbox, std::shared_ptr<InboxView> view,
                   std::vector<std::size_t> chosen)
      : mailbox_(std::move(mailbox)), view_(std::move(view)), chosen_(std::move(chosen)) {}

  std::int32_t Count() override { return toCount(chosen_.size()); }

  std::shared_ptr<MailItem> Item(std::int32_t index) override {
    requireIndex(index, Count());
    mailbox_->itemTaken();
    return std::make_shared<MaildirItem>(
        mailbox_, InboxEntry{view_, chosen_[static_cast<std::size_t>(index - 1)]});
  }

  std::shared_ptr<ItemCollection> Restrict(const std::string& filter) override {
    if (!isUnreadFilter(filter)) {
      throw MailStoreError("Cannot parse the condition: " + filter);
    }
    mailbox_->writeHeldBack();
    std::vector<std::size_t> unread;
    unread.reserve(chosen_.size());
    for (const std::size_t index : chosen_) {
      if (mailbox_->unread({view_, index})) {
        unread.push_back(index);
      }
    }
    return std::make_shared<MaildirSelection>(mailbox_, view_, std::move(unread));
  }

 private:
  MailboxRef mailbox_;
  std::shared_ptr<InboxView> view_;
  std::vector<std::size_t> chosen_;
};

// All of the inbox, as it is when it is counted or restricted.
class MaildirItems : public ItemCollection {
 public:
  explicit MaildirItems(MailboxRef mailbox) : mailbox_(std::move(mailbox)) {}

  std::int32_t Count() override {
    list();
    return all_->Count();
  }

  std::shared_ptr<MailItem> Item(std::int32_t index) override {
    if (!all_) {
      list();
    }
    return all_->Item(index);
  }

  std::shared_ptr<ItemCollection> Restrict(const std::string& filter) override {
    list();
    return all_->Restrict(filter);
  }

 private:
  void list() {
    auto view = mailbox_->list();
    std::vector<std::size_t> every(view->listing->size());
    for (std::size_t i = 0; i < every.size(); ++i) {
      every[i] = i;
    }
    all_ = std::make_shared<MaildirSelection>(mailbox_, std::move(view), std::move(every));
  }

  MailboxRef mailbox_;
  std::shared_ptr<MaildirSelection> all_;  // of the last listing
};

class MaildirInboxFolder : public Folder {
 public:
  explicit MaildirInboxFolder(MailboxRef mailbox) : mailbox_(std::move(mailbox)) {}
  std::shared_ptr<ItemCollection> Items() override {
    return std::make_shared<MaildirItems>(mailbox_);
  }

 private:
  MailboxRef mailbox_;
};

// Refreshes the inbox and delivers the outbox, side by side.
class MaildirSync : public SyncObject {
 public:
  explicit MaildirSync(MailboxRef mailbox) : mailbox_(std::move(mailbox)) {}

  void Start() override {
    if (state_->running) {
      return;
    }
    mailbox_->synchronise([weak = std::weak_ptr<State>(state_)] {
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

  MailboxRef mailbox_;
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

class MaildirSyncObjects : public SyncObjects {
 public:
  explicit MaildirSyncObjects(std::shared_ptr<SyncObject> only) : only_(std::move(only)) {}
  std::int32_t Count() override { return 1; }
  std::shared_ptr<SyncObject> Item(std::int32_t index) override {
    requireIndex(index, 1);
    return only_;
  }

 private:
  std::shared_ptr<SyncObject> only_;
};

class MaildirNamespace : public Namespace {
 public:
  explicit MaildirNamespace(MailboxRef mailbox)
      : mailbox_(mailbox), sync_(std::make_shared<MaildirSync>(std::move(mailbox))) {}

  std::shared_ptr<Folder> GetDefaultInbox() override {
    return std::make_shared<MaildirInboxFolder>(mailbox_);
  }
  std::shared_ptr<class SyncObjects> SyncObjects() override {
    return std::make_shared<MaildirSyncObjects>(sync_);
  }

 private:
  MailboxRef mailbox_;
  std::shared_ptr<SyncObject> sync_;
};

class MaildirSession : public Session {
 public:
  explicit MaildirSession(MailboxRef mailbox) : mailbox_(std::move(mailbox)) {}
  std::shared_ptr<void> MAPIOBJECT() override { return mailbox_->mapiObject(); }

 private:
  MailboxRef mailbox_;
};

class MaildirApplication : public Application {
 public:
  explicit MaildirApplication(MailboxRef mailbox) : mailbox_(std::move(mailbox)) {}

  std::string ClassName() const override { return "Application"; }
  std::string Version() override {
    mailbox_->requireAlive();
    return kVersion;
  }
  std::shared_ptr<Namespace> GetNamespace(const std::string& name) override {
    if (name != "MAPI") {
      throw MailStoreError("There is no namespace of the name " + name);
    }
    mailbox_->signIn();
    return std::make_shared<MaildirNamespace>(mailbox_);
  }
  std::shared_ptr<class Session> Session() override {
    return std::make_shared<MaildirSession>(mailbox_);
  }
  std::shared_ptr<MailItem> CreateItem(int kind) override {
    if (kind != kMailItemKind) {
      throw MailStoreError("Items of this kind cannot be created");
    }
    return std::make_shared<ForwardItem>(mailbox_);
  }

 private:
  MailboxRef mailbox_;
};

class MaildirUtility : public UtilityObject {
 public:
  explicit MaildirUtility(MailboxRef mailbox) : mailbox_(std::move(mailbox)) {}
  std::string ClassName() const override { return "MAPIUtils"; }
  void DeliverNow() override { mailbox_->deliver(); }

 private:
  MailboxRef mailbox_;
};

class MaildirLibrarySession : public LibrarySession {
 public:
  explicit MaildirLibrarySession(MailboxRef mailbox) : mailbox_(std::move(mailbox)) {}
  std::string ClassName() const override { return "RDOSession"; }
  void MAPIOBJECT(std::shared_ptr<void> object) override {
    if (object != mailbox_->mapiObject()) {
      throw MailStoreError("The object is not a MAPI session");
    }
  }

 private:
  MailboxRef mailbox_;
};

class MaildirOutgoing : public OutgoingMail {
 public:
  explicit MaildirOutgoing(MailboxRef mailbox) : mailbox_(std::move(mailbox)) {}
  OutgoingState state() override { return mailbox_->outgoing(); }
  std::size_t waiting() override { return mailbox_->waiting(); }
  void tryAgain(std::function<void()> done) override { mailbox_->tryAgain(std::move(done)); }

 private:
  MailboxRef mailbox_;
};

void addMaildirComponents(ObjectRegistry& registry, const MailboxRef& mailbox) {
  addSharedComponents(registry);
  registry.add(prog_id::kApplication, [mailbox] {
    mailbox->check();
    return std::make_shared<MaildirApplication>(mailbox);
  });
  registry.add(prog_id::kMailItem, [mailbox] { return std::make_shared<ForwardItem>(mailbox); });
  registry.add(prog_id::kUtility, [mailbox] { return std::make_shared<MaildirUtility>(mailbox); });
  registry.add(prog_id::kLibrarySession,
               [mailbox] { return std::make_shared<MaildirLibrarySession>(mailbox); });
}

}  // namespace

MaildirStore::MaildirStore(const MaildirSettings& settings, const StoreWorld& world,
                           std::shared_ptr<Transport> transport)
    : mailbox_(std::make_shared<MaildirMailbox>(
          std::make_unique<MaildirInbox>(world.files, world.clock, world.events, settings.maildir),
          settings, world, std::move(transport))),
      outgoing_(std::make_unique<MaildirOutgoing>(mailbox_)) {
  prepareLibraries();
  addMaildirComponents(registry_, mailbox_);
}

MaildirStore::~MaildirStore() {
  mailbox_->close();
}

std::string MaildirStore::place() const {
  return mailbox_->place();
}

Result<std::unique_ptr<MailStore>> openMaildirStore(const ProfileReader& file,
                                                    const StoreWorld& world) {
  MaildirSettings settings = readMaildirSettings(file, world.user, world.stateFolder);
  std::shared_ptr<Transport> transport;
  if (!settings.sendmail.empty()) {
    auto command = splitCommand(settings.sendmail);
    if (!command) {
      return command.error();
    }
    transport = std::make_shared<SendmailTransport>(world.commands, std::move(*command));
  }
  return std::unique_ptr<MailStore>(
      std::make_unique<MaildirStore>(std::move(settings), world, std::move(transport)));
}

}  // namespace relaybird
