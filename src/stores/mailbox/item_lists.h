// SPDX-License-Identifier: MIT
// The lists of an item: its addressees, and its attachments. The item keeps a plain list; the
// objects that the mail store's interface wants are made over it when they are asked for.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "mail/mail_store.h"
#include "message/address/mail_address.h"
#include "message/message.h"

namespace relaybird {

class MailboxSession;

struct Addressee {
  std::string text;  ///< as it was added
  RecipientType type = RecipientType::kTo;
  std::optional<Mailbox> mailbox;  ///< once resolved
};

using Addressees = std::vector<std::shared_ptr<Addressee>>;

/// The mailbox for an addressee's text; nothing where it cannot be resolved.
using Resolve = std::function<std::optional<Mailbox>(const std::string& text)>;

/// Resolves what the user wrote: an address, or a name in the address book.
Resolve asRecipient(std::shared_ptr<MailboxSession> session);

/// Resolves what a stranger wrote: addresses only, as strangers do not know the names in the user's
/// address book. Writes nothing to the log.
std::optional<Mailbox> asAddress(const std::string& text);

/// Resolves each addressee; false if one cannot be resolved.
bool resolveAll(const Resolve& resolve, const Addressees& addressees);

/// The list as the interface shows it. Changes go to the list itself.
std::shared_ptr<Recipients> makeRecipients(Resolve resolve, std::shared_ptr<Addressees> addressees);

struct AttachmentList {
  std::shared_ptr<const Message> message;  ///< null: nothing is attached
  std::vector<std::size_t> kept;           ///< indexes into the message's attachments
  bool fixed = false;                      ///< of a received message: nothing can be deleted
};

/// All of the message's attachments.
std::shared_ptr<AttachmentList> allAttachments(std::shared_ptr<const Message> message, bool fixed);

/// The list as the interface shows it. Deletions go to the list itself.
std::shared_ptr<Attachments> makeAttachments(std::shared_ptr<AttachmentList> list);

}  // namespace relaybird
