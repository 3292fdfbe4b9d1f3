// SPDX-License-Identifier: MIT
// A received message as the engine sees it.
//
// Identifier, read mark and order come with the listing. The head is read once, on the first access
// to a text, the kind or a date. The message is parsed on the first access to its
// body, its attachments, or those of its forward.
//
// For a message that cannot be read, because it has vanished or permission is missing, the members
// that decisions depend on throw: kind, dates, body, attachments. Its subject and sender read as
// empty, so that the message can still be named in the log.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "mail/mail_store.h"
#include "message/message.h"
#include "stores/mailbox/read_marks.h"

namespace relaybird {

class MailboxSession;

class InboxItem : public MailItem, public std::enable_shared_from_this<InboxItem> {
 public:
  InboxItem(std::shared_ptr<MailboxSession> session, InboxEntry entry);
  ~InboxItem() override;

  const InboxEntry& entry() const { return entry_; }
  /// The parsed message, shared with the item's forwards.
  const std::shared_ptr<const Message>& message();
  /// When the message was written, as people read it.
  std::string sentText();

  std::string ClassName() const override;
  std::string EntryID() override { return entry_.entryId(); }
  bool UnRead() override;
  void UnRead(bool unread) override;
  std::string Subject() override;
  void Subject(const std::string& subject) override;
  std::string Body() override;
  void Body(const std::string& body) override;
  /// When the message came into the mailbox.
  DateTime ReceivedTime() override;
  DateTime LastModificationDate() override { return ReceivedTime(); }
  std::string SenderName() override;
  std::string Fields(std::uint32_t tag) override;
  std::shared_ptr<MailItem> Forward() override;
  std::shared_ptr<class Attachments> Attachments() override;
  /// Those of the To and Cc fields.
  std::shared_ptr<class Recipients> Recipients() override;
  std::shared_ptr<class Recipients> ReplyRecipients() override;
  /// Does nothing: the store writes the read mark, and nothing else can be changed.
  void Save() override {}
  void send() override;
  std::shared_ptr<MailItem> GetAssociatedTask() override;

 protected:
  const InboxHead& head() const;
  /// Throws where something of it could not be read.
  const InboxHead& readableHead() const;

  std::shared_ptr<MailboxSession> session_;

 private:
  void tellAbout(const InboxHead& head) const;
  std::shared_ptr<class Recipients> addresseesOf(std::initializer_list<std::string_view> fields);

  InboxEntry entry_;
  mutable std::unique_ptr<const InboxHead> head_;
  std::shared_ptr<const Message> message_;
};

/// The task in a task request. Its sender is the sender of the request.
class InboxTaskItem : public InboxItem {
 public:
  using InboxItem::InboxItem;

  std::string ClassName() const override { return "TaskItem"; }
  std::string Subject() override;
  using InboxItem::Subject;
  std::string Body() override;
  using InboxItem::Body;
  std::shared_ptr<MailItem> GetAssociatedTask() override;
};

}  // namespace relaybird
