// SPDX-License-Identifier: MIT
// The Maildir store's application with its folders and its synchronisation, and what stands beside
// it. Private to this folder.
#pragma once

#include <memory>

#include "mail/object_registry.h"

namespace relaybird {

class MaildirMailbox;

/// Adds everything that the store offers.
void addMaildirComponents(ObjectRegistry& registry, const std::shared_ptr<MaildirMailbox>& mailbox);

}  // namespace relaybird
