// SPDX-License-Identifier: MIT
// The choice among the stores of a build, which built_stores.cpp lists. An unknown name is refused,
// and never replaced by the usual store: mail would be taken from a mailbox that nobody named.
#include "app/store_openers.h"

#include <algorithm>

#include "platform/text/ascii_text.h"

namespace relaybird {

std::string mailStoreName(const ProfileReader& file, std::span<const StoreEntry> stores) {
  const std::string name = asciiLower(file.get(kMailSection, "store", ""));
  return name.empty() && !stores.empty() ? std::string(stores.front().name) : name;
}

std::string_view givenMailbox(const std::string& name, std::span<const StoreEntry> stores) {
  const auto found = std::find_if(stores.begin(), stores.end(),
                                  [&](const StoreEntry& store) { return store.name == name; });
  if (found != stores.end()) {
    return found->givenMailbox;
  }
  return stores.empty() ? std::string_view() : stores.front().givenMailbox;
}

Result<std::unique_ptr<MailStore>> openStore(const std::string& name, const StoreSettings& settings,
                                             const StoreWorld& world,
                                             std::span<const StoreEntry> stores) {
  std::string known;
  for (const StoreEntry& store : stores) {
    if (store.name == name) {
      return store.open(settings, world);
    }
    known += (known.empty() ? "" : ", ") + std::string(store.name);
  }
  if (known.empty()) {
    return Error{0, "This program was built without a mail store"};
  }
  return Error{0, "The mail store \"" + name + "\" that " + settings.fileName +
                      " names is not known; there is " + known};
}

}  // namespace relaybird
