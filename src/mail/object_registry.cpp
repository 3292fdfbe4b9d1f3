// SPDX-License-Identifier: MIT
#include "mail/object_registry.h"

#include <utility>

#include "mail/pass_through_safe_item.h"
#include "mail/store_rules.h"
#include "mail/text_dictionary.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

void ObjectRegistry::add(std::string_view progId, Maker maker) {
  makers_[asciiLower(progId)] = std::move(maker);
}

void ObjectRegistry::remove(std::string_view progId) {
  makers_.erase(asciiLower(progId));
}

std::shared_ptr<AutomationObject> ObjectRegistry::CreateObject(std::string_view progId) {
  const auto found = makers_.find(asciiLower(progId));
  if (found == makers_.end()) {
    throw MailStoreError("Cannot create object: " + std::string(progId) + " is not installed");
  }
  return found->second();
}

void addSharedComponents(ObjectRegistry& registry) {
  const auto addSafe = [&registry](std::string_view progId, const char* className) {
    registry.add(progId, [className] { return std::make_shared<PassThroughSafeItem>(className); });
  };
  addSafe(prog_id::kSafeMailItem, "SafeMailItem");
  addSafe(prog_id::kSafeMeetingItem, "SafeMeetingItem");
  addSafe(prog_id::kSafeTaskItem, "SafeTaskItem");
  registry.add(prog_id::kDictionary, [] { return std::make_shared<TextDictionary>(); });
}

}  // namespace relaybird
