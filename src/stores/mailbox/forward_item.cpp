// SPDX-License-Identifier: MIT
// Collects what the forward's builder sets, and on send() hands it to the mailbox as one draft.
#include "stores/mailbox/forward_item.h"

#include <utility>

#include "mail/shared_components.h"
#include "message/writing/forward_text.h"
#include "stores/mailbox/inbox_item.h"
#include "stores/mailbox/mailbox_session.h"

namespace relaybird {

ForwardItem::ForwardItem(std::shared_ptr<MailboxSession> session, std::shared_ptr<InboxItem> source)
    : session_(std::move(session)), source_(std::move(source)), answers_(source_->entry()) {}

ForwardItem::ForwardItem(std::shared_ptr<MailboxSession> session, std::optional<InboxEntry> answers)
    : session_(std::move(session)), answers_(std::move(answers)) {}

// A sent item is moved by a mail application, so scripts expect that it cannot be used any more.
void ForwardItem::requireUnsent() const {
  if (sent_) {
    throw MailStoreError("The item has been moved or deleted");
  }
}

std::string ForwardItem::ClassName() const {
  requireUnsent();
  return source_ ? source_->ClassName() : "MailItem";
}

// Nothing is stored before it is sent, so there is nothing to identify.
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

// A text that nobody has set is not kept: the draft makes it anew, together with its HTML.
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

// Made late: to list attachments means to parse the whole message, and some rules never need that.
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
  return makeRecipients(asRecipient(session_), recipients_);
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
  const InboxHead head = session_->headOf(*answers_);
  if (head.failure) {
    throw MailStoreError(head.failure->text, head.failure->code);
  }
  return traceMarks(head.headers);
}

// An invalid reply address is left out: a forward that cannot be answered is better than none.
ForwardDraft ForwardItem::draft() {
  ForwardDraft draft;
  draft.from = {session_->settings().name, session_->settings().address};
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
  draft.date = session_->clock().now();
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

// All checks come before the first step on the disk: a send that fails here has left no trace.
void ForwardItem::send() {
  requireUnsent();
  if (recipients_->empty()) {
    throw MailStoreError("The message has no recipients");
  }
  if (!resolveAll(asRecipient(session_), *recipients_)) {
    throw MailStoreError("One or more recipients could not be resolved");
  }
  session_->send(answers_, draft());
  sent_ = true;
}

std::shared_ptr<MailItem> ForwardItem::GetAssociatedTask() {
  requireUnsent();
  throw MailStoreError("The item is not a task request");
}

}  // namespace relaybird
