// SPDX-License-Identifier: MIT
// Items of the memory store: reading and writing their properties, and the life of a message from
// its making over saving to sending. Each access is announced to the store's hook first.
#include "memory_store/memory_item.h"

#include <algorithm>
#include <utility>

#include "mail/shared_components.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

// What a forward writes above the original's text.
std::string headerBlock(const MemoryRecord& original) {
  std::string from = original.senderName;
  if (!original.senderAddress.empty()) {
    from += " <" + original.senderAddress + ">";
  }
  return "\r\n\r\n-----Original Message-----\r\nFrom: " + from +
         "\r\nSubject: " + original.subject + "\r\n\r\n";
}

bool isTaskRequest(std::string_view className) {
  const std::string kind = asciiLower(className);
  return kind == "taskrequestitem" || kind == "taskrequestacceptitem" ||
         kind == "taskrequestdeclineitem" || kind == "taskrequestupdateitem";
}

void dropDraft(MemoryState& state, const RecordRef& record) {
  // From the end: the message that is sent is usually the one saved last.
  const auto found = std::find(state.drafts.rbegin(), state.drafts.rend(), record);
  if (found != state.drafts.rend()) {
    state.drafts.erase(std::next(found).base());
  }
}

}  // namespace

MemoryRecord& MemoryMailItem::at(std::string_view operation) const {
  link_.begin(operation);
  if (record_->place == MemoryPlace::kGone || record_->place == MemoryPlace::kSent) {
    throw MailStoreError("The item has been moved or deleted");
  }
  return *record_;
}

std::string MemoryMailItem::ClassName() const {
  return at("MailItem.ClassName").kind;
}

std::string MemoryMailItem::EntryID() {
  return at("MailItem.EntryID").entryId;
}

bool MemoryMailItem::UnRead() {
  return at("MailItem.UnRead").unread;
}

void MemoryMailItem::UnRead(bool unread) {
  at("MailItem.UnRead=").unread = unread;
}

std::string MemoryMailItem::Subject() {
  return at("MailItem.Subject").subject;
}

void MemoryMailItem::Subject(const std::string& subject) {
  at("MailItem.Subject=").subject = subject;
}

std::string MemoryMailItem::Body() {
  return at("MailItem.Body").body();
}

void MemoryMailItem::Body(const std::string& body) {
  MemoryRecord& record = at("MailItem.Body=");
  record.bodyText = std::make_shared<const std::string>(body);
  record.bodyHead.clear();
  record.html = false;
}

DateTime MemoryMailItem::ReceivedTime() {
  return at("MailItem.ReceivedTime").received;
}

DateTime MemoryMailItem::LastModificationDate() {
  return at("MailItem.LastModificationDate").modified;
}

std::string MemoryMailItem::SenderName() {
  return at("MailItem.SenderName").senderName;
}

std::string MemoryMailItem::Fields(std::uint32_t tag) {
  const MemoryRecord& record = at("MailItem.Fields");
  if (tag == kPrSenderEmailAddress) {
    return record.senderAddress;
  }
  if (tag == kPrSenderName) {
    return record.senderName;
  }
  throw MailStoreError("The property is unknown or cannot be found");
}

std::shared_ptr<MailItem> MemoryMailItem::Forward() {
  const MemoryRecord& original = at("MailItem.Forward");
  auto forward = std::make_shared<MemoryRecord>();
  forward->kind = original.kind;
  forward->subject = forwardSubject(original.subject);
  forward->bodyHead = headerBlock(original) + original.bodyHead;
  forward->bodyText = original.bodyText;
  forward->html = original.html;
  forward->files = original.files;
  return makeMemoryItem(link_, std::move(forward));
}

std::shared_ptr<Attachments> MemoryMailItem::Attachments() {
  at("MailItem.Attachments");
  return makeMemoryAttachments(link_, record_);
}

std::shared_ptr<Recipients> MemoryMailItem::Recipients() {
  at("MailItem.Recipients");
  return makeMemoryRecipients(link_, record_, false);
}

std::shared_ptr<Recipients> MemoryMailItem::ReplyRecipients() {
  at("MailItem.ReplyRecipients");
  return makeMemoryRecipients(link_, record_, true);
}

void MemoryMailItem::Save() {
  MemoryRecord& record = at("MailItem.Save");
  if (record.place != MemoryPlace::kUnstored) {
    return;
  }
  record.place = MemoryPlace::kDrafts;
  record.entryId = link_->newEntryId();
  link_->drafts.push_back(record_);
}

void MemoryMailItem::send() {
  MemoryRecord& record = at("MailItem.send");
  if (record.place == MemoryPlace::kInbox) {
    throw MailStoreError("A received item cannot be sent");
  }
  if (record.recipients.empty()) {
    throw MailStoreError("There is no name in the To, Cc or Bcc box");
  }
  if (!resolveAll(link_.state(), record.recipients)) {
    throw MailStoreError("One or more names could not be recognised");
  }
  if (link_->outboxFull) {
    link_->outboxRefused = true;
    throw MailStoreError("The outbox is full");
  }
  link_->outbox.push_back(toMessage(record));
  dropDraft(link_.state(), record_);
  record.place = MemoryPlace::kSent;
}

std::shared_ptr<MailItem> MemoryMailItem::GetAssociatedTask() {
  MemoryRecord& record = at("MailItem.GetAssociatedTask");
  if (!isTaskRequest(record.kind)) {
    throw MailStoreError("The item is not a task request");
  }
  if (!record.task) {
    record.task = std::make_shared<MemoryRecord>();
    record.task->subject = record.subject;
    record.task->bodyText = record.bodyText;
    record.task->kind = "TaskItem";
  }
  return makeMemoryItem(link_, record.task);
}

std::shared_ptr<MailItem> makeMemoryItem(const MemoryLink& link, RecordRef record) {
  return std::make_shared<MemoryMailItem>(link, std::move(record));
}

}  // namespace relaybird
