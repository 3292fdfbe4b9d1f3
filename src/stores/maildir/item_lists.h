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

struct AttachmentList {
  std::shared_ptr<const Message> message;  ///< null: nothing is attached
  std::vector<std::size_t> kept;           ///< indexes into the message's attachments
  bool fixed = false;                      ///< a received message's: nothing can be deleted
};

/// All of the message's attachments.
std::shared_ptr<AttachmentList> allAttachments(std::shared_ptr<const Message> message, bool fixed);

/// The list as the interface shows it; deletions reach the list itself.
std::shared_ptr<Attachments> makeAttachments(std::shared_ptr<AttachmentList> list);

}  // namespace relaybird
