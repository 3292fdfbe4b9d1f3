// SPDX-License-Identifier: MIT
#include "app/store_openers.h"

#include <string_view>
#include <utility>
#include <vector>

#include "mail/mail_settings.h"
#include "outbox/delivery/make_transport.h"
#include "platform/text/ascii_text.h"
#include "stores/account/account_store.h"
#include "stores/maildir/maildir_store.h"

namespace relaybird {
namespace {

struct StoreEntry {
  std::string_view name;
  Result<std::unique_ptr<MailStore>> (*open)(const MailSettings& settings, const StoreWorld& world,
                                             std::shared_ptr<Transport> transport);
};

// One line for each store; src/stores/CMakeLists.txt defines the macro of a store that is built.
const std::vector<StoreEntry> kStores = {
#ifdef RELAYBIRD_STORE_MAILDIR
    {"maildir", openMaildirStore},
#endif
#ifdef RELAYBIRD_STORE_ACCOUNT
    {"account", openAccountStore},
#endif
};

// The way off this computer does not depend on the store, so it is made here.
Result<std::unique_ptr<MailStore>> openWith(const StoreEntry& store, const ProfileReader& file,
                                            const std::string& fileName, const StoreWorld& world) {
  const auto read = readMailSettings(file, world.user);
  if (!read.errors.empty()) {
    std::string text = "Section [mail] of " + fileName + " cannot be used:";
    for (const std::string& error : read.errors) {
      text += " " + error;
    }
    return Error{0, text};
  }
  auto transport = makeTransport(read.settings, world);
  if (!transport) {
    return transport.error();
  }
  return store.open(read.settings, world, std::move(*transport));
}

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
      return openWith(store, file, fileName, world);
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
