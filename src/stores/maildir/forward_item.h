// SPDX-License-Identifier: MIT
// An item in the making: the forward of a received message, or a new and empty one. Nothing is
// stored before it is sent, and nothing of the original is read before it is asked for.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "mail/mail_store.h"
#include "message/writing/forward.h"
#include "stores/maildir/item_lists.h"
#include "stores/maildir/read_marks.h"

namespace relaybird {

class MaildirItem;
class MaildirMailbox;

/// Every member throws once the item has been sent.
class ForwardItem : public MailItem {
 public:
  /// The forward of `source`.
  ForwardItem(std::shared_ptr<MaildirMailbox> mailbox, std::shared_ptr<MaildirItem> source);
  /// A new item. One that is made while a received item's read mark is held back is that item's
  /// forward under another name (reports and task requests go out as new items), and is kept from
  /// going out twice like any other.
  explicit ForwardItem(std::shared_ptr<MaildirMailbox> mailbox);

  std::string ClassName() const override;
  std::string EntryID() override;
  bool UnRead() override;
  void UnRead(bool unread) override;
  std::string Subject() override;
  void Subject(const std::string& subject) override;
  std::string Body() override;
  void Body(const std::string& body) override;
  DateTime ReceivedTime() override;
  DateTime LastModificationDate() override;
  std::string SenderName() override;
  std::string Fields(std::uint32_t tag) override;
  std::shared_ptr<MailItem> Forward() override;
  std::shared_ptr<class Attachments> Attachments() override;
  std::shared_ptr<class Recipients> Recipients() override;
  std::shared_ptr<class Recipients> ReplyRecipients() override;
  void Save() override;
  void send() override;
  std::shared_ptr<MailItem> GetAssociatedTask() override;

 private:
  void requireUnsent() const;
  const std::shared_ptr<AttachmentList>& attachmentList();
  std::vector<std::string> carriedTraces();
  ForwardDraft draft();

  std::shared_ptr<MaildirMailbox> mailbox_;
  std::shared_ptr<MaildirItem> source_;  ///< null for a new item
  std::optional<MaildirPlace> answers_;  ///< the received item whose forward this is
  std::optional<std::string> subject_;   ///< where it was set
  std::optional<std::string> body_;
  std::shared_ptr<AttachmentList> attachments_;  ///< null until asked for
  std::shared_ptr<Addressees> recipients_ = std::make_shared<Addressees>();
  std::shared_ptr<Addressees> replyRecipients_ = std::make_shared<Addressees>();
  bool sent_ = false;
};

}  // namespace relaybird
