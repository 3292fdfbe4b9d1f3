// SPDX-License-Identifier: MIT
// A received message as the engine sees it.
//
// What the listing brought (identifier, read mark, order) is there at once. The header section is
// read once, when a text, the kind or a date is first asked for; the message is parsed when its
// body, its attachments or its forward's are.
//
// A message that cannot be read, because it has vanished or is not allowed to be, throws where
// something is decided from it: kind, dates, body, attachments. Its subject and sender read as
// empty, so that the log can speak of it.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "mail/mail_store.h"
#include "message/message.h"
#include "message/message_kind.h"
#include "stores/maildir/read_marks.h"

namespace relaybird {

class MaildirMailbox;

class MaildirItem : public MailItem, public std::enable_shared_from_this<MaildirItem> {
 public:
  MaildirItem(std::shared_ptr<MaildirMailbox> mailbox, MaildirPlace place);
  ~MaildirItem() override;

  const MaildirPlace& place() const { return place_; }
  /// The parsed message, shared with the item's forwards.
  const std::shared_ptr<const Message>& message();
  /// When the message was written, as people read it.
  std::string sentText();

  std::string ClassName() const override;
  std::string EntryID() override { return std::string(place_.entryId()); }
  bool UnRead() override;
  void UnRead(bool unread) override;
  std::string Subject() override;
  void Subject(const std::string& subject) override;
  std::string Body() override;
  void Body(const std::string& body) override;
  /// When the file was written, which is when the message was delivered.
  DateTime ReceivedTime() override;
  DateTime LastModificationDate() override { return ReceivedTime(); }
  std::string SenderName() override;
  std::string Fields(std::uint32_t tag) override;
  std::shared_ptr<MailItem> Forward() override;
  std::shared_ptr<class Attachments> Attachments() override;
  /// Those of the To and Cc fields.
  std::shared_ptr<class Recipients> Recipients() override;
  std::shared_ptr<class Recipients> ReplyRecipients() override;
  /// Nothing to do: the read mark is the store's business, and nothing else can be changed.
  void Save() override {}
  void send() override;
  std::shared_ptr<MailItem> GetAssociatedTask() override;

 protected:
  /// What one look at the beginning of the file brings.
  struct Head {
    HeaderBlock headers;
    MessageKind kind = MessageKind::kMail;
    DateTime modified = kNoDate;
    std::optional<MailStoreError> failure;
  };
  const Head& head() const;
  const Head& readableHead() const;

  std::shared_ptr<MaildirMailbox> mailbox_;

 private:
  Head readHead() const;
  void tellWhyNotForwarded(const Head& head) const;
  std::shared_ptr<class Recipients> addresseesOf(std::initializer_list<std::string_view> fields);

  MaildirPlace place_;
  mutable std::unique_ptr<const Head> head_;
  std::shared_ptr<const Message> message_;
};

/// The task that a task request carries. Its writer is the request's.
class MaildirTaskItem : public MaildirItem {
 public:
  using MaildirItem::MaildirItem;

  std::string ClassName() const override { return "TaskItem"; }
  std::string Subject() override;
  using MaildirItem::Subject;
  std::string Body() override;
  using MaildirItem::Body;
  std::shared_ptr<MailItem> GetAssociatedTask() override;
};

}  // namespace relaybird
