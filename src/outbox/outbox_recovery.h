// SPDX-License-Identifier: MIT
// Finds out, after a crash or a failure of the disk, what became of forwards whose outcome is not
// on record.
#pragma once

#include <set>
#include <string>

#include "outbox/journal.h"
#include "outbox/outbox_folder.h"
#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

/// Decides every intent whose outcome is not on record, and moves messages that are recorded as
/// sent but are still in tmp/ into new/. `inTmp` has the names there; moved ones are erased. On
/// failure nothing is decided, and the call can be repeated.
Result<void> recoverForwards(FileSystem& files, OutboxFolder& disk, Journal& journal,
                             std::set<std::string>& inTmp);

/// Drops what the journal knows of the delivery of messages that are gone. They leave the outbox
/// without a word to the journal too: into failed/, or by the user's hand.
void forgetWhatIsGone(FileSystem& files, const OutboxFolder& disk, Journal& journal);

}  // namespace relaybird
