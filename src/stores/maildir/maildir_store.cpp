// SPDX-License-Identifier: MIT
#include "stores/maildir/maildir_store.h"

#include <utility>

#include "stores/maildir/maildir_inbox.h"

namespace relaybird {

MaildirStore::MaildirStore(const MailSettings& settings, const StoreWorld& world,
                           std::shared_ptr<Transport> transport)
    : MailboxStore(
          std::make_unique<MaildirInbox>(world.files, world.clock, world.events, settings.maildir),
          settings, world, std::move(transport)) {}

Result<std::unique_ptr<MailStore>> openMaildirStore(const MailSettings& settings,
                                                    const StoreWorld& world,
                                                    std::shared_ptr<Transport> transport) {
  return std::unique_ptr<MailStore>(
      std::make_unique<MaildirStore>(settings, world, std::move(transport)));
}

}  // namespace relaybird
