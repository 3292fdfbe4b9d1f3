// SPDX-License-Identifier: MIT
// clsSecurity's sending of a forward, and its readers.
#include <exception>

#include "compose/cls_security.h"
#include "compose/size_rule.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

bool isSafeItem(const SafeItem* item) {
  if (item == nullptr) {
    return false;
  }
  const std::string kind = asciiUpper(item->ClassName());
  return kind == "SAFEMAILITEM" || kind == "SAFEMEETINGITEM";
}

}  // namespace

bool clsSecurity::send() {
  errorText_.clear();
  try {
    SafeItem& forward = madeForward();
    if (!required(forward.Recipients(), "recipients")->ResolveAll()) {
      errorText_ = "Outlook could not resolve all forwarding recipients";
      return false;
    }
    forward.send();
    createAs<UtilityObject>(objects_, prog_id::kUtility)->DeliverNow();
    return true;
  } catch (const std::exception& fault) {
    errorText_ = fault.what();
    return false;
  }
}

bool clsSecurity::GetSafeItemSizes() {
  try {
    if (!isSafeItem(mobjSafe_.get())) {
      errorText_ = "clsSecurity::GetSafeItemSizes Error - mobjSafe wrong type";
      return false;
    }
    const std::string subject = mobjSafe_->Subject();
    textSize_ = textSizeOf(subject, mobjSafe_->Body());
    attachmentsSize_ = 0;
    const auto attachments = required(mobjSafe_->Attachments(), "attachments");
    const std::int32_t count = attachments->Count();
    for (std::int32_t i = 1; i <= count; ++i) {
      const auto attachment = required(attachments->Item(i), "attachment");
      attachmentsSize_ = addedSizes(attachmentsSize_, attachment->Size());
    }
    return true;
  } catch (const std::exception& fault) {
    errorText_ = fault.what();
    return false;
  }
}

std::string clsSecurity::GetSafeItemSubject() {
  return ofForward([](SafeItem& forward) { return forward.Subject(); });
}

std::string clsSecurity::GetSafeItemBody() {
  return ofForward([](SafeItem& forward) { return forward.Body(); });
}

std::string clsSecurity::GetSafeItemEmailId() {
  return ofForward([](SafeItem& forward) { return forward.EntryID(); });
}

std::string clsSecurity::ofForward(std::string (*read)(SafeItem& forward)) {
  try {
    return mobjSafe_ ? read(*mobjSafe_) : std::string();
  } catch (const std::exception& fault) {
    errorText_ = fault.what();
    return {};
  }
}

SafeItem& clsSecurity::madeForward() const {
  if (!mobjSafe_) {
    throw MailStoreError("There is no forward to send");
  }
  return *mobjSafe_;
}

// Reports and task requests have no reading wrapper; their own properties are open to everyone.
MailItem& clsSecurity::readable() const {
  if (reader_) {
    return *reader_;
  }
  if (!inboxItem_) {
    throw MailStoreError("There is no item to read");
  }
  return *inboxItem_;
}

std::string clsSecurity::inboxSubject() {
  return readable().Subject();
}

std::string clsSecurity::inboxBody() {
  return readable().Body();
}

std::string clsSecurity::senderName() {
  if (!senderName_) {
    senderName_ = readable().SenderName();
  }
  return *senderName_;
}

std::string clsSecurity::senderAddress() {
  if (!senderAddress_) {
    senderAddress_ = readable().Fields(kPrSenderEmailAddress);
  }
  return *senderAddress_;
}

}  // namespace relaybird
