// SPDX-License-Identifier: MIT
// The application, its session, folder and collections, and what stands beside it: the safe-item
// library's utility and session objects, the scripting runtime's dictionary.
#include <windows.h>

#include <utility>

#include "outlook_double/double_world.h"
#include "outlook_double/objects.h"
#include "platform/text/ascii_text.h"

namespace relaybird::outlook_double {

namespace {

constexpr std::int32_t kInboxFolder = 6;  // olFolderInbox

using Arg = const Arguments&;
using Running = std::shared_ptr<RunningApplication>;

bool sameObject(IUnknown* left, IUnknown* right) {
  ComRef<IUnknown> a;
  ComRef<IUnknown> b;
  return left != nullptr && right != nullptr &&
         SUCCEEDED(left->QueryInterface(IID_IUnknown, a.outVoid())) &&
         SUCCEEDED(right->QueryInterface(IID_IUnknown, b.outVoid())) && a.get() == b.get();
}

// A folder's items, or those that a filter lets through.
class ItemsObject : public DispatchObject {
 public:
  explicit ItemsObject(std::shared_ptr<ItemCollection> items, std::string filter = {})
      : DispatchObject(members(), "Items"), items_(std::move(items)), filter_(std::move(filter)) {}

 private:
  static const MemberTable& members() {
    static const MemberTable table =
        MemberTable("Items")
            .get("Count",
                 on<ItemsObject>([](auto& o, Arg) { return Value::number(o.current()->Count()); }))
            .byDefault("Item", on<ItemsObject>([](auto& o, Arg a) {
                         return Value::object(makeItem(o.at(a.number(0))));
                       }))
            .method("Restrict", 1, 1, on<ItemsObject>([](auto& o, Arg a) {
                      return Value::object(o.restricted(a.text(0)));
                    }))
            .method("Sort", 1, 2, on<ItemsObject>([](auto& o, Arg a) {
                      o.sort(a.text(0), a.count() > 1 && a.boolean(1));
                      return Value();
                    }));
    return table;
  }

  std::shared_ptr<ItemCollection> current() {
    return filter_.empty() ? items_ : items_->Restrict(filter_);
  }
  std::shared_ptr<MailItem> at(std::int32_t index) {
    const auto items = current();
    return items->Item(newestFirst() ? items->Count() + 1 - index : index);
  }
  bool newestFirst() const {
    return sorted_ ? descending_ : DoubleWorld::only().behaviour().newestFirst;
  }
  ComRef<IDispatch> restricted(const std::string& filter) {
    auto some = current()->Restrict(filter);
    const bool live = DoubleWorld::only().behaviour().filterIsLive;
    return ComRef<IDispatch>(live ? new ItemsObject(current(), filter)
                                  : new ItemsObject(std::move(some)));
  }
  void sort(const std::string& property, bool descending) {
    if (asciiLower(property) != "[receivedtime]") {
      throw Raised{E_INVALIDARG, "Mail application", "Items cannot be sorted by " + property};
    }
    sorted_ = true;
    descending_ = descending;
  }

  std::shared_ptr<ItemCollection> items_;
  std::string filter_;
  bool sorted_ = false;
  bool descending_ = false;
};

class FolderObject : public DispatchObject {
 public:
  explicit FolderObject(std::shared_ptr<Folder> folder)
      : DispatchObject(members(), "MAPIFolder"), folder_(std::move(folder)) {}

 private:
  static const MemberTable& members() {
    static const MemberTable table = MemberTable("Folder").get(
        "Items", on<FolderObject>([](auto& o, Arg) {
          return Value::object(ComRef<IDispatch>(new ItemsObject(o.folder_->Items())));
        }));
    return table;
  }

  std::shared_ptr<Folder> folder_;
};

class SyncObjectsObject : public DispatchObject {
 public:
  SyncObjectsObject(Running running, std::shared_ptr<SyncObjects> objects)
      : DispatchObject(members(), "SyncObjects"),
        running_(std::move(running)),
        objects_(std::move(objects)) {}

