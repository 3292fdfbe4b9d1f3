// SPDX-License-Identifier: MIT
// An unsent item: the forward of a received message, or a new and empty one. Nothing is stored
// before it is sent, and the original is read only when it is needed.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "mail/mail_store.h"
#include "message/writing/forward.h"
#include "stores/mailbox/item_lists.h"
#include "stores/mailbox/read_marks.h"

namespace relaybird {

class InboxItem;
class MailboxSession;

/// Every member throws once the item has been sent.
class ForwardItem : public MailItem {
 public:
  /// The forward of `source`.
  ForwardItem(std::shared_ptr<MailboxSession> session, std::shared_ptr<InboxItem> source);
  /// A new item, which counts as the forward of `answers`, if there is one, so that this is not
  /// sent twice: reports and task requests go out as new items.
  ForwardItem(std::shared_ptr<MailboxSession> session, std::optional<InboxEntry> answers);

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

  std::shared_ptr<MailboxSession> session_;
  std::shared_ptr<InboxItem> source_;   ///< null for a new item
  std::optional<InboxEntry> answers_;   ///< the received item whose forward this is
  std::optional<std::string> subject_;  ///< nothing until set or first read
  std::optional<std::string> body_;
  std::shared_ptr<AttachmentList> attachments_;  ///< null until asked for
  std::shared_ptr<Addressees> recipients_ = std::make_shared<Addressees>();
  std::shared_ptr<Addressees> replyRecipients_ = std::make_shared<Addressees>();
  bool sent_ = false;
};

}  // namespace relaybird
