// SPDX-License-Identifier: MIT
// Recipients and attachments of a store's items. The list objects share the item's list
// and may outlive each other; a recipient or attachment that was handed out still refers to its
// entry after others were removed.
#include "stores/mailbox/item_lists.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <utility>

#include "mail/shared_components.h"
#include "message/address/address_check.h"
#include "stores/mailbox/mailbox_session.h"

namespace relaybird {

namespace {

class ItemRecipient : public Recipient {
 public:
  explicit ItemRecipient(std::shared_ptr<Addressee> addressee) : addressee_(std::move(addressee)) {}

  RecipientType Type() override { return addressee_->type; }
  void Type(RecipientType type) override { addressee_->type = type; }

 private:
  std::shared_ptr<Addressee> addressee_;
};

class ItemRecipients : public Recipients {
 public:
  ItemRecipients(Resolve resolve, std::shared_ptr<Addressees> list)
      : resolve_(std::move(resolve)), list_(std::move(list)) {}

  std::shared_ptr<Recipient> Add(const std::string& address) override {
    list_->push_back(std::make_shared<Addressee>());
    list_->back()->text = address;
    return std::make_shared<ItemRecipient>(list_->back());
  }

  std::int32_t Count() override { return static_cast<std::int32_t>(list_->size()); }

  std::shared_ptr<Recipient> Item(std::int32_t index) override {
    // Positions count from 1, as in the mail application whose part the store plays.
    requireIndex(index, Count());
    return std::make_shared<ItemRecipient>((*list_)[static_cast<std::size_t>(index - 1)]);
  }

  void Remove(std::int32_t index) override {
    requireIndex(index, Count());
    list_->erase(list_->begin() + (index - 1));
  }

  bool ResolveAll() override { return resolveAll(resolve_, *list_); }

 private:
  Resolve resolve_;
  std::shared_ptr<Addressees> list_;
};

class ItemAttachment : public Attachment {
 public:
  ItemAttachment(std::shared_ptr<AttachmentList> list, std::size_t which)
      : list_(std::move(list)), which_(which) {}

  std::int32_t Size() override {
    const std::int64_t size = list_->message->attachmentSize(which_);
    if (size > std::numeric_limits<std::int32_t>::max()) {
      throw MailStoreError("Overflow: the attachment " +
                           list_->message->attachments()[which_].name + " has " +
                           std::to_string(size) + " bytes");
    }
    return static_cast<std::int32_t>(size);
  }

  void Delete() override {
    if (list_->fixed) {
      throw MailStoreError("A received message cannot be changed");
    }
    auto& kept = list_->kept;
    const auto found = std::find(kept.begin(), kept.end(), which_);
    if (found == kept.end()) {
      throw MailStoreError("The attachment has been deleted");
    }
    kept.erase(found);
  }

 private:
  std::shared_ptr<AttachmentList> list_;
  std::size_t which_;
};

class ItemAttachments : public Attachments {
 public:
  explicit ItemAttachments(std::shared_ptr<AttachmentList> list) : list_(std::move(list)) {}

  std::int32_t Count() override { return static_cast<std::int32_t>(list_->kept.size()); }

  std::shared_ptr<Attachment> Item(std::int32_t index) override {
    requireIndex(index, Count());
    return std::make_shared<ItemAttachment>(list_,
                                            list_->kept[static_cast<std::size_t>(index - 1)]);
  }

 private:
  std::shared_ptr<AttachmentList> list_;
};

}  // namespace

Resolve asRecipient(std::shared_ptr<MailboxSession> session) {
  return [session = std::move(session)](const std::string& text) { return session->resolve(text); };
}

std::optional<Mailbox> asAddress(const std::string& text) {
  return isRfc5322Address(text) ? std::optional(Mailbox{"", wireAddress(text)}) : std::nullopt;
}

bool resolveAll(const Resolve& resolve, const Addressees& addressees) {
  bool all = true;
  for (const auto& addressee : addressees) {
    addressee->mailbox = resolve(addressee->text);
    all = all && addressee->mailbox;
  }
  return all;
}

std::shared_ptr<Recipients> makeRecipients(Resolve resolve,
                                           std::shared_ptr<Addressees> addressees) {
  return std::make_shared<ItemRecipients>(std::move(resolve), std::move(addressees));
}

std::shared_ptr<AttachmentList> allAttachments(std::shared_ptr<const Message> message, bool fixed) {
  auto list = std::make_shared<AttachmentList>();
  if (message) {
    list->kept.resize(message->attachments().size());
    std::iota(list->kept.begin(), list->kept.end(), std::size_t{0});
  }
  list->message = std::move(message);
  list->fixed = fixed;
  return list;
}

std::shared_ptr<Attachments> makeAttachments(std::shared_ptr<AttachmentList> list) {
  return std::make_shared<ItemAttachments>(std::move(list));
}

}  // namespace relaybird
