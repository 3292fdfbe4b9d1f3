// SPDX-License-Identifier: MIT
#include "stores/maildir/items/attachment_list.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <string>
#include <utility>

#include "mail/store_rules.h"

namespace relaybird {

namespace {

class MaildirAttachment : public Attachment {
 public:
  MaildirAttachment(std::shared_ptr<AttachmentList> list, std::size_t which)
      : list_(std::move(list)), which_(which) {}

  std::int32_t Size() override {
    const AttachmentInfo& info = list_->message->attachments()[which_];
    if (info.size > std::numeric_limits<std::int32_t>::max()) {
      throw MailStoreError("Overflow: the attachment " + info.name + " has " +
                           std::to_string(info.size) + " bytes");
    }
    return static_cast<std::int32_t>(info.size);
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

class MaildirAttachments : public Attachments {
 public:
  explicit MaildirAttachments(std::shared_ptr<AttachmentList> list) : list_(std::move(list)) {}

  std::int32_t Count() override { return static_cast<std::int32_t>(list_->kept.size()); }

  std::shared_ptr<Attachment> Item(std::int32_t index) override {
    requireIndex(index, Count());
    return std::make_shared<MaildirAttachment>(list_,
                                               list_->kept[static_cast<std::size_t>(index - 1)]);
  }

 private:
  std::shared_ptr<AttachmentList> list_;
};

}  // namespace

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
  return std::make_shared<MaildirAttachments>(std::move(list));
}

}  // namespace relaybird
