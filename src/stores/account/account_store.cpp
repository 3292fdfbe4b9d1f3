// SPDX-License-Identifier: MIT
#include "stores/account/account_store.h"

#include <utility>

#include "stores/account/account_inbox.h"
#include "stores/account/sent_folder.h"
#include "stores/mailbox/mailbox_store.h"

namespace relaybird {

Result<std::unique_ptr<MailStore>> openAccountStore(const MailSettings& settings,
                                                    const StoreWorld& world,
                                                    std::shared_ptr<Transport> transport) {
  if (!world.network) {
    return Error{0, "This program was built without a network, so it cannot read an account"};
  }
  if (settings.imap.server.host.empty()) {
    return Error{0, "The settings name no mail server: set up mail first"};
  }
  return std::unique_ptr<MailStore>(
      std::make_unique<MailboxStore>(std::make_unique<AccountInbox>(settings, world), settings,
                                     world, withSentFolder(std::move(transport), settings, world)));
}

}  // namespace relaybird