 private:
  static const MemberTable& members() {
    static const MemberTable table =
        MemberTable("SyncObjects")
            .get("Count", on<SyncObjectsObject>(
                              [](auto& o, Arg) { return Value::number(o.objects_->Count()); }))
            .byDefault("Item", on<SyncObjectsObject>([](auto& o, Arg a) {
                         o.objects_->Item(a.number(0));
                         return Value::object(makeSyncObject(o.running_->sync));
                       }));
    return table;
  }

  Running running_;
  std::shared_ptr<SyncObjects> objects_;
};

// The namespace, which is the application's session too.
class NamespaceObject : public DispatchObject {
 public:
  explicit NamespaceObject(Running running)
      : DispatchObject(members(DoubleWorld::only().behaviour().opensByIdentifier), "NameSpace"),
        running_(std::move(running)) {}

 private:
  static const MemberTable& members(bool opensByIdentifier) {
    static const MemberTable without = table();
    static const MemberTable with =
        table().method("GetItemFromID", 1, 2,
                       on<NamespaceObject>([](auto& o, Arg a) { return o.item(a.text(0)); }));
    return opensByIdentifier ? with : without;
  }
  static MemberTable table() {
    return MemberTable("NameSpace")
        .method("GetDefaultFolder", 1, 1,
                on<NamespaceObject>([](auto& o, Arg a) { return o.folder(a.number(0)); }))
        .get("SyncObjects", on<NamespaceObject>([](auto& o, Arg) {
               return Value::object(ComRef<IDispatch>(
                   new SyncObjectsObject(o.running_, o.running_->mapi->SyncObjects())));
             }))
        .get("MAPIOBJECT", on<NamespaceObject>([](auto& o, Arg) {
               o.running_->application->Session()->MAPIOBJECT();
               return Value::unknown(o.running_->mapiObject);
             }));
  }

  Value item(const std::string& entryId) {
    const auto position = DoubleWorld::only().positionOf(entryId);
    if (!position) {
      throw Raised{static_cast<HRESULT>(0x8004010F), "Mail application",
                   "An object could not be found."};
    }
    const auto items = running_->mapi->GetDefaultInbox()->Items();
    return Value::object(makeItem(items->Item(static_cast<std::int32_t>(*position) + 1)));
  }
  Value folder(std::int32_t kind) {
    if (kind != kInboxFolder) {
      throw Raised{E_INVALIDARG, "Mail application", "There is no such folder."};
    }
    return Value::object(ComRef<IDispatch>(new FolderObject(running_->mapi->GetDefaultInbox())));
  }

  Running running_;
};

class ApplicationObject : public DispatchObject {
 public:
  ApplicationObject()
      : DispatchObject(members(), "Application"), running_(DoubleWorld::only().running()) {}

 private:
  static const MemberTable& members() {
    static const MemberTable table =
        MemberTable("Application")
            .get("Version", on<ApplicationObject>([](auto& o, Arg) {
                   return Value::text(o.running_->application->Version());
                 }))
            .method("GetNamespace", 1, 1, on<ApplicationObject>([](auto& o, Arg a) {
                      o.running_->application->GetNamespace(a.text(0));
                      return Value::object(ComRef<IDispatch>(new NamespaceObject(o.running_)));
                    }))
            .get("Session", on<ApplicationObject>([](auto& o, Arg) {
                   o.running_->application->Session();
                   return Value::object(ComRef<IDispatch>(new NamespaceObject(o.running_)));
                 }))
            .method(
                "CreateItem", 1, 1, on<ApplicationObject>([](auto& o, Arg a) {
                  return Value::object(makeItem(o.running_->application->CreateItem(a.number(0))));
                }));
    return table;
  }

