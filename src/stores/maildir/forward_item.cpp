// SPDX-License-Identifier: MIT
// Collects what the forward's builder sets, and on send() hands it to the mailbox as one draft.
#include "stores/maildir/forward_item.h"

#include <utility>

#include "mail/shared_components.h"
#include "message/writing/forward_text.h"
#include "stores/maildir/maildir_item.h"
#include "stores/maildir/maildir_mailbox.h"

namespace relaybird {

ForwardItem::ForwardItem(std::shared_ptr<MaildirMailbox> mailbox,
                         std::shared_ptr<MaildirItem> source)
    : mailbox_(std::move(mailbox)), source_(std::move(source)), answers_(source_->entry()) {}

ForwardItem::ForwardItem(std::shared_ptr<MaildirMailbox> mailbox)
    : mailbox_(std::move(mailbox)), answers_(mailbox_->beingForwarded()) {}

void ForwardItem::requireUnsent() const {
  if (sent_) {
    throw MailStoreError("The item has been moved or deleted");
  }
}

std::string ForwardItem::ClassName() const {
  requireUnsent();
  return source_ ? source_->ClassName() : "MailItem";
}

std::string ForwardItem::EntryID() {
  requireUnsent();
  return {};
}

bool ForwardItem::UnRead() {
  requireUnsent();
  return false;
}

void ForwardItem::UnRead(bool) {
  requireUnsent();
}

std::string ForwardItem::Subject() {
  requireUnsent();
  if (!subject_) {
    subject_ = source_ ? forwardSubject(source_->Subject()) : std::string();
  }
  return *subject_;
}

void ForwardItem::Subject(const std::string& subject) {
  requireUnsent();
  subject_ = subject;
}

std::string ForwardItem::Body() {
  requireUnsent();
  if (body_) {
    return *body_;
  }
  return source_ ? forwardText(*source_->message(), source_->sentText()) : std::string();
}

void ForwardItem::Body(const std::string& body) {
  requireUnsent();
  body_ = body;
}

DateTime ForwardItem::ReceivedTime() {
  requireUnsent();
  return kNoDate;
}

DateTime ForwardItem::LastModificationDate() {
  requireUnsent();
  return kNoDate;
}

std::string ForwardItem::SenderName() {
  requireUnsent();
  return {};
}

std::string ForwardItem::Fields(std::uint32_t tag) {
  requireUnsent();
  if (tag != kPrSenderEmailAddress && tag != kPrSenderName) {
    throw MailStoreError("The property is unknown or cannot be found");
  }
  return {};
}

std::shared_ptr<MailItem> ForwardItem::Forward() {
  requireUnsent();
  throw MailStoreError("An item that was not sent yet cannot be forwarded");
}

const std::shared_ptr<AttachmentList>& ForwardItem::attachmentList() {
  if (!attachments_) {
    attachments_ = allAttachments(source_ ? source_->message() : nullptr, false);
  }
  return attachments_;
}

std::shared_ptr<Attachments> ForwardItem::Attachments() {
  requireUnsent();
  return makeAttachments(attachmentList());
}

std::shared_ptr<Recipients> ForwardItem::Recipients() {
  requireUnsent();
  return makeRecipients(asRecipient(mailbox_), recipients_);
}

std::shared_ptr<Recipients> ForwardItem::ReplyRecipients() {
  requireUnsent();
  return makeRecipients(asAddress, replyRecipients_);
}

void ForwardItem::Save() {
  requireUnsent();
}

// A new item that stands for a forward carries the marks too: a report or a task request can go in
// circles like any other mail.
std::vector<std::string> ForwardItem::carriedTraces() {
  if (source_) {
    return traceMarks(source_->message()->headers());
  }
  if (!answers_) {
    return {};
  }
  const InboxHead head = mailbox_->headOf(*answers_);
  if (head.failure) {
    throw MailStoreError(head.failure->text, head.failure->code);
  }
  return traceMarks(head.headers);
}

// An invalid reply address is left out: a forward that cannot be answered is better than none.
ForwardDraft ForwardItem::draft() {
  ForwardDraft draft;
  draft.from = {mailbox_->settings().name, mailbox_->settings().address};
  for (const auto& addressee : *recipients_) {
    auto& list = addressee->type == RecipientType::kBlindCopy ? draft.bcc : draft.to;
    list.push_back(*addressee->mailbox);
  }
  for (const auto& addressee : *replyRecipients_) {
    if (const auto mailbox = asAddress(addressee->text)) {
      draft.replyTo.push_back(*mailbox);
    }
  }
  draft.subject = Subject();
  draft.body = body_;
  draft.date = mailbox_->clock().now();
  draft.traces = carriedTraces();
  if (source_) {
    draft.source = source_->message().get();
    draft.sentText = source_->sentText();
    draft.keptAttachments = attachmentList()->kept;
  } else if (!draft.body) {
    draft.body = std::string();
  }
  return draft;
}

void ForwardItem::send() {
  requireUnsent();
  if (recipients_->empty()) {
    throw MailStoreError("The message has no recipients");
  }
  if (!resolveAll(asRecipient(mailbox_), *recipients_)) {
    throw MailStoreError("One or more recipients could not be resolved");
  }
  mailbox_->send(answers_, draft());
  sent_ = true;
}

std::shared_ptr<MailItem> ForwardItem::GetAssociatedTask() {
  requireUnsent();
  throw MailStoreError("The item is not a task request");
}

}  // namespace relaybird
