// SPDX-License-Identifier: MIT
#include "app/store_openers.h"

#include <string_view>
#include <vector>

#include "platform/text/ascii_text.h"
#include "stores/maildir/maildir_store.h"

namespace relaybird {
namespace {

struct StoreEntry {
  std::string_view name;
  Result<std::unique_ptr<MailStore>> (*open)(const ProfileReader& file, const StoreWorld& world);
};

// One line for each store; src/stores/CMakeLists.txt defines the macro of a store that is built.
const std::vector<StoreEntry> kStores = {
#ifdef RELAYBIRD_STORE_MAILDIR
    {"maildir", openMaildirStore},
#endif
};

}  // namespace

std::string mailStoreName(const ProfileReader& file) {
  const std::string name = asciiLower(file.get(kMailSection, "store", ""));
  return name.empty() ? "maildir" : name;
}

Result<std::unique_ptr<MailStore>> openStore(const std::string& name, const ProfileReader& file,
                                             const std::string& fileName, const StoreWorld& world) {
  std::string known;
  for (const StoreEntry& store : kStores) {
    if (store.name == name) {
      return store.open(file, world);
    }
    known += (known.empty() ? "" : ", ") + std::string(store.name);
  }
  if (known.empty()) {
    return Error{0, "This program was built without a mail store"};
  }
  return Error{0, "The mail store \"" + name + "\" that " + fileName +
                      " names is not known; there is " + known};
}

}  // namespace relaybird
