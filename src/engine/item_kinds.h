// SPDX-License-Identifier: MIT
// Which items of an inbox are forwarded at all, and which of their dates counts as their arrival.
#pragma once

#include "mail/mail_store.h"

namespace relaybird {

/// Whether the item is of one of the seven kinds that are forwarded. False also when its kind
/// cannot be read.
bool ValidateInboxType(MailItem& item);

/// When the item arrived: the reception of mail and meeting items, the last modification of task
/// requests and reports. kNoDate for any other kind and when the date cannot be read, so that such
/// an item counts as received long ago.
DateTime GetRelevantDate(MailItem& item);

}  // namespace relaybird
