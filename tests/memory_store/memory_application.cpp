// SPDX-License-Identifier: MIT
// The application, its session and folders, and its synchronisation object.
#include <utility>

#include "mail/shared_components.h"
#include "memory_store/memory_state.h"

namespace relaybird {

namespace {

// The inbox as it is, or a filtered copy of it.
class MemoryCollection : public ItemCollection {
 public:
  explicit MemoryCollection(MemoryLink link) : link_(std::move(link)) {}
  MemoryCollection(MemoryLink link, std::vector<RecordRef> records)
      : link_(std::move(link)), snapshot_(std::move(records)) {}

  std::int32_t Count() override {
    link_.begin("ItemCollection.Count");
    return count();
  }

  std::shared_ptr<MailItem> Item(std::int32_t index) override {
    link_.begin("ItemCollection.Item");
    requireIndex(index, count());
    if (link_->outboxRefused) {
      throw MailStoreError("The outbox is full");
    }
    return makeMemoryItem(link_, records()[static_cast<std::size_t>(index - 1)]);
  }

  std::shared_ptr<ItemCollection> Restrict(const std::string& filter) override {
    link_.begin("ItemCollection.Restrict");
    if (!isUnreadFilter(filter)) {
      throw MailStoreError("Cannot parse the condition: " + filter);
    }
    std::vector<RecordRef> unread;
    for (const auto& record : records()) {
      if (record->unread) {
        unread.push_back(record);
      }
    }
    return std::make_shared<MemoryCollection>(link_, std::move(unread));
  }

 private:
  const std::vector<RecordRef>& records() const { return snapshot_ ? *snapshot_ : link_->inbox; }
  std::int32_t count() const { return static_cast<std::int32_t>(records().size()); }

  MemoryLink link_;
  std::optional<std::vector<RecordRef>> snapshot_;
};

class MemoryFolder : public Folder {
 public:
  explicit MemoryFolder(MemoryLink link) : link_(std::move(link)) {}
  std::shared_ptr<ItemCollection> Items() override {
    link_.begin("Folder.Items");
    link_->outboxRefused = link_->outboxRefused && link_->outboxFull;
    return std::make_shared<MemoryCollection>(link_);
  }

 private:
  MemoryLink link_;
};

class MemorySyncObject : public SyncObject {
 public:
  explicit MemorySyncObject(MemoryLink link)
      : link_(std::move(link)), sync_(std::make_shared<MemorySync>()) {
    sync_->era = link_.era();
  }

  void Start() override {
    link_.begin("SyncObject.Start");
    ++link_->syncStarts;
    if (sync_->running) {
      return;
    }
    ++link_->syncRuns;
    sync_->running = true;
    if (link_->syncEndsByItself) {
      link_->postEnd(sync_);
    } else {
      link_->syncs.push_back(sync_);
    }
  }

  void onSyncEnd(std::function<void()> handler) override {
    link_.begin("SyncObject.onSyncEnd");
    sync_->handler = std::move(handler);
  }

 private:
  MemoryLink link_;
  std::shared_ptr<MemorySync> sync_;
};

class MemorySyncObjects : public SyncObjects {
 public:
  MemorySyncObjects(MemoryLink link, std::shared_ptr<SyncObject> only)
      : link_(std::move(link)), only_(std::move(only)) {}

  std::int32_t Count() override {
    link_.begin("SyncObjects.Count");
    return 1;
  }
  std::shared_ptr<SyncObject> Item(std::int32_t index) override {
    link_.begin("SyncObjects.Item");
    requireIndex(index, 1);
    return only_;
  }

 private:
  MemoryLink link_;
  std::shared_ptr<SyncObject> only_;
};

class MemoryNamespace : public Namespace {
 public:
  explicit MemoryNamespace(MemoryLink link)
      : link_(link), sync_(std::make_shared<MemorySyncObject>(std::move(link))) {}

  std::shared_ptr<Folder> GetDefaultInbox() override {
    link_.begin("Namespace.GetDefaultInbox");
    return std::make_shared<MemoryFolder>(link_);
  }
  std::shared_ptr<class SyncObjects> SyncObjects() override {
    link_.begin("Namespace.SyncObjects");
    return std::make_shared<MemorySyncObjects>(link_, sync_);
  }

 private:
  MemoryLink link_;
  std::shared_ptr<SyncObject> sync_;
};

class MemorySession : public Session {
 public:
  explicit MemorySession(MemoryLink link) : link_(std::move(link)) {}
  std::shared_ptr<MapiObject> MAPIOBJECT() override {
    link_.begin("Session.MAPIOBJECT");
    return link_->mapiObject;
  }

 private:
  MemoryLink link_;
};

class MemoryApplication : public Application {
 public:
  explicit MemoryApplication(MemoryLink link) : link_(std::move(link)) {}

  std::string ClassName() const override {
    link_.begin("Application.ClassName");
    return "Application";
  }
  std::string Version() override {
    link_.begin("Application.Version");
    return link_->version;
  }
  std::shared_ptr<Namespace> GetNamespace(const std::string& name) override {
    link_.begin("Application.GetNamespace");
    if (name != "MAPI") {
      throw MailStoreError("There is no namespace of the name " + name);
    }
    return std::make_shared<MemoryNamespace>(link_);
  }
  std::shared_ptr<class Session> Session() override {
    link_.begin("Application.Session");
    return std::make_shared<MemorySession>(link_);
  }
  std::shared_ptr<MailItem> CreateItem(int kind) override {
    link_.begin("Application.CreateItem");
    if (kind != kMailItemKind) {
      throw MailStoreError("Items of this kind cannot be created");
    }
    return makeMemoryItem(link_, std::make_shared<MemoryRecord>());
  }

 private:
  MemoryLink link_;
};

}  // namespace

std::shared_ptr<AutomationObject> makeMemoryApplication(const MemoryLink& link) {
  return std::make_shared<MemoryApplication>(link);
}

}  // namespace relaybird
