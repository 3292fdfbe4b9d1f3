// SPDX-License-Identifier: MIT
// The local mail store: the inbox is a Maildir that another program delivers into and that mail
// programs may use at the same time. Off Windows this is the default store.
#pragma once

#include <memory>

#include "platform/result.h"
#include "stores/mailbox/mailbox_store.h"

namespace relaybird {

class MaildirStore : public MailboxStore {
 public:
  explicit MaildirStore(const MailSettings& settings, const StoreWorld& world,
                        std::shared_ptr<Transport> transport = nullptr);
};

/// Opens the store that the settings describe. Nothing of the Maildir is touched yet.
Result<std::unique_ptr<MailStore>> openMaildirStore(const MailSettings& settings,
                                                    const StoreWorld& world,
                                                    std::shared_ptr<Transport> transport);

}  // namespace relaybird