  Running running_;
};

class UtilityDouble : public DispatchObject {
 public:
  UtilityDouble()
      : DispatchObject(members(), "MAPIUtils"),
        utility_(
            createAs<UtilityObject>(DoubleWorld::only().store().factory(), prog_id::kUtility)) {}

 private:
  static const MemberTable& members() {
    static const MemberTable table =
        MemberTable("MAPIUtils").method("DeliverNow", 0, 2, on<UtilityDouble>([](auto& o, Arg) {
                                          o.utility_->DeliverNow();
                                          return Value();
                                        }));
    return table;
  }

  std::shared_ptr<UtilityObject> utility_;
};

class LibrarySessionDouble : public DispatchObject {
 public:
  LibrarySessionDouble()
      : DispatchObject(members(), "RDOSession"),
        session_(createAs<LibrarySession>(DoubleWorld::only().store().factory(),
                                          prog_id::kLibrarySession)) {}

 private:
  static const MemberTable& members() {
    static const MemberTable table =
        MemberTable("RDOSession").put("MAPIOBJECT", on<LibrarySessionDouble>([](auto& o, Arg a) {
                                        o.attach(a.object(0).get());
                                        return Value();
                                      }));
    return table;
  }

  void attach(IUnknown* object) {
    const auto running = DoubleWorld::only().running();
    const bool own = sameObject(object, running->mapiObject.get());
    session_->MAPIOBJECT(own ? running->application->Session()->MAPIOBJECT() : nullptr);
  }

  std::shared_ptr<LibrarySession> session_;
};

class DictionaryDouble : public DispatchObject {
 public:
  DictionaryDouble()
      : DispatchObject(members(), "Dictionary"),
        dictionary_(
            createAs<Dictionary>(DoubleWorld::only().store().factory(), prog_id::kDictionary)) {}

 private:
  static const MemberTable& members() {
    static const MemberTable table =
        MemberTable("Dictionary")
            .method("Exists", 1, 1, on<DictionaryDouble>([](auto& o, Arg a) {
                      return Value::boolean(o.dictionary_->Exists(a.text(0)));
                    }))
            .method("Add", 2, 2, on<DictionaryDouble>([](auto& o, Arg a) {
                      o.dictionary_->Add(a.text(0), a.text(1));
                      return Value();
                    }))
            .get("Count", on<DictionaryDouble>(
                              [](auto& o, Arg) { return Value::number(o.dictionary_->Count()); }));
    return table;
  }

  std::shared_ptr<Dictionary> dictionary_;
};

template <class T>
ComRef<IDispatch> made() {
  return ComRef<IDispatch>(new T);
}

struct Component {
  std::string_view progId;
  ComRef<IDispatch> (*make)();
};

const Component kComponents[] = {
    {prog_id::kApplication, made<ApplicationObject>},
    {prog_id::kMailItem,
     [] {
       return makeItem(
           createAs<MailItem>(DoubleWorld::only().store().factory(), prog_id::kMailItem));
     }},
    {prog_id::kSafeMailItem, [] { return makeSafeItem("SafeMailItem"); }},
    {prog_id::kSafeMeetingItem, [] { return makeSafeItem("SafeMeetingItem"); }},
    {prog_id::kSafeTaskItem, [] { return makeSafeItem("SafeTaskItem"); }},
    {prog_id::kUtility, made<UtilityDouble>},
    {prog_id::kLibrarySession, made<LibrarySessionDouble>},
    {prog_id::kDictionary, made<DictionaryDouble>},
};

}  // namespace

ComRef<IDispatch> makeComponent(std::string_view progId) {
  for (const auto& component : kComponents) {
    if (asciiLower(component.progId) == asciiLower(progId)) {
      const std::string call = "create " + asciiLower(progId);
      DoubleWorld::only().calls().before(call);
      auto object = component.make();
      DoubleWorld::only().calls().after(call);
      return object;
    }
  }
  throw Returned{REGDB_E_CLASSNOTREG};
}

}  // namespace relaybird::outlook_double
