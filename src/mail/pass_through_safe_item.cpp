// SPDX-License-Identifier: MIT
#include "mail/pass_through_safe_item.h"

namespace relaybird {

MailItem& PassThroughSafeItem::wrapped(std::string_view operation) const {
  if (!item_) {
    throw MailStoreError(std::string(operation) + ": the Item property is not set");
  }
  return *item_;
}

std::string PassThroughSafeItem::EntryID() {
  return wrapped("SafeItem.EntryID").EntryID();
}

bool PassThroughSafeItem::UnRead() {
  return wrapped("SafeItem.UnRead").UnRead();
}

void PassThroughSafeItem::UnRead(bool unread) {
  wrapped("SafeItem.UnRead=").UnRead(unread);
}

std::string PassThroughSafeItem::Subject() {
  return wrapped("SafeItem.Subject").Subject();
}

void PassThroughSafeItem::Subject(const std::string& subject) {
  wrapped("SafeItem.Subject=").Subject(subject);
}

std::string PassThroughSafeItem::Body() {
  return wrapped("SafeItem.Body").Body();
}

void PassThroughSafeItem::Body(const std::string& body) {
  wrapped("SafeItem.Body=").Body(body);
}

DateTime PassThroughSafeItem::ReceivedTime() {
  return wrapped("SafeItem.ReceivedTime").ReceivedTime();
}

DateTime PassThroughSafeItem::LastModificationDate() {
  return wrapped("SafeItem.LastModificationDate").LastModificationDate();
}

std::string PassThroughSafeItem::SenderName() {
  return wrapped("SafeItem.SenderName").SenderName();
}

std::string PassThroughSafeItem::Fields(std::uint32_t tag) {
  return wrapped("SafeItem.Fields").Fields(tag);
}

std::shared_ptr<MailItem> PassThroughSafeItem::Forward() {
  return wrapped("SafeItem.Forward").Forward();
}

std::shared_ptr<Attachments> PassThroughSafeItem::Attachments() {
  return wrapped("SafeItem.Attachments").Attachments();
}

std::shared_ptr<Recipients> PassThroughSafeItem::Recipients() {
  return wrapped("SafeItem.Recipients").Recipients();
}

std::shared_ptr<Recipients> PassThroughSafeItem::ReplyRecipients() {
  return wrapped("SafeItem.ReplyRecipients").ReplyRecipients();
}

void PassThroughSafeItem::Save() {
  wrapped("SafeItem.Save").Save();
}

void PassThroughSafeItem::send() {
  wrapped("SafeItem.send").send();
}

std::shared_ptr<MailItem> PassThroughSafeItem::GetAssociatedTask() {
  return wrapped("SafeItem.GetAssociatedTask").GetAssociatedTask();
}

}  // namespace relaybird
