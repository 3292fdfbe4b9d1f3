// SPDX-License-Identifier: MIT
// The recipients of an item in the making, and of a received one.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/mail_store.h"
#include "stores/address/mail_address.h"

namespace relaybird {

class MaildirMailbox;

struct Addressee {
  std::string text;  ///< as it was added
  RecipientType type = RecipientType::kTo;
  std::optional<Mailbox> mailbox;  ///< what it stands for, once resolved
};

using Addressees = std::vector<std::shared_ptr<Addressee>>;

/// Looks up what each stands for; false where one stands for nothing.
bool resolveAll(MaildirMailbox& mailbox, const Addressees& addressees);

/// The list as the interface shows it; changes reach the list itself.
std::shared_ptr<Recipients> makeRecipients(std::shared_ptr<MaildirMailbox> mailbox,
                                           std::shared_ptr<Addressees> addressees);

}  // namespace relaybird
