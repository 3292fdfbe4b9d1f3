// SPDX-License-Identifier: MIT
// The way off this computer that the user chose, whatever the mailbox is.
#pragma once

#include <memory>

#include "mail/mail_settings.h"
#include "mail/store_world.h"
#include "outbox/delivery/transport.h"
#include "platform/result.h"

namespace relaybird {

/// Makes the transport that the settings describe; null for DeliveryKind::kNone. It uses what
/// `world` refers to. An error is a sentence for the user about a setting that cannot be used.
Result<std::shared_ptr<Transport>> makeTransport(const MailSettings& settings,
                                                 const StoreWorld& world);

}  // namespace relaybird
