// SPDX-License-Identifier: MIT
// The objects beside the mail application: safe items, utility object, library session, dictionary.
#include <utility>

#include "mail/shared_components.h"
#include "memory_store/memory_state.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

class MemorySafeItem : public PassThroughSafeItem {
 public:
  MemorySafeItem(MemoryLink link, const char* className)
      : PassThroughSafeItem(className), link_(std::move(link)) {}

  std::string ClassName() const override {
    link_.begin("SafeItem.ClassName");
    return PassThroughSafeItem::ClassName();
  }
  std::shared_ptr<MailItem> Item() override {
    link_.begin("SafeItem.Item");
    return PassThroughSafeItem::Item();
  }
  void Item(std::shared_ptr<MailItem> item) override {
    link_.begin("SafeItem.Item=");
    PassThroughSafeItem::Item(std::move(item));
  }

 protected:
  MailItem& wrapped(std::string_view operation) const override {
    link_.begin(operation);
    return PassThroughSafeItem::wrapped(operation);
  }

 private:
  MemoryLink link_;
};

class MemoryUtility : public UtilityObject {
 public:
  explicit MemoryUtility(MemoryLink link) : link_(std::move(link)) {}
  std::string ClassName() const override {
    link_.begin("UtilityObject.ClassName");
    return "MAPIUtils";
  }
  void DeliverNow() override {
    link_.begin("UtilityObject.DeliverNow");
    ++link_->deliveries;
  }

 private:
  MemoryLink link_;
};

class MemoryLibrarySession : public LibrarySession {
 public:
  explicit MemoryLibrarySession(MemoryLink link) : link_(std::move(link)) {}
  std::string ClassName() const override {
    link_.begin("LibrarySession.ClassName");
    return "RDOSession";
  }
  void MAPIOBJECT(std::shared_ptr<MapiObject> object) override {
    link_.begin("LibrarySession.MAPIOBJECT=");
    if (object != link_->mapiObject) {
      throw MailStoreError("The object is not a MAPI session");
    }
    ++link_->attachedSessions;
  }

 private:
  MemoryLink link_;
};

// Belongs to the scripting runtime: it stays when the mail application goes.
class MemoryDictionary : public TextDictionary {
 public:
  explicit MemoryDictionary(std::shared_ptr<MemoryState> state) : state_(std::move(state)) {}

  std::string ClassName() const override {
    begin("Dictionary.ClassName");
    return TextDictionary::ClassName();
  }
  bool Exists(const std::string& key) const override {
    begin("Dictionary.Exists");
    return TextDictionary::Exists(key);
  }
  void Add(const std::string& key, const std::string& item) override {
    begin("Dictionary.Add");
    TextDictionary::Add(key, item);
  }
  std::int32_t Count() const override {
    begin("Dictionary.Count");
    return TextDictionary::Count();
  }

 private:
  void begin(std::string_view operation) const { MemoryLink(state_).begin(operation); }

  std::shared_ptr<MemoryState> state_;
};

std::shared_ptr<AutomationObject> makeSafeItem(const MemoryLink& link, const char* className) {
  return std::make_shared<MemorySafeItem>(link, className);
}

}  // namespace

void addMemoryComponents(ObjectRegistry& registry, const std::shared_ptr<MemoryState>& state) {
  // Every object belongs to the application that runs when it is made.
  const auto add = [&](std::string_view progId, auto make) {
    registry.add(progId, [state, make, operation = "CreateObject " + asciiLower(progId)] {
      const MemoryLink link(state);
      link.begin(operation);
      return make(link);
    });
  };
  using Made = std::shared_ptr<AutomationObject>;
  add(prog_id::kApplication, makeMemoryApplication);
  add(prog_id::kMailItem, [](const MemoryLink& link) -> Made {
    return makeMemoryItem(link, std::make_shared<MemoryRecord>());
  });
  add(prog_id::kSafeMailItem, [](const auto& link) { return makeSafeItem(link, "SafeMailItem"); });
  add(prog_id::kSafeMeetingItem,
      [](const auto& link) { return makeSafeItem(link, "SafeMeetingItem"); });
  add(prog_id::kSafeTaskItem, [](const auto& link) { return makeSafeItem(link, "SafeTaskItem"); });
  add(prog_id::kUtility,
      [](const MemoryLink& link) -> Made { return std::make_shared<MemoryUtility>(link); });
  add(prog_id::kLibrarySession,
      [](const MemoryLink& link) -> Made { return std::make_shared<MemoryLibrarySession>(link); });
  add(prog_id::kDictionary,
      [state](const MemoryLink&) -> Made { return std::make_shared<MemoryDictionary>(state); });
}

}  // namespace relaybird
