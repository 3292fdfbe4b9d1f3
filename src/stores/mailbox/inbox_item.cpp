// SPDX-License-Identifier: MIT
// Reading is lazy and in two stages, because a pass looks at the head of every unread message but
// at the whole of only those that it forwards.
#include "stores/mailbox/inbox_item.h"

#include <cerrno>
#include <utility>

#include "stores/mailbox/forward_item.h"
#include "stores/mailbox/item_lists.h"
#include "stores/mailbox/mailbox_session.h"

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

InboxItem::InboxItem(std::shared_ptr<MailboxSession> session, InboxEntry entry)
    : session_(std::move(session)), entry_(std::move(entry)) {}

InboxItem::~InboxItem() = default;

// A message that has vanished is nothing to complain about, and a server that is lost is told by
// the pass, which ends. The pass does not log items of a kind that it does not forward, so the
// store does, in the same words as for the rules.
void InboxItem::tellAbout(const InboxHead& head) const {
  if (head.failure) {
    if (head.failure->code != ENOENT && head.failure->code != kInboxLost) {
      session_->complain(entry_, head.failure->text);
    }
    return;
  }
  const std::string why = whyNotForwarded(head.kind);
  if (!why.empty()) {
    session_->complain(entry_, head.headers.subject() + " at " +
                                   session_->clock().toText(session_->clock().now()) +
                                   " not forwarded because " + why);
  }
}

// Read once, also where that fails: the subject of a message that cannot be read is asked for too.
const InboxHead& InboxItem::head() const {
  if (!head_) {
    InboxHead head;
    try {
      head = session_->headOf(entry_);
    } catch (const MailStoreError& error) {
      head.failure = Error{error.code(), error.what()};
    }
    tellAbout(head);
    head_ = std::make_unique<const InboxHead>(std::move(head));
  }
  return *head_;
}

const InboxHead& InboxItem::readableHead() const {
  if (const auto& failure = head().failure) {
    throw MailStoreError(failure->text, failure->code);
  }
  return head();
}

// Shared with the forwards of the item, so that a message is parsed once however often it is built.
const std::shared_ptr<const Message>& InboxItem::message() {
  if (!message_) {
    auto parsed = Message::read(session_->openMessage(entry_));
    if (!parsed) {
      throw MailStoreError(parsed.error().text, parsed.error().code);
    }
    message_ = std::move(*parsed);
  }
  return message_;
}

// Without a date of its sender, a message counts as sent when it was received.
std::string InboxItem::sentText() {
  return session_->clock().toText(message()->date().value_or(ReceivedTime()));
}

std::string InboxItem::ClassName() const {
  return std::string(className(readableHead().kind));
}

// Asked anew each time, as another program may change the mark.
bool InboxItem::UnRead() {
  return session_->unread(entry_);
}

void InboxItem::UnRead(bool unread) {
  session_->setUnread(entry_, unread);
}

std::string InboxItem::Subject() {
  return head().headers.subject();
}

void InboxItem::Subject(const std::string&) {
  refuseChange();
}

std::string InboxItem::Body() {
  return message()->bodyText();
}

void InboxItem::Body(const std::string&) {
  refuseChange();
}

DateTime InboxItem::ReceivedTime() {
  return readableHead().received;
}

std::string InboxItem::SenderName() {
  return head().headers.senderMailbox().name;
}

std::string InboxItem::Fields(std::uint32_t tag) {
  if (tag == kPrSenderName) {
    return SenderName();
  }
  if (tag == kPrSenderEmailAddress) {
    return head().headers.senderMailbox().address;
  }
  throw MailStoreError("The property is unknown or cannot be found");
}

std::shared_ptr<MailItem> InboxItem::Forward() {
  return std::make_shared<ForwardItem>(session_, shared_from_this());
}

std::shared_ptr<Attachments> InboxItem::Attachments() {
  return makeAttachments(allAttachments(message(), true));
}

// Addresses that strangers wrote are shown and compared; no mail is ever sent to them.
std::shared_ptr<Recipients> InboxItem::addresseesOf(
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

std::shared_ptr<Recipients> InboxItem::Recipients() {
  return addresseesOf({"To", "Cc"});
}

std::shared_ptr<Recipients> InboxItem::ReplyRecipients() {
  return addresseesOf({"Reply-To"});
}

void InboxItem::send() {
  throw MailStoreError("A received item cannot be sent");
}

std::shared_ptr<MailItem> InboxItem::GetAssociatedTask() {
  if (!isTaskKind(readableHead().kind)) {
    throw MailStoreError("The item is not a task request");
  }
  return std::make_shared<InboxTaskItem>(session_, entry_);
}

// A task without a subject of its own is named by the message that brought it.
std::string InboxTaskItem::Subject() {
  const auto task = message()->task();
  return task && !task->subject.empty() ? task->subject : InboxItem::Subject();
}

std::string InboxTaskItem::Body() {
  const auto task = message()->task();
  return task ? task->body : InboxItem::Body();
}

std::shared_ptr<MailItem> InboxTaskItem::GetAssociatedTask() {
  throw MailStoreError("The item is not a task request");
}

}  // namespace relaybird
