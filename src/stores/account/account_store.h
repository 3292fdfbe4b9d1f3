// SPDX-License-Identifier: MIT
// The account store: the inbox is a folder on an IMAP server.
#pragma once

#include <memory>

#include "mail/mail_settings.h"
#include "mail/mail_store.h"
#include "mail/store_world.h"
#include "outbox/delivery/transport.h"
#include "platform/result.h"

namespace relaybird {

/// Opens the store that the settings describe. Nothing is connected yet. Fails with a sentence for
/// the user where this program has no network.
Result<std::unique_ptr<MailStore>> openAccountStore(const MailSettings& settings,
                                                    const StoreWorld& world,
                                                    std::shared_ptr<Transport> transport);

}  // namespace relaybird
