// SPDX-License-Identifier: MIT
#include "app/store_openers.h"

#include <array>

namespace relaybird {
namespace {

constexpr auto kStores = std::to_array<StoreEntry>({
    {"maildir", openMaildirStore},
});

}  // namespace

Result<std::unique_ptr<OpenedStore>> openStore(const std::string& name, const ProfileReader& file,
                                               const std::string& fileName,
                                               const StoreWorld& world) {
  std::string known;
  for (const StoreEntry& store : kStores) {
    if (store.name == name) {
      return store.open(file, world);
    }
    known += (known.empty() ? "" : ", ") + std::string(store.name);
  }
  return Error{0, "The mail store \"" + name + "\" that " + fileName +
                      " names is not known; there is " + known};
}

}  // namespace relaybird
