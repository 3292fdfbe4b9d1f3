// SPDX-License-Identifier: MIT
// The mail store over the desktop mail application: Outlook, driven through its automation object
// model, and the Redemption library, which reads and sends its items without security prompts.
#pragma once

#include <memory>

#include "mail/mail_store.h"
#include "mail/store_world.h"
#include "platform/result.h"

namespace relaybird {

/// Uses `events`, `clock`, `notice`, `keepAlive` and `sleeper` of the world. Starts nothing: the
/// mail application is made by the first object that is asked of the factory. The error is a
/// sentence for the user. To be called, used and destroyed on the user-interface thread, which then
/// has COM in use; all objects taken from the store must be dropped before that thread ends.
Result<std::unique_ptr<MailStore>> openOutlookStore(const StoreWorld& world);

}  // namespace relaybird
