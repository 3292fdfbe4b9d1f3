// SPDX-License-Identifier: MIT
// The table of the stores that this build has. src/stores/CMakeLists.txt defines the macro of each
// store that is built.
#include <string>
#include <utility>
#include <vector>

#include "app/store_openers.h"
#include "mail/mail_settings.h"
#if defined(RELAYBIRD_STORE_MAILDIR) || defined(RELAYBIRD_STORE_ACCOUNT)
#include "outbox/delivery/make_transport.h"
#endif
#ifdef RELAYBIRD_STORE_ACCOUNT
#include "stores/account/account_store.h"
#endif
#ifdef RELAYBIRD_STORE_MAILDIR
#include "stores/maildir/maildir_store.h"
#endif
#ifdef RELAYBIRD_STORE_OUTLOOK
#include "stores/outlook/outlook_store.h"
#endif

namespace relaybird {
namespace {

using Opened = Result<std::unique_ptr<MailStore>>;

#if defined(RELAYBIRD_STORE_MAILDIR) || defined(RELAYBIRD_STORE_ACCOUNT)
// Opens a store whose forwards wait in an outbox on this disk. The way off this computer does not
// depend on the store, so it is made here.
template <Opened (*open)(const MailSettings& settings, const StoreWorld& world,
                         std::shared_ptr<Transport> transport)>
Opened withOutbox(const StoreSettings& from, const StoreWorld& world) {
  const auto read = readMailSettings(from.file, world.user);
  if (!read.errors.empty()) {
    std::string text = "Section [mail] of " + from.fileName + " cannot be used:";
    for (const std::string& error : read.errors) {
      text += " " + error;
    }
    return Error{0, text};
  }
  auto transport = makeTransport(read.settings, world);
  if (!transport) {
    return transport.error();
  }
  return open(read.settings, world, std::move(*transport));
}
#endif

}  // namespace

std::span<const StoreEntry> builtStores() {
  // One line for each store. A store that needs neither section [mail] nor an outbox is named
  // without withOutbox.
  static const std::vector<StoreEntry> stores = {
#ifdef RELAYBIRD_STORE_OUTLOOK
      {"outlook",
       [](const StoreSettings&, const StoreWorld& world) { return openOutlookStore(world); },
       "Outlook"},
#endif
#ifdef RELAYBIRD_STORE_MAILDIR
      {"maildir", withOutbox<openMaildirStore>},
#endif
#ifdef RELAYBIRD_STORE_ACCOUNT
      {"account", withOutbox<openAccountStore>},
#endif
  };
  return stores;
}

}  // namespace relaybird
