// SPDX-License-Identifier: MIT
// The attachments of a received message, and those of them that its forward takes along.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "mail/mail_store.h"
#include "message/message.h"

namespace relaybird {

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
