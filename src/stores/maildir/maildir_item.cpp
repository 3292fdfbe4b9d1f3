// SPDX-License-Identifier: MIT
// Reading is lazy and in two stages, because a pass looks at the head of every unread message but
// at the whole of only those that it forwards.
#include "stores/maildir/maildir_item.h"

#include <cerrno>
#include <utility>

#include "stores/maildir/forward_item.h"
#include "stores/maildir/item_lists.h"
#include "stores/maildir/maildir_mailbox.h"

namespace relaybird {

namespace {

[[noreturn]] void refuseChange() {
  throw MailStoreError("A received message cannot be changed");
}

bool isTaskKind(MessageKind kind) {
  return kind == MessageKind::kTaskRequest || kind == MessageKind::kTaskAccept ||
         kind == MessageKind::kTaskDecline || kind == MessageKind::kTaskUpdate;
}

}  // namespace

MaildirItem::MaildirItem(std::shared_ptr<MaildirMailbox> mailbox, InboxEntry entry)
    : mailbox_(std::move(mailbox)), entry_(std::move(entry)) {}

MaildirItem::~MaildirItem() = default;

// A message that has vanished is nothing to complain about. The pass does not log items of a kind
// that it does not forward, so the store does, in the same words as for the rules.
void MaildirItem::tellAbout(const InboxHead& head) const {
  if (head.failure) {
    if (head.failure->code != ENOENT) {
      mailbox_->complain(entry_, head.failure->text);
    }
    return;
  }
  const std::string why = whyNotForwarded(head.kind);
  if (!why.empty()) {
    mailbox_->complain(entry_, head.headers.subject() + " at " +
                                   mailbox_->clock().toText(mailbox_->clock().now()) +
                                   " not forwarded because " + why);
  }
}

// Read once, also where that fails: the subject of a message that cannot be read is asked for too.
const InboxHead& MaildirItem::head() const {
  if (!head_) {
    InboxHead head;
    try {
      head = mailbox_->headOf(entry_);
    } catch (const MailStoreError& error) {
      head.failure = Error{error.code(), error.what()};
    }
    tellAbout(head);
    head_ = std::make_unique<const InboxHead>(std::move(head));
  }
  return *head_;
}

const InboxHead& MaildirItem::readableHead() const {
  if (const auto& failure = head().failure) {
    throw MailStoreError(failure->text, failure->code);
  }
  return head();
}

const std::shared_ptr<const Message>& MaildirItem::message() {
  if (!message_) {
    auto parsed = Message::read(mailbox_->openMessage(entry_));
    if (!parsed) {
      throw MailStoreError(parsed.error().text, parsed.error().code);
    }
    message_ = std::move(*parsed);
  }
  return message_;
}

std::string MaildirItem::sentText() {
  return mailbox_->clock().toText(message()->date().value_or(ReceivedTime()));
}

std::string MaildirItem::ClassName() const {
  return std::string(className(readableHead().kind));
}

bool MaildirItem::UnRead() {
  return mailbox_->unread(entry_);
}

void MaildirItem::UnRead(bool unread) {
  mailbox_->setUnread(entry_, unread);
}

std::string MaildirItem::Subject() {
  return head().headers.subject();
}

void MaildirItem::Subject(const std::string&) {
  refuseChange();
}

std::string MaildirItem::Body() {
  return message()->bodyText();
}

void MaildirItem::Body(const std::string&) {
  refuseChange();
}

DateTime MaildirItem::ReceivedTime() {
  return readableHead().received;
}

std::string MaildirItem::SenderName() {
  return head().headers.senderMailbox().name;
}

std::string MaildirItem::Fields(std::uint32_t tag) {
  if (tag == kPrSenderName) {
    return SenderName();
  }
  if (tag == kPrSenderEmailAddress) {
    return head().headers.senderMailbox().address;
  }
  throw MailStoreError("The property is unknown or cannot be found");
}

std::shared_ptr<MailItem> MaildirItem::Forward() {
  return std::make_shared<ForwardItem>(mailbox_, shared_from_this());
}

std::shared_ptr<Attachments> MaildirItem::Attachments() {
  return makeAttachments(allAttachments(message(), true));
}

std::shared_ptr<Recipients> MaildirItem::addresseesOf(
    std::initializer_list<std::string_view> fields) {
  auto list = std::make_shared<Addressees>();
  for (const std::string_view field : fields) {
    for (Mailbox& mailbox : head().headers.mailboxes(field)) {
      list->push_back(std::make_shared<Addressee>());
      list->back()->text = mailbox.address;
      list->back()->mailbox = std::move(mailbox);
    }
  }
  return makeRecipients(asAddress, std::move(list));
}

std::shared_ptr<Recipients> MaildirItem::Recipients() {
  return addresseesOf({"To", "Cc"});
}

std::shared_ptr<Recipients> MaildirItem::ReplyRecipients() {
  return addresseesOf({"Reply-To"});
}

void MaildirItem::send() {
  throw MailStoreError("A received item cannot be sent");
}

std::shared_ptr<MailItem> MaildirItem::GetAssociatedTask() {
  if (!isTaskKind(readableHead().kind)) {
    throw MailStoreError("The item is not a task request");
  }
  return std::make_shared<MaildirTaskItem>(mailbox_, entry_);
}

std::string MaildirTaskItem::Subject() {
  const auto task = message()->task();
  return task && !task->subject.empty() ? task->subject : MaildirItem::Subject();
}

std::string MaildirTaskItem::Body() {
  const auto task = message()->task();
  return task ? task->body : MaildirItem::Body();
}

std::shared_ptr<MailItem> MaildirTaskItem::GetAssociatedTask() {
  throw MailStoreError("The item is not a task request");
}

}  // namespace relaybird
