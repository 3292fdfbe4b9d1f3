// SPDX-License-Identifier: MIT
// The recipients of an item in the making, and of a received one.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "mail/mail_store.h"
#include "message/address/mail_address.h"

namespace relaybird {

class MaildirMailbox;

struct Addressee {
  std::string text;  ///< as it was added
  RecipientType type = RecipientType::kTo;
  std::optional<Mailbox> mailbox;  ///< what it stands for, once resolved
};

using Addressees = std::vector<std::shared_ptr<Addressee>>;

/// What an addressee's text stands for; nothing where it stands for nothing.
using Resolve = std::function<std::optional<Mailbox>(const std::string& text)>;

/// What the user meant by a text: an address, or a name of the address book.
Resolve asRecipient(std::shared_ptr<MaildirMailbox> mailbox);

/// What a stranger wrote, as an address and nothing else: strangers know no names of the user's
/// address book, and are owed no line in the log.
std::optional<Mailbox> asAddress(const std::string& text);

/// Looks up what each stands for; false where one stands for nothing.
bool resolveAll(const Resolve& resolve, const Addressees& addressees);

/// The list as the interface shows it; changes reach the list itself.
std::shared_ptr<Recipients> makeRecipients(Resolve resolve, std::shared_ptr<Addressees> addressees);

}  // namespace relaybird
